// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"
#include "platform/renderer/raster_render_target.h"

#include <array>
#include <vector>

namespace Pictures {

using namespace Renderer;
using Geometry::PolyCurveDbl;
using Geometry::WindingOrderMode;
using Kernel::Counted;
using Kernel::MakeCounted;

inline Counted<PolyCurveDbl> Path(char const* data) { return Geometry::ReadPathData(data).curves; }
inline Counted<PolyCurveDbl> Path(Counted<Geometry::CurveDbl> curve) { return MakeCounted<PolyCurveDbl>(curve); }
inline Counted<PolyCurveDbl> Rectangle(double left, double top, double right, double bottom) {
    return MakeCounted<PolyCurveDbl>(RectDbl{left, top, right, bottom});
}

template <class T, class... Arguments>
Kernel::Consolidated<Fill> MakeFill(Arguments&&... arguments) {
    return Kernel::Consolidated<Fill>(Counted<Fill const>(new T(std::forward<Arguments>(arguments)...)));
}

inline Paint Filled(Colour const& colour) {
    Paint paint;
    paint.mainFill = FillDescriptorConst(colour);
    return paint;
}
inline Paint Filled(Kernel::Consolidated<Fill> const& fill) {
    Paint paint;
    paint.mainFill = FillDescriptorConst(fill);
    return paint;
}

inline Kernel::Consolidated<LineStyle> Consolidate(LineStyle const& style) {
    return Kernel::Consolidated<LineStyle>(Counted<LineStyle const>(style.Clone().get()));
}
inline Paint Lined(LineStyle const& style, Colour const& colour = Colour()) {
    Paint paint;
    paint.lineFill = FillDescriptorConst(colour);
    paint.lineStyle = LineStyleDescriptorConst(Consolidate(style));
    return paint;
}

inline RasterOptions Size(int width, int height, Raster::Format format = Raster::FormatRGBAF) {
    RasterOptions options;
    options.width = width;
    options.height = height;
    options.format = format;
    return options;
}

// A picture in RGBAF, or another float format, as pixels.
class Pixels {
public:
    explicit Pixels(RasterRenderTarget const& target)
        : m_buffer(target.Render({0, 0, target.GetOptions().width, target.GetOptions().height})) {}

    float Get(int channel, int x, int y) const {
        return static_cast<float const*>(std::as_const(*m_buffer).GetRow(channel, y))[x];
    }
    std::array<float, 4> Get(int x, int y) const { return {Get(0, x, y), Get(1, x, y), Get(2, x, y), Get(3, x, y)}; }
    float Alpha(int x, int y) const { return Get(3, x, y); }
    // Sum of alpha: the area that is covered by opaque paint.
    double GetArea() const {
        double area = 0;
        for (int y = 0; y != m_buffer->GetHeight(); ++y) {
            for (int x = 0; x != m_buffer->GetWidth(); ++x)
                area += double{Alpha(x, y)};
        }
        return area;
    }
    Raster::BufferBase const& GetBuffer() const { return *m_buffer; }

private:
    Counted<Raster::BufferBase> m_buffer;
};

inline std::vector<unsigned char> GetBytes(Raster::BufferBase const& buffer) {
    std::size_t const row =
        static_cast<std::size_t>(buffer.GetWidth() * buffer.GetInfo().channelCount * buffer.GetInfo().sampleBytes);
    std::vector<unsigned char> bytes(row * static_cast<std::size_t>(buffer.GetHeight()));
    buffer.ReadPixels(buffer.GetBounds(), bytes.data(), row);
    return bytes;
}

// The area of one drawn outline.
inline double GetDrawnArea(Counted<PolyCurveDbl> const& curves, Paint const& paint, int side = 200,
                           WindingOrderMode mode = WindingOrderMode::NonZero) {
    RasterRenderTarget target(Size(side, side));
    target.DrawCurves(curves, paint, mode);
    return Pixels(target).GetArea();
}

} // namespace Pictures
