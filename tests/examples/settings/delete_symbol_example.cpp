// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/delete_symbol_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

static ExampleRegistration const s_deleteSymbolExample({
    .className = "DeleteSymbolCommand",
    .prepare = ExampleDocuments::SymbolWithInstances,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DeleteSymbolCommand>(controller.GetSymbolAtIndex(0));
    },
});

} // namespace Commands
