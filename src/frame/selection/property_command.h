// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/changed_areas.h"

// Base of commands that set one property of each selected object that has the interface I. T names itself, its value's
// field and how the value is set:
//
//   class SetOpacityCommand final : public PropertyCommand<SetOpacityCommand, TransparencyInterface, double> {
//   public:
//       using PropertyCommand::PropertyCommand;
//       static constexpr auto c_description = Kernel::Localisable("Set opacity", "Command description");
//       static void Set(TransparencyInterface& object, double opacity) { object.SetOpacity(opacity); }
//       static constexpr auto Fields() {
//           return Kernel::FieldList{Value("Opac").As("opacity", "0 is invisible").Between(0, 1)};
//       }
//   };
//
// Set is called in Do; Undo and Redo put back the states that the visit kept. A command whose objects need more in
// other directions overrides ReceiveInterface. With `static constexpr bool c_merges = true` in T, a newer command on
// the same selection merges into an older one, as those of a slider do. A command that found nothing to change is no
// step of the history.
template <class T, class I, class V>
class PropertyCommand : public Persisted<T, SelectionCommandWithSingleInterface<T, I>> {
public:
    static constexpr bool c_merges = false;

    PropertyCommand(V value, Kernel::Counted<Selection const> selection)
        : Persisted<T, SelectionCommandWithSingleInterface<T, I>>(std::move(selection)), m_value(std::move(value)) {}

    void Do() override {
        this->ForgetKeptStates();
        m_areas.Around(this->GetSelection(), [this] { SelectionCommand<T>::Do(); });
    }
    void Undo() override {
        m_areas.Around(this->GetSelection(), [this] { SelectionCommand<T>::Undo(); });
    }
    void Redo() override {
        m_areas.Around(this->GetSelection(), [this] { SelectionCommand<T>::Redo(); });
    }
    bool ShouldStackForUndo() const override { return this->HasKeptStates(); }
    // Where the objects showed before and show now, and that their attributes changed.
    void Notify(Kernel::NotificationList& notifications) override {
        auto const controller = this->GetDocumentController();
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            controller, m_areas.GetRects(), this->m_selection, this->m_preview, false, false, false));
        notifications.push_back(
            Kernel::MakeCounted<NodesAttributesChangedNotification>(this->m_selection, controller, this->m_preview));
    }
    bool CanMerge(Kernel::Counted<Command const> newer) const override {
        return T::c_merges && Kernel::Cast<T const>(newer) && SelectionCommandBase::CanMerge(newer);
    }
    bool Merge(Kernel::Counted<Command const> newer) override {
        if (!CanMerge(newer))
            return false;
        auto const other = Kernel::Cast<T const>(newer);
        m_value = other->m_value;
        this->MergeStates(*other);
        return true;
    }

protected:
    // For loading.
    PropertyCommand() = default;

    // The value's field, under the tag.
    static consteval auto Value(Kernel::IDTag tag) { return Kernel::Field{tag, &PropertyCommand::m_value}; }

    void ReceiveInterface(Kernel::NonCounted<I> object) override {
        if (this->m_direction == DomainCommand::Direction::Do)
            T::Set(*object, m_value);
    }

    V m_value{};

private:
    ChangedAreas m_areas;
};
