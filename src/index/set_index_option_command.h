// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "index/index_command.h"

namespace Commands {

// Switches one of the ways in which indices are made.
class REDRAFT_API SetIndexOptionCommand final : public IndexCommand<SetIndexOptionCommand> {
public:
    // Values are part of the stored form.
    enum class Option : std::int32_t { SectionHeadings = 0, PageRanges = 1, ExpandCrossReferences = 2 };
    // Another option than these changes nothing.
    SetIndexOptionCommand(Option option, bool value) : m_option(option), m_value(value) {}
    // In the order of the stored fields.
    SetIndexOptionCommand(bool value, Option option) : SetIndexOptionCommand(option, value) {}

    static constexpr auto c_description = Kernel::Localisable("Set Index Option", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;

private:
    friend struct Kernel::FieldAccess;
    SetIndexOptionCommand() = default;
    void Put(Direction direction, bool value);
    static constexpr auto Fields() {
        using This = SetIndexOptionCommand;
        return Kernel::FieldList{Kernel::Field{"nwNm", &This::m_value}.As("value", "whether indices are made so"),
                                 Kernel::Field{"olNm", &This::m_oldValue},
                                 Kernel::Field{"Optn", &This::m_option}.As("option", "the way to make indices")};
    }

    Option m_option = Option::SectionHeadings;
    bool m_value = false, m_oldValue = false;
};

inline constexpr std::string_view c_indexOptionNames[] = {"sectionHeadings", "pageRanges", "expandCrossReferences"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Commands::SetIndexOptionCommand::Option> =
    Commands::c_indexOptionNames;
