// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "index/index_command.h"

namespace Commands {

// Sets the language by whose rules the index is sorted.
class REDRAFT_API SetIndexLanguageCommand final : public IndexCommand<SetIndexLanguageCommand> {
public:
    explicit SetIndexLanguageCommand(Kernel::String language) : m_language(std::move(language)) {}

    static constexpr auto c_description = Kernel::Localisable("Set Index Language", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;

private:
    friend struct Kernel::FieldAccess;
    SetIndexLanguageCommand() = default;
    void Put(Direction direction, Kernel::String const& language);
    static constexpr auto Fields() {
        using This = SetIndexLanguageCommand;
        return Kernel::FieldList{
            Kernel::Field{"nwNm", &This::m_language}.As("language", "its BCP 47 tag, such as sv or de-AT"),
            Kernel::Field{"olNm", &This::m_oldLanguage}};
    }

    Kernel::String m_language, m_oldLanguage;
};

} // namespace Commands
