// SPDX-License-Identifier: Apache-2.0
#include "platform/document/nodes.h"

#include "engine/document/tree/bounds.h"
#include "engine/document/tree/layout_epoch.h"
#include "engine/document/tree/line_bounds.h"
#include "platform/document/edit_journal.h"
#include "platform/geometry/curve_intersection_graph.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

namespace {

using Params = Raster::AffineTransform::Params;

Kernel::RectT<double> OutlineBounds(Geometry::PolyCurveDbl const* outline, Params const& toSpread) {
    if (outline == nullptr)
        return {};
    return outline->GetBounds(Geometry::Transform(toSpread)).value_or(Kernel::RectT<double>{});
}

Kernel::Counted<Geometry::PolyCurveDbl const> RectangleOutline(Kernel::RectT<double> const& rect) {
    return Kernel::MakeCounted<Geometry::PolyCurveDbl>(rect);
}

// One operand of a compound curve, in the compound's space.
struct CompoundPart {
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
    Geometry::WindingOrderMode windingOrderMode;
    friend bool operator==(CompoundPart const& a, CompoundPart const& b) {
        return *a.outline == *b.outline && a.windingOrderMode == b.windingOrderMode;
    }
};

// The outline of what all parts cover or, where the parts but the first are clips, of what they have in common. Null
// where there is no such area, or no map of it.
Kernel::Counted<Geometry::PolyCurveDbl const> MapOutline(std::span<CompoundPart const> parts, std::uint32_t role) {
    using Graph = Geometry::CurveIntersectionGraph;
    std::vector<Graph::Input> inputs;
    for (auto const& part : parts) {
        auto& input = inputs.emplace_back();
        input.curves.push_back({part.outline, {}});
        input.windingOrderMode = part.windingOrderMode;
        input.role = inputs.size() == 1 ? Graph::c_ordinaryRole : role;
        input.filled = true;
    }
    auto const graph = Graph::Create(inputs, Graph::BoolOpMethod::Outline, false, false, nullptr, {}, true).first;
    return graph ? graph->GetEnabledOutline(true, true, true, false) : nullptr;
}

// Outlines of areas, laid over each other, paint what an odd number of them cover.
Kernel::Counted<Geometry::PolyCurveDbl const> MapDifference(std::span<CompoundPart const> areas) {
    auto const together = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& area : areas) {
        if (auto const outline = MapOutline({&area, 1}, Geometry::CurveIntersectionGraph::c_ordinaryRole))
            together->AddPolyCurve(*outline);
    }
    CompoundPart const all{together, Geometry::WindingOrderMode::Alternating};
    return MapOutline({&all, 1}, Geometry::CurveIntersectionGraph::c_ordinaryRole);
}

Kernel::Counted<Geometry::PolyCurveDbl const> MakeCompoundOutline(std::span<CompoundPart const> parts,
                                                                  CompoundOperation operation) {
    constexpr auto c_ordinary = Geometry::CurveIntersectionGraph::c_ordinaryRole;
    constexpr auto c_clip = Geometry::CurveIntersectionGraph::c_clipRole;
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
    if (parts.empty())
        return Kernel::MakeCounted<Geometry::PolyCurveDbl const>();
    if (parts.size() == 1)
        return parts.front().outline;
    if (operation == CompoundOperation::Intersect) {
        outline = MapOutline(parts, c_clip);
    } else if (operation == CompoundOperation::Xor) {
        outline = MapDifference(parts);
    } else if (operation == CompoundOperation::Subtract) {
        auto const others = MapOutline(parts.subspan(1), c_ordinary);
        CompoundPart const pair[] = {parts.front(), {others, Geometry::WindingOrderMode::Alternating}};
        auto const common = others ? MapOutline(pair, c_clip) : nullptr;
        CompoundPart const cut[] = {parts.front(), {common, Geometry::WindingOrderMode::Alternating}};
        outline = common ? MapDifference(cut) : parts.front().outline;
    } else {
        outline = MapOutline(parts, c_ordinary);
    }
    return outline ? outline : Kernel::MakeCounted<Geometry::PolyCurveDbl const>();
}

} // namespace

// SceneNode

Params SceneNode::GetParentToSpreadTransform() const {
    Params result;
    for (Node const* node = GetParent(); node != nullptr; node = node->GetParent()) {
        if (auto const* scene = Kernel::CastPointer<TransformInterface const>(node))
            result = scene->GetMatrix() * result;
    }
    return result;
}

Params SceneNode::GetBaseToSpreadTransform() const { return GetParentToSpreadTransform() * GetMatrix(); }

void SceneNode::CopyMembersFrom(Node const& other) {
    Node::CopyMembersFrom(other);
    // Two objects cannot have one place in the reading order.
    if (GetState<ExportTaggingState>().articleIndex != -1 || GetState<ExportTaggingState>().sequenceIndex != -1)
        EditState<ExportTaggingState>([](auto& state) { state.articleIndex = state.sequenceIndex = -1; });
    if (auto const* scene = Kernel::CastPointer<SceneNode const>(&other))
        StoreMatrix(scene->GetMatrix());
}

void SceneNode::Save(Kernel::OutSerialiser& out) const {
    if (!GetMatrix().IsIdentity())
        Kernel::SaveValue(out, "Xfrm", GetMatrix());
    Node::Save(out);
}

bool SceneNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Params matrix;
    Kernel::LoadValue(in, "Xfrm", matrix);
    StoreMatrix(matrix);
    return Node::Load(in, files, version);
}

bool SceneNode::IsVisibleWithAncestors() const {
    for (Node const* node = this; node != nullptr; node = node->GetParent()) {
        auto const* const face = Kernel::CastPointer<VisibilityInterface const>(node);
        if (face != nullptr && !face->IsVisible())
            return false;
    }
    return true;
}

bool LogicalNode::IsVisibleInDomain() const { return IsInDocument() && IsVisibleWithAncestors(); }

// CloudSyncedNode

CloudSyncedNode::~CloudSyncedNode() { Contain({}); }

bool CloudSyncedNode::Contain(Kernel::JailCounted<Node> contents) {
    if (contents == m_boxContents)
        return true;
    if (contents && !AddContents(*contents))
        return false;
    if (m_boxContents)
        DropContents(*m_boxContents);
    m_boxContents = std::move(contents);
    return true;
}

void CloudSyncedNode::SetBoxContents(Kernel::JailCounted<Node> contents) {
    EditJournal::NoteFor(*this, [old = m_boxContents](CloudSyncedNode& box) { box.SetBoxContents(old); });
    if (!Contain(std::move(contents)))
        throw Kernel::Exception("a box cannot contain a node that holds it or is in another box");
    if (auto* document = GetDocumentNode(); document != nullptr && m_boxContents)
        document->AdoptIds(*m_boxContents);
    MarkChanged();
    LayoutEpoch::Advance();
}

void CloudSyncedNode::CopyMembersFrom(Node const& other) {
    LogicalNode::CopyMembersFrom(other);
    auto const* const box = Kernel::CastPointer<CloudSyncedNode const>(&other);
    if (box == nullptr || !box->m_boxContents)
        return;
    CloneContext context(CloneType::Copy);
    Contain(box->m_boxContents->Clone(context));
}

void CloudSyncedNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "BoxC", m_boxContents);
    LogicalNode::Save(out);
}

bool CloudSyncedNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    auto contents = m_boxContents;
    if (Kernel::LoadValue(in, "BoxC", contents) && !Contain(std::move(contents)))
        throw Kernel::DamagedDataException("the tree is damaged: a box contains what holds it or is in another box");
    return LogicalNode::Load(in, files, version);
}

Kernel::RectT<double> CloudSyncedNode::GetOwnBounds(Params const& toSpread, bool includeLines) const {
    if (!m_boxContents || m_boxContents->GetParent() != nullptr)
        return {};
    auto const* const scene = Kernel::CastPointer<TransformInterface const>(m_boxContents.get());
    return ComputeBounds(*m_boxContents, scene == nullptr ? toSpread : toSpread * scene->GetMatrix(), includeLines,
                         true);
}

// CurvesNode

ConstCurvesInterface::TransformedCurveList CurvesNode::GetConstPolyPolyCurves() const {
    auto outline = GetOutline();
    if (!outline)
        return {};
    return {{std::move(outline), {}}};
}

Params CurvesNode::GetCurvesToDomainTransform() const { return GetBaseToSpreadTransform(); }

bool CurvesNode::IsVisibleInDomain() const { return IsInDocument() && IsVisibleWithAncestors(); }

Kernel::RectT<double> CurvesNode::GetOwnBounds(Params const& toSpread, bool includeLines) const {
    auto const outline = GetOutline();
    auto bounds = OutlineBounds(outline.get(), toSpread);
    if (!includeLines || bounds == Kernel::RectT<double>{} || !IsLineStyleVisible())
        return bounds;
    return GetLineBounds(*outline, *GetLineStyleDescriptor(), toSpread);
}

// ShapeNode

ShapeNode::ShapeNode(Kernel::Counted<ShapeDefinition const> definition) { SetShapeDefinition(std::move(definition)); }

Kernel::Counted<Geometry::PolyCurveDbl const> ShapeNode::GetOutline() const {
    auto const definition = GetShapeDefinition();
    return definition ? definition->ComputeCurves() : Kernel::Counted<Geometry::PolyCurveDbl const>();
}

ConstCurvesInterface::TransformedCurveList ShapeNode::GetConstPolyPolyCurves() const {
    auto outline = GetOutline();
    if (!outline)
        return {};
    return {{std::move(outline), GetBaseToSpreadTransform()}};
}

Kernel::String ShapeNode::GetDefaultDescription() const {
    auto const definition = GetShapeDefinition();
    return definition ? definition->GetKindName() : "Shape";
}

// PolyCurveNode

void PolyCurveNode::SetCompoundOperation(CompoundOperation operation) {
    EditJournal::NoteValue(*this, m_operation);
    m_operation = operation;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void PolyCurveNode::CopyMembersFrom(Node const& other) {
    CurvesNode::CopyMembersFrom(other);
    if (auto const* curves = Kernel::CastPointer<PolyCurveNode const>(&other))
        m_operation = curves->m_operation;
}

void PolyCurveNode::Save(Kernel::OutSerialiser& out) const {
    if (m_operation != CompoundOperation::Add)
        Kernel::SaveValue(out, "COpr", m_operation);
    CurvesNode::Save(out);
}

bool PolyCurveNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "COpr", m_operation);
    return CurvesNode::Load(in, files, version);
}

// CompoundCurveNode

void CompoundCurveNode::SetWindingOrderMode(Geometry::WindingOrderMode mode) {
    EditJournal::NoteValue(*this, m_windingOrderMode);
    m_windingOrderMode = mode;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void CompoundCurveNode::SetCompoundOperation(CompoundOperation operation) {
    EditJournal::NoteValue(*this, m_operation);
    m_operation = operation;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

struct CompoundCurveNode::MadeOutline {
    CompoundOperation operation;
    std::vector<CompoundPart> parts;
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
};

Kernel::Counted<Geometry::PolyCurveDbl const> CompoundCurveNode::GetOutline() const {
    std::vector<CompoundPart> parts;
    for (Node const* child = GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto const* const curves = Kernel::CastPointer<ConstCurvesInterface const>(child);
        auto const* const transform = Kernel::CastPointer<TransformInterface const>(child);
        auto const outline = curves == nullptr ? Kernel::Counted<Geometry::PolyCurveDbl const>() : curves->GetOutline();
        if (!outline || outline->empty())
            continue;
        auto const copy = outline->Clone();
        if (transform != nullptr)
            copy->ApplyTransform(Geometry::Transform(transform->GetMatrix()));
        parts.push_back({copy, curves->GetWindingOrderMode()});
    }
    std::lock_guard const lock(m_outlineMutex);
    if (m_madeOutline == nullptr || m_madeOutline->operation != m_operation || m_madeOutline->parts != parts) {
        auto outline = MakeCompoundOutline(parts, m_operation);
        m_madeOutline =
            std::make_shared<MadeOutline const>(MadeOutline{m_operation, std::move(parts), std::move(outline)});
    }
    return m_madeOutline->outline;
}

ConstCurvesInterface::TransformedCurveList CompoundCurveNode::GetConstPolyPolyCurves() const {
    return {{GetOutline(), GetBaseToSpreadTransform()}};
}

void CompoundCurveNode::CopyMembersFrom(Node const& other) {
    CurvesNode::CopyMembersFrom(other);
    if (auto const* compound = Kernel::CastPointer<CompoundCurveNode const>(&other)) {
        m_operation = compound->m_operation;
        m_windingOrderMode = compound->m_windingOrderMode;
    }
}

void CompoundCurveNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "COpr", m_operation);
    Kernel::SaveValue(out, "CWin", m_windingOrderMode);
    CurvesNode::Save(out);
}

bool CompoundCurveNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "COpr", m_operation);
    Kernel::LoadValue(in, "CWin", m_windingOrderMode);
    return CurvesNode::Load(in, files, version);
}

// RasterNode, ImageNode

Kernel::RectT<double> RasterNode::GetOwnBounds(Params const& toSpread, bool) const {
    auto const box = GetRasterBoundingBox();
    return toSpread.Apply(Kernel::RectT<double>{0, 0, static_cast<double>(box.right), static_cast<double>(box.bottom)});
}

Kernel::Counted<Geometry::PolyCurveDbl const> ImageNode::GetOutline() const {
    auto const image = GetImage();
    if (!image)
        return {};
    return RectangleOutline({0, 0, static_cast<double>(image->GetWidth()), static_cast<double>(image->GetHeight())});
}

ConstCurvesInterface::TransformedCurveList ImageNode::GetConstPolyPolyCurves() const {
    auto outline = GetOutline();
    if (!outline)
        return {};
    return {{std::move(outline), GetBaseToSpreadTransform()}};
}

// The instance is a plain group: a symbol's root stands for the symbol itself and nowhere else.
Kernel::Counted<GroupNode> MakeSymbolInstance(SymbolNode& symbol) {
    auto instance = Kernel::MakeCounted<GroupNode>();
    CloneContext context(CloneType::SymbolInstance);
    instance->SetUserDescription(symbol.GetDescription(false));
    instance->SetGUID(symbol.GetGUID());
    instance->SetLinkSource(Kernel::Counted<Node>(&symbol));
    for (Node const* child = symbol.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        instance->InsertChild(NodeChildListType::Plain, child->Clone(context), nullptr);
    for (Node const* clip = symbol.GetFirstChild(NodeChildListType::Clipping); clip != nullptr;
         clip = clip->GetNextSibling())
        instance->InsertChild(NodeChildListType::Clipping, clip->Clone(context), nullptr);
    return instance;
}

// PageNode, SpreadNode

Kernel::RectT<double> PageNode::GetBaseBox(bool) const { return m_box; }

void PageNode::SetBaseBox(Kernel::RectT<double> box) {
    if (m_box == box)
        return;
    EditJournal::NoteValue(*this, m_box);
    m_box = box;
    MarkChanged();
    LayoutEpoch::Advance();
}

void PageNode::CopyMembersFrom(Node const& other) {
    Node::CopyMembersFrom(other);
    if (auto const* peer = Kernel::CastPointer<PageNode const>(&other))
        m_box = peer->m_box;
}

void PageNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "PBox", m_box);
    Node::Save(out);
}

bool PageNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "PBox", m_box);
    return Node::Load(in, files, version);
}
