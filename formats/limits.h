// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace Formats {

// Bounds on the work and memory that one drawing may take. The defaults let the largest maps through and keep a hostile
// file below a gigabyte.
struct DrawingLimits {
    // Of the source after decompression and after conversion to UTF-8, in bytes.
    std::size_t sourceBytes = std::size_t{160} << 20;
    // A compressed source may grow freely up to this many bytes, and beyond it only by inflateRatio.
    std::size_t inflateFreeBytes = std::size_t{16} << 20;
    std::size_t inflateRatio = 200;
    // Bytes that internal entities may add to the source, and how many references may be followed.
    std::size_t entityBytes = std::size_t{4} << 20;
    std::size_t entityReferences = 1'000'000;
    std::size_t entityDepth = 16;
    // Elements of the source.
    std::size_t elements = 1'500'000;
    // How deep elements may stand in one another.
    std::size_t depth = 300'000;
    // Elements that references make, over the whole drawing, and how deep one may stand in another.
    std::size_t instances = 500'000;
    std::size_t referenceDepth = 100;
    // Steps of selector matching; the rules of style sheets are left out when it is spent.
    std::uint64_t matchSteps = 150'000'000;
    // Bytes of one image, decoded from its data URI or read from its file.
    std::size_t imageBytes = std::size_t{128} << 20;
};

// Bounds on what an import reads. Above each of them the file is refused.
struct Limits {
    DrawingLimits drawing;
    // Of a picture file; the pixels in it are bounded by Raster::ImageLimits.
    std::uint64_t pictureBytes = std::uint64_t{1} << 31;
    // Of a text file, and the pages that it may fill.
    std::uint64_t textBytes = std::uint64_t{256} << 20;
    // Of a Markdown file, whose syntax tree takes a hundred times as much where each character is a mark.
    std::uint64_t markdownBytes = std::uint64_t{8} << 20;
    std::size_t textPages = 100'000;
};

} // namespace Formats
