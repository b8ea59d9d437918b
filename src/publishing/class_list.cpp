// SPDX-License-Identifier: Apache-2.0
#include "publishing/class_list.h"

#include "publishing/add_css_file_command.h"
#include "publishing/assistant_export_setup_command.h"
#include "publishing/export_story_command.h"
#include "publishing/remove_css_file_command.h"
#include "publishing/set_document_accessibility_metadata_command.h"
#include "publishing/set_epub_cover_info_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetPublishingClasses() {
    return {
        Listed<AddCssFileCommand, DocumentCommand>("ACSS", 1, Coverage::No),
        Listed<AssistantExportSetupCommand, DocumentCommand>("AESC", 1, Coverage::Yes),
        Listed<ExportStoryCommand, SelectionCommandBase>("ExSt", 1, Coverage::No),
        Listed<RemoveCssFileCommand, DocumentCommand>("RCSS", 1, Coverage::No),
        Listed<SetDocumentAccessibilityMetadataCommand, DocumentCommand>("SAcC", 1, Coverage::No),
        Listed<SetEPubCoverInfoCommand, void>("SECI", 1, Coverage::No),
    };
}
// clang-format on

} // namespace Commands
