// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/raster_documents.h"

#include "platform/raster/conversion.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

namespace {

// 0 to 65535, up and down again along a line.
unsigned Wave(unsigned at, unsigned period) {
    unsigned const phase = at % period;
    unsigned const rising = phase < period / 2 ? phase : period - phase;
    return std::min(rising * 2 * 65535 / period, 65535u);
}

} // namespace

Kernel::Counted<Raster::DynamicBitmap> MakePicture(int width, int height, Raster::Format format) {
    Raster::BufferBase* rows = nullptr;
    auto const wide = Raster::BufferBase::Create(width, height, Raster::FormatRGBA16);
    rows = wide.get();
    for (int y = 0; y != height; ++y) {
        std::uint16_t* planes[4];
        for (int c = 0; c != 4; ++c)
            planes[c] = static_cast<std::uint16_t*>(rows->GetRow(c, y));
        auto const v = static_cast<unsigned>(y);
        for (unsigned u = 0; u != static_cast<unsigned>(width); ++u) {
            planes[0][u] = static_cast<std::uint16_t>(Wave(u + v / 3, 190));
            planes[1][u] = static_cast<std::uint16_t>(Wave(u * 2 + v * 5, 614));
            planes[2][u] = static_cast<std::uint16_t>((Wave(v, 90) + Wave(u * u / 64, 350)) / 2);
            unsigned const right = static_cast<unsigned>(width) - 1 - u;
            unsigned const edge = std::min({u, v, right, static_cast<unsigned>(height) - 1 - v});
            planes[3][u] = static_cast<std::uint16_t>(std::min(edge * 4096, 65535u));
        }
    }
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, format);
    Raster::ConvertPixels(*wide, bitmap->GetMutableBase(), {0, 0},
                          *Raster::PixelConverter::MakePlain(Raster::FormatRGBA16, format));
    return bitmap;
}

Kernel::Counted<RasterNode> AppendPicture(DocumentController& controller, int width, int height, Raster::Format format,
                                          Raster::AffineTransform::Params const& transform) {
    auto layer = Kernel::MakeCounted<RasterNode>();
    layer->SetBitmap(MakePicture(width, height, format));
    layer->SetTransform(transform, false);
    Append(*controller.GetCurrentSpread(), layer);
    return layer;
}

void SelectedPixels(DocumentController& controller) {
    auto const layer = AppendPicture(controller, 300, 270, Raster::FormatRGBA8, {1, 0, 40, 0, 1, 60});
    auto const mask = Kernel::MakeCounted<Raster::DynamicBitmap>(120, 150, Raster::FormatA8);
    for (int y = 0; y != 150; ++y) {
        std::uint8_t row[120];
        for (int x = 0; x != 120; ++x)
            row[x] = static_cast<std::uint8_t>(std::min({x * 5, y * 4, (119 - x) * 9, (149 - y) * 3, 255}));
        mask->WritePixels({0, y, 120, y + 1}, row, sizeof row);
    }
    controller.SetRasterSelection(SelectionRasterNode::CreateMask(mask, {1, 0, 200, 0, 1, 150}));
    Select(controller, {layer});
}

void TwoLayers(DocumentController& controller) {
    auto const first = AppendPicture(controller, 90, 40, Raster::FormatRGBA8, {1, 0, 10, 0, 1, 20});
    auto const second = AppendPicture(controller, 90, 40, Raster::FormatRGBAF, {0.25, 0, 200, 0, 0.25, 60});
    Select(controller, {first, second});
}

void RasterLayers(DocumentController& controller) {
    auto const rotated = AppendPicture(controller, 40, 33, Raster::FormatCMYKA8, {3, -1, 100, 1, 3, 50});
    auto const flat = AppendPicture(controller, 257, 20, Raster::FormatLABA16, {1, 0, 300, 0, 1, 200});
    auto const bright = AppendPicture(controller, 24, 300, Raster::FormatRGBAF, {0.5, 0, 500, 0, 0.5, 300});
    auto const shape = MakeRectangle({0, 0, 60, 40}, 0.2, 0.4, 0.6);
    Append(*controller.GetCurrentSpread(), shape);
    Select(controller, {rotated, flat, shape, bright});
}

} // namespace ExampleDocuments
