// SPDX-License-Identifier: Apache-2.0
#include "text/class_list.h"

#include "text/add_caption_command.h"
#include "text/add_custom_field_command.h"
#include "text/caption_counter_type_command.h"
#include "text/change_cross_reference_command.h"
#include "text/create_custom_field_from_text_command.h"
#include "text/delete_custom_field_command.h"
#include "text/embed_linked_text_command.h"
#include "text/legacy_set_cross_reference_text_for_language_command.h"
#include "text/locate_text_resource_command.h"
#include "text/rename_custom_field_command.h"
#include "text/set_anchor_data_guid_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetTextClasses() {
    return {
        Listed<AddCaptionCommand, AddChildNodesCommand>("ACpC", 1, Coverage::No),
        Listed<AddCustomFieldCommand, DocumentCommand>("acfc", 1, Coverage::Yes),
        Listed<CaptionCounterTypeCommand, DocumentCommand>("CCTC", 1, Coverage::No),
        Listed<ChangeCrossReferenceCommand, SelectionCommandBase>("CCRA", 2, Coverage::Yes),
        Listed<CreateCustomFieldFromTextCommand, SelectionCommandBase>("CCFT", 1, Coverage::Yes),
        Listed<DeleteCustomFieldCommand, DocumentCommand>("dcfc", 1, Coverage::Yes),
        Listed<EmbedLinkedTextCommand, FormatTextCommand>("eltc", 1, Coverage::No),
        Listed<LegacySetCrossReferenceTextForLanguageCommand, DocumentCommand>("SCFL", 1, Coverage::Yes),
        Listed<LocateTextResourceCommand, SetCurrentSelectionCommand>("LTRC", 1, Coverage::Yes),
        Listed<RenameCustomFieldCommand, DocumentCommand>("rcfc", 1, Coverage::Yes),
        Listed<SetAnchorDataGUIDCommand, DocumentCommand>("SITG", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
