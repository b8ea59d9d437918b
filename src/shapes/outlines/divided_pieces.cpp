// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/divided_pieces.h"

#include "platform/document/document_controller.h"
#include "platform/geometry/kept_contours.h"
#include "platform/kernel/cast.h"

namespace Commands {

namespace {

using Graph = PlanarMaps::Graph;
using Curves = Kernel::Counted<Geometry::PolyCurveDbl>;

struct Division {
    std::map<unsigned int, Graph::DividedResult> results;
    bool isOfOutlines = false;
};

// Shapes that lie apart from each other are divided as if they were not filled.
Division Divide(DivideInputs const& inputs) {
    Division division;
    auto const graph = inputs.GetMaps().Make(inputs.GetInputs(), Graph::BoolOpMethod::Divide);
    if (!graph)
        return division;
    bool const isDivided = graph->Divide(division.results, true);
    division.isOfOutlines =
        !isDivided && inputs.HasFilledShape() && inputs.GetInputs().size() == graph->GetTopNodeCount();
    if (!division.isOfOutlines)
        return division;
    division.results.clear();
    auto unfilled = inputs.GetInputs();
    for (auto& input : unfilled)
        input.filled = false;
    if (auto const lines = inputs.GetMaps().Make(unfilled, Graph::BoolOpMethod::Divide))
        lines->Divide(division.results, true);
    return division;
}

// The clips of the source have been consumed, and so have the parts that the outline of a compound curve is made of.
std::vector<ChildCopy> CopyContents(Node const& source) {
    if (Kernel::CastPointer<CompoundCurveNode const>(&source) != nullptr)
        return {};
    return CopyChildren(source, [](NodeChildListType list, Node const& child) {
        return list != NodeChildListType::Clipping ||
               (Kernel::CastPointer<ConstCurvesInterface const>(&child) == nullptr &&
                Kernel::CastPointer<LogicalNode const>(&child) == nullptr);
    });
}

// Makes the pieces of one input.
class PieceMaker {
public:
    PieceMaker(DivideSource const& source, ShapeInput const& input,
               Kernel::Counted<DocumentController const> const& controller, std::vector<DividedPiece>& pieces)
        : m_source(source),
          m_input(input),
          m_controller(controller),
          m_pieces(pieces),
          m_toNode(source.node->GetBaseToSpreadTransform().GetInverse()),
          m_anchor(source.node) {}

    void AddArea(Geometry::PolyCurveDbl const& area) {
        if (auto const curves = area.Clone()) {
            Add(curves);
            m_pieces.back().children = CopyContents(*m_source.node);
        }
    }
    void AddLine(Geometry::CurveDbl const& line) {
        if (auto curve = line.Clone())
            Add(Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve));
    }

private:
    void Add(Curves const& outline) {
        auto const curves = Geometry::KeepContours(outline, m_input);
        curves->ApplyTransform(m_toNode);
        auto const piece = Kernel::MakeCounted<PolyCurveNode>();
        piece->SetCurves(curves);
        if (auto const* transform = Kernel::CastPointer<TransformInterface const>(m_source.node.get()))
            piece->SetTransform(transform->GetTransform(false, false), false);
        // Objects that could not be seen stay so.
        if (auto const* visibility = Kernel::CastPointer<VisibilityInterface const>(m_source.node.get()))
            piece->SetVisible(visibility->IsVisible());
        m_source.style->Apply(piece, m_controller, false);
        m_pieces.push_back({piece, Kernel::Counted<Node>(m_source.node->GetParent()), m_anchor, {}});
        m_anchor = piece;
    }

    DivideSource const& m_source;
    ShapeInput const& m_input;
    Kernel::Counted<DocumentController const> const& m_controller;
    std::vector<DividedPiece>& m_pieces;
    Geometry::Transform m_toNode;
    Kernel::Counted<Node> m_anchor;
};

} // namespace

std::vector<DividedPiece> MakePieces(DivideInputs const& inputs, bool retainAll,
                                     Kernel::Counted<DocumentController const> const& controller) {
    std::vector<DividedPiece> pieces;
    if (inputs.GetInputs().empty())
        return pieces;
    auto const division = Divide(inputs);
    bool const wantsLines = retainAll || !inputs.HasFilledShape() || division.isOfOutlines;
    for (auto const& [index, result] : division.results) {
        auto const& source = inputs.GetSources()[index];
        PieceMaker maker(source, inputs.GetInputs()[index], controller, pieces);
        for (auto const& area : result.areas) {
            if (area)
                maker.AddArea(*area);
        }
        if (!wantsLines)
            continue;
        Kernel::Counted<ObjectStyleBrush> brush, frameBrush;
        if (!division.isOfOutlines)
            source.style->ClearFill(brush, frameBrush);
        for (auto const& line : result.lines) {
            if (line)
                maker.AddLine(*line);
        }
        if (!division.isOfOutlines)
            source.style->RestoreFill(brush, frameBrush);
    }
    return pieces;
}

} // namespace Commands
