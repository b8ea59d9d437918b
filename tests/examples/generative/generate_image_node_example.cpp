// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_image_node_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/scripted_models.h"

namespace Commands {

namespace {

using Inference = Learning::RemoteInference;
constexpr std::string_view c_rememberedCopy = "The document remembers a copy of the generated object.";

Kernel::Counted<DocumentCommand> MakeImageCommand(std::vector<Kernel::SizeT<int>> const& sizes) {
    ExampleDocuments::UseGenerator(sizes, false);
    return Kernel::MakeCounted<GenerateImageNodeCommand>("a whale in a storm", "ships", static_cast<int>(sizes.size()),
                                                         Kernel::String(), Inference::TextToImageAspect::Square,
                                                         OptionalPicture(), Inference::TextToImageGuidanceMode::None,
                                                         false, Inference::GenerationStyle::None);
}

} // namespace

static ExampleRegistration const s_generateImageNodeExample({
    .className = "GenerateImageNodeCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make =
        [](auto&) {
            return MakeImageCommand({{300, 200}});
        },
    .keptByContract = c_rememberedCopy,
    .keptInDocument = true,
});

// Larger than the page, and of two sizes.
static ExampleRegistration const s_generateLargeImagesExample({
    .className = "GenerateImageNodeCommand",
    .make =
        [](auto&) {
            return MakeImageCommand({{900, 300}, {64, 64}});
        },
    .keptByContract = c_rememberedCopy,
    .keptInDocument = true,
});

static ExampleRegistration const s_generateInkImageExample({
    .className = "GenerateImageNodeCommand",
    .prepare = [](auto& controller) { controller.GetDocument()->SetFormat(Raster::FormatCMYKA8); },
    .make =
        [](auto&) {
            return MakeImageCommand({{80, 60}, {80, 60}});
        },
    .keptByContract = c_rememberedCopy,
    .keptInDocument = true,
});

static ExampleRegistration const s_generateDeepImageExample({
    .className = "GenerateImageNodeCommand",
    .prepare = [](auto& controller) { controller.GetDocument()->SetFormat(Raster::FormatRGBA16); },
    .make =
        [](auto&) {
            return MakeImageCommand({{80, 60}});
        },
    .keptByContract = c_rememberedCopy,
    .keptInDocument = true,
});

} // namespace Commands
