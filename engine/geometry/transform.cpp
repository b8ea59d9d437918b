// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/transform.h"

#include "engine/geometry/deterministic_math.h"

namespace Geometry {

Transform Transform::Rotation(double angleRadians) {
    auto const [sine, cosine] = Detail::GetSineCosine(angleRadians);
    return Transform({cosine, -sine, 0, sine, cosine, 0});
}

} // namespace Geometry
