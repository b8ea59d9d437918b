// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/edit_journal.h"
#include "platform/document/interface_map.h"

namespace Commands {

// Sets whether a fill of each selected object scales with it. T has GetFill and SetFill for the interface I. The old
// flags are kept by hand: Redo keeps them again, and Undo drops them.
template <class T, class I>
class SetFillScaleWithObjectCommand : public Persisted<T, SelectionCommandWithSingleInterface<T, I>> {
public:
    SetFillScaleWithObjectCommand(bool scale, Kernel::Counted<Selection const> selection)
        : Persisted<T, SelectionCommandWithSingleInterface<T, I>>(std::move(selection)), m_scale(scale) {}

    Kernel::LocalisedString GetDescription() const override {
        return Kernel::LocalisedString("Set scale with object", "Command description");
    }
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
    Kernel::Counted<DocumentCommand> Clone() const override {
        return Kernel::MakeCounted<T>(m_scale, this->GetGivenSelection());
    }

protected:
    SetFillScaleWithObjectCommand() = default;
    template <class This>
    static constexpr auto ListFields() {
        return Kernel::FieldList{Kernel::Field{"Scal", &This::m_scale}.As("scale", "true: the fill scales"),
                                 Kernel::Field{"OlSc", &This::m_oldScales}};
    }

    void ReceiveInterface(Kernel::NonCounted<I> object) override {
        auto const fill = T::GetFill(*object);
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
        T::SetFill(*object, fill->CloneWithNewScaleWithObject(wanted));
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
    static auto GetFill(BrushFillInterface const& object) { return object.GetBrushFillDescriptor(true); }
    static void SetFill(BrushFillInterface& object, Kernel::Counted<Renderer::FillDescriptor const> fill) {
        object.SetBrushFillDescriptor(std::move(fill), true);
    }

private:
    friend struct Kernel::FieldAccess;
    SetBrushFillScaleWithObjectCommand() = default;
    static constexpr auto Fields() { return ListFields<SetBrushFillScaleWithObjectCommand>(); }
};

// Sets whether the paint of the line scales with its object.
class REDRAFT_API SetPenFillScaleWithObjectCommand final
    : public SetFillScaleWithObjectCommand<SetPenFillScaleWithObjectCommand, LineStyleInterface> {
public:
    using SetFillScaleWithObjectCommand::SetFillScaleWithObjectCommand;
    static auto GetFill(LineStyleInterface const& object) { return object.GetPenFillDescriptor(true); }
    static void SetFill(LineStyleInterface& object, Kernel::Counted<Renderer::FillDescriptor const> fill) {
        object.SetPenFillDescriptor(std::move(fill), true);
    }

private:
    friend struct Kernel::FieldAccess;
    SetPenFillScaleWithObjectCommand() = default;
    static constexpr auto Fields() { return ListFields<SetPenFillScaleWithObjectCommand>(); }
};

} // namespace Commands
