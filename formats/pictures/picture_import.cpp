// SPDX-License-Identifier: Apache-2.0
#include "formats/pictures/picture_import.h"

#include "formats/pictures/own_pixels.h"
#include "platform/raster/bitmap_image.h"

#include <utility>

namespace Formats {

namespace {

// Resolutions beyond these are taken for mistakes.
constexpr double c_minimumDpi = 1;
constexpr double c_maximumDpi = 100'000;

// Document units of one pixel.
double GetPixelSize(double dpi) { return dpi >= c_minimumDpi && dpi <= c_maximumDpi ? c_unitsPerInch / dpi : 1; }

// Hands the rows on; with each of them tells the progress and looks for an abort.
class WatchedReceiver final : public Raster::ImageReceiver {
public:
    WatchedReceiver(Raster::BitmapReceiver& receiver, Work const& work) : m_receiver(receiver), m_work(work) {}

    void Begin(Raster::ImageInfo const& info) override {
        m_work.CheckAbort();
        m_receiver.Begin(info);
        m_height = info.height;
    }
    void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) override {
        m_work.CheckAbort();
        m_receiver.ReceiveRow(y, row);
        m_work.Update(static_cast<float>(y + 1) / static_cast<float>(m_height));
    }

private:
    Raster::BitmapReceiver& m_receiver;
    Work const& m_work;
    std::uint32_t m_height = 1;
};

} // namespace

ImportedPicture ReadPicture(std::span<std::byte const> bytes, Work const& work) {
    Raster::BitmapReceiver receiver;
    WatchedReceiver watched(receiver, work);
    Raster::DecodeImage(bytes, watched);
    auto const bitmap = receiver.Finish();
    auto const& info = receiver.GetInfo();
    double pixelWidth = GetPixelSize(info.dpiX);
    double pixelHeight = GetPixelSize(info.dpiY);
    if (info.orientation >= Raster::Orientation::LeftTop)
        std::swap(pixelWidth, pixelHeight);
    auto const layer = Kernel::MakeCounted<RasterNode>();
    layer->SetBitmap(bitmap);
    layer->SetTransform({pixelWidth, 0, 0, 0, pixelHeight, 0}, false);
    return {layer, {bitmap->GetWidth() * pixelWidth, bitmap->GetHeight() * pixelHeight}, info};
}

} // namespace Formats
