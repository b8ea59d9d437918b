// SPDX-License-Identifier: Apache-2.0
#include "shapes/divide_shapes_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"

namespace Commands {

static ExampleRegistration const s_divideShapesExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::OverlappingShapes,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
});

static ExampleRegistration const s_divideShapesRetainExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::ClippedAndOpenShapes,
    .make = Constructs<DivideShapesCommand>(true, nullptr),
});

static ExampleRegistration const s_divideShapesTextExample({
    .className = "DivideShapesCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const text = ExampleDocuments::MakeTextFrame({40, 40, 240, 140}, "Cut letters");
            ExampleDocuments::SetFill(*text, 1, 0.9, 0.6);
            // A stretch of another colour is an input of its own, and its pieces stand below those before it.
            text->GetMutableStory(true)->FormatText(
                {4, 8},
                *Story::MakeDelta(Story::GlyphAtt::Object::Fill, Kernel::MakeCounted<Renderer::FillDescriptor>(
                                                                     Renderer::Colour::FromRGB(0.7f, 0.1f, 0.1f))));
            text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
            auto const shape = ExampleDocuments::MakeRectangle({60, 30, 90, 150}, 0.2, 0.3, 0.8);
            ExampleDocuments::Append(*controller.GetCurrentSpread(), text);
            ExampleDocuments::Append(*controller.GetCurrentSpread(), shape);
            ExampleDocuments::Select(controller, {text, shape});
        },
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
});

static ExampleRegistration const s_divideShapesFallbackExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::ShapesApart,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
});

} // namespace Commands
