// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/shape_input.h"

#include "platform/kernel/cast.h"
#include "platform/renderer/fill.h"

namespace Commands {

std::optional<ShapeInput> MakeShapeInput(ConstCurvesInterface const& shape) {
    auto const list = shape.GetConstPolyPolyCurves();
    if (list.empty())
        return std::nullopt;
    ShapeInput input;
    input.role = Geometry::CurveIntersectionGraph::c_ordinaryRole;
    input.transform = shape.GetCurvesToDomainTransform();
    input.windingOrderMode = shape.GetWindingOrderMode();
    for (auto const& [curves, transform] : list) {
        if (curves)
            input.curves.push_back({curves, transform});
    }
    return input;
}

bool HasVisibleBrush(Kernel::Countable const* object) {
    auto const* const brush = Kernel::CastPointer<BrushFillInterface const>(object);
    return brush != nullptr && brush->IsBrushFillVisible(c_visibleFill);
}

bool IsPicture(Kernel::Countable const* object) {
    auto const* const image = Kernel::CastPointer<ImageNode const>(object);
    return image != nullptr && image->GetImage();
}

void ReplaceByOutline(ShapeInput& input, Kernel::Counted<Geometry::PolyCurveDbl const> outline, bool filled) {
    input.transform = Geometry::Transform::Identity();
    input.curves = {{std::move(outline), Geometry::Transform::Identity()}};
    input.windingOrderMode = Geometry::WindingOrderMode::NonZero;
    input.filled = filled;
}

Kernel::Counted<Renderer::FillDescriptor const> MakeImageFill(ImageNode const& image) {
    auto const fill = Kernel::MakeCounted<Renderer::BitmapFill>(image.GetImage());
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::Consolidated<Renderer::Fill>(Kernel::Counted<Renderer::Fill const>(fill)), true,
        Raster::AffineTransform::Params{}, Renderer::BlendMode::Normal, false);
}

} // namespace Commands
