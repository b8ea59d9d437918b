// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"

namespace Commands {

// Adds a name to the document's list of names that captions can count by, or removes it.
class REDRAFT_API CaptionCounterTypeCommand final : public DirectedCommand<CaptionCounterTypeCommand> {
public:
    CaptionCounterTypeCommand(Kernel::String const& counterType, bool add) : m_counterType(counterType), m_add(add) {}

    Kernel::LocalisedString GetDescription() const override;
    void Run(Direction direction);
    void Notify(Kernel::NotificationList&) override {}

    static constexpr std::string_view c_keptByUndo = "A name that was in the list already is removed by undoing its "
                                                     "addition, and one that was not there is added by "
                                                     "undoing its removal.";
    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    CaptionCounterTypeCommand() = default;
    static constexpr auto Fields() {
        using This = CaptionCounterTypeCommand;
        return Kernel::FieldList{Kernel::Field{"Type", &This::m_counterType}.As("name", "the name to count by"),
                                 Kernel::Field{"Add ", &This::m_add}.As("add", "false: removes the name", true)};
    }

    Kernel::String m_counterType;
    bool m_add = false;
};

} // namespace Commands
