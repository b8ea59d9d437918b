// SPDX-License-Identifier: Apache-2.0
#include "platform/document/artboard.h"

#include "platform/document/document_controller.h"
#include "platform/document/node_spaces.h"
#include "platform/document/spatial_anchor.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>
#include <iterator>

Kernel::PointT<double> GetAnchorPoint(SpatialAnchor anchor, Kernel::RectT<double> const& box) {
    auto const place = static_cast<unsigned>(anchor) - static_cast<unsigned>(SpatialAnchor::TopLeft);
    if (anchor < SpatialAnchor::TopLeft || anchor > SpatialAnchor::BottomRight)
        return {box.left, box.top};
    return {box.left + box.GetWidth() * (place % 3) / 2, box.top + box.GetHeight() * (place / 3) / 2};
}

SpatialAnchorEnumSerialiser const& SpatialAnchorEnumSerialiser::GetInstance() {
    static SpatialAnchorEnumSerialiser const s_instance;
    return s_instance;
}

SpatialAnchorEnumSerialiser::SpatialAnchorEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {
        {0, "ScaleContent"}, {1, "TopLeft"},    {2, "Top"},    {3, "TopRight"},    {4, "Left"},         {5, "Centre"},
        {6, "Right"},        {7, "BottomLeft"}, {8, "Bottom"}, {9, "BottomRight"}, {10, "LeaveContent"}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

void DrawingScale::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Drwn", m_drawn);
    Kernel::SaveValue(out, "Real", m_real);
}

bool DrawingScale::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Drwn", m_drawn);
    Kernel::LoadValue(in, "Real", m_real);
    return true;
}

// Margins, guides

void MarginsInterface::SetUseMargins(bool use) {
    EditState<MarginsState>([&](auto& state) { state.useMargins = use; });
}

void MarginsInterface::SetMargins(Kernel::EdgeOffsetsT<double> margins) {
    EditState<MarginsState>([&](auto& state) { state.margins = margins; });
}

void MarginsInterface::SetMarginFill(Kernel::Counted<Renderer::FillDescriptor const> fill) {
    EditState<MarginsState>([&](auto& state) { state.fill = std::move(fill); });
}

void MarginsInterface::SetColumnGuides(std::vector<double> guides) {
    EditState<MarginsState>([&](auto& state) { state.columnGuides = std::move(guides); });
}

std::vector<double> const& GridsAndGuidesInterface::GetGuidesPixels96(int axis) const {
    auto const& state = GetState<GridsAndGuidesState>();
    return axis == 0 ? state.uprightGuides : state.lyingGuides;
}

void GridsAndGuidesInterface::SetGuide(int axis, int index, double position) {
    auto const count = GetGuidesPixels96(axis).size();
    if (index < 0 || static_cast<std::size_t>(index) >= count)
        return;
    EditState<GridsAndGuidesState>([&](auto& state) {
        (axis == 0 ? state.uprightGuides : state.lyingGuides)[static_cast<std::size_t>(index)] = position;
    });
}

void GridsAndGuidesInterface::SetGuides(int axis, std::vector<double> positions) {
    EditState<GridsAndGuidesState>(
        [&](auto& state) { (axis == 0 ? state.uprightGuides : state.lyingGuides) = std::move(positions); });
}

void GridsAndGuidesInterface::SetDrawingScale(bool use, Kernel::Counted<DrawingScale const> scale) {
    EditState<GridsAndGuidesState>([&](auto& state) {
        state.useDrawingScale = use;
        state.drawingScale = std::move(scale);
    });
}

ArtboardProperties::ArtboardProperties(ArtboardProperties const& other, CloneContext&,
                                       Kernel::NonCounted<ArtboardInterface> owner) {
    CopyStatesFrom(other);
    if (owner)
        m_node = Kernel::Weak<Node>(owner->GetNode().ToCounted());
}

bool ArtboardProperties::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short) {
    LoadStates(in, files);
    return true;
}

// Artboards

void ArtboardInterface::SetArtboardEnabled(bool enabled) {
    EditState<ArtboardState>([&](auto& state) { state.enabled = enabled; });
}

void ArtboardInterface::SetArtboardBox(Kernel::RectT<double> box) {
    EditState<ArtboardState>([&](auto& state) { state.box = box; });
}

ArtboardNode::ArtboardNode() : m_properties(Kernel::MakeCounted<ArtboardProperties>()) {}

ArtboardNode::ArtboardNode(Kernel::RectT<double> box) : ArtboardNode() { SetArtboardBox(box); }

// A new node cannot count itself: its properties learn whose they are when they are asked for.
Kernel::Counted<ArtboardProperties> ArtboardNode::GetArtboardProperties() const {
    if (m_properties->m_node.IsExpired())
        m_properties->m_node = Kernel::Weak<Node>(Kernel::Counted<Node>(const_cast<ArtboardNode*>(this)));
    return m_properties;
}

Kernel::NonCounted<Node> ArtboardNode::GetNode() { return Kernel::NonCounted<Node>(this); }

bool ArtboardNode::IsArtboardEnabled() const {
    return GetState<ArtboardState>().enabled && GetChildListType() == NodeChildListType::Plain &&
           Kernel::CastPointer<SpreadNode const>(GetParent()) != nullptr;
}

Kernel::RectT<double> ArtboardNode::GetBaseBox(bool) const { return GetArtboardBox(); }

Kernel::RectT<double> ArtboardNode::GetOwnBounds(Raster::AffineTransform::Params const& toSpread, bool) const {
    auto const box = GetArtboardBox();
    if (!IsArtboardEnabled() || box.IsEmpty())
        return {};
    auto const bounds = toSpread.Apply(box);
    return bounds.IsEmpty() ? Kernel::RectT<double>() : bounds;
}

void ArtboardNode::CopyMembersFrom(Node const& other) {
    LogicalNode::CopyMembersFrom(other);
    CloneContext context(CloneType::Copy);
    if (auto const* const artboard = Kernel::CastPointer<ArtboardNode const>(&other))
        m_properties = Kernel::MakeCounted<ArtboardProperties>(*artboard->m_properties, context,
                                                               Kernel::NonCounted<ArtboardInterface>(this));
}

void ArtboardNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "ArPr", m_properties);
    LogicalNode::Save(out);
}

bool ArtboardNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::Counted<ArtboardProperties> properties;
    if (Kernel::LoadValue(in, "ArPr", properties) && properties) {
        auto const owner = properties->GetNode();
        if (owner && owner.get() != this)
            throw Kernel::DamagedDataException("the tree is damaged: two artboards have the same properties");
        m_properties = std::move(properties);
    }
    m_properties->m_node = Kernel::Weak<Node>(Kernel::Counted<Node>(this));
    return LogicalNode::Load(in, files, version);
}

Kernel::Counted<Kernel::Serialisable> ArtboardNode::CreateObject() { return Kernel::MakeCounted<ArtboardNode>(); }

std::vector<Kernel::Counted<ArtboardInterface>> GetArtboards(SpreadNode const& spread) {
    std::vector<Kernel::Counted<ArtboardInterface>> artboards;
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto* const artboard = Kernel::CastPointer<ArtboardInterface>(child);
        if (artboard != nullptr && artboard->IsArtboardEnabled())
            artboards.emplace_back(artboard);
    }
    return artboards;
}

Kernel::Counted<ArtboardInterface> SpreadNode::GetArtboardAtIndex(int index) const {
    auto const artboards = GetArtboards(*this);
    if (index < 0 || static_cast<std::size_t>(index) >= artboards.size())
        return {};
    return artboards[static_cast<std::size_t>(index)];
}

bool DocumentController::HasArtboards() const {
    return std::ranges::any_of(m_document->GetSpreads(),
                               [](auto const& spread) { return !GetArtboards(*spread).empty(); });
}

int DocumentController::GetArtboardCount() const {
    return m_currentSpread ? static_cast<int>(GetArtboards(*m_currentSpread).size()) : 0;
}
