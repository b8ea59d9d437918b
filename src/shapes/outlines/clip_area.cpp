// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/clip_area.h"

#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>

namespace Commands {

namespace {

using Graph = PlanarMaps::Graph;
using Geometry::RectDbl;

void Grow(std::optional<RectDbl>& box, Geometry::PointDbl p) {
    if (!box)
        box = RectDbl{p.x, p.y, p.x, p.y};
    else
        box = RectDbl{std::min(box->left, p.x), std::min(box->top, p.y), std::max(box->right, p.x),
                      std::max(box->bottom, p.y)};
}

// A curve lies in the hull of its control points.
std::optional<RectDbl> GetHullBox(ShapeInput const& input) {
    std::optional<RectDbl> box;
    for (auto const& entry : input.curves) {
        auto const transform = input.transform * entry.transform;
        for (auto const& curve : entry.curves->GetCurves()) {
            for (auto const& point : curve->GetPoints())
                Grow(box, transform.Apply(point));
        }
    }
    return box;
}

bool Touch(RectDbl const& a, RectDbl const& b) {
    return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

bool LeaveNothing(ShapeInput& input) {
    input.curves.clear();
    return false;
}

// The input's place is the first, below the clips.
bool ClipFilled(PlanarMaps& maps, PlanarMaps::Inputs clips, ShapeInput& input) {
    clips.insert(clips.begin(), input);
    auto outline = maps.FindOutline(clips);
    if (!outline)
        return true;
    if (!*outline)
        return LeaveNothing(input);
    ReplaceByOutline(input, std::move(*outline), true);
    return true;
}

bool ClipLines(PlanarMaps& maps, PlanarMaps::Inputs clips, ShapeInput& input) {
    if (clips.size() > 1) {
        auto outline = maps.FindOutline(clips);
        if (!outline)
            return true;
        if (!*outline)
            return LeaveNothing(input);
        ShapeInput common;
        common.role = Graph::c_clipRole;
        ReplaceByOutline(common, std::move(*outline), true);
        clips = {std::move(common)};
    }
    clips.insert(clips.begin(), input);
    auto const graph = maps.Make(clips, Graph::BoolOpMethod::Divide);
    if (!graph)
        return true;
    auto inside = graph->DivideClippedEdges(0, 1, true);
    if (!inside || inside->empty())
        return LeaveNothing(input);
    ReplaceByOutline(input, std::move(inside), false);
    return true;
}

} // namespace

bool ClipInput(PlanarMaps& maps, PlanarMaps::Inputs clips, ShapeInput& input) {
    return input.filled ? ClipFilled(maps, std::move(clips), input) : ClipLines(maps, std::move(clips), input);
}

ClipArea ClipArea::OfNothing() {
    ClipArea area;
    area.m_kind = Kind::Nothing;
    return area;
}

ClipArea ClipArea::Of(PlanarMaps& maps, PlanarMaps::Inputs const& clips) {
    auto outline = clips.empty() ? std::nullopt : maps.FindOutline(clips);
    if (!outline)
        return {};
    if (!*outline)
        return OfNothing();
    ClipArea area;
    area.m_kind = Kind::Area;
    area.m_input.role = Graph::c_clipRole;
    ReplaceByOutline(area.m_input, std::move(*outline), true);
    area.SetOutline();
    return area;
}

void ClipArea::SetOutline() {
    m_outline = m_input.curves.front().curves;
    for (auto const& curve : m_outline->GetCurves()) {
        auto const add = [this](std::initializer_list<Geometry::PointDbl> points) {
            std::optional<RectDbl> box;
            for (auto const& p : points)
                Grow(box, p);
            m_boxes.push_back(*box);
        };
        for (auto const segment : curve->GetSegments())
            add({segment.start, segment.control1, segment.control2, segment.end});
        // An area is closed by a straight line.
        add({curve->GetEnd(), curve->GetStart()});
    }
}

std::optional<bool> ClipArea::LiesInside(ShapeInput const& input) const {
    if (m_kind != Kind::Area)
        return m_kind == Kind::Everything;
    auto const box = GetHullBox(input);
    if (!box || !std::isfinite(box->GetWidth() + box->GetHeight()) ||
        std::any_of(m_boxes.begin(), m_boxes.end(), [&](auto const& other) { return Touch(other, *box); }))
        return std::nullopt;
    return Geometry::Contains(*m_outline, {box->left, box->top}, m_input.windingOrderMode);
}

void ClipArea::Apply(PlanarMaps& maps, ShapeInput& input) const {
    auto const isInside = LiesInside(input);
    if (!isInside)
        ClipInput(maps, {m_input}, input);
    else if (!*isInside)
        input.curves.clear();
}

} // namespace Commands
