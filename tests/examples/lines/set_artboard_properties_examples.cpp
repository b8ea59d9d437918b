// SPDX-License-Identifier: Apache-2.0
#include "lines/set_artboard_properties_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/artboard_documents.h"

namespace Commands {

namespace {

using Size = Kernel::SizeT<double>;

Kernel::Counted<DocumentCommand> Set(ArtboardChanges const& changes) {
    return Kernel::MakeCounted<SetArtboardPropertiesCommand>(changes, Kernel::Counted<Selection const>());
}

ArtboardNode& First(DocumentController& controller) {
    return static_cast<ArtboardNode&>(*controller.GetCurrentSpread()->GetArtboardAtIndex(0)->GetNode());
}

// The neighbours move along.
ExampleRegistration const s_sizeExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare = ExampleDocuments::Artboards,
    .make =
        [](auto&) {
            return Set({.size = Size{130, 170}});
        },
});

ExampleRegistration const s_anchoredExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::Artboards(controller);
            // Turned, so that the way of the content is one in the board's own space.
            First(controller).SetTransform({0.8, -0.6, 40, 0.6, 0.8, 10}, false);
            auto const disabled = controller.GetCurrentSpread()->GetArtboardAtIndex(1);
            disabled->SetArtboardEnabled(false);
            ExampleDocuments::Select(controller,
                                     {disabled->GetNode().ToCounted(), First(controller).GetNode().ToCounted()});
        },
    .make =
        [](auto&) {
            return Set({.size = Size{90, 165}, .anchor = SpatialAnchor::Centre});
        },
});

ExampleRegistration const s_scaledExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare = ExampleDocuments::Artboards,
    .make =
        [](auto&) {
            return Set({.size = Size{130, 225}, .anchor = SpatialAnchor::ScaleContent});
        },
});

ExampleRegistration const s_emptiedExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare = ExampleDocuments::Artboards,
    .make =
        [](auto&) {
            return Set({.size = Size{0, 150}, .anchor = SpatialAnchor::ScaleContent});
        },
});

ExampleRegistration const s_marginsExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare = ExampleDocuments::Artboards,
    .make =
        [](auto&) {
            return Set({.useMargins = true,
                        .margins = Kernel::EdgeOffsetsT<double>{5, 10, 5, 10},
                        .marginFill = Kernel::MakeCounted<Renderer::FillDescriptor const>(
                            Renderer::Colour::FromRGB(0.8, 0.4, 0.8)),
                        .drawingScale = Kernel::PointT<double>{1, 50}});
        },
});

// 15 * 1.1 / 1.1 differs from 15 in the last bit; the same once more makes no further difference.
ExampleRegistration const s_guidesExample({
    .className = "SetArtboardPropertiesCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::Artboards(controller);
            auto const properties = First(controller).GetArtboardProperties();
            properties->SetGuides(0, {15, 60});
            properties->SetGuides(1, {120});
            properties->SetMargins({15, 4, 6, 8});
            properties->SetColumnGuides({15, 100});
        },
    .make =
        [](auto&) {
            return Set({.size = Size{110, 165}, .anchor = SpatialAnchor::ScaleContent});
        },
    .keptByContract = SetArtboardPropertiesCommand::c_keptByUndo,
    .keptInDocument = true,
});

} // namespace

} // namespace Commands
