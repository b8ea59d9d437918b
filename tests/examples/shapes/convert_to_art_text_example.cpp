// SPDX-License-Identifier: Apache-2.0
#include "shapes/convert_to_art_text_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/text_documents.h"

namespace Commands {

static ExampleRegistration const s_convertToArtTextExample({
    .className = "ConvertToArtTextCommand",
    .prepare = ExampleDocuments::TextFrames,
    .make = Constructs<ConvertToArtTextCommand>(),
});

} // namespace Commands
