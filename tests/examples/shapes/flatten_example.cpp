// SPDX-License-Identifier: Apache-2.0
#include "shapes/flatten_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static Kernel::Counted<DocumentCommand> MakeFlatten(DocumentController&) {
    return Kernel::MakeCounted<FlattenCommand>();
}

// Small, so that the many runs of the laws draw few pixels. Objects reach out of it, and its box does not begin at the
// origin.
static ExampleRegistration const s_flattenExample({
    .className = "FlattenCommand",
    .prepare =
        [](DocumentController& document) {
            ExampleDocuments::NestedGroups(document);
            document.GetCurrentSpread()->SetBaseBox({-8, 12.5, 150.75, 110.25});
        },
    .make = MakeFlatten,
    .keptByContract = {},
    .tellsWholeDocument = true,
});

static ExampleRegistration const s_flattenEmptySpreadExample({
    .className = "FlattenCommand",
    .prepare =
        [](DocumentController& document) {
            document.GetCurrentSpread()->SetBaseBox({0, 0, 20, 10});
        },
    .make = MakeFlatten,
    .keptByContract = {},
    .tellsWholeDocument = true,
});

} // namespace Commands
