// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"
#include "publishing/css_file_argument.h"

namespace Commands {

// Adds a style sheet behind those that the document's e-books carry.
class REDRAFT_API AddCssFileCommand final : public DirectedCommand<AddCssFileCommand> {
public:
    static constexpr bool c_storesBaseFirst = true;

    // Throws Kernel::Exception without a file.
    explicit AddCssFileCommand(Kernel::Counted<EPub::CSSFile const> cssFile) : m_cssFile(std::move(cssFile)) {}

    static constexpr auto c_description = Kernel::Localisable("Add CSS File", "Command description");
    void Run(Direction direction);
    void Notify(Kernel::NotificationList& notifications) override;

private:
    friend struct Kernel::FieldAccess;
    AddCssFileCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{
            Kernel::Field{"CSSF", &AddCssFileCommand::m_cssFile}.As<CssFileArgument>("file", "the style sheet")};
    }

    Kernel::Counted<EPub::CSSFile const> m_cssFile;
};

} // namespace Commands
