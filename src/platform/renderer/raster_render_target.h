// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/buffer.h"
#include "platform/renderer/render_target.h"

#include <functional>
#include <memory>

namespace Renderer {

// The numbers that colours are mixed in.
enum class BlendSpace {
    // As sRGB encodes them, or as the format holds them: what SVG and most documents expect.
    Encoded,
    // Linear light. RGB formats only.
    Linear,
};

struct RasterOptions {
    // Size of the picture in pixels, 1 to 1048576 each.
    int width = 0;
    int height = 0;
    // RGB, grey, CMYK or Lab with alpha. Pixels come out in this format; they are mixed as floats.
    Raster::Format format = Raster::FormatRGBA8;
    // The colour space of the pixels.
    Raster::ICCProfileSet profiles;
    Transform documentToPixels;
    // The background, below everything.
    Colour background = Colour().WithAlpha(0);
    BlendSpace blendSpace = BlendSpace::Encoded;
    // Polled while rendering when it is not null.
    bool const* abort = nullptr;
};

// Paints into pixels.
//
// Drawing is recorded; pixels are made when they are asked for, in bands of bounded memory and by several threads. The
// pixels depend on nothing but the drawing: not on the order in which rows are asked for, nor on threads or machine.
// See docs/rendering.md for how edges, gradients, bitmaps and blend modes are computed.
class REDRAFT_ENGINE RasterRenderTarget final : public RenderTarget {
public:
    // Throws Kernel::Exception for a size or format that cannot be.
    explicit RasterRenderTarget(RasterOptions const& options);
    ~RasterRenderTarget() override;

    RasterOptions const& GetOptions() const;

    // The pixels of a rectangle inside the picture. Clips and layers that are still open end here for what is
    // rendered. Throws Kernel::AbortException when the abort flag is set, Kernel::Exception for a rectangle that is
    // empty or reaches out of the picture.
    Kernel::Counted<Raster::BufferBase> Render(Kernel::RectT<int> const& rectangle) const;
    // The whole picture from top to bottom, a few rows at a time, so that memory stays small: for encoders. Each
    // buffer is as wide as the picture.
    using RowsSink = std::function<void(Raster::BufferBase const& rows, int firstRow)>;
    void Render(RowsSink const& sink) const;

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, OpacityPair const& opacity,
                            BlendMode blendMode, BlendOptions const& blendOptions, FillDescriptorConst const& mainFill,
                            FillDescriptorConst const& secondFill, FillDescriptorConst const& lineFill,
                            LineStyleDescriptorConst const& lineStyle,
                            Geometry::WindingOrderMode windingOrderMode) override;
    void OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                    Geometry::WindingOrderMode windingOrderMode) override;
    void OnPopClip() override;
    void OnBeginMask(MaskKind kind) override;
    void OnEndMask() override;
    void OnPushLayer(LayerOptions const& options) override;
    void OnPopLayer() override;
    void OnPushFilter(Kernel::Counted<Filter const> filter) override;
    void OnPopFilter() override;

private:
    friend class PictureParts;
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Renderer
