// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/examples/scenes/shape_documents.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <algorithm>
#include <initializer_list>

namespace Support {

using Params = Raster::AffineTransform::Params;

// A document, and what tests of shapes ask of it.
struct Scene {
    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<SpreadNode> spread = controller->GetCurrentSpread();

    // Appends children to a parent, in order.
    void Put(Node& parent, std::initializer_list<Kernel::Counted<Node>> children) {
        for (auto const& child : children)
            ExampleDocuments::Append(parent, child);
    }
    void PutAndSelect(std::initializer_list<Kernel::Counted<Node>> children) {
        Put(*spread, children);
        Select(children);
    }
    void Select(std::vector<Kernel::Counted<Node>> const& nodes) { ExampleDocuments::Select(*controller, nodes); }
    Kernel::Counted<Selection const> Selected() const { return controller->GetCurrentSelection(); }
};

inline void Clip(Node& node, Kernel::Counted<Node> clip) {
    node.InsertChild(NodeChildListType::Clipping, std::move(clip), nullptr);
}

inline Kernel::Counted<ShapeNode> Box(double left, double top, double right, double bottom) {
    return ExampleDocuments::MakeRectangle({left, top, right, bottom}, 0.5, 0.5, 0.5);
}

inline Kernel::Counted<PolyCurveNode> OpenLine(std::vector<Kernel::PointT<double>> const& points) {
    auto line = ExampleDocuments::MakePath({points}, false);
    ExampleDocuments::SetLine(*line, 1);
    return line;
}

inline std::vector<PolyCurveNode*> PiecesIn(Node const& parent) {
    std::vector<PolyCurveNode*> pieces;
    for (Node* child = parent.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        if (auto* piece = Kernel::CastPointer<PolyCurveNode>(child))
            pieces.push_back(piece);
    }
    return pieces;
}

// Of the curves of a piece, in spread space.
inline double AreaOf(PolyCurveNode const& piece) {
    auto const curves = piece.GetCurves()->Clone();
    curves->ApplyTransform(Geometry::Transform(piece.GetBaseToSpreadTransform()));
    return curves->GetArea();
}

inline double AreaIn(Node const& parent) {
    double area = 0;
    for (auto const* piece : PiecesIn(parent))
        area += AreaOf(*piece);
    return area;
}

inline std::vector<Kernel::Counted<Node>> ChildrenOf(Node const& parent) {
    std::vector<Kernel::Counted<Node>> children;
    for (Node* child = parent.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        children.emplace_back(child);
    return children;
}

// A command and the tree that it has changed, saved, some of its fields taken out, and loaded.
struct Reloaded {
    Kernel::Counted<DocumentCommand> command;
    Kernel::Counted<DocumentNode> document;
};

inline Reloaded Reload(Scene const& scene, DocumentCommand const& command, std::vector<SavedField> const& hidden = {}) {
    auto storage = SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(&command),
                                 Kernel::Counted<Kernel::Serialisable const>(scene.controller->GetDocument())});
    for (auto const& field : hidden)
        HideField(storage, field);
    auto const roots = LoadFromMemory(storage);
    Reloaded result{Kernel::Cast<DocumentCommand>(roots.at(0)), Kernel::Cast<DocumentNode>(roots.at(1))};
    Bind(*scene.controller, *result.command);
    return result;
}

// Asks for an abort as soon as a command reports progress.
class AbortAtProgress final : public ProgressListener {
public:
    explicit AbortAtProgress(float from) : m_from(from) {}
    void Progress(DomainCommand const& command, float fraction) override {
        if (fraction >= m_from)
            *command.GetProgressAbortPointer() = true;
    }

private:
    float m_from;
};

} // namespace Support
