// SPDX-License-Identifier: Apache-2.0
#include "lines/class_list.h"

#include "lines/set_artboard_properties_command.h"
#include "lines/set_fill_scale_with_object_commands.h"
#include "lines/set_line_descriptor_command.h"
#include "lines/set_scale_line_style_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetLinesClasses() {
    return {
        Listed<SetArtboardPropertiesCommand, SelectionCommandBase>("SAbP", 1, Coverage::Yes),
        Listed<SetBrushFillScaleWithObjectCommand, SelectionCommandBase>("SBFS", 1, Coverage::Yes),
        Listed<SetLineDescriptorCommand, SelectionCommandBase>("SLDC", 1, Coverage::Yes),
        Listed<SetPenFillScaleWithObjectCommand, SelectionCommandBase>("SPFS", 1, Coverage::Yes),
        Listed<SetScaleLineStyleCommand, SelectionCommandBase>("SSlC", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
