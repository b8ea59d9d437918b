// SPDX-License-Identifier: Apache-2.0
#include "publishing/export_story_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/text_documents.h"

namespace Commands {

// Into a folder that cannot be: the story is composed and written, and the file is not there.
static ExampleRegistration const s_exportStoryExample({
    .className = "ExportStoryCommand",
    .prepare = ExampleDocuments::TextFrames,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ExportStoryCommand>(controller.GetCurrentSelection(), "/dev/null/x.epub",
                                                           nullptr);
        },
});

} // namespace Commands
