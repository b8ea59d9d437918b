// SPDX-License-Identifier: Apache-2.0
#include "shapes/divide_shapes_command.h"

#include "frame/example.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "shapes/kept_contours.h"
#include "shapes/shape_examples.h"
#include "shapes/text_examples.h"

#include <algorithm>
#include <unordered_map>

namespace Commands {

DivideShapesCommand::DivideShapesCommand(bool retainAll, Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)), m_retainAll(retainAll) {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, LogicalNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, ConstCurvesInterface>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, TextNode>>());
}

DivideShapesCommand::DivideShapesCommand() : DivideShapesCommand(false, {}) {}

bool DivideShapesCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection || selection->ContainsSpecialisedChildren() || selection->ContainsArtboards() ||
        !selection->AllSameSpread())
        return false;
    return std::any_of(selection->begin(), selection->end(), [](auto const& item) {
        return Kernel::CastPointer<ConstCurvesInterface>(item->GetSelectable().get()) != nullptr;
    });
}

bool DivideShapesCommand::ValidateUntrusted() {
    if (!OrderedSelectionCommand::ValidateUntrusted())
        return false;
    if (CanApplyTo(GetSelection()))
        return true;
    m_statusFlags |= c_statusDivideRefused;
    return false;
}

Kernel::LocalisedString DivideShapesCommand::GetDescription() const {
    return Kernel::LocalisedString("Divide shapes", "Divide shapes command name");
}

void DivideShapesCommand::Progress(float value) {
    if (auto const controller = GetDocumentController())
        controller->UpdateProgress(Kernel::Counted<DomainCommand const>(this), value);
}

void DivideShapesCommand::Do() {
    m_valid = false;
    m_abort = false;
    m_noFilledInputs = true;
    m_lacksMap = false;
    m_unresolvedPairs = 0;
    SetDirection(Direction::Do);
    // An ordered command answers from the second time on when it takes the document's selection.
    GetSelection();
    if (auto const selection = GetSelection(); selection && selection->ContainsSpecialisedChildren())
        return;
    m_oldSelection = m_documentController->GetCurrentSelection();
    for (auto* nodes :
         {&m_oldNodes, &m_oldParents, &m_oldPreviousSiblings, &m_newNodes, &m_newParents, &m_newPreviousSiblings})
        nodes->clear();
    m_invalidRects = {};
    ForgetGathered();

    Gather();
    for (auto const& node : m_oldNodes) {
        m_oldParents.emplace_back(node->GetParent());
        m_oldPreviousSiblings.emplace_back(node->GetPreviousSibling());
    }
    BuildResults();
    if (m_newNodes.empty() && m_oldNodes.empty())
        return;

    m_valid = true;
    for (std::size_t i = 0; i != m_newNodes.size(); ++i)
        InsertChildAfter(m_insertParents[i], m_newNodes[i], m_insertAnchors[i], false,
                         ShouldDetachLinksOnEdit(m_insertParents[i]));
    TakeOut(m_oldNodes);
    for (auto const& node : m_newNodes) {
        m_newParents.emplace_back(node->GetParent());
        m_newPreviousSiblings.emplace_back(node->GetPreviousSibling());
    }
    ForgetGathered();
    m_newSelection = Kernel::MakeCounted<Selection>(m_newNodes);
    m_documentController->SetSelection(m_newSelection, false);
}

// Reads the document only, so that other readers may go on. Nothing has changed when an abort ends it.
void DivideShapesCommand::Gather() {
    DomainWriterUnlockSession const session(GetDocumentController());
    OrderedSelectionCommand::Do();
    if (IsAborted())
        throw Kernel::AbortException();
}

void DivideShapesCommand::ForgetGathered() {
    m_inputs.clear();
    m_sources.clear();
    m_clipsOfGroups.clear();
    m_insertParents.clear();
    m_insertAnchors.clear();
    m_membersToVisit.clear();
    m_visitingMembers = false;
    m_clipDepth = 0;
}

void DivideShapesCommand::BuildResults() {
    if (m_inputs.empty())
        return;
    auto graph = CreateGraph(m_inputs, Graph::BoolOpMethod::Divide);
    if (!graph)
        return;
    std::map<unsigned int, Graph::DividedResult> results;
    bool const divided = graph->Divide(results, true);
    // Shapes that lie apart from each other have nothing to give but their outlines.
    bool const isFallback = !divided && !m_noFilledInputs && m_inputs.size() == graph->GetTopNodeCount();
    if (isFallback) {
        auto unfilled = m_inputs;
        for (auto& input : unfilled)
            input.filled = false;
        graph = CreateGraph(unfilled, Graph::BoolOpMethod::Divide);
        if (!graph)
            return;
        results.clear();
        graph->Divide(results, true);
    }
    for (auto const& [key, result] : results)
        BuildPieces(key, result, isFallback);
}

void DivideShapesCommand::BuildPieces(std::size_t index, Graph::DividedResult const& result, bool isFallback) {
    auto const& source = m_sources[index];
    auto const& input = m_inputs[index];
    Geometry::Transform const toNode(source.node->GetBaseToSpreadTransform().GetInverse());
    auto anchor = source.node;
    auto const keep = [&](Kernel::Counted<PolyCurveNode> const& piece) {
        m_insertAnchors.push_back(anchor);
        m_insertParents.emplace_back(source.node->GetParent());
        m_newNodes.push_back(piece);
        anchor = piece;
    };
    for (auto const& area : result.areas) {
        auto const curves = area ? KeepContours(area->Clone(), input) : nullptr;
        if (!curves)
            continue;
        curves->ApplyTransform(toNode);
        auto const piece = MakePiece(source, curves);
        CloneChildren(source, *piece);
        keep(piece);
    }
    if (!m_retainAll && !m_noFilledInputs && !isFallback)
        return;
    // A line must not be painted as if it were a filled shape.
    Kernel::Counted<ObjectStyleBrush> brush, frameBrush;
    if (!isFallback)
        source.style->ClearFill(brush, frameBrush);
    for (auto const& line : result.lines) {
        auto curve = line ? line->Clone() : nullptr;
        if (!curve)
            continue;
        auto const curves = KeepContours(Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve), input);
        curves->ApplyTransform(toNode);
        keep(MakePiece(source, curves));
    }
    if (!isFallback)
        source.style->RestoreFill(brush, frameBrush);
}

Kernel::Counted<PolyCurveNode> DivideShapesCommand::MakePiece(DivideSource const& source,
                                                              Kernel::Counted<Geometry::PolyCurveDbl> curves) {
    auto const piece = Kernel::MakeCounted<PolyCurveNode>();
    piece->SetCurves(std::move(curves));
    if (auto const* transform = Kernel::CastPointer<TransformInterface const>(source.node.get()))
        piece->SetTransform(transform->GetTransform(false, false), false);
    // What could not be seen stays so.
    if (auto const* visibility = Kernel::CastPointer<VisibilityInterface const>(source.node.get()))
        piece->SetVisible(visibility->IsVisible());
    source.style->Apply(piece, m_documentController, false);
    return piece;
}

// What was consumed as clips and, of a compound curve, what its outline is made of, is in the piece already.
void DivideShapesCommand::CloneChildren(DivideSource const& source, PolyCurveNode& piece) {
    if (Kernel::CastPointer<CompoundCurveNode const>(source.node.get()) != nullptr)
        return;
    CloneContext context(CloneType::Copy);
    Kernel::Counted<Node> const parent(&piece);
    for (int list = 0; list != c_childListCount; ++list) {
        auto const type = static_cast<NodeChildListType>(list);
        for (Node const* child = source.node->GetFirstChild(type); child != nullptr; child = child->GetNextSibling()) {
            bool const wasClip = type == NodeChildListType::Clipping &&
                                 (Kernel::CastPointer<ConstCurvesInterface const>(child) != nullptr ||
                                  Kernel::CastPointer<LogicalNode const>(child) != nullptr);
            if (!wasClip)
                AddChildBack(parent, type, child->Clone(context), false, ShouldDetachLinksOnEdit(parent));
        }
    }
}

void DivideShapesCommand::Undo() {
    SetDirection(Direction::Undo);
    if (auto const selection = GetSelection(); selection && selection->ContainsSpecialisedChildren())
        return;
    if (IsReplay()) {
        PutBack(m_oldNodes, m_oldParents, m_oldPreviousSiblings);
    } else {
        for (auto node = m_oldNodes.rbegin(); node != m_oldNodes.rend(); ++node)
            UndoStructureChanges(*node);
    }
    TakeOut(m_newNodes);
    m_documentController->SetSelection(m_oldSelection, false);
}

void DivideShapesCommand::Redo() {
    SetDirection(Direction::Redo);
    if (auto const selection = GetSelection(); selection && selection->ContainsSpecialisedChildren())
        return;
    PutBack(m_newNodes, m_newParents, m_newPreviousSiblings);
    TakeOut(m_oldNodes);
    m_documentController->SetSelection(m_newSelection, false);
}

// The pieces of a text's later stretches stand below those of its earlier ones, so that a node may stand behind one
// that comes later in the list: that one goes first. Lists of a damaged or forged history may be of different lengths,
// name nothing where a node should be, and go round in circles.
void DivideShapesCommand::PutBack(Nodes const& nodes, Nodes const& parents, Nodes const& previousSiblings) {
    std::size_t const count = std::min({nodes.size(), parents.size(), previousSiblings.size()});
    std::unordered_map<Node const*, std::size_t> waiting;
    for (std::size_t i = 0; i != count; ++i) {
        if (nodes[i] && parents[i])
            waiting.emplace(nodes[i].get(), i);
    }
    std::vector<std::size_t> chain;
    for (std::size_t i = 0; i != count; ++i) {
        for (auto next = waiting.find(nodes[i].get()); next != waiting.end();) {
            chain.push_back(next->second);
            waiting.erase(next);
            next = waiting.find(previousSiblings[chain.back()].get());
        }
        for (; !chain.empty(); chain.pop_back()) {
            std::size_t const at = chain.back();
            PutBack(*nodes[at], *parents[at], previousSiblings[at].get());
        }
    }
}

void DivideShapesCommand::PutBack(Node& node, Node& parent, Node* previousSibling) {
    Kernel::Counted<Node> const child(&node), to(&parent);
    if (previousSibling != nullptr)
        InsertChildAfter(to, child, Kernel::Counted<Node>(previousSibling), false, ShouldDetachLinksOnEdit(to));
    else
        AddChildFront(to, node.GetChildListType(), child, false, ShouldDetachLinksOnEdit(to));
}

void DivideShapesCommand::TakeOut(Nodes const& nodes) {
    for (auto const& node : nodes) {
        if (node)
            RemoveFromParent(node, false, ShouldDetachLinksOnEdit(node), {});
    }
}

// Whoever made the pieces forgets nothing: there is no state of single objects to let go of.
void DivideShapesCommand::Teardown() { SetDirection(Direction::Teardown); }

void DivideShapesCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (!m_valid)
        return;
    bool const undone = m_direction == Direction::Undo;
    auto const& selection = undone ? m_oldSelection : m_newSelection;
    auto const& selectionBefore = undone ? m_newSelection : m_oldSelection;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, m_preview));
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_invalidRects, selection,
                                                                                m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NewSelectionNotification>(selection, selectionBefore, controller, m_preview));
    StructureCommandHelper::Notify(notifications);
}

void DivideShapesCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveFields(*this, out);
    OrderedSelectionCommand::Save(out);
}

bool DivideShapesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadFields(*this, in);
    // Older programs wrote one rectangle.
    if (SpreadRects rects; !Kernel::LoadValue(in, "IRec", rects))
        m_invalidRects.LoadLegacy(in, "InvR");
    return OrderedSelectionCommand::Load(in, files, version);
}

static ExampleRegistration const s_divideShapesExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::OverlappingShapes,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
    .keptByContract = {},
});

static ExampleRegistration const s_divideShapesRetainExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::ClippedAndOpenShapes,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(true, Kernel::Counted<Selection const>());
    },
    .keptByContract = {},
});

static ExampleRegistration const s_divideShapesTextExample({
    .className = "DivideShapesCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const text = ExampleDocuments::MakeTextFrame({40, 40, 240, 140}, "Cut letters");
            ExampleDocuments::SetFill(*text, 1, 0.9, 0.6);
            // A stretch of another colour is an input of its own, and its pieces stand below those before it.
            text->GetMutableStory(true)->FormatText(
                {4, 8},
                *Story::MakeDelta(Story::GlyphAtt::Object::Fill, Kernel::MakeCounted<Renderer::FillDescriptor>(
                                                                     Renderer::Colour::FromRGB(0.7f, 0.1f, 0.1f))));
            text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
            auto const shape = ExampleDocuments::MakeRectangle({60, 30, 90, 150}, 0.2, 0.3, 0.8);
            ExampleDocuments::Append(*controller.GetCurrentSpread(), text);
            ExampleDocuments::Append(*controller.GetCurrentSpread(), shape);
            ExampleDocuments::Select(controller, {text, shape});
        },
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
    .keptByContract = {},
});

static ExampleRegistration const s_divideShapesFallbackExample({
    .className = "DivideShapesCommand",
    .prepare = ExampleDocuments::ShapesApart,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DivideShapesCommand>(false, controller.GetCurrentSelection());
    },
    .keptByContract = {},
});

} // namespace Commands
