// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "frame/settings/unrecorded_command.h"
#include "platform/document/document_controller.h"

inline constexpr std::string_view c_masterMigrationNames[] = {"keep", "adapt", "drop"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<MasterMigrationStrategy> = c_masterMigrationNames;

namespace Commands {

// Tells how masters are carried over when pages move. Not part of the history.
class REDRAFT_API SetMasterMigratePagesSettingCommand final
    : public UnrecordedCommand<SetMasterMigratePagesSettingCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The setting is outside the history and stays.";

    explicit SetMasterMigratePagesSettingCommand(MasterMigrationStrategy strategy) : m_strategy(strategy) {}

    static constexpr auto c_description = Kernel::Localisable("Set Master Migrate", "Command description");
    void Do() override {
        SetDirection(Direction::Do);
        m_documentController->GetPageManagementOptions()->SetMasterMigrationStrategy(m_strategy);
    }

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
