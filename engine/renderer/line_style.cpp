// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/line_style.h"

#include "engine/geometry/deterministic_math.h"
#include "engine/renderer/value_hash.h"

#include <algorithm>
#include <cmath>

namespace Renderer {

namespace {

template <class T>
bool IsSameValue(Kernel::Counted<T const> const& a, Kernel::Counted<T const> const& b) {
    return a == b || (a && b && *a == *b);
}

} // namespace

LineStyle::~LineStyle() = default;
LineStyleArrowHead::~LineStyleArrowHead() = default;
LineStyleDescriptor::~LineStyleDescriptor() = default;

Kernel::Counted<LineStyle> LineStyle::Clone() const { return Kernel::MakeCounted<LineStyle>(*this); }

void LineStyle::SetWeight(std::optional<double> weight) {
    m_hasWeight = weight.has_value();
    m_weight = weight.value_or(0);
}

bool LineBrush::IsBroad() const { return roundness > 0 && roundness < 1 && std::isfinite(angle); }

Geometry::Transform LineBrush::GetShape() const {
    constexpr double c_narrowest = 0.01;
    if (!IsBroad())
        return {};
    auto const [sine, cosine] = Geometry::Detail::GetSineCosine(angle);
    Geometry::Transform const turn({cosine, -sine, 0, sine, cosine, 0}), back({cosine, sine, 0, -sine, cosine, 0});
    return turn * Geometry::Transform::Scale(1, std::max(roundness, c_narrowest)) * back;
}

std::size_t LineStyle::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(std::uint64_t{static_cast<std::uint32_t>(m_type)} * 65536 + static_cast<std::uint32_t>(m_cap) * 256u +
             static_cast<std::uint32_t>(m_join));
    hash.Add(std::uint64_t{m_hasWeight}).Add(m_weight).Add(m_mitreLimit).Add(m_dashPhase);
    for (double const length : m_dashPattern)
        hash.Add(length);
    if (m_brush != LineBrush())
        hash.Add(m_brush.roundness).Add(m_brush.angle);
    return hash.Get();
}

bool operator==(LineStyle const& a, LineStyle const& b) {
    return a.m_type == b.m_type && a.m_cap == b.m_cap && a.m_join == b.m_join && a.m_hasWeight == b.m_hasWeight &&
           a.m_weight == b.m_weight && a.m_mitreLimit == b.m_mitreLimit && a.m_dashPhase == b.m_dashPhase &&
           a.m_dashPattern == b.m_dashPattern && a.m_brush == b.m_brush;
}

Kernel::Counted<LineStyleArrowHead> LineStyleArrowHead::CloneWithNewScale(double scaleX, double scaleY) const {
    return Kernel::MakeCounted<LineStyleArrowHead>(m_shape, scaleX, scaleY);
}

std::size_t LineStyleArrowHead::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(std::uint64_t{m_shape ? m_shape->GetHash() : 0}).Add(m_scaleX).Add(m_scaleY);
    return hash.Get();
}

bool operator==(LineStyleArrowHead const& a, LineStyleArrowHead const& b) {
    return a.m_scaleX == b.m_scaleX && a.m_scaleY == b.m_scaleY && IsSameValue(a.m_shape, b.m_shape);
}

bool LineStyleDescriptorConst::IsLineStyleVisible(FillDescriptorConst const& lineFill) const {
    return !IsLineStyleNone() && m_style->GetWeightOrZero() > 0 && lineFill.IsFillVisible(0);
}

double LineStyleDescriptorConst::GetEffectiveWeight(Raster::AffineTransform::Params const& transform,
                                                    double scalar) const {
    if (!m_style)
        return 0;
    return m_style->GetWeightOrZero() * (m_scaleWithObject ? Transform(transform).GetUniformScale() : scalar);
}

bool operator==(LineStyleDescriptorConst const& a, LineStyleDescriptorConst const& b) {
    return a.m_alignment == b.m_alignment && a.m_drawBehindFill == b.m_drawBehindFill &&
           a.m_scaleWithObject == b.m_scaleWithObject && a.m_arrowHeadsBeyondEnds == b.m_arrowHeadsBeyondEnds &&
           IsSameValue(a.m_style, b.m_style) && IsSameValue(a.m_pressure, b.m_pressure) &&
           IsSameValue(a.m_frontArrowHead, b.m_frontArrowHead) && IsSameValue(a.m_backArrowHead, b.m_backArrowHead);
}

void LineStyleDescriptor::SetPressure(Kernel::Counted<Geometry::CurveDbl const> const& pressure) {
    m_pressure = Kernel::Consolidated<Geometry::CurveDbl>(pressure).ToCounted();
}

void LineStyleDescriptor::SetFrontArrowHead(Kernel::Counted<LineStyleArrowHead const> const& head) {
    m_frontArrowHead = Kernel::Consolidated<LineStyleArrowHead>(head).ToCounted();
}

void LineStyleDescriptor::SetBackArrowHead(Kernel::Counted<LineStyleArrowHead const> const& head) {
    m_backArrowHead = Kernel::Consolidated<LineStyleArrowHead>(head).ToCounted();
}

Kernel::Counted<LineStyleDescriptor> LineStyleDescriptor::Clone() const {
    return Kernel::MakeCounted<LineStyleDescriptor>(*this);
}

} // namespace Renderer
