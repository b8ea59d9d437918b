// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/publication_documents.h"

#include "platform/document/slice_page.h"
#include "tests/examples/scenes/raster_documents.h"

namespace ExampleDocuments {

Kernel::Counted<EPub::CSSFile const> MakeCssFile(char const* name) {
    return Kernel::MakeCounted<EPub::CSSFile const>(Kernel::String(name), Kernel::String("p { margin: 0 }"));
}

Kernel::Counted<EPubCoverInfo const> MakePictureCover() {
    auto const picture = MakePicture(3, 4, Raster::FormatRGBA8);
    return Kernel::MakeCounted<EPubCoverInfo const>(EPubCoverKind::Picture, picture, Kernel::String("A small picture"));
}

Kernel::Counted<EPub::AccessibilityMetadata const> MakeAccessibility() {
    EPub::AccessibilityMetadata::Values values;
    values.accessModes = {"textual", "visual"};
    values.sufficientAccessModes = {"textual"};
    values.features = {"tableOfContents"};
    values.hazards = {"none"};
    values.summary = "All pictures are described.";
    values.conformsTo = "EPUB Accessibility 1.1 - WCAG 2.1 Level AA";
    values.certifiedBy = "The publisher";
    return Kernel::MakeCounted<EPub::AccessibilityMetadata const>(values);
}

void Publication(DocumentController& controller) {
    auto const document = controller.GetDocument();
    document->AddCssFile(MakeCssFile("first.css"), -1);
    document->AddCssFile(MakeCssFile("second.css"), -1);
    document->SetEPubCoverInfo(MakePictureCover());
    controller.SetAccessibilityMetadata(MakeAccessibility());
    auto const slice = controller.GetCurrentSpread()->GetSlicePage();
    slice->SetExportFilename("front");
    slice->SetIncludedInExport(true);
    slice->SetAssistantSetUp(true);
}

void AddSpreads(DocumentController& controller, int count) {
    auto const box = controller.GetCurrentSpread()->GetBaseBox(false);
    for (int i = 0; i != count; ++i) {
        auto const spread = Kernel::MakeCounted<SpreadNode>(box);
        spread->AddPage(Kernel::MakeCounted<PageNode>(box));
        controller.GetDocument()->InsertChild(NodeChildListType::Plain, spread, nullptr);
        controller.GetDocument()->AdoptIds(*spread);
    }
}

} // namespace ExampleDocuments
