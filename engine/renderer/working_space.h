// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "platform/renderer/raster_render_target.h"

#include <array>

namespace Renderer::Detail {

inline constexpr int c_maximumColours = 4;

// The numbers that pixels are mixed in: up to four colour planes and alpha, floats, full scale 1.
//
// RGB and grey are held as encoded, or RGB as linear light. CMYK is held as what is left of white, 1 - ink, so that
// blend modes do to it what they do to light (ISO 32000-1, 11.3.5.1). Lab is L / 100, (a + 128) / 255, (b + 128) / 255.
// Alpha-only formats have no colour plane.
class WorkingSpace {
public:
    WorkingSpace(Raster::Format format, Raster::ICCProfileSet const& profiles, BlendSpace blendSpace);

    Raster::ColourModel GetModel() const { return m_model; }
    int GetColourCount() const { return m_colourCount; }
    // RGB is held as light.
    bool IsLinear() const { return m_linear; }
    Raster::Format GetFormat() const { return m_format; }

    // The colour planes of a colour that is meant in the document's profiles, not multiplied by alpha.
    std::array<float, c_maximumColours> ToWorking(Colour const& colour,
                                                  Raster::ICCProfileSet const& documentProfiles) const;

    // Bitmaps are read as this format and then taken over plane by plane.
    Raster::Format GetExchangeFormat() const { return m_exchangeFormat; }
    Raster::ICCProfileSet const& GetProfiles() const { return m_profiles; }
    // `count` pixels of a buffer row in the exchange format as working planes, multiplied by alpha; `planes` are the
    // colours and alpha last.
    void LoadRow(Raster::BufferBase const& buffer, int y, int x, int count, float* const* planes) const;
    // Working planes, multiplied by alpha, as pixels of a buffer row in the target's format, from pixel x on.
    void StoreRow(float const* const* planes, int count, Raster::BufferBase& buffer, int y, int x) const;
    // The same with one pixel `count` times.
    void StorePixels(float const* pixel, int count, Raster::BufferBase& buffer, int y, int x) const;
    // How light a pixel is, 0..1, of colours that are not multiplied by alpha.
    float GetLuminance(float const* colour) const;
    // The same of the light that the colours stand for.
    float GetLinearLuminance(float const* colour) const;

private:
    Raster::Format m_format;
    Raster::Format m_exchangeFormat;
    Raster::ColourModel m_model;
    int m_colourCount;
    bool m_linear;
    Raster::ICCProfileSet m_profiles;
};

} // namespace Renderer::Detail
