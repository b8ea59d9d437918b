// SPDX-License-Identifier: Apache-2.0
#include "shapes/fill_holes_command.h"

#include "frame/example.h"
#include "platform/document/document_controller.h"
#include "platform/document/object_style.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "shapes/image_fill.h"
#include "shapes/kept_contours.h"
#include "shapes/shape_examples.h"
#include "shapes/visible_fill.h"

#include <algorithm>

namespace Commands {

namespace {

using Graph = Geometry::CurveIntersectionGraph;

bool HasVisibleFill(ConstCurvesInterface const& curves) {
    auto const* const brush = Kernel::CastPointer<BrushFillInterface const>(&curves);
    return brush != nullptr && brush->IsBrushFillVisible(c_visibleFill);
}

// Holes are those of a fill. Lines inside a filled shape are there only where its winding rule leaves areas out.
bool Qualifies(ConstCurvesInterface const& curves, bool removeInternalLines) {
    if (!HasVisibleFill(curves))
        return removeInternalLines;
    return !removeInternalLines || curves.GetWindingOrderMode() == Geometry::WindingOrderMode::Alternating;
}

bool IsTextFrame(Kernel::Countable const* object) {
    return Kernel::CastPointer<TextFrameInterface const>(object) != nullptr;
}

// Walks the shapes among the content below a node, in tree order, text frames left out, until `visit` answers true.
template <class Visit>
bool ForEachShapeBelow(Node const& top, bool includeAll, Visit visit) {
    std::vector<Node*> pending;
    auto const putChildren = [&](Node const& parent) {
        for (Node* child = parent.GetLastChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetPreviousSibling()) {
            if ((includeAll || child->IsContent()) && !IsTextFrame(child))
                pending.push_back(child);
        }
    };
    putChildren(top);
    while (!pending.empty()) {
        Node* const node = pending.back();
        pending.pop_back();
        if (auto* curves = Kernel::CastPointer<ConstCurvesInterface>(node)) {
            if (visit(*curves, *node))
                return true;
        } else if (Kernel::CastPointer<LogicalNode>(node) != nullptr) {
            putChildren(*node);
        }
    }
    return false;
}

// The new node's own space is its parent's, the old one's was below its matrix: what is laid over the object goes
// through the matrix.
void MoveLookToParentSpace(PolyCurveNode& node, Raster::AffineTransform::Params const& matrix) {
    if (matrix.IsIdentity())
        return;
    auto const moved = [&](Kernel::Counted<Renderer::FillDescriptor const> const& fill) {
        return fill && fill->GetFill() && !fill->GetFill()->IsTransformFree()
                   ? Kernel::Counted<Renderer::FillDescriptor const>(
                         fill->CloneWithNewTransform(matrix * fill->GetTransform()))
                   : fill;
    };
    node.SetBrushFillDescriptor(moved(node.GetBrushFillDescriptor(true)));
    node.SetPenFillDescriptor(moved(node.GetPenFillDescriptor()));
    double const scale = Geometry::Transform(matrix).GetUniformScale();
    auto const line = node.GetLineStyleDescriptor();
    if (!line || line->IsLineStyleNone() || !line->GetScaleWithObject() || !line->GetLineStyle()->GetWeight() ||
        std::abs(scale - 1) < 1e-12)
        return;
    auto const style = line->GetLineStyle()->Clone();
    style->SetWeight(*style->GetWeight() * scale);
    auto const scaled = line->Clone();
    scaled->SetLineStyle(Kernel::Consolidated<Renderer::LineStyle>(Kernel::Counted<Renderer::LineStyle const>(style)));
    node.SetLineStyleDescriptor(scaled);
}

// What stands in the old node and clips it comes along as copies, moved by the matrix that the new one lacks. What the
// outline was made of is in it.
void CopyChildren(Node const& from, Node& to, Raster::AffineTransform::Params const& matrix) {
    CloneContext context(CloneType::Copy);
    for (int list = 0; list != c_childListCount; ++list) {
        auto const type = static_cast<NodeChildListType>(list);
        if (type == NodeChildListType::Plain && !from.DrawsChildren())
            continue;
        for (Node const* child = from.GetFirstChild(type); child != nullptr; child = child->GetNextSibling()) {
            auto const copy = child->Clone(context);
            if (auto* place = Kernel::CastPointer<TransformInterface>(copy.get()))
                place->SetTransform(matrix * place->GetTransform(false, false), false);
            to.InsertChild(type, copy, nullptr);
        }
    }
}

} // namespace

FillHolesCommand::FillHolesCommand(bool removeInternalLines) : m_removeInternalLines(removeInternalLines) {}

bool FillHolesCommand::CanApplyTo(Kernel::NonCounted<Selection const> selection, bool removeInternalLines) {
    if (!selection || selection->empty())
        return false;
    auto const qualifies = [&](ConstCurvesInterface const& curves, Node const&) {
        return curves.IsVisibleInDomain() && Qualifies(curves, removeInternalLines);
    };
    return std::any_of(selection->begin(), selection->end(), [&](auto const& item) {
        auto* const node = Kernel::CastPointer<Node>(item->GetSelectable().get());
        if (node == nullptr || IsTextFrame(node))
            return false;
        if (auto const* curves = Kernel::CastPointer<ConstCurvesInterface const>(node))
            return qualifies(*curves, *node);
        auto const* const group = Kernel::CastPointer<LogicalNode const>(node);
        return group != nullptr && group->IsVisibleInDomain() && ForEachShapeBelow(*group, false, qualifies);
    });
}

Kernel::LocalisedString FillHolesCommand::GetDescription() const {
    return Kernel::LocalisedString(m_removeInternalLines ? "Remove internal lines" : "Fill holes",
                                   "Fill holes command name");
}

bool FillHolesCommand::IsAborted() const { return Kernel::IsAbortSet(&m_abort); }

// Null when there is nothing to rebuild the shape from.
FillHolesCommand::Curves FillHolesCommand::BuildOutline(ConstCurvesInterface const& curves, bool isFilled) {
    Graph::Input input;
    input.windingOrderMode = curves.GetWindingOrderMode();
    input.role = Graph::c_ordinaryRole;
    input.filled = isFilled;
    for (auto const& [polyCurve, transform] : curves.GetConstPolyPolyCurves()) {
        if (polyCurve)
            input.curves.push_back({polyCurve, transform});
    }
    if (input.curves.empty())
        return {};
    auto const [graph, result] =
        Graph::Create({input}, Graph::BoolOpMethod::Divide, false, false, &m_abort, nullptr, true);
    if (!graph) {
        if (result == Graph::Result::TooComplex || result == Graph::Result::Inconsistent)
            m_valid = true;
        return {};
    }
    if (IsAborted())
        return {};
    graph->PrepareShapeBuilder();
    if (!m_removeInternalLines || !isFilled)
        graph->EnableAllAreas();
    auto outline = KeepContours(graph->GetEnabledOutline(true, true, true, false), input);
    if (!outline || outline->empty())
        return {};
    if (!isFilled) {
        if (auto const tails = graph->GetExternalTails(true, true, true))
            outline->AddPolyCurve(*tails);
    }
    return outline;
}

bool FillHolesCommand::AddConstCurvesInterface(Kernel::JailNonCounted<ConstCurvesInterface> curves,
                                               Kernel::JailNonCounted<Node> node, Items* items) {
    if (IsAborted() || !Qualifies(*curves, m_removeInternalLines))
        return false;
    Curves outline;
    try {
        outline = BuildOutline(*curves, HasVisibleFill(*curves));
    } catch (Kernel::AbortException const&) {
        // What was rebuilt before the abort is kept.
        return false;
    }
    if (!outline)
        return false;
    FillHolesRecord record;
    record.node = node.ToCounted();
    if (Kernel::CastPointer<MutableCurvesInterface>(curves.get()) != nullptr) {
        record.newCurves = outline;
        m_undoRecords.push_back(std::move(record));
        return true;
    }
    if (node->GetParent() == nullptr)
        return false;
    record.newNode = MakeReplacement(*curves, *node, outline);
    if (items != nullptr)
        items->push_back(Kernel::MakeCounted<SelectionItem>(record.newNode));
    m_undoRecords.push_back(std::move(record));
    return true;
}

Kernel::Counted<Node> FillHolesCommand::MakeReplacement(ConstCurvesInterface const& curves, Node const& node,
                                                        Curves outline) const {
    outline->ApplyTransform(Geometry::Transform(node.GetParent()->GetBaseToSpreadTransform().GetInverse()));
    auto const replacement = Kernel::MakeCounted<PolyCurveNode>();
    replacement->SetCurves(std::move(outline));
    replacement->SetUserDescription(node.GetDescription(false));
    auto const* const transform = Kernel::CastPointer<TransformInterface const>(&node);
    if (transform != nullptr)
        replacement->CopyFrom(*transform, true, false, false);
    replacement->SetWindingOrderMode(curves.GetWindingOrderMode());
    auto* const newOperation = Kernel::CastPointer<CompoundOperationInterface>(static_cast<Node*>(replacement.get()));
    auto const* const operation = Kernel::CastPointer<CompoundOperationInterface const>(&node);
    if (newOperation != nullptr && operation != nullptr)
        newOperation->SetCompoundOperation(operation->GetCompoundOperation());

    auto const style = Kernel::MakeCounted<ObjectStyle>();
    auto const document = m_documentController->GetDocument();
    style->Set(Kernel::Counted<Kernel::Countable const>(&node), document->GetFormat(), {},
               document->GetTextStyleSheet(), ObjectStyleMask(), {}, false);
    style->SetHasContour(false);
    style->Apply(replacement, m_documentController, false);
    // After the style, which knows of no fill where a picture is shown.
    if (auto const* image = Kernel::CastPointer<ImageNode const>(&node))
        replacement->SetBrushFillDescriptor(MakeImageFill(*image));
    auto const matrix =
        transform != nullptr ? transform->GetTransform(false, false) : Raster::AffineTransform::Params();
    MoveLookToParentSpace(*replacement, matrix);
    CopyChildren(node, *replacement, matrix);
    return replacement;
}

void FillHolesCommand::AddLogicalNodes(Node const& node, bool includeAll) {
    ForEachShapeBelow(node, includeAll, [this](ConstCurvesInterface& curves, Node& shape) {
        AddConstCurvesInterface(curves, shape, nullptr);
        return false;
    });
}

bool FillHolesCommand::AddTextFrameInterface(Kernel::JailNonCounted<TextFrameInterface>, Kernel::JailNonCounted<Node>,
                                             Items*) {
    return false;
}

// True when the selected object itself was changed: then the item is not kept.
bool FillHolesCommand::AddSelected(SelectionItem const& item, Items& items) {
    auto* const node = Kernel::CastPointer<Node>(item.GetSelectable().get());
    if (node == nullptr)
        return false;
    if (auto* frame = Kernel::CastPointer<TextFrameInterface>(node))
        return AddTextFrameInterface(frame, node, &items);
    if (auto* curves = Kernel::CastPointer<ConstCurvesInterface>(node))
        return curves->IsVisibleInDomain() && AddConstCurvesInterface(curves, node, &items);
    if (auto const* group = Kernel::CastPointer<LogicalNode const>(node);
        group != nullptr && group->IsVisibleInDomain())
        AddLogicalNodes(*group, false);
    return false;
}

void FillHolesCommand::Do() {
    SetDirection(Direction::Do);
    m_valid = true;
    m_undoRecords.clear();
    m_invalidRects = {};
    m_newSelection.reset();
    m_oldSelection = m_documentController->GetCurrentSelection();
    if (!m_oldSelection) {
        m_valid = false;
        return;
    }
    Items items;
    bool replaced = false;
    for (auto const& item : *m_oldSelection) {
        if (!item)
            continue;
        if (AddSelected(*item, items))
            replaced = true;
        else
            items.push_back(item);
    }
    if (m_undoRecords.empty())
        m_valid = false;
    if (!m_valid)
        return;
    for (auto& record : m_undoRecords) {
        m_invalidRects.Append(SpreadRect(*record.node, record.node->GetBounds(true)));
        Apply(record);
    }
    if (!replaced)
        return;
    m_newSelection = Kernel::MakeCounted<Selection>(std::move(items), false);
    m_documentController->SetSelection(m_newSelection, false);
}

void FillHolesCommand::Apply(FillHolesRecord& record) {
    if (record.newNode) {
        ReplaceNode(record.node, record.newNode, ShouldDetachLinksOnEdit(record.node));
        m_invalidRects.Append(SpreadRect(*record.newNode, record.newNode->GetBounds(true)));
        return;
    }
    auto* const curves = Kernel::CastPointer<MutableCurvesInterface>(record.node.get());
    record.oldCurves = MutableCurvesSession(curves).GetCurves();
    if (!record.oldCurves) {
        record.newCurves.reset();
        RemoveFromParent(record.node, false, ShouldDetachLinksOnEdit(record.node), {});
        return;
    }
    if (auto* contour = Kernel::CastPointer<ContourInterface>(record.node.get())) {
        record.contourOffset = contour->GetContourOffset();
        contour->SetContourOffset(0);
    }
    curves->SetCurves(record.newCurves);
    m_invalidRects.Append(SpreadRect(*record.node, record.node->GetBounds(true)));
}

// Required: a node that left the document because it had no curves does not come back.
void FillHolesCommand::Undo() {
    SetDirection(Direction::Undo);
    for (auto record = m_undoRecords.rbegin(); record != m_undoRecords.rend(); ++record) {
        if (record->node && record->newNode) {
            ReplaceNode(record->newNode, record->node, ShouldDetachLinksOnEdit(record->newNode));
        } else if (auto* curves = Kernel::CastPointer<MutableCurvesInterface>(record->node.get())) {
            if (auto* contour = Kernel::CastPointer<ContourInterface>(record->node.get()))
                contour->SetContourOffset(record->contourOffset);
            curves->SetCurves(record->oldCurves);
        }
    }
    m_documentController->SetSelection(m_oldSelection, false);
}

void FillHolesCommand::Redo() {
    SetDirection(Direction::Redo);
    for (auto const& record : m_undoRecords) {
        if (record.node && record.newNode) {
            ReplaceNode(record.node, record.newNode, ShouldDetachLinksOnEdit(record.node));
        } else if (auto* curves = Kernel::CastPointer<MutableCurvesInterface>(record.node.get())) {
            if (auto* contour = Kernel::CastPointer<ContourInterface>(record.node.get()))
                contour->SetContourOffset(0);
            curves->SetCurves(record.newCurves);
        }
    }
    m_documentController->SetSelection(m_newSelection ? m_newSelection : m_oldSelection, false);
}

void FillHolesCommand::Teardown() { SetDirection(Direction::Teardown); }

void FillHolesCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (!m_valid)
        return;
    if (m_direction != Direction::Teardown) {
        bool const undone = m_direction == Direction::Undo;
        auto const controller = GetDocumentController();
        auto const selection = undone || !m_newSelection ? m_oldSelection : m_newSelection;
        if (m_newSelection) {
            notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, m_preview));
            notifications.push_back(Kernel::MakeCounted<NewSelectionNotification>(
                selection, undone ? m_newSelection : m_oldSelection, controller, m_preview));
        }
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            controller, m_invalidRects, selection, m_preview, false, false, false));
        notifications.push_back(Kernel::MakeCounted<NodesDataChangedNotification>(selection, controller, m_preview));
    }
    StructureCommandHelper::Notify(notifications);
}

Kernel::Counted<DocumentCommand> FillHolesCommand::Clone() const {
    return Kernel::MakeCounted<FillHolesCommand>(m_removeInternalLines);
}

void FillHolesCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveFields(*this, out);
    DocumentCommand::Save(out);
}

bool FillHolesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadFields(*this, in);
    return DocumentCommand::Load(in, files, version);
}

static ExampleRegistration const s_fillHolesExample({
    .className = "FillHolesCommand",
    .prepare = ExampleDocuments::ShapesWithHoles,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<FillHolesCommand>();
    },
    .keptByContract = {},
    .keptOnAbort = "The shapes that were rebuilt before the abort stay as they are then.",
    // Required: shapes that keep their node fall out of the selection, which is what is told.
    .untold = {CommandExample::Untold::NodeData},
});

static ExampleRegistration const s_fillHolesLinesExample({
    .className = "FillHolesCommand",
    .prepare = ExampleDocuments::ShapesWithHoles,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<FillHolesCommand>(true);
    },
    .keptByContract = {},
    .keptOnAbort = "The shapes that were rebuilt before the abort stay as they are then.",
    // Required: shapes that keep their node fall out of the selection, which is what is told.
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
