// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/text_command_examples.h"

#include "platform/document/exportable_commands.h"
#include "platform/kernel/type_name.h"
#include "tests/examples/scenes/publication_documents.h"

// A slice that was set up gets another name, and one that was not gets the first.
std::vector<CommandExample> ExportableExamples() {
    auto const filename = [](DocumentController& controller) {
        return SetExportableFilenameCommand::Create("another", controller.GetCurrentSpread()->GetSlicePage());
    };
    auto const include = [](DocumentController& controller) {
        return SetExportableIncludeCommand::Create(true, controller.GetCurrentSpread()->GetSlicePage());
    };
    return {{.className = std::string(Kernel::TypeName<SetExportableFilenameCommand>()),
             .prepare = ExampleDocuments::Publication,
             .make = filename},
            {.className = std::string(Kernel::TypeName<SetExportableFilenameCommand>()), .make = filename},
            {.className = std::string(Kernel::TypeName<SetExportableIncludeCommand>()), .make = include}};
}
