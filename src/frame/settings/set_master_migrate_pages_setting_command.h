// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "platform/document/document_settings.h"

inline constexpr std::string_view c_masterMigrationNames[] = {"keep", "adapt", "drop"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<MasterMigrationStrategy> = c_masterMigrationNames;

namespace Commands {

// Tells how masters are carried over when pages move. Not part of the history.
class REDRAFT_API SetMasterMigratePagesSettingCommand final
    : public Persisted<SetMasterMigratePagesSettingCommand, DocumentCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The setting is outside the history and stays.";

    explicit SetMasterMigratePagesSettingCommand(MasterMigrationStrategy strategy) : m_strategy(strategy) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override {}
    void Redo() override {}
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>&) override {}
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool MakesDOMDirty() const override { return false; }
    bool ShouldStackForMacro() const override { return false; }

private:
    friend struct Kernel::FieldAccess;
    SetMasterMigratePagesSettingCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Unstored{&SetMasterMigratePagesSettingCommand::m_strategy}.As(
            "strategy", "how masters are carried over when pages move: keep, adapt or drop")};
    }

    MasterMigrationStrategy m_strategy = MasterMigrationStrategy::Keep;
};

} // namespace Commands
