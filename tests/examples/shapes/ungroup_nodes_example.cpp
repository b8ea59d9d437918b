// SPDX-License-Identifier: Apache-2.0
#include "shapes/ungroup_nodes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static ExampleRegistration const s_ungroupNodesExample({
    .className = "UngroupNodesCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make = Constructs<UngroupNodesCommand>(),
});

static ExampleRegistration const s_ungroupNodesLooksExample({
    .className = "UngroupNodesCommand",
    .prepare = ExampleDocuments::GroupsWithLooks,
    .make = Constructs<UngroupNodesCommand>(),
});

static ExampleRegistration const s_ungroupNodesConstraintsExample({
    .className = "UngroupNodesCommand",
    .prepare = ExampleDocuments::ConstraintsGroup,
    .make = Constructs<UngroupNodesCommand>(),
    .lateFields = {"RACs"},
});

static ExampleRegistration const s_ungroupNodesBoxExample({
    .className = "UngroupNodesCommand",
    .prepare = ExampleDocuments::CloudSyncedBox,
    .make = Constructs<UngroupNodesCommand>(),
    .keptAfterReload = "What stood in the box is put back as an ordinary child of it.",
});

static ExampleRegistration const s_ungroupNodesInstanceExample({
    .className = "UngroupNodesCommand",
    .prepare = ExampleDocuments::SymbolWithInstances,
    .make = Constructs<UngroupNodesCommand>(),
    .untold = {CommandExample::Untold::Links},
});

} // namespace Commands
