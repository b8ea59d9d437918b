// SPDX-License-Identifier: Apache-2.0
#include "platform/story/composition.h"

#include <algorithm>

namespace Story {

Kernel::RectT<double> ComposedFrame::GetNeededBox(bool tight) const {
    if (m_geometry.columns.empty())
        return GetTextBounds();
    // Far more than the longest story needs, and small enough for lines to be placed exactly.
    constexpr double c_long = 1e9;
    auto geometry = m_geometry;
    geometry.columns.resize(1);
    geometry.verticalAlignment = VerticalAlignment::Top;
    geometry.wrapShapes.clear();
    auto& column = geometry.columns.front();
    column.bottom = column.top + c_long;
    StoryRef rest = m_story;
    if (m_range.begin != 0) {
        auto const behind = m_story->Clone();
        behind->ReplaceText({0, m_range.begin}, {});
        rest = behind;
    }
    auto const lines = ComposedStory(rest, m_styleSheet, {geometry}, m_fields).GetFrame(0)->GetTextBounds();
    if (tight)
        return lines;
    return {column.left, column.top, column.right, std::max(column.top, lines.bottom)};
}

Kernel::RectT<double> ComposedFrame::GetScaledTextBox(Raster::AffineTransform::Params const& first,
                                                      Raster::AffineTransform::Params const& second, TextBox box,
                                                      bool tight) const {
    Kernel::RectT<double> found;
    switch (box) {
    case TextBox::Columns:
        for (auto const& column : m_columns)
            found = found.United(column->GetRect());
        break;
    case TextBox::Lines:
        found = GetTextBounds();
        break;
    case TextBox::Needed:
        found = GetNeededBox(tight);
        break;
    }
    return found.IsEmpty() ? Kernel::RectT<double>() : (second * first).Apply(found);
}

} // namespace Story
