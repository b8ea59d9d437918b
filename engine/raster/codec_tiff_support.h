// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/codec_support.h"

#include <cstdint>
#include <string>
#include <vector>

// libtiff's header is C and not for everyone.
struct tiff;

namespace Raster::Codec {

// The first directory of a TIFF file, as far as its samples are concerned.
struct TiffLayout {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bitsPerSample = 1;
    // How many bits a sample takes in the rows that are converted; at least its own.
    std::uint16_t containerBits = 1;
    std::uint16_t samplesPerPixel = 1;
    // SAMPLEFORMAT_*
    std::uint16_t sampleFormat = 1;
    // PHOTOMETRIC_*, COMPRESSION_*
    std::uint16_t photometric = 0;
    std::uint16_t compression = 1;
    bool isSeparate = false;
    // Samples of a pixel that are colour; alpha, where there is any, is the next one.
    std::uint16_t colourCount = 1;
    bool hasAlpha = false;
    bool isPremultiplied = false;
    // Three tables of 2^bitsPerSample entries, for PHOTOMETRIC_PALETTE.
    std::uint16_t const* palette[3] = {};
};

// Sample number `index` of a row, of 1 to 32 bits.
std::uint32_t LoadTiffInteger(std::span<std::byte const> source, std::size_t index, unsigned bits);

// Turns rows of samples as libtiff gives them (packed bits, the machine's byte order) into rows of an ImageInfo.
class TiffRowConverter {
public:
    TiffRowConverter(TiffLayout const& layout, ImageInfo const& info);
    // `source` holds the pixels interleaved, all samples of each.
    void Convert(std::span<std::byte const> source, std::span<std::byte> target) const;

private:
    template <class Sample>
    void ConvertIntegers(std::span<std::byte const> source, Sample* target) const;
    void ConvertWideIntegers(std::span<std::byte const> source, float* target) const;
    void ConvertFloats(std::span<std::byte const> source, float* target) const;
    std::uint32_t GetInteger(std::span<std::byte const> source, std::size_t index) const;
    float GetFloat(std::span<std::byte const> source, std::size_t index) const;

    TiffLayout m_layout;
    ImageInfo m_info;
};

} // namespace Raster::Codec
