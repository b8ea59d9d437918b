// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_command.h"
#include "frame/persistence/persisted.h"

namespace Commands {

// Gives a style of tables of contents another name, and with it the tables that have it. Its entry styles go on naming
// the old one.
class REDRAFT_API RenameTocStyleCommand final : public Persisted<RenameTocStyleCommand, TocStyleCommand> {
public:
    RenameTocStyleCommand(Kernel::String oldName, Kernel::String newName)
        : m_oldName(std::move(oldName)), m_newName(std::move(newName)) {}

    static constexpr auto c_description = Kernel::Localisable("Rename TOC style", "Command description");
    void Do() override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    static constexpr bool c_storesBaseFirst = true;

protected:
    // Has an entry style name another style of tables. Do leaves entry styles alone.
    void Rename(Kernel::Consolidated<Story::TocEntryStyle> const& style, Kernel::String const& name);

private:
    friend struct Kernel::FieldAccess;
    RenameTocStyleCommand() = default;
    static constexpr auto Fields() {
        using This = RenameTocStyleCommand;
        return Kernel::FieldList{Kernel::Field{"OlNm", &This::m_oldName}.As<TocStyleReference>(
                                     "style", "the name of a style of tables of contents"),
                                 Kernel::Field{"NwNm", &This::m_newName}.As("newName", "its new name"),
                                 Kernel::Field{"TxSC", &This::m_textStyleCommands},
                                 Kernel::Field{"AlTC", &This::m_alterCommands}};
    }

    Kernel::String m_oldName, m_newName;
};

} // namespace Commands
