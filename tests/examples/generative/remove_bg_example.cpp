// SPDX-License-Identifier: Apache-2.0
#include "generative/remove_bg_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/raster_documents.h"
#include "tests/examples/scenes/scripted_models.h"

namespace Commands {

namespace {

template <Raster::Format format>
void Layer(DocumentController& controller) {
    ExampleDocuments::Select(
        controller, {ExampleDocuments::AppendPicture(controller, 300, 120, format, {1.5, -0.5, 90, 0.5, 1.5, 60})});
}

Kernel::Counted<DocumentCommand> MakeRemoval(std::optional<Raster::Format> answer) {
    ExampleDocuments::UseRemover(answer);
    return Kernel::MakeCounted<RemoveBGCommand>(OstraAICommandSource::Unknown);
}

} // namespace

// On a plain ground, which needs no model.
static ExampleRegistration const s_removeBGOfPlainGroundExample({
    .className = "RemoveBGCommand",
    .prepare =
        [](auto& controller) {
            auto const layer = Kernel::MakeCounted<RasterNode>();
            layer->SetBitmap(ExampleDocuments::MakeModelPicture(360, 240, true));
            layer->SetTransform({1, 0, 60, 0, 1, 80}, false);
            ExampleDocuments::Append(*controller.GetCurrentSpread(), layer);
            ExampleDocuments::Select(controller, {layer});
        },
    .make = [](auto&) { return MakeRemoval({}); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_removeBGExample({
    .className = "RemoveBGCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return MakeRemoval({}); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_removeBGOfLayersExample({
    .className = "RemoveBGCommand",
    .prepare = ExampleDocuments::RasterLayers,
    .make = [](auto&) { return MakeRemoval({}); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_removeBGOfInkExample({
    .className = "RemoveBGCommand",
    .prepare = Layer<Raster::FormatCMYKA8>,
    .make = [](auto&) { return MakeRemoval(Raster::FormatRGBA8); },
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_removeBGOfDeepPixelsExample({
    .className = "RemoveBGCommand",
    .prepare = Layer<Raster::FormatRGBA16>,
    .make = [](auto&) { return MakeRemoval(Raster::FormatRGBA8); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
