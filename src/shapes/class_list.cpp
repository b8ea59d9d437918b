// SPDX-License-Identifier: Apache-2.0
#include "shapes/class_list.h"

#include "shapes/convert_to_art_text_command.h"
#include "shapes/divide_shapes_command.h"
#include "shapes/edit_wrap_shape_command.h"
#include "shapes/fill_holes_command.h"
#include "shapes/flatten_command.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetShapesClasses() {
    return {
        Listed<ConvertToArtTextCommand, SelectionCommandBase>("C2AT", 1, Coverage::Yes),
        Listed<DivideShapesCommand, SelectionCommandBase>("DiSC", 1, Coverage::Yes),
        Listed<EditWrapShapeCommand, DocumentCommand>("EWSC", 1, Coverage::Yes),
        Listed<FillHolesCommand, DocumentCommand>("FHsC", 1, Coverage::Yes),
        Listed<FlattenCommand, DocumentCommand>("Fltn", 1, Coverage::Yes),
        Listed<UngroupAllNodesCommand, SelectionCommandBase>("UANC", 1, Coverage::Yes),
        Listed<UngroupNodesCommand, SelectionCommandBase>("UGNC", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
