// SPDX-License-Identifier: Apache-2.0
#include "platform/document/vectorise_object_command.h"

#include "engine/tracing/trace.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/generated_image_node.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/icc_manager.h"
#include "platform/renderer/colour_profiles.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace {

TracingOptions BringIntoRange(TracingOptions options) {
    TracingOptions const defaults;
    options.colours = std::clamp(options.colours, 0, TracingOptions::c_mostColours);
    options.tolerance =
        std::isfinite(options.tolerance) ? std::clamp(options.tolerance, 0.05, 10.0) : defaults.tolerance;
    options.smallestArea = std::clamp(options.smallestArea, 1, 1 << 20);
    return options;
}

// In sRGB.
Tracing::Picture MakePicture(Raster::DynamicBitmap const& bitmap) {
    auto const size = bitmap.GetSize();
    if (std::int64_t{size.width} * size.height > Tracing::c_mostPixels)
        throw Kernel::Exception("the picture is too large to be traced");
    Tracing::Picture picture{size.width, size.height, {}};
    picture.pixels.resize(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    auto const converter = Raster::ICCManager::GetInstance().MakeConverter(bitmap.GetFormat(), bitmap.GetProfile(),
                                                                           Raster::FormatRGBA8, {});
    constexpr int c_rows = 256;
    for (int top = 0; top < size.height; top += c_rows) {
        int const rows = std::min(c_rows, size.height - top);
        auto* const to = &picture.pixels[static_cast<std::size_t>(top) * static_cast<std::size_t>(size.width)];
        auto const rowBytes = static_cast<std::size_t>(size.width) * sizeof(Tracing::Picture::Pixel);
        Kernel::RectT<int> const band{0, top, size.width, top + rows};
        if (converter->IsIdentity() && bitmap.GetFormat() == Raster::FormatRGBA8) {
            bitmap.ReadPixels(band, to, rowBytes);
            continue;
        }
        Raster::BufferRGBA8 converted(size.width, rows);
        Raster::ConvertPixels(*bitmap.GetBase(), band, converted, *converter);
        converted.ReadPixels({0, 0, size.width, rows}, to, rowBytes);
    }
    return picture;
}

Renderer::Colour ToColour(Tracing::Picture::Pixel const& pixel) {
    auto const part = [&](std::size_t i) { return static_cast<float>(pixel[i]) / 255; };
    return Renderer::Colour::FromRGB(part(0), part(1), part(2), part(3));
}

Kernel::Counted<Renderer::FillDescriptor const> MakeFill(Renderer::Colour const& colour) {
    Kernel::Consolidated<Renderer::Fill> const fill = Kernel::MakeConsolidated<Renderer::SolidFill>(colour);
    return Kernel::MakeCounted<Renderer::FillDescriptor>(fill, true, Raster::AffineTransform::Params(),
                                                         Renderer::BlendMode::Normal, false);
}

// The states that a drawing takes over, beside its name and its place.
constexpr InterfaceId c_keptStates[] = {InterfaceId::Visibility, InterfaceId::Editability, InterfaceId::Transparency,
                                        InterfaceId::BlendMode,  InterfaceId::TextWrap,    InterfaceId::FilterEffects,
                                        InterfaceId::Hyperlink,  InterfaceId::Metadata,    InterfaceId::ExportTagging};

// The drawing stands as the picture did, under the same masks, clips and filters, and has its captions and all that
// stands in it.
void TakeOverLook(SceneNode const& picture, GroupNode& drawing, Raster::AffineTransform::Params const& toNode) {
    drawing.SetTransform(picture.GetMatrix() * toNode, false);
    drawing.SetTransformConstraints(picture.GetTransformConstraints());
    for (auto const id : c_keptStates)
        drawing.SetState(id, Kernel::Counted<InterfaceState const>(picture.FindState(id)));
    CloneContext context(CloneType::Copy);
    for (int i = 0; i != c_childListCount; ++i) {
        auto const list = static_cast<NodeChildListType>(i);
        for (Node const* child = picture.GetFirstChild(list); child != nullptr; child = child->GetNextSibling()) {
            auto const copy = child->Clone(context);
            if (auto* const place = Kernel::CastPointer<TransformInterface>(copy.get()))
                place->SetTransform(toNode.GetInverse() * place->GetMatrix(), false);
            drawing.InsertChild(list, copy, nullptr);
        }
    }
}

} // namespace

VectoriseObjectCommand::VectoriseObjectCommand() : VectoriseObjectCommand(TracingOptions()) {}

VectoriseObjectCommand::VectoriseObjectCommand(TracingOptions const& options,
                                               Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)) {
    auto const usable = BringIntoRange(options);
    m_colours = usable.colours;
    m_tolerance = usable.tolerance;
    m_smallestArea = usable.smallestArea;
    AppendTranslator(std::make_unique<TerminatingTranslatorT<VectoriseObjectCommand, RasterNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<VectoriseObjectCommand, ImageNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<VectoriseObjectCommand, GeneratedImageNode>>());
}

VectoriseObjectCommand::~VectoriseObjectCommand() = default;

Kernel::Counted<GroupNode> VectoriseObjectCommand::VectoriseBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap,
                                                                   Kernel::String description) {
    if (!bitmap || bitmap->IsEmpty())
        throw Kernel::Exception("the bitmap has no pixels");
    auto const options = BringIntoRange(GetOptions());
    auto const shapes = Tracing::TracePicture(MakePicture(*bitmap),
                                              {options.colours == 0 ? TracingOptions::c_mostColours : options.colours,
                                               options.tolerance, options.smallestArea, &m_abort});
    auto group = Kernel::MakeCounted<GroupNode>();
    group->SetUserDescription(std::move(description));
    std::map<Tracing::Picture::Pixel, Kernel::Counted<Renderer::FillDescriptor const>> fills;
    for (auto const& shape : shapes) {
        auto& fill = fills[shape.colour];
        if (!fill)
            fill = MakeFill(ToColour(shape.colour));
        auto const node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(shape.outline);
        node->SetWindingOrderMode(Geometry::WindingOrderMode::NonZero);
        node->SetBrushFillDescriptor(fill);
        group->InsertChild(NodeChildListType::Plain, node, nullptr);
    }
    return group;
}

void VectoriseObjectCommand::ConvertColours(GroupNode& drawing, Raster::ICCProfileSet const& profiles) {
    Raster::ICCProfileSet const srgb;
    if (profiles.Get(Raster::ColourModel::RGB) == srgb.Get(Raster::ColourModel::RGB))
        return;
    std::map<Renderer::FillDescriptor const*, Kernel::Counted<Renderer::FillDescriptor const>> converted;
    for (auto* child = drawing.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto* const shape = Kernel::CastPointer<PolyCurveNode>(child);
        auto const fill = shape == nullptr ? nullptr : shape->GetBrushFillDescriptor(false);
        auto const* const solid =
            !fill ? nullptr : Kernel::CastPointer<Renderer::SolidFill const>(fill->GetFill().get());
        if (solid == nullptr)
            continue;
        auto& result = converted[fill.get()];
        if (!result)
            result = MakeFill(Renderer::ConvertColour(solid->GetColour(), srgb, Renderer::ColourFormat::RGB, profiles));
        shape->SetBrushFillDescriptor(result);
    }
}

Kernel::LocalisedString VectoriseObjectCommand::GetDescription() const {
    return Kernel::LocalisedString("Vectorise object", "Command description");
}

Kernel::Counted<DocumentCommand> VectoriseObjectCommand::Clone() const {
    return Kernel::MakeCounted<VectoriseObjectCommand>(GetOptions(), GetGivenSelection());
}

bool VectoriseObjectCommand::ShouldStackForUndo() const {
    std::vector<Kernel::Counted<Node>> nodes;
    GetNewNodes(nodes);
    return !nodes.empty();
}

void VectoriseObjectCommand::Do() {
    SetDirection(Direction::Do);
    m_workSelection = Kernel::MakeCounted<MutableSelection>();
    SelectionCommandBase::Do();
    BeginReplacing(*this);
    SelectionCommand::Do();
    if (ShouldStackForUndo())
        SetNewSelection(*GetDocumentController(), m_workSelection->CloneImmutable());
    m_workSelection.reset();
}

void VectoriseObjectCommand::Undo() {
    BeginExchanging();
    SelectionCommand::Undo();
    UndoSelection(*GetDocumentController());
}

void VectoriseObjectCommand::Redo() {
    BeginExchanging();
    SelectionCommand::Redo();
    if (m_newSelection)
        RedoSelection(*GetDocumentController());
}

void VectoriseObjectCommand::Notify(Kernel::NotificationList& notifications) {
    if (m_newSelection)
        NotifySelection(*this, notifications);
    NotifyDoRedo(GetDocumentController(), m_preview, notifications);
}

void VectoriseObjectCommand::Receive(Kernel::Counted<RasterNode> node) { Exchange(*node, node->GetBitmap()); }

void VectoriseObjectCommand::Receive(Kernel::Counted<ImageNode> node) { Exchange(*node, node->GetImage()); }

void VectoriseObjectCommand::Receive(Kernel::Counted<GeneratedImageNode> node) {
    Exchange(*node, node->GetShownBitmap(), node->GetShownTransform());
}
void VectoriseObjectCommand::Receive(Kernel::NonCounted<GeneratedImageNode> node) { Receive(node.ToCounted()); }

void VectoriseObjectCommand::Exchange(SceneNode& node, Kernel::Counted<Raster::DynamicBitmap const> const& bitmap,
                                      Raster::AffineTransform::Params const& toNode) {
    if (m_direction == Direction::Undo)
        return UndoReplaceObject(node, *this, *this);
    if (m_direction == Direction::Redo)
        return RedoReplaceObject(node, *this, *this);
    if (m_direction != Direction::Do || node.GetParent() == nullptr || !bitmap || bitmap->IsEmpty())
        return;
    auto const group =
        VectoriseBitmap(Raster::WithProfileOf(bitmap, GetDocumentProfiles(node)), node.GetDescription(true));
    if (group->GetFirstChild(NodeChildListType::Plain) == nullptr)
        return;
    ConvertColours(*group, GetDocumentProfiles(node));
    TakeOverLook(node, *group, toNode);
    Kernel::Counted<Node> const drawing(group.get());
    DoReplaceObject(Kernel::Counted<Node>(&node), drawing, *this, *this);
    m_workSelection->AddSelectable(drawing, false);
}

bool VectoriseObjectCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = StoredClass::Load(in, files, version);
    LoadReplacements(in, *this);
    return loaded;
}
