// SPDX-License-Identifier: Apache-2.0
#include "generative/class_list.h"

#include "generative/generate_image_node_command.h"
#include "generative/generate_vector_node_command.h"
#include "generative/remove_bg_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetGenerativeClasses() {
    return {
        Listed<GenerateImageNodeCommand, AddChildNodesCommand>("GINC", 1, Coverage::Yes),
        Listed<GenerateVectorNodeCommand, AddChildNodesCommand>("GVNC", 1, Coverage::Yes),
        Listed<RemoveBGCommand, RasterCommand>("RmBG", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
