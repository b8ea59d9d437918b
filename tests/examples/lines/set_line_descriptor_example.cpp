// SPDX-License-Identifier: Apache-2.0
#include "lines/set_line_descriptor_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/line_documents.h"

namespace Commands {

namespace {

LineArgument const c_wide{.weight = 6,
                          .cap = Renderer::LineCap::Round,
                          .join = Renderer::LineJoin::Round,
                          .brushRoundness = 0.4,
                          .brushAngle = 30,
                          .dash = {2, 1.5},
                          .alignment = Renderer::StrokeAlignment::Outside,
                          .behindFill = true,
                          .scaleWithObject = false,
                          .startHead = ArrowHeadShape::Arrow,
                          .endHead = ArrowHeadShape::Circle,
                          .endHeadScale = 1.5};

Kernel::Counted<DocumentCommand> MakeSetLine(int mask, ContentType contentType, LineCommandDefaultsMode mode) {
    return Kernel::MakeCounted<SetLineDescriptorCommand>(c_wide, mask, contentType, false, true, mode,
                                                         Kernel::Counted<Selection const>());
}

ExampleRegistration const s_setLineExample({
    .className = "SetLineDescriptorCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](DocumentController&) { return MakeSetLine(0, ContentType::Object, LineCommandDefaultsMode::SelectionOnly); },
});

// The frames of texts, and what new objects get.
ExampleRegistration const s_setLineOfFramesExample({
    .className = "SetLineDescriptorCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](DocumentController&) {
            return MakeSetLine(1 << 1 | 1 << 6 | 1 << 12, ContentType::Frame,
                               LineCommandDefaultsMode::SelectionAndDefaults);
        },
});

} // namespace

} // namespace Commands
