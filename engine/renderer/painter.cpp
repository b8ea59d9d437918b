// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/painter.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

class UniformSource final : public FillSource {
public:
    UniformSource(WorkingSpace const& space, std::array<float, c_maximumColours> const& colour, float alpha)
        : m_planes(space.GetColourCount() + 1) {
        for (int c = 0; c != space.GetColourCount(); ++c)
            m_pixel[c] = colour[static_cast<std::size_t>(c)] * alpha;
        m_pixel[space.GetColourCount()] = alpha;
    }
    float const* GetUniformPixel() const override { return m_pixel; }
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<UniformPainter>(*this); }

private:
    class UniformPainter final : public Painter {
    public:
        explicit UniformPainter(UniformSource const& source) : m_source(source) {}
        void GetRow(int, int, int count, float* const* planes) override {
            for (int plane = 0; plane != m_source.m_planes; ++plane)
                std::fill_n(planes[plane], count, m_source.m_pixel[plane]);
        }

    private:
        UniformSource const& m_source;
    };

    int m_planes;
    float m_pixel[c_maximumColours + 1]{};
};

} // namespace

Painter::~Painter() = default;
void Painter::Begin(Kernel::RectT<int> const&) {}
FillSource::~FillSource() = default;

std::shared_ptr<FillSource const> MakeFillSource(Fill const& fill, Transform const& toPixels, double opacity,
                                                 WorkingSpace const& space,
                                                 Raster::ICCProfileSet const& documentProfiles) {
    if (!(opacity > 0) || !(fill.GetMaximumAlpha() > 0))
        return nullptr;
    opacity = std::min(opacity, 1.0);
    switch (fill.GetType()) {
    case FillType::None:
        break;
    case FillType::Solid: {
        Colour const& colour = static_cast<SolidFill const&>(fill).GetColour();
        return std::make_shared<UniformSource>(space, space.ToWorking(colour, documentProfiles),
                                               static_cast<float>(opacity * double{colour.GetAlpha()}));
    }
    case FillType::LinearGradient:
    case FillType::EllipticalGradient:
        return MakeGradientSource(static_cast<GradientFill const&>(fill), toPixels, opacity, space, documentProfiles);
    case FillType::Bitmap:
        return MakeBitmapSource(static_cast<BitmapFill const&>(fill), toPixels, opacity, space, documentProfiles);
    // Patterns need to know the picture that they are for: MakePatternSource.
    case FillType::Pattern:
        break;
    }
    return nullptr;
}

} // namespace Renderer::Detail
