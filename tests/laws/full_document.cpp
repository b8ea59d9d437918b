// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/full_document.h"

#include "platform/document/common_property_collections.h"
#include "platform/document/generations_property.h"
#include "platform/document/mask_node.h"
#include "platform/document/pinned_node.h"
#include "platform/renderer/recorded_drawing.h"
#include "platform/story/drop_cap.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "platform/story/pin.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/generated_documents.h"
#include "tests/examples/scenes/publication_documents.h"
#include "tests/examples/scenes/raster_documents.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/support/ink_profile.h"

namespace {

// Two stops, with what every gradient needs.
std::vector<Renderer::GradientStop> MakeStops() {
    return {{0, 1, Renderer::Colour::FromRGB(1, 0, 0)}, {1, 0.5, Renderer::Colour::FromRGB(0, 0, 1)}};
}

// A drawing of one step that has every field but a filter, and a filter, repeated.
Kernel::Counted<Renderer::FillDescriptor> MakePattern(ShapeNode const& shape) {
    Renderer::DrawingStep step;
    step.curves = shape.GetOutline();
    step.fill = Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0, 1, 0));
    step.secondFill = step.fill;
    step.lineFill = step.fill;
    step.line = shape.GetLineStyleDescriptor();
    Renderer::DrawingStep filtered, unfiltered;
    filtered.kind = Renderer::DrawingStepKind::PushFilter;
    filtered.filter = Kernel::MakeCounted<Renderer::Filter>();
    unfiltered.kind = Renderer::DrawingStepKind::PopFilter;
    auto const drawing = Kernel::MakeCounted<Renderer::RecordedDrawing>(std::vector{step, filtered, unfiltered});
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::MakeConsolidated<Renderer::PatternFill>(drawing, Kernel::SizeT<double>{8, 8}), true,
        Raster::AffineTransform::Params(), Renderer::BlendMode::Normal, false);
}

// One primitive that has every field.
Kernel::Counted<Kernel::Serialisable> MakeFilter() {
    Renderer::FilterPrimitive p;
    p.kind = Renderer::FilterPrimitiveKind::Composite;
    p.inputs = {"SourceAlpha", "SourceGraphic"};
    p.result = "result";
    p.left = p.top = p.width = p.height = 1;
    p.givenSides = 15;
    p.deviationX = p.deviationY = p.offsetX = p.offsetY = 2;
    p.colour = Renderer::Colour::FromRGB(1, 0, 0);
    p.blendMode = Renderer::BlendMode::Multiply;
    p.compositeOperator = Renderer::CompositeOperator::Arithmetic;
    p.numbers = {0, 1, 0, 0};
    p.transfers = {{Renderer::TransferKind::Linear, {1, 0}}};
    Renderer::FilterSettings settings;
    settings.primitives = {p};
    return Kernel::MakeCounted<Renderer::Filter>(settings);
}

void AddShapes(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const group = Kernel::MakeCounted<GroupNode>();
    auto const shape = ExampleDocuments::MakeRectangle({0, 0, 40, 40}, 0.1, 0.2, 0.3);
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    ExampleDocuments::Append(*spread, group);
    ExampleDocuments::Append(*group, shape);
    ExampleDocuments::Append(*group, compound);
    shape->SetOwnerReference(Kernel::Counted<Node const>(group.get()));
    shape->SetTransform({1, 0, 5, 0, 1, 6}, false);
    shape->SetBlendMode(Renderer::BlendMode::Multiply);
    shape->SetVisible(false);
    shape->SetTags({"tag"});
    shape->SetGUID("guid");
    shape->SetUserDescription("name");
    ExampleDocuments::SetLine(*shape, 2);
    shape->SetLineBehindFill(true);
    shape->SetContourOffset(1);
    shape->SetOpacity(0.5);
    shape->SetTransformConstraints(3);
    shape->SetBrushFillDescriptor(MakePattern(*shape));
    compound->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::MakeConsolidated<Renderer::LinearGradientFill>(Geometry::PointDbl{0, 0}, Geometry::PointDbl{10, 0},
                                                               MakeStops()),
        true, Raster::AffineTransform::Params{2, 0, 0, 0, 2, 0}, Renderer::BlendMode::Normal, false));
    // In lists other than the plain one.
    for (auto const list : {NodeChildListType::Clipping, NodeChildListType::Adjustments, NodeChildListType::WrapShape,
                            NodeChildListType::Masks}) {
        auto const child = ExampleDocuments::MakeEllipse({0, 0, 10, 10});
        compound->InsertChild(list, child, nullptr);
    }
    auto const mask = Kernel::MakeCounted<MaskNode>(Renderer::MaskKind::Alpha);
    ExampleDocuments::Append(*mask, ExampleDocuments::MakeEllipse({0, 0, 20, 20}));
    compound->InsertChild(NodeChildListType::Masks, mask, nullptr);
    compound->SetFilterEffects({MakeFilter()});
}

// A numbered paragraph with links, an object that is pinned to it and a note, in which an anchor stands.
void AddNote(FrameTextNode& frame, Kernel::Counted<Node> const& pinned) {
    auto const anchor = Kernel::MakeCounted<Story::AnchorData>("anchor", "place");
    auto const note = Kernel::MakeCounted<Story::Story>();
    note->ReplaceText({0, 0}, Story::GlyphString(U"note"));
    note->ReplaceText({2, 2}, Story::GlyphString(Kernel::MakeCounted<Story::AnchorGlyph>(anchor)));
    auto const story = frame.GetMutableStory(true);
    story->ReplaceText({4, 4}, Story::GlyphString(Kernel::MakeCounted<Story::NoteGlyph>(
                                   Story::NoteGlyph::Kind::Endnote, Kernel::Counted<Story::Story const>(note))));
    story->ReplaceText(
        {6, 6}, Story::GlyphString(Kernel::MakeCounted<Story::PinGlyph>(Kernel::MakeCounted<PinnedNode>(pinned))));
    auto const link = [&](Story::StoryRange range, Kernel::Counted<Story::HyperlinkAtt> const& att) {
        story->FormatText(range, *Story::MakeDelta(Story::GlyphAtt::Object::Hyperlink, att));
    };
    link({0, 2}, Kernel::MakeCounted<Story::HyperlinkAtt>(Kernel::String("https://example.org/")));
    link({2, 4}, Kernel::MakeCounted<Story::HyperlinkAtt>(anchor));
    story->FormatText(
        {0, 1}, *Story::MakeDelta(Story::ParagraphAtt::Object::Numbering, Kernel::MakeCounted<Story::NumberingAtt>()));
    story->FormatText(
        {0, 1}, *Story::MakeDelta(Story::ParagraphAtt::Object::DropCap, Kernel::MakeCounted<Story::DropCapAtt>()));
}

// A generated picture, and a memory of it.
void AddGenerated(Kernel::Counted<DocumentController> const& controller) {
    auto const generated = ExampleDocuments::MakeGenerated(Raster::FormatRGBA8);
    generated->SetChosenGeneration(1);
    ExampleDocuments::Append(*controller->GetCurrentSpread(), generated);
    Raster::ICCProfileSet profiles;
    profiles.Set(Support::MakeInkProfile());
    auto const collection = CommonPropertyCollections::MakeMutableSession(
                                controller, CommonPropertyCollections::tagCollectionGenerationsUID)
                                .GetPropertyCollection();
    CloneContext context(CloneType::Copy);
    auto const group = collection->AddNode(collection->GetRootNode(), "whales");
    collection->AddLeaf(group, "first",
                        Kernel::MakeCounted<GenerationsProperty>(Kernel::Counted<Node const>(generated->Clone(context)),
                                                                 Raster::FormatCMYKA8, profiles));
}

} // namespace

Kernel::Counted<DocumentController> MakeFullDocument() {
    auto const controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 2);
    AddShapes(*controller);
    ExampleDocuments::SymbolWithInstances(*controller);
    ExampleDocuments::CloudSyncedBox(*controller);
    ExampleDocuments::TextFrames(*controller);
    ExampleDocuments::SelectedPixels(*controller);
    auto const profile = Kernel::MakeCounted<Geometry::CurveDbl>();
    profile->MoveTo({0, 0});
    profile->LineTo({1, 1});
    controller->AddPressureProfile(profile);
    controller->SetChannelMask(3);
    AddGenerated(controller);
    ExampleDocuments::Publication(*controller);
    auto const text = ExampleDocuments::MakeTextFrame({0, 0, 100, 20}, "selected");
    AddNote(*text, Kernel::Counted<Node>(controller->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain)));
    ExampleDocuments::Append(*controller->GetCurrentSpread(), text);
    MutableSelection selection;
    selection.AddItem(Kernel::MakeCounted<SubSelectionItem>(text, Kernel::MakeCounted<TextSelection>(1, 3)), false);
    controller->SetSelection(selection.CloneImmutable(), false);
    return controller;
}
