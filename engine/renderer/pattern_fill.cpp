// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/value_hash.h"
#include "platform/renderer/recorded_drawing.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace Renderer {

PatternFill::PatternFill(Kernel::Counted<RecordedDrawing const> drawing, Kernel::SizeT<double> const& tileSize,
                         double opacity)
    : m_drawing(std::move(drawing)), m_tileSize(tileSize), m_opacity(opacity > 0 ? std::min(opacity, 1.0) : 0.0) {}

float PatternFill::GetMaximumAlpha() const {
    bool const hasTile = m_tileSize.width > 0 && m_tileSize.height > 0 && std::isfinite(m_tileSize.width) &&
                         std::isfinite(m_tileSize.height);
    return hasTile && m_drawing && !m_drawing->GetSteps().empty() ? static_cast<float>(m_opacity) : 0.0f;
}

Colour PatternFill::GetRepresentativeColour() const {
    if (m_drawing) {
        for (auto const& step : m_drawing->GetSteps())
            for (auto const* descriptor : {step.fill.get(), step.lineFill.get()})
                if (descriptor != nullptr && !descriptor->IsFillNone() &&
                    descriptor->GetFill()->GetType() != FillType::Pattern)
                    return descriptor->GetFill()->GetRepresentativeColour();
    }
    return Colour::FromGrey(0.5f).WithAlpha(GetMaximumAlpha());
}

std::size_t PatternFill::GetHash() const {
    return Detail::ValueHash()
        .Add(std::uint64_t{std::hash<void const*>()(m_drawing.get())})
        .Add(m_tileSize.width)
        .Add(m_tileSize.height)
        .Add(m_opacity)
        .Get();
}

bool PatternFill::IsEqualTo(Fill const& other) const {
    auto const& o = static_cast<PatternFill const&>(other);
    return m_drawing == o.m_drawing && m_tileSize == o.m_tileSize && m_opacity == o.m_opacity;
}

} // namespace Renderer
