// SPDX-License-Identifier: Apache-2.0
#include "shapes/ungroup_all_nodes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static ExampleRegistration const s_ungroupAllNodesExample({
    .className = "UngroupAllNodesCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<UngroupAllNodesCommand>();
    },
    .keptByContract = {},
});

static ExampleRegistration const s_ungroupAllNodesLooksExample({
    .className = "UngroupAllNodesCommand",
    .prepare = ExampleDocuments::GroupsWithLooks,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<UngroupAllNodesCommand>();
    },
    .keptByContract = {},
});

} // namespace Commands
