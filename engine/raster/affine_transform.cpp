// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/affine_transform.h"

#include <algorithm>

namespace Raster {

Kernel::RectT<double> AffineTransform::Params::Apply(Kernel::RectT<double> const& r) const {
    Kernel::PointT<double> const corners[] = {
        Apply(Kernel::PointT<double>{r.left, r.top}), Apply(Kernel::PointT<double>{r.right, r.top}),
        Apply(Kernel::PointT<double>{r.right, r.bottom}), Apply(Kernel::PointT<double>{r.left, r.bottom})};
    Kernel::RectT<double> bounds{corners[0].x, corners[0].y, corners[0].x, corners[0].y};
    for (auto const& corner : corners) {
        bounds.left = std::min(bounds.left, corner.x);
        bounds.top = std::min(bounds.top, corner.y);
        bounds.right = std::max(bounds.right, corner.x);
        bounds.bottom = std::max(bounds.bottom, corner.y);
    }
    return bounds;
}

} // namespace Raster
