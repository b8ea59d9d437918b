// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/enum_serialiser.h"
#include "platform/kernel/geometry_values.h"

#include <cstdint>

// The place in a box that stays where it is when the box gets another size, and the two ways to do without one.
enum class SpatialAnchor : std::uint32_t {
    // There is no such place: the content is scaled together with the box.
    ScaleContent = 0,
    TopLeft = 1,
    Top = 2,
    TopRight = 3,
    Left = 4,
    Centre = 5,
    Right = 6,
    BottomLeft = 7,
    Bottom = 8,
    BottomRight = 9,
    // Nothing but the box changes.
    LeaveContent = 10
};

// The place in a box; the top left corner for the two values that name none.
REDRAFT_ENGINE Kernel::PointT<double> GetAnchorPoint(SpatialAnchor anchor, Kernel::RectT<double> const& box);

// Persists an anchor by its name.
class REDRAFT_ENGINE SpatialAnchorEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static SpatialAnchorEnumSerialiser const& GetInstance();

private:
    SpatialAnchorEnumSerialiser();
};
