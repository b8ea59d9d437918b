// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/geometry/winding_order_mode.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Geometry {

// The planar map of a set of shapes: all their edges, cut where they meet, and the faces between them.
//
// Inputs stand in painting order: a later one lies on top. Faces and edges belong to inputs by the rules of
// docs/planar-map.md; in short, a face belongs to the top-most filled input that covers it, and a line to the top-most
// input that draws it. Results are Bézier curves and straight lines in the inputs' common space. Both faces beside an
// edge hold the very same curve for it, so areas are neither lost nor counted twice.
//
// Shapes that are out of scale with all others near them (by more than about 10^12) vanish; contours that have a
// coordinate that is not finite, or beyond 10^150, are left out. A graph is not changed by its const operations, and
// is safe to read from several threads.
class REDRAFT_ENGINE CurveIntersectionGraph final : public virtual Kernel::Countable {
public:
    // The numbers of the roles are the contract's; all others count as ordinary.
    static constexpr std::uint32_t c_ordinaryRole = 0;
    static constexpr std::uint32_t c_clipRole = 2;

    struct InputCurves {
        Kernel::Counted<PolyCurveDbl const> curves;
        Transform transform;
    };

    struct Input {
        // Each goes through its own transform first. Null curves are passed over.
        std::vector<InputCurves> curves;
        Transform transform;
        WindingOrderMode windingOrderMode = WindingOrderMode::NonZero;
        // Clips bound what the ordinary inputs cover: a face counts only where every clip covers it too.
        std::uint32_t role = c_ordinaryRole;
        // The interior counts. Open curves are closed by a straight line, which bounds faces and is no line itself.
        bool filled = false;
        // A line is seen in front of the fill: it is seen inside the shape too, and cuts it there.
        bool strokedFront = false;
        bool strokedBehind = false;
    };

    enum class BoolOpMethod : std::uint32_t {
        // Every edge cuts, faces stay apart: for Divide, DivideClippedEdges and the building of shapes.
        Divide = 0,
        // Only the outline of the covered area is wanted. Inputs that are not filled take no part.
        Outline = 1,
    };

    // Why there is no graph. An abort is no result but an exception.
    enum class Result : std::uint32_t {
        Success = 0,
        // No input has a curve of any length.
        NoCurves = 1,
        // There are curves, and all of them have coordinates that are not finite or out of range.
        NotRepresentable = 2,
        // More edges or crossings than memory should be spent on.
        TooComplex = 3,
        // The map contradicts itself; it is not handed out.
        Inconsistent = 4,
    };

    class REDRAFT_ENGINE ProgressReporter : public virtual Kernel::Countable {
    public:
        ~ProgressReporter() override;
        // Called from the thread that builds, with values that grow from 0 to 1, at most some hundred times.
        virtual void Progress(float value) = 0;
    };

    // The part of Divide's result that belongs to one input.
    struct DividedResult {
        // Each is one connected piece: its outline, then its holes, which turn the other way.
        std::vector<Kernel::Counted<PolyCurveDbl>> areas;
        std::vector<Kernel::Counted<CurveDbl>> lines;
    };

    // The graph, or null and the reason.
    //
    // `keepHiddenTogether`: an edge that lies under the fill of the owner of both its sides does not cut it.
    // `closeOpenCurves`: open curves of inputs that are not filled are closed by a straight line, too.
    // `refineCrossings`: crossings are moved from the flattened curves, where they are found, to the true ones. Without
    // it they are off by up to the flattening's error, and results come a little sooner.
    //
    // `abort` may be null, may be set by another thread at any time, and must outlive the graph: Create and all other
    // operations of the graph read it within 5 ms and then throw Kernel::AbortException. `reporter` may be null.
    static std::pair<Kernel::Counted<CurveIntersectionGraph>, Result>
    Create(std::vector<Input> const& inputs, BoolOpMethod method, bool keepHiddenTogether, bool closeOpenCurves,
           bool const* abort, Kernel::Counted<ProgressReporter> reporter, bool refineCrossings);

    // Adds to each input's entry the areas that it owns and, where `includeLines` is set, its lines. Inputs that own
    // nothing get no entry. False when nothing was divided: every filled input that covers an area comes back as one
    // piece with one contour, the only one it has, which nothing else touches or lies on; and none encloses an area of
    // which its winding mode leaves nothing. A graph made for outlines gives false and no piece.
    bool Divide(std::map<unsigned int, DividedResult>& results, bool includeLines) const;

    // The outline of the enabled faces, enabled area on the left where y grows upwards: contours turn positively, holes
    // negatively, so that both winding modes paint the same. Null when no face is enabled.
    //
    // `joinRuns`: pieces of one curve, and straight pieces of one line, become one segment where nothing but the
    // outline passes; otherwise every crossing stays as a point. `separateRings`: a contour that touches itself in a
    // point comes apart there. `holes`: holes are part of the result. `includeLines`: lines that lie outside the
    // enabled faces are appended as open curves.
    Kernel::Counted<PolyCurveDbl> GetEnabledOutline(bool joinRuns, bool separateRings, bool holes,
                                                    bool includeLines) const;

    // The parts of the curves of `subject` that lie in the area of `clip`, both indices of inputs, in the order and
    // direction of the subject's curves. `includeBorder`: parts that run along the border of the area count as inside.
    // Null when there are none.
    Kernel::Counted<PolyCurveDbl> DivideClippedEdges(unsigned int subject, unsigned int clip, bool includeBorder) const;

    // Makes every face of the map one that can be enabled by itself, and enables those that the inputs' fills cover
    // within the clips. A new graph has the same ones enabled.
    void PrepareShapeBuilder();
    // Enables every face that edges enclose.
    void EnableAllAreas();

    // Lines that neither bound an enabled face nor lie in one: the ends that stick out. `joinRuns` as for
    // GetEnabledOutline. `keepDirection`: in the direction of the inputs' curves; otherwise starting at an enabled
    // face where one end touches one. `includeDetached`: also lines that touch no enabled face. Null when there are
    // none.
    Kernel::Counted<PolyCurveDbl> GetExternalTails(bool joinRuns, bool keepDirection, bool includeDetached) const;

    // Number of connected parts of the graph that lie in no face of another part.
    std::size_t GetTopNodeCount() const;

    // Pairs of curves that come so near to each other so often that it would take too long to find all their crossings,
    // and that were followed less closely. The map is whole, but near such a pair pieces may be a little off, and
    // slivers among them. 0 for other than contrived drawings.
    std::size_t GetUnresolvedPairCount() const;

    ~CurveIntersectionGraph() override;

    class Implementation;
    explicit CurveIntersectionGraph(std::unique_ptr<Implementation> implementation);
    // For the engine's own tests.
    Implementation const& GetImplementation() const { return *m_implementation; }

private:
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace Geometry
