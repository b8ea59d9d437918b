// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/fill.h"

#include "engine/renderer/value_hash.h"
#include "platform/renderer/fill_descriptor.h"

#include <algorithm>
#include <cmath>

namespace Renderer {

namespace {

void AddPoint(Detail::ValueHash& hash, PointDbl p) { hash.Add(p.x).Add(p.y); }

double ClampUnit(double v) { return v > 0 ? std::min(v, 1.0) : 0.0; }

} // namespace

Fill::~Fill() = default;

Colour NoFill::GetRepresentativeColour() const { return Colour().WithAlpha(0); }

std::size_t SolidFill::GetHash() const { return Detail::ValueHash().Add(m_colour.GetHash()).Get(); }

bool SolidFill::IsEqualTo(Fill const& other) const { return m_colour == static_cast<SolidFill const&>(other).m_colour; }

GradientFill::GradientFill(std::vector<GradientStop> stops, GradientSpread spread)
    : m_stops(std::move(stops)), m_spread(spread) {
    Normalise();
}

void GradientFill::Normalise() {
    double last = 0;
    for (GradientStop& stop : m_stops) {
        stop.offset = std::max(ClampUnit(stop.offset), last);
        stop.opacity = ClampUnit(stop.opacity);
        stop.colour = stop.colour.Sanitised();
        last = stop.offset;
    }
}

float GradientFill::GetMaximumAlpha() const {
    double alpha = 0;
    for (GradientStop const& stop : m_stops)
        alpha = std::max(alpha, stop.opacity * double{stop.colour.GetAlpha()});
    return static_cast<float>(alpha);
}

Colour GradientFill::GetRepresentativeColour() const {
    return m_stops.empty() ? Colour().WithAlpha(0) : m_stops.front().colour;
}

bool GradientFill::HasOpaqueStops() const {
    return !m_stops.empty() && std::ranges::all_of(m_stops, [](GradientStop const& stop) {
        return stop.opacity == 1 && stop.colour.GetAlpha() == 1;
    });
}

bool GradientFill::HasEqualStops(GradientFill const& other) const {
    return m_spread == other.m_spread && m_stops == other.m_stops;
}

std::size_t GradientFill::GetStopsHash() const {
    Detail::ValueHash hash;
    hash.Add(std::uint64_t{static_cast<std::uint32_t>(m_spread)});
    for (GradientStop const& stop : m_stops)
        hash.Add(stop.offset).Add(stop.opacity).Add(stop.colour.GetHash());
    return hash.Get();
}

std::size_t LinearGradientFill::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(GetStopsHash());
    AddPoint(hash, m_start);
    AddPoint(hash, m_end);
    return hash.Get();
}

bool LinearGradientFill::IsEqualTo(Fill const& other) const {
    auto const& o = static_cast<LinearGradientFill const&>(other);
    return m_start == o.m_start && m_end == o.m_end && HasEqualStops(o);
}

EllipticalGradientFill::EllipticalGradientFill(PointDbl centre, PointDbl end1, PointDbl end2, PointDbl focus,
                                               double focalRadius, std::vector<GradientStop> stops,
                                               GradientSpread spread)
    : GradientFill(std::move(stops), spread),
      m_centre(centre),
      m_end1(end1),
      m_end2(end2),
      m_focus(focus),
      m_focalRadius(ClampUnit(focalRadius)) {}

EllipticalGradientFill::EllipticalGradientFill(PointDbl centre, double radius, std::vector<GradientStop> stops,
                                               GradientSpread spread)
    : EllipticalGradientFill(centre, {centre.x + radius, centre.y}, {centre.x, centre.y + radius}, centre, 0,
                             std::move(stops), spread) {}

bool EllipticalGradientFill::IsOpaque() const {
    // With the focal circle inside the ellipse every point has its circle.
    PointDbl const f = GetCircleTransform().GetInverse().Apply(m_focus);
    return HasOpaqueStops() && std::sqrt(f.x * f.x + f.y * f.y) + m_focalRadius < 1;
}

std::size_t EllipticalGradientFill::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(GetStopsHash());
    for (PointDbl const& p : {m_centre, m_end1, m_end2, m_focus})
        AddPoint(hash, p);
    return hash.Add(m_focalRadius).Get();
}

bool EllipticalGradientFill::IsEqualTo(Fill const& other) const {
    auto const& o = static_cast<EllipticalGradientFill const&>(other);
    return m_centre == o.m_centre && m_end1 == o.m_end1 && m_end2 == o.m_end2 && m_focus == o.m_focus &&
           m_focalRadius == o.m_focalRadius && HasEqualStops(o);
}

FillDescriptorConst::FillDescriptorConst(Kernel::Consolidated<Fill> const& fill, bool scaleWithObject,
                                         Raster::AffineTransform::Params const& transform, BlendMode blendMode,
                                         bool overprint)
    : m_fill(fill.ToCounted()),
      m_transform(transform),
      m_blendMode(blendMode),
      m_scaleWithObject(scaleWithObject),
      m_overprint(overprint) {}

FillDescriptorConst::FillDescriptorConst(Colour const& colour)
    : m_fill(Kernel::Consolidated<Fill>(Kernel::Counted<Fill const>(new SolidFill(colour))).ToCounted()) {}

bool FillDescriptorConst::IsFillVisible(double tolerance) const {
    return !IsFillNone() && double{m_fill->GetMaximumAlpha()} > tolerance;
}

bool operator==(FillDescriptorConst const& a, FillDescriptorConst const& b) {
    if (a.m_transform != b.m_transform || a.m_blendMode != b.m_blendMode ||
        a.m_scaleWithObject != b.m_scaleWithObject || a.m_overprint != b.m_overprint)
        return false;
    return a.m_fill == b.m_fill || (a.m_fill && b.m_fill && *a.m_fill == *b.m_fill);
}

std::size_t FillDescriptorConst::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(m_fill ? std::uint64_t{m_fill->GetHash()} : 0u)
        .Add(std::uint64_t{static_cast<std::uint32_t>(m_blendMode)});
    hash.Add(std::uint64_t{m_scaleWithObject} * 2 + std::uint64_t{m_overprint});
    for (double const v : {m_transform.a, m_transform.b, m_transform.tx, m_transform.c, m_transform.d, m_transform.ty})
        hash.Add(v);
    return hash.Get();
}

FillDescriptor::~FillDescriptor() = default;

Kernel::Counted<FillDescriptor> FillDescriptor::Clone() const { return Kernel::MakeCounted<FillDescriptor>(*this); }

Kernel::Counted<FillDescriptor> FillDescriptor::CloneWithNewScaleWithObject(bool scaleWithObject) const {
    auto const clone = Clone();
    clone->m_scaleWithObject = scaleWithObject;
    return clone;
}

Kernel::Counted<FillDescriptor>
FillDescriptor::CloneWithNewTransform(Raster::AffineTransform::Params const& transform) const {
    auto const clone = Clone();
    clone->m_transform = transform;
    return clone;
}

Kernel::Counted<FillDescriptor> FillDescriptor::CloneWithNewFill(Kernel::Consolidated<Fill> const& fill) const {
    auto const clone = Clone();
    clone->m_fill = fill.ToCounted();
    return clone;
}

} // namespace Renderer
