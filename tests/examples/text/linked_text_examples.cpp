// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/embed_linked_text_command.h"
#include "text/locate_text_resource_command.h"

namespace Commands {

// Paragraphs of two files, and one of none.
static ExampleRegistration const s_embedExample({
    .className = "EmbedLinkedTextCommand",
    .prepare = [](DocumentController& controller) { ExampleDocuments::LinkedText(controller); },
    .make = Constructs<EmbedLinkedTextCommand>(nullptr),
    .filePaths = {"one.txt", "two.txt"},
});

static ExampleRegistration const s_locateExample({
    .className = "LocateTextResourceCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::LinkedText(controller);
            ExampleDocuments::Select(controller, {});
        },
    .make =
        [](DocumentController& controller) {
            auto* const frame = controller.GetCurrentSpread()->GetLastChild(NodeChildListType::Plain);
            return Kernel::MakeCounted<LocateTextResourceCommand>(Kernel::MakeCounted<Selection const>(
                Kernel::Counted<Node>(frame), Kernel::MakeCounted<TextSelection>(0, 12)));
        },
    .filePaths = {"one.txt", "two.txt"},
});

} // namespace Commands
