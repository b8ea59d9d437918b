// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/generated_documents.h"

#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/raster_documents.h"

namespace ExampleDocuments {

Kernel::Counted<GeneratedImageNode> MakeGenerated(Raster::Format format) {
    auto const node = Kernel::MakeCounted<GeneratedImageNode>();
    Raster::ICCProfileSet const profiles;
    auto const profile = profiles.Get(Raster::GetFormatInfo(format).colourModel);
    using Generation = GenerativeInterface::Generation;
    node->SetGenerations({Generation("a whale", MakePicture(90, 60, format), profile, {}),
                          Generation("a whale at night", MakePicture(120, 100, format), profile, {}),
                          Generation("a ship", MakePicture(50, 40, format), profile, {2, 0, 10, 0, 2, 5})});
    auto const mask = Kernel::MakeCounted<Raster::DynamicBitmap>(90, 60, Raster::FormatA8);
    Raster::DynamicPixel shown(Raster::FormatA8), faint(Raster::FormatA8);
    shown.SetSample(0, 255);
    faint.SetSample(0, 90);
    mask->Clear(shown);
    mask->GetMutableBase().Fill({0, 0, 30, 60}, faint);
    node->SetGenerationMask(mask);
    return node;
}

void GeneratedImages(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const first = MakeGenerated(Raster::FormatRGBA8), turned = MakeGenerated(Raster::FormatCMYKA8),
               single = MakeGenerated(Raster::FormatRGBAF);
    first->SetTransform({1, 0, 40, 0, 1, 60}, false);
    turned->SetTransform({0.8, -0.6, 300, 0.6, 0.8, 60}, false);
    turned->SetOpacity(0.5);
    single->SetGenerations({single->GetGenerations().front()});
    single->SetTransform({2, 0, 100, 0, 2, 400}, false);
    auto const shape = MakeRectangle({400, 400, 500, 450}, 0.2, 0.6, 0.1);
    for (Kernel::Counted<Node> const& node : std::vector<Kernel::Counted<Node>>{first, turned, single, shape})
        Append(*spread, node);
    Select(controller, {first, turned, single, shape});
}

} // namespace ExampleDocuments
