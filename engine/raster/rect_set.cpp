// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/rect_set.h"

#include <algorithm>

namespace Raster {

// Takes in neighbours with which it makes up one rectangle, so that rows that are added one after another stay one.
void RectSet::Add(Rect const& rect) {
    if (rect.IsEmpty())
        return;
    Subtract(rect);
    Rect added = rect;
    for (bool hasGrown = true; hasGrown;) {
        auto const isNeighbour = [&added](Rect const& other) {
            bool const isBeside = other.top == added.top && other.bottom == added.bottom &&
                                  (other.right == added.left || other.left == added.right);
            bool const isAbove = other.left == added.left && other.right == added.right &&
                                 (other.bottom == added.top || other.top == added.bottom);
            return isBeside || isAbove;
        };
        auto const found = std::find_if(m_rects.begin(), m_rects.end(), isNeighbour);
        hasGrown = found != m_rects.end();
        if (hasGrown) {
            added = added.United(*found);
            m_rects.erase(found);
        }
    }
    m_rects.push_back(added);
}

void RectSet::Subtract(Rect const& rect) {
    if (rect.IsEmpty())
        return;
    std::vector<Rect> rest;
    for (Rect const& one : m_rects) {
        auto const common = one.Intersected(rect);
        if (common.IsEmpty()) {
            rest.push_back(one);
            continue;
        }
        Rect const parts[] = {{one.left, one.top, one.right, common.top},
                              {one.left, common.top, common.left, common.bottom},
                              {common.right, common.top, one.right, common.bottom},
                              {one.left, common.bottom, one.right, one.bottom}};
        std::copy_if(std::begin(parts), std::end(parts), std::back_inserter(rest),
                     [](Rect const& part) { return !part.IsEmpty(); });
    }
    m_rects = std::move(rest);
}

RectSet RectSet::Intersected(Rect const& rect) const {
    RectSet set;
    for (Rect const& one : m_rects) {
        auto const common = one.Intersected(rect);
        if (!common.IsEmpty())
            set.m_rects.push_back(common);
    }
    return set;
}

RectSet RectSet::Missing(Rect const& rect) const {
    RectSet set;
    set.Add(rect);
    for (Rect const& one : m_rects)
        set.Subtract(one);
    return set;
}

} // namespace Raster
