// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "contents/toc_style_command.h"
#include "frame/persistence/persisted.h"

namespace Commands {

// Takes a style of tables of contents and its entry styles out of the document's sheet. Its tables get the default
// style.
class REDRAFT_API DeleteTocStyleCommand final : public Persisted<DeleteTocStyleCommand, TocStyleCommand> {
public:
    explicit DeleteTocStyleCommand(Kernel::String tocStyleName) : m_tocStyleName(std::move(tocStyleName)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete TOC style", "Command description");
    void Do() override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend struct Kernel::FieldAccess;
    DeleteTocStyleCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteTocStyleCommand;
        return Kernel::FieldList{Kernel::Field{"TcNm", &This::m_tocStyleName}.As<TocStyleReference>(
                                     "style", "the name of a style of tables of contents"),
                                 Kernel::Field{"AlCm", &This::m_alterCommands},
                                 Kernel::Field{"TSCm", &This::m_textStyleCommands}};
    }

    Kernel::String m_tocStyleName;
};

} // namespace Commands
