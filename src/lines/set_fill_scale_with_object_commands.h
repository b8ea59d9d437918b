// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/edit_journal.h"
#include "platform/document/interface_map.h"

namespace Commands {

// Sets whether a fill of each selected object scales with it. T names how the fill of an interface I is
// read and set, in c_get and c_set. The old
// flags are kept by hand: Redo keeps them again, and Undo drops them.
template <class T, class I>
class SetFillScaleWithObjectCommand : public Persisted<T, SelectionCommandWithSingleInterface<T, I>> {
public:
    SetFillScaleWithObjectCommand(bool scale, Kernel::Counted<Selection const> selection)
        : Persisted<T, SelectionCommandWithSingleInterface<T, I>>(std::move(selection)), m_scale(scale) {}

    static constexpr auto c_description = Kernel::Localisable("Set scale with object", "Command description");
    void Undo() override {
        EditJournal::NoteValue(static_cast<T&>(*this), m_oldScales);
        SelectionCommand<T>::Undo();
    }
    void Redo() override {
        EditJournal::NoteValue(static_cast<T&>(*this), m_oldScales);
        SelectionCommand<T>::Redo();
    }
    // Two switches are two steps.
    bool Merge(Kernel::Counted<Command const>) override { return false; }
    void Notify(Kernel::NotificationList& notifications) override {
        notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(
            this->GetSelection(), this->GetDocumentController(), this->m_preview));
    }

protected:
    friend struct Kernel::FieldAccess;
    SetFillScaleWithObjectCommand() = default;
    static constexpr auto Fields() {
        using This = SetFillScaleWithObjectCommand;
        return Kernel::FieldList{Kernel::Field{"Scal", &This::m_scale}.As("scale", "true: the fill scales"),
                                 Kernel::Field{"OlSc", &This::m_oldScales}};
    }

    void ReceiveInterface(Kernel::NonCounted<I> object) override {
        auto const fill = ((*object).*T::c_get)(true);
        if (!fill)
            return;
        bool wanted = m_scale;
        if (this->m_direction == DomainCommand::Direction::Undo) {
            auto const* const old = m_oldScales.Find(*object);
            if (old == nullptr)
                return;
            wanted = *old;
            m_oldScales.Erase(*object);
        } else if (this->m_direction != DomainCommand::Direction::Teardown) {
            m_oldScales.Set(object, fill->GetScaleWithObject());
        } else {
            return;
        }
        ((*object).*T::c_set)(fill->CloneWithNewScaleWithObject(wanted), true);
    }

    bool m_scale = false;
    InterfaceMap<I, bool> m_oldScales;
};

// Sets whether the brush fill scales with its object.
class REDRAFT_API SetBrushFillScaleWithObjectCommand final
    : public SetFillScaleWithObjectCommand<SetBrushFillScaleWithObjectCommand, BrushFillInterface> {
public:
    using SetFillScaleWithObjectCommand::SetFillScaleWithObjectCommand;
    static bool CanApplyTo(Kernel::Counted<Selection const> selection);
    void Notify(Kernel::NotificationList& notifications) override;
    static constexpr auto c_get = &BrushFillInterface::GetBrushFillDescriptor;
    static constexpr auto c_set = &BrushFillInterface::SetBrushFillDescriptor;
};

// Sets whether the paint of the line scales with its object.
class REDRAFT_API SetPenFillScaleWithObjectCommand final
    : public SetFillScaleWithObjectCommand<SetPenFillScaleWithObjectCommand, LineStyleInterface> {
public:
    using SetFillScaleWithObjectCommand::SetFillScaleWithObjectCommand;
    static constexpr auto c_get = &LineStyleInterface::GetPenFillDescriptor;
    static constexpr auto c_set = &LineStyleInterface::SetPenFillDescriptor;
};

} // namespace Commands
