// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"
#include "platform/epub/css_file.h"

namespace Commands {

// Removes a style sheet from those that the document's e-books carry.
class REDRAFT_API RemoveCssFileCommand final : public DirectedCommand<RemoveCssFileCommand> {
public:
    static constexpr bool c_storesBaseFirst = true;

    // The file's place in the document's list, from 0.
    explicit RemoveCssFileCommand(int index) : m_index(index) {}

    static constexpr auto c_description = Kernel::Localisable("Remove CSS File", "Command description");
    // Throws Kernel::Exception where the list has no such place.
    void Run(Direction direction);
    void Notify(Kernel::NotificationList& notifications) override;

private:
    friend struct Kernel::FieldAccess;
    RemoveCssFileCommand() = default;
    static constexpr auto Fields() {
        using This = RemoveCssFileCommand;
        return Kernel::FieldList{Kernel::Field{"CSSF", &This::m_cssFile},
                                 Kernel::Field{"indx", &This::m_index}
                                     .As("index", "the style sheet's place in the list, from 0")
                                     .AtLeast(0)};
    }

    Kernel::Counted<EPub::CSSFile const> m_cssFile;
    int m_index = 0;
};

} // namespace Commands
