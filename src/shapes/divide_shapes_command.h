// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_change.h"
#include "frame/selection/selection_command.h"
#include "platform/document/structure_command_helper.h"
#include "shapes/outlines/divided_pieces.h"

namespace Commands {

// Cuts the selected shapes along each other's edges. Each piece becomes a shape of its own, with the style of the shape
// that it belonged to, at that shape's place. A text is cut as the outlines of its glyphs, and of its frame where that
// is painted.
class REDRAFT_API DivideShapesCommand final
    : public Persisted<DivideShapesCommand, OrderedSelectionCommand<DivideShapesCommand>>,
      public StructureCommandHelper,
      public Geometry::CurveIntersectionGraph::ProgressReporter,
      public SelectionChange {
public:
    // `retainAll`: open lines are kept even when filled shapes take part.
    DivideShapesCommand(bool retainAll, Kernel::Counted<Selection const> selection);

    static constexpr bool c_combinesObjects = true;
    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Divide shapes", "Divide shapes command name");
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
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void Progress(float value) override;

    // Whether Do could make no map of shapes that are too complex or out of range: clips by them are left out, and
    // where it is the map of all shapes there are no pieces.
    bool LacksMap() const { return m_maps.LacksMap(); }
    // Pairs of curves that Do followed less closely, because they come near to each other so often: near them pieces
    // may be a little off.
    std::size_t GetUnresolvedPairCount() const { return m_maps.GetUnresolvedPairCount(); }
    // Whether there is a piece.
    bool HasPieces() const { return !m_newNodes.empty(); }

    void Receive(Kernel::NonCounted<LogicalNode> group);
    void Receive(Kernel::NonCounted<ConstCurvesInterface> shape);
    void Receive(Kernel::NonCounted<TextNode> text);

private:
    friend struct Kernel::FieldAccess;
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

    void Gather();
    void Leave(Node& node);
    static void KeepPlaces(Nodes const& nodes, Nodes& parents, Nodes& previousSiblings);
    void PutIn(std::vector<DividedPiece> const& pieces);
    void PutBack(Nodes const& nodes, Nodes const& parents, Nodes const& previousSiblings);
    void TakeOut(Nodes const& nodes);
    bool ConcernsSpecialisedChildren();

    bool m_retainAll = false;
    // Whether there is anything to undo.
    bool m_valid = true;
    // Set by whoever shows the progress.
    mutable bool m_abort = false;
    SpreadRects m_invalidRects;
    // Each with the parents and previous siblings that they had or have.
    Nodes m_oldNodes, m_oldParents, m_oldPreviousSiblings;
    Nodes m_newNodes, m_newParents, m_newPreviousSiblings;

    PlanarMaps m_maps{&m_abort, this};

    // While Do runs.
    std::unique_ptr<DivideInputs> m_inputs;
    // Members of groups that are still to be visited, the next one last; so deep nesting needs no deep stack.
    Nodes m_membersToVisit;
    bool m_visitingMembers = false;
};

} // namespace Commands
