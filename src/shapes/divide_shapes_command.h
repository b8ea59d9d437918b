// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/nodes.h"
#include "platform/document/spread_rects.h"
#include "platform/document/structure_command_helper.h"
#include "platform/document/text_nodes.h"
#include "shapes/divide_source.h"

#include <map>
#include <optional>
#include <unordered_map>

namespace Commands {

// Cuts the selected shapes along each other's edges. Every piece becomes a shape of its own, with the look of the shape
// that it belonged to, at that shape's place. A text is cut as the outlines of its letters, and of its frame where that
// is painted.
class REDRAFT_API DivideShapesCommand final
    : public Persisted<DivideShapesCommand, OrderedSelectionCommand<DivideShapesCommand>>,
      public StructureCommandHelper,
      public Geometry::CurveIntersectionGraph::ProgressReporter {
public:
    // `retainAll`: open lines are kept even when filled shapes take part.
    DivideShapesCommand(bool retainAll, Kernel::Counted<Selection const> selection);

    static constexpr bool c_combinesObjects = true;
    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    Kernel::LocalisedString GetDescription() const override;
    // Throws Kernel::AbortException, with the document untouched, once the abort flag is set.
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Teardown() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    bool ShouldStackForUndo() const override { return m_valid; }
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }
    int GetProgressInterval() const override { return 100; }
    bool* GetProgressAbortPointer() const override { return &m_abort; }
    bool ValidateUntrusted() override;
    // Null: a divide can't be repeated.
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool VisitInReverse() const override { return false; }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void Progress(float value) override;

    // Whether Do could make no map of shapes that are too complex or out of range: clips by them are left out, and
    // where it is the map of all shapes there are no pieces.
    bool LacksMap() const { return m_lacksMap; }
    // Pairs of curves that Do followed less closely, because they come near to each other so often: near them pieces
    // may be a little off.
    std::size_t GetUnresolvedPairCount() const { return m_unresolvedPairs; }
    // Whether there is a piece.
    bool HasPieces() const { return !m_newNodes.empty(); }

    void Receive(Kernel::NonCounted<LogicalNode> group);
    void Receive(Kernel::NonCounted<ConstCurvesInterface> shape);
    void Receive(Kernel::NonCounted<TextNode> text);

private:
    friend struct Kernel::FieldAccess;
    using Graph = Geometry::CurveIntersectionGraph;
    using Nodes = std::vector<Kernel::Counted<Node>>;

    DivideShapesCommand();
    static constexpr auto Fields() {
        using This = DivideShapesCommand;
        return Kernel::FieldList{Kernel::Field{"Vali", &This::m_valid},
                                 Kernel::Field{"IRec", &This::m_invalidRects},
                                 Kernel::Field{"NewS", &This::m_newSelection},
                                 Kernel::Field{"OldS", &This::m_oldSelection},
                                 Kernel::Field{"OldN", &This::m_oldNodes},
                                 Kernel::Field{"OldP", &This::m_oldParents},
                                 Kernel::Field{"OldL", &This::m_oldPreviousSiblings},
                                 Kernel::Field{"NewN", &This::m_newNodes},
                                 Kernel::Field{"NewP", &This::m_newParents},
                                 Kernel::Field{"NewL", &This::m_newPreviousSiblings},
                                 Kernel::Field{"RetA", &This::m_retainAll}.As(
                                     "retainAll", "open lines are kept even when filled shapes take part", false)};
    }

    // Gathering, in divide_shapes_inputs.cpp. Each answers false for what has nothing to give.
    bool ApplyClips(Node const& node, DivideInput& input, bool allowUnfilled);
    void AddTextFrame(TextNode const& text);
    void ClipText(TextNode const& text, std::size_t first);
    void AddSource(Kernel::Counted<Node> const& node, DivideInput input, bool isFrame);
    bool CompileCurves(Kernel::NonCounted<ConstCurvesInterface const> shape, DivideInput& input);
    bool CompileGroup(Node const& node, DivideInput& input);
    bool AddGroupChildren(Node const& node, std::vector<DivideInput>& inputs);
    bool GatherClips(Node const& node, std::vector<DivideInput>& clips);
    void ApplyClipsAbove(Node const& node, DivideInput& input);
    DivideGroupClip const& FindClipOfGroup(Node const& group);
    bool ClipFilled(std::vector<DivideInput>& clips, DivideInput& input);
    bool ClipUnfilled(std::vector<DivideInput>& clips, DivideInput& input);
    Kernel::Counted<Graph> CreateGraph(std::vector<DivideInput> const& inputs, Graph::BoolOpMethod method);
    // What the inputs cover or leave of each other: null when that is nothing, nothing when no map could be made.
    std::optional<Kernel::Counted<Geometry::PolyCurveDbl>> FindOutline(std::vector<DivideInput> const& inputs);
    bool IsAborted() const;

    void Gather();
    void BuildResults();
    void BuildPieces(std::size_t index, Graph::DividedResult const& result, bool isFallback);
    Kernel::Counted<PolyCurveNode> MakePiece(DivideSource const& source,
                                             Kernel::Counted<Geometry::PolyCurveDbl> curves);
    void CloneChildren(DivideSource const& source, PolyCurveNode& piece);
    void PutBack(Nodes const& nodes, Nodes const& parents, Nodes const& previousSiblings);
    void PutBack(Node& node, Node& parent, Node* previousSibling);
    void TakeOut(Nodes const& nodes);
    void ForgetGathered();

    bool m_retainAll = false;
    // Whether there is anything to undo.
    bool m_valid = true;
    // Set by whoever shows the progress.
    mutable bool m_abort = false;
    bool m_noFilledInputs = true;
    bool m_lacksMap = false;
    std::size_t m_unresolvedPairs = 0;
    SpreadRects m_invalidRects;
    Kernel::Counted<Selection const> m_newSelection, m_oldSelection;
    // Each with the parents and previous siblings that they had or have.
    Nodes m_oldNodes, m_oldParents, m_oldPreviousSiblings;
    Nodes m_newNodes, m_newParents, m_newPreviousSiblings;

    // While Do runs. Sources stand side by side with inputs, parents and anchors with new nodes.
    std::vector<DivideInput> m_inputs;
    std::vector<DivideSource> m_sources;
    std::unordered_map<Node const*, DivideGroupClip> m_clipsOfGroups;
    Nodes m_insertParents, m_insertAnchors;
    // Members of groups that are still to be visited, the next one last; so deep nesting needs no deep stack.
    Nodes m_membersToVisit;
    bool m_visitingMembers = false;
    int m_clipDepth = 0;
};

} // namespace Commands
