// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_change.h"
#include "platform/document/compound_command.h"
#include "platform/kernel/stored_class.h"

// Whether a spread that has something of a new selection becomes the current one.
enum class CurrentSpreadEnsureVisible : std::uint32_t { No = 0, Yes = 1 };
// Whether a new selection is a step of the history.
enum class SelectionStacking : std::uint32_t { NoStep = 0, Step = 1 };

// Sets the document's selection. The user is taken to the spread of its first node, and is not taken back by Undo.
class REDRAFT_ENGINE SetCurrentSelectionCommand
    : public Kernel::StoredClass<SetCurrentSelectionCommand, DocumentCommand>,
      public SelectionChange {
public:
    // `add`: the items join those that are selected. `order`: they are put in tree order. `mayMerge`: newer ones of
    // this kind merge into this one, so that it goes on from the oldest selection to the newest.
    SetCurrentSelectionCommand(Kernel::Counted<Selection const> selection, bool add, bool order, bool mayMerge,
                               CurrentSpreadEnsureVisible ensureVisible = CurrentSpreadEnsureVisible::Yes,
                               SelectionStacking stacking = SelectionStacking::Step);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    bool ShouldStackForUndo() const override { return m_stacking == SelectionStacking::Step; }
    bool ValidateUntrusted() override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    Kernel::Counted<Selection const> GetSelection() override { return m_selection; }

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // For loading.
    SetCurrentSelectionCommand() = default;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = SetCurrentSelectionCommand;
        return Kernel::FieldList{
            Kernel::Field{"Sele", &This::m_selection},     Kernel::Field{"AddS", &This::m_add},
            Kernel::Field{"Ordr", &This::m_order},         Kernel::Field{"Merg", &This::m_mayMerge},
            Kernel::Field{"EnsV", &This::m_ensureVisible}, Kernel::Field{"Stck", &This::m_stacking},
            Kernel::Field{"NewS", &This::m_newSelection},  Kernel::Field{"OldS", &This::m_oldSelection}};
    }

    Kernel::Counted<Selection const> m_selection;
    bool m_add = false;
    bool m_order = false;
    bool m_mayMerge = false;
    CurrentSpreadEnsureVisible m_ensureVisible = CurrentSpreadEnsureVisible::Yes;
    SelectionStacking m_stacking = SelectionStacking::Step;
};

// A command and then a selection, which may name what the command makes, as one step.
class REDRAFT_ENGINE CommandAndSetSelectionCommand final : public CompoundCommand {
public:
    CommandAndSetSelectionCommand(Kernel::Counted<DocumentCommand> command, Kernel::Counted<Selection const> selection,
                                  CurrentSpreadEnsureVisible ensureVisible = CurrentSpreadEnsureVisible::Yes);

    // That of the command.
    Kernel::LocalisedString GetDescription() const override;
    // Empty for a command that makes nodes: the selection names those, and not what the clone will make.
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

private:
    CommandAndSetSelectionCommand();
};
