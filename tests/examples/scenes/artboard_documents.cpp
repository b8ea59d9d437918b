// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/artboard_documents.h"

#include "tests/examples/scenes/text_documents.h"

namespace ExampleDocuments {

Kernel::Counted<ArtboardNode> AppendArtboard(DocumentController& controller, char const* name,
                                             Kernel::RectT<double> box) {
    auto artboard = Kernel::MakeCounted<ArtboardNode>(box);
    artboard->SetUserDescription(name);
    artboard->SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0.93, 0.94, 0.98)));
    Append(*controller.GetCurrentSpread(), artboard);
    return artboard;
}

void Artboards(DocumentController& controller) {
    auto const cover = AppendArtboard(controller, "Cover", {20, 30, 120, 180});
    auto const inside = AppendArtboard(controller, "Inside", {140, 30, 240, 180});
    auto const back = AppendArtboard(controller, "Back", {260, 50, 350, 165});
    auto const flap = AppendArtboard(controller, "Flap", {40, 200, 110, 240});
    Append(*cover, MakeRectangle({30, 40, 70, 80}, 0.85, 0.3, 0.2));
    auto const group = Kernel::MakeCounted<GroupNode>();
    group->SetTransform({0.9, -0.1, 10, 0.1, 0.9, -4}, false);
    Append(*group, MakeRectangle({65, 95, 105, 110}, 0.2, 0.5, 0.4));
    Append(*group, MakeRectangle({75, 115, 95, 125}, 0.2, 0.4, 0.7));
    Append(*cover, group);
    Append(*cover, MakeTextFrame({30, 140, 110, 170}, "A cover, and its text"));
    Append(*inside, MakeRectangle({150, 40, 230, 60}, 0.9, 0.7, 0.2));
    Append(*back, MakeRectangle({280, 75, 330, 140}, 0.5, 0.3, 0.6));
    Append(*flap, MakeRectangle({50, 210, 100, 230}, 0.3, 0.6, 0.3));
    Select(controller, {cover});
}

} // namespace ExampleDocuments
