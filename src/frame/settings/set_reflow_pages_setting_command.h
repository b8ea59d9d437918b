// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/compound_command.h"

namespace Commands {

// Turns the reflow of pages on, which reflows them at once, or off.
class REDRAFT_API SetReflowPagesSettingCommand final
    : public Persisted<SetReflowPagesSettingCommand, AggregateCommand> {
public:
    explicit SetReflowPagesSettingCommand(bool reflow) : m_newValue(reflow), m_oldValue(false) {}

    static constexpr auto c_description = Kernel::Localisable("Set Reflow Pages", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    SetReflowPagesSettingCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"nwvl", &SetReflowPagesSettingCommand::m_newValue}.As(
                                     "reflow", "true reflows pages at once, and from now on"),
                                 Kernel::Field{"olvl", &SetReflowPagesSettingCommand::m_oldValue}};
    }

    bool m_newValue = true;
    bool m_oldValue = true;
};

} // namespace Commands
