// SPDX-License-Identifier: Apache-2.0
#include "shapes/ungroup_all_nodes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static ExampleRegistration const s_ungroupAllNodesExample({
    .className = "UngroupAllNodesCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make = Constructs<UngroupAllNodesCommand>(),
});

static ExampleRegistration const s_ungroupAllNodesLooksExample({
    .className = "UngroupAllNodesCommand",
    .prepare = ExampleDocuments::GroupsWithLooks,
    .make = Constructs<UngroupAllNodesCommand>(),
});

} // namespace Commands
