// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/replacement_shape.h"

#include "platform/kernel/cast.h"
#include "shapes/outlines/child_copies.h"
#include "shapes/outlines/shape_input.h"
#include "shapes/outlines/whole_style.h"

#include <cmath>

namespace Commands {

namespace {

using Matrix = Raster::AffineTransform::Params;
using Fill = Kernel::Counted<Renderer::FillDescriptor const>;

Fill MoveFill(Fill const& fill, Matrix const& matrix) {
    if (!fill || !fill->GetFill() || fill->GetFill()->IsTransformFree())
        return fill;
    return fill->CloneWithNewTransform(matrix * fill->GetTransform());
}

// The new node's own space is its parent's, the old one's was below its matrix: what is laid over the object goes
// through the matrix.
void MoveLook(PolyCurveNode& node, Matrix const& matrix) {
    if (matrix.IsIdentity())
        return;
    node.SetBrushFillDescriptor(MoveFill(node.GetBrushFillDescriptor(true), matrix));
    node.SetPenFillDescriptor(MoveFill(node.GetPenFillDescriptor(), matrix));
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

// The new node lacks the matrix. Children that the outline was made of are in it already.
void MoveChildren(Node const& from, Node& to, Matrix const& matrix) {
    auto const isWanted = [&from](NodeChildListType list, Node const&) {
        return list != NodeChildListType::Plain || from.DrawsChildren();
    };
    for (auto const& copy : CopyChildren(from, isWanted)) {
        if (auto* place = Kernel::CastPointer<TransformInterface>(copy.node.get()))
            place->SetTransform(matrix * place->GetTransform(false, false), false);
        to.InsertChild(copy.list, copy.node, nullptr);
    }
}

} // namespace

Kernel::Counted<PolyCurveNode> MakeReplacementShape(Node const& old, ConstCurvesInterface const& oldShape,
                                                    Kernel::Counted<Geometry::PolyCurveDbl> outline,
                                                    Kernel::Counted<DocumentController const> const& controller) {
    outline->ApplyTransform(Geometry::Transform(old.GetParent()->GetBaseToSpreadTransform().GetInverse()));
    auto replacement = Kernel::MakeCounted<PolyCurveNode>();
    replacement->SetCurves(std::move(outline));
    replacement->SetUserDescription(old.GetDescription(false));
    auto const* const transform = Kernel::CastPointer<TransformInterface const>(&old);
    if (transform != nullptr)
        replacement->CopyFrom(*transform, true, false, false);
    replacement->SetWindingOrderMode(oldShape.GetWindingOrderMode());
    auto* const newOperation = Kernel::CastPointer<CompoundOperationInterface>(static_cast<Node*>(replacement.get()));
    auto const* const operation = Kernel::CastPointer<CompoundOperationInterface const>(&old);
    if (newOperation != nullptr && operation != nullptr)
        newOperation->SetCompoundOperation(operation->GetCompoundOperation());

    auto const style = TakeWholeStyle(old, *controller->GetDocument());
    style->SetHasContour(false);
    style->Apply(replacement, controller, false);
    // After the style, which knows of no fill where a picture is shown.
    if (auto const* image = Kernel::CastPointer<ImageNode const>(&old))
        replacement->SetBrushFillDescriptor(MakeImageFill(*image));
    auto const matrix = transform != nullptr ? transform->GetTransform(false, false) : Matrix();
    MoveLook(*replacement, matrix);
    MoveChildren(old, *replacement, matrix);
    return replacement;
}

} // namespace Commands
