// SPDX-License-Identifier: Apache-2.0
#include "contents/class_list.h"

#include "contents/delete_toc_style_command.h"
#include "contents/rename_toc_style_command.h"
#include "contents/update_toc_style_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetContentsClasses() {
    return {
        Listed<DeleteTocStyleCommand, DocumentCommand>("DlTS", 1, Coverage::Yes),
        Listed<RenameTocStyleCommand, DocumentCommand>("RnTS", 1, Coverage::Yes),
        Listed<UpdateTocStyleCommand, DocumentCommand>("UpTS", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
