// SPDX-License-Identifier: Apache-2.0
#include "lines/set_fill_scale_with_object_commands.h"
#include "lines/set_scale_line_style_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/line_documents.h"

namespace Commands {

namespace {

// These change no pixel.
ExampleRegistration const s_setBrushScaleExample({
    .className = "SetBrushFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make = Constructs<SetBrushFillScaleWithObjectCommand>(false, nullptr),
    .untold = {CommandExample::Untold::Area},
});

ExampleRegistration const s_setPenScaleExample({
    .className = "SetPenFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make = Constructs<SetPenFillScaleWithObjectCommand>(false, nullptr),
    .untold = {CommandExample::Untold::Area},
});

ExampleRegistration const s_setScaleLineExample({
    .className = "SetScaleLineStyleCommand",
    .prepare = ExampleDocuments::Lines,
    .make = Constructs<SetScaleLineStyleCommand>(false, ContentType::Object, false, true,
                                                 LineCommandDefaultsMode::SelectionOnly, nullptr),
});

} // namespace

} // namespace Commands
