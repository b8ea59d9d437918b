// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/filter_graph.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace Renderer::Detail {

namespace {

constexpr double c_farPixel = 1 << 28;

int FindInput(std::vector<FilterPrimitive> const& primitives, std::size_t at, std::size_t number) {
    int const before = at == 0 ? c_sourceGraphic : static_cast<int>(at) - 1;
    auto const& inputs = primitives[at].inputs;
    if (number >= inputs.size() || inputs[number].empty())
        return before;
    std::string_view const name = inputs[number].view();
    if (name == "SourceGraphic")
        return c_sourceGraphic;
    if (name == "SourceAlpha")
        return c_sourceAlpha;
    for (std::size_t i = at; i-- != 0;)
        if (primitives[i].result.view() == name)
            return static_cast<int>(i);
    return before;
}

RectDbl Grown(RectDbl const& r, double x, double y) {
    return r.IsEmpty() ? r : RectDbl{r.left - x, r.top - y, r.right + x, r.bottom + y};
}

double GetTransferOfNothing(TransferFunction const& f) {
    double const first = f.values.empty() ? 0 : f.values.front();
    switch (f.kind) {
    case TransferKind::Table:
    case TransferKind::Discrete:
        return first;
    case TransferKind::Linear:
        return f.values.size() > 1 ? f.values[1] : 0;
    case TransferKind::Gamma:
        return f.values.size() > 2 ? f.values[2] + (f.values[1] == 0 ? f.values[0] : 0) : 0;
    case TransferKind::Identity:
        break;
    }
    return 0;
}

// Whether a primitive makes something of nothing.
bool PaintsEverywhere(FilterPrimitive const& p) {
    switch (p.kind) {
    case FilterPrimitiveKind::Flood:
        return true;
    case FilterPrimitiveKind::ColourMatrix:
        return p.numbers.size() == 20 && p.numbers[19] > 0;
    case FilterPrimitiveKind::ComponentTransfer:
        return p.transfers.size() == 4 && GetTransferOfNothing(p.transfers[3]) > 0;
    case FilterPrimitiveKind::Composite:
        return p.compositeOperator == CompositeOperator::Arithmetic && p.numbers.size() == 4 && p.numbers[3] > 0;
    default:
        return false;
    }
}

} // namespace

std::size_t CountInputs(FilterPrimitive const& primitive) {
    switch (primitive.kind) {
    case FilterPrimitiveKind::Flood:
        return 0;
    case FilterPrimitiveKind::Blend:
    case FilterPrimitiveKind::Composite:
        return 2;
    case FilterPrimitiveKind::Merge:
        return primitive.inputs.size();
    default:
        return 1;
    }
}

RectInt TouchedPixels(RectDbl const& rect) {
    constexpr double c_rounding = 1e-6;
    auto const clamp = [](double v) { return static_cast<int>(std::clamp(v, -c_farPixel, c_farPixel)); };
    if (rect.IsEmpty())
        return {};
    RectInt const pixels{clamp(std::floor(rect.left + c_rounding)), clamp(std::floor(rect.top + c_rounding)),
                         clamp(std::ceil(rect.right - c_rounding)), clamp(std::ceil(rect.bottom - c_rounding))};
    return pixels.IsEmpty() ? RectInt{} : pixels;
}

int GetBlurReach(double deviation) {
    deviation = std::min(deviation, 1e7);
    // A Gaussian is taken up to four deviations, three boxes of 1.88 deviations reach 2.82.
    return deviation < 2 ? static_cast<int>(std::ceil(4 * deviation))
                         : static_cast<int>(std::ceil(2.83 * deviation)) + 2;
}

FilterGraph::FilterGraph(Filter const& filter, Transform const& toGrid) {
    FilterSettings const& settings = filter.GetSettings();
    auto const& m = toGrid.GetParams();
    bool const isTurned = std::fabs(m.b) + std::fabs(m.c) > std::fabs(m.a) + std::fabs(m.d);
    double const scaleX = std::fabs(m.a) + std::fabs(m.c), scaleY = std::fabs(m.b) + std::fabs(m.d);
    RectDbl const r = settings.GetRegion();
    m_region = r.IsEmpty() ? RectDbl{} : m.Apply(r);
    m_steps.reserve(settings.primitives.size());
    for (std::size_t i = 0; i != settings.primitives.size(); ++i) {
        FilterPrimitive const& p = settings.primitives[i];
        FilterStep step;
        step.primitive = &p;
        for (std::size_t input = 0, count = CountInputs(p); input != count; ++input)
            step.inputs.push_back(FindInput(settings.primitives, i, input));
        step.subregion = m_region;
        if (p.givenSides != 0) {
            RectDbl sides{(p.givenSides & 1) != 0 ? p.left : r.left, (p.givenSides & 2) != 0 ? p.top : r.top, 0, 0};
            sides.right = sides.left + ((p.givenSides & 4) != 0 ? p.width : r.GetWidth());
            sides.bottom = sides.top + ((p.givenSides & 8) != 0 ? p.height : r.GetHeight());
            step.subregion = sides.IsEmpty() ? RectDbl{} : m_region.Intersected(m.Apply(sides));
        }
        step.deviationX = p.deviationX * scaleX;
        step.deviationY = p.deviationY * scaleY;
        if (isTurned)
            std::swap(step.deviationX, step.deviationY);
        step.offsetX = m.a * p.offsetX + m.b * p.offsetY;
        step.offsetY = m.c * p.offsetX + m.d * p.offsetY;
        m_steps.push_back(std::move(step));
    }
}

std::vector<RectDbl> FilterGraph::FindBounds(RectDbl const& content, bool atAnyScale) const {
    std::vector<RectDbl> bounds;
    bounds.reserve(m_steps.size() + 1);
    RectDbl const source = content.Intersected(m_region);
    auto const boundsOf = [&](int input) { return input < 0 ? source : bounds[static_cast<std::size_t>(input)]; };
    for (FilterStep const& step : m_steps) {
        FilterPrimitive const& p = *step.primitive;
        RectDbl all;
        for (int const input : step.inputs)
            all = all.United(boundsOf(input));
        double const reachX = atAnyScale ? 4 * step.deviationX : GetBlurReach(step.deviationX);
        double const reachY = atAnyScale ? 4 * step.deviationY : GetBlurReach(step.deviationY);
        auto const moved = [&](RectDbl const& r) {
            return r.IsEmpty() ? r
                               : RectDbl{r.left + step.offsetX, r.top + step.offsetY, r.right + step.offsetX,
                                         r.bottom + step.offsetY};
        };
        if (PaintsEverywhere(p)) {
            all = step.subregion;
        } else if (p.kind == FilterPrimitiveKind::GaussianBlur) {
            all = Grown(all, reachX, reachY);
        } else if (p.kind == FilterPrimitiveKind::Offset) {
            all = moved(all);
        } else if (p.kind == FilterPrimitiveKind::DropShadow) {
            all = all.United(moved(Grown(all, reachX, reachY)));
        } else if (p.kind == FilterPrimitiveKind::Composite && p.compositeOperator == CompositeOperator::In) {
            all = boundsOf(step.inputs[0]).Intersected(boundsOf(step.inputs[1]));
        }
        bounds.push_back(all.Intersected(step.subregion));
    }
    bounds.push_back(source);
    return bounds;
}

std::vector<RectInt> FilterGraph::FindNeeds(RectInt const& wanted, std::vector<RectDbl> const& bounds) const {
    std::vector<RectInt> needs(m_steps.size() + 1);
    if (m_steps.empty())
        return needs;
    needs[m_steps.size() - 1] = wanted;
    for (std::size_t i = m_steps.size(); i-- != 0;) {
        RectInt need = needs[i].Intersected(TouchedPixels(bounds[i]));
        needs[i] = need;
        if (need.IsEmpty())
            continue;
        FilterStep const& step = m_steps[i];
        auto const kind = step.primitive->kind;
        bool const isBlur = kind == FilterPrimitiveKind::GaussianBlur,
                   isShadow = kind == FilterPrimitiveKind::DropShadow;
        if (isBlur || isShadow || kind == FilterPrimitiveKind::Offset) {
            RectInt moved = need;
            if (!isBlur) {
                int const x = static_cast<int>(std::floor(std::clamp(step.offsetX, -1e8, 1e8)));
                int const y = static_cast<int>(std::floor(std::clamp(step.offsetY, -1e8, 1e8)));
                moved = {need.left - x - 1, need.top - y - 1, need.right - x, need.bottom - y};
            }
            if (kind != FilterPrimitiveKind::Offset) {
                int const x = GetBlurReach(step.deviationX), y = GetBlurReach(step.deviationY);
                moved = {moved.left - x, moved.top - y, moved.right + x, moved.bottom + y};
            }
            need = isShadow ? need.United(moved) : moved;
        }
        for (int const input : step.inputs) {
            std::size_t const at = input < 0 ? m_steps.size() : static_cast<std::size_t>(input);
            needs[at] = needs[at].United(need.Intersected(TouchedPixels(bounds[at])));
        }
    }
    return needs;
}

double FilterGraph::GetReach() const {
    // Along the longest way from the source to each result.
    std::vector<double> reaches;
    for (FilterStep const& step : m_steps) {
        double reach = 0;
        for (int const input : step.inputs)
            reach = std::max(reach, input < 0 ? 0 : reaches[static_cast<std::size_t>(input)]);
        auto const kind = step.primitive->kind;
        if (kind == FilterPrimitiveKind::GaussianBlur || kind == FilterPrimitiveKind::DropShadow)
            reach += 4 * std::max(step.deviationX, step.deviationY);
        if (kind == FilterPrimitiveKind::Offset || kind == FilterPrimitiveKind::DropShadow)
            reach += std::max(std::fabs(step.offsetX), std::fabs(step.offsetY));
        reaches.push_back(reach);
    }
    return reaches.empty() ? 0 : *std::max_element(reaches.begin(), reaches.end());
}

} // namespace Renderer::Detail
