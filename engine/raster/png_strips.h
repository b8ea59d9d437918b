// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace Raster::Codec {

// Filters and compresses the rows of a PNG file (ISO/IEC 15948, 9 and 10) in strips, several at a time.
//
// Strips are cut by the rows' length alone, and each is compressed with the end of the one before as its dictionary:
// the bytes do not depend on the number of threads, and their count hardly on the strips. Together they are one zlib
// stream (RFC 1950): each strip but the last ends with a flush to a whole byte, and the checksums are combined.
class PngStrips {
public:
    // Takes the content of the next IDAT chunk.
    using ChunkSink = std::function<void(std::span<std::byte const> bytes)>;

    // `pixelBytes` is the distance of a sample from that of the pixel on its left. `swapsWords`: samples have two bytes
    // in the order that files do not have.
    PngStrips(std::size_t rowBytes, std::size_t pixelBytes, std::uint32_t rows, bool swapsWords, ChunkSink sink);

    // Where to put the next row, which is taken by the call of Add. The sink is called when enough rows have come, with
    // the last row for all that is left.
    std::span<std::byte> GetRow();
    void Add();

private:
    struct Strip {
        std::vector<std::byte> packed;
        std::uint32_t checksum = 1;
    };

    std::byte* GetRaw(std::size_t row) { return m_raw.data() + (row + 1) * m_rowBytes; }
    std::span<std::byte const> GetFiltered(std::size_t strip) const;
    void Pack();
    void Filter(std::size_t strip);
    void Compress(std::size_t strip, bool isLastOfAll);
    void Write(bool isLastOfAll);

    std::size_t m_rowBytes;
    std::size_t m_pixelBytes;
    std::size_t m_rowsLeft;
    bool m_swapsWords;
    ChunkSink m_sink;
    std::size_t m_rowsOfStrip;
    // The last row of the strips before, at first zeros, and the rows that have come since.
    std::vector<std::byte> m_raw;
    std::size_t m_rows = 0;
    // The rows, each behind the number of its filter.
    std::vector<std::byte> m_filtered;
    // The end of what was filtered before: as much as compression looks back.
    std::vector<std::byte> m_dictionary;
    std::vector<Strip> m_strips;
    std::uint32_t m_checksum = 1;
    bool m_isStarted = false;
};

} // namespace Raster::Codec
