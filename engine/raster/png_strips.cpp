// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/png_strips.h"

#include "platform/kernel/dispatch.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <utility>
#include <zlib.h>

namespace Raster::Codec {

namespace {

// Long enough that its dictionary and its flush cost nothing that can be seen.
constexpr std::size_t c_stripBytes = std::size_t{1} << 18;
constexpr std::size_t c_mostStrips = 16;
// Of rows that wait, where a strip of one row is longer.
constexpr std::size_t c_mostWaiting = std::size_t{1} << 24;
// Two of the five filters and a search of middle length give files of the same size within a few per cent, for drawings
// and for photos, in a third to two thirds of the time.
constexpr int c_level = 4;
constexpr int c_memoryLevel = 8;
constexpr int c_windowOfRawStream = -MAX_WBITS;
constexpr std::size_t c_window = std::size_t{1} << MAX_WBITS;
constexpr std::byte c_subFilter{1}, c_upFilter{2};
// The method and window of 32 KiB, and a level that is the second of four (RFC 1950, 2.2).
constexpr std::byte c_header[] = {std::byte{0x78}, std::byte{0x5E}};

using Sample = std::uint8_t;

// Writes the difference of each byte from another and returns the sum of their sizes, as which small negative numbers
// count little (ISO/IEC 15948, 12.8).
std::uint64_t Subtract(Sample const* row, Sample const* other, std::size_t count, Sample* out) {
    constexpr std::size_t c_block = 4096;
    std::uint64_t total = 0;
    for (std::size_t start = 0; start < count; start += c_block) {
        std::size_t const end = std::min(start + c_block, count);
        std::uint32_t sum = 0;
        for (std::size_t i = start; i != end; ++i) {
            auto const difference = static_cast<Sample>(row[i] - other[i]);
            out[i] = difference;
            sum += difference < 128 ? difference : 256u - difference;
        }
        total += sum;
    }
    return total;
}

struct Deflater {
    Deflater() {
        if (deflateInit2(&stream, c_level, Z_DEFLATED, c_windowOfRawStream, c_memoryLevel, Z_FILTERED) != Z_OK)
            throw std::bad_alloc();
    }
    ~Deflater() { deflateEnd(&stream); }
    Deflater(Deflater const&) = delete;
    Deflater& operator=(Deflater const&) = delete;
    z_stream stream = {};
};

Bytef const* ToZlib(std::byte const* bytes) { return reinterpret_cast<Bytef const*>(bytes); }

// zlib counts in 32 bits: work(part, isLast) in parts that it can take.
template <class F>
void ForEachPart(std::span<std::byte const> bytes, F const& work) {
    constexpr std::size_t c_most = std::numeric_limits<uInt>::max() / 2;
    do {
        auto const part = bytes.first(std::min(bytes.size(), c_most));
        bytes = bytes.subspan(part.size());
        work(part, bytes.empty());
    } while (!bytes.empty());
}

} // namespace

PngStrips::PngStrips(std::size_t rowBytes, std::size_t pixelBytes, std::uint32_t rows, bool swapsWords, ChunkSink sink)
    : m_rowBytes(rowBytes),
      m_pixelBytes(pixelBytes),
      m_rowsLeft(rows),
      m_swapsWords(swapsWords),
      m_sink(std::move(sink)),
      m_rowsOfStrip(std::max<std::size_t>(1, c_stripBytes / rowBytes)) {
    std::size_t const strips = std::clamp<std::size_t>(c_mostWaiting / (m_rowsOfStrip * rowBytes), 1, c_mostStrips);
    std::size_t const rowsAtOnce = std::min(strips * m_rowsOfStrip, m_rowsLeft);
    m_raw.resize((rowsAtOnce + 1) * rowBytes);
    m_filtered.resize(rowsAtOnce * (rowBytes + 1));
    m_strips.resize((rowsAtOnce + m_rowsOfStrip - 1) / m_rowsOfStrip);
}

std::span<std::byte> PngStrips::GetRow() { return {GetRaw(m_rows), m_rowBytes}; }

void PngStrips::Add() {
    if (m_swapsWords) {
        std::byte* const row = GetRaw(m_rows);
        for (std::size_t i = 0; i + 1 < m_rowBytes; i += 2)
            std::swap(row[i], row[i + 1]);
    }
    ++m_rows;
    --m_rowsLeft;
    if (m_rowsLeft == 0 || GetRaw(m_rows) == m_raw.data() + m_raw.size())
        Pack();
}

std::span<std::byte const> PngStrips::GetFiltered(std::size_t strip) const {
    std::size_t const first = strip * m_rowsOfStrip, end = std::min(first + m_rowsOfStrip, m_rows);
    return std::span(m_filtered).subspan(first * (m_rowBytes + 1), (end - first) * (m_rowBytes + 1));
}

void PngStrips::Pack() {
    bool const isLastOfAll = m_rowsLeft == 0;
    std::size_t const count = (m_rows + m_rowsOfStrip - 1) / m_rowsOfStrip;
    m_strips.resize(count);
    Kernel::ParallelFor(count, [this](std::size_t strip) { Filter(strip); });
    Kernel::ParallelFor(count, [&](std::size_t strip) { Compress(strip, isLastOfAll && strip + 1 == count); });
    Write(isLastOfAll);
    std::size_t const filtered = m_rows * (m_rowBytes + 1), kept = std::min(filtered, c_window);
    auto const end = m_filtered.begin() + static_cast<std::ptrdiff_t>(filtered);
    m_dictionary.assign(end - static_cast<std::ptrdiff_t>(kept), end);
    std::memcpy(m_raw.data(), GetRaw(m_rows - 1), m_rowBytes);
    m_rows = 0;
}

void PngStrips::Filter(std::size_t strip) {
    std::size_t const end = std::min((strip + 1) * m_rowsOfStrip, m_rows);
    std::vector<Sample> up(m_rowBytes);
    for (std::size_t row = strip * m_rowsOfStrip; row != end; ++row) {
        auto const* const raw = reinterpret_cast<Sample const*>(GetRaw(row));
        std::byte* const filtered = m_filtered.data() + row * (m_rowBytes + 1);
        auto* const out = reinterpret_cast<Sample*>(filtered + 1);
        // The first pixel has none on its left.
        std::size_t const first = std::min(m_pixelBytes, m_rowBytes);
        static constexpr Sample c_none[16] = {};
        std::uint64_t const left =
            Subtract(raw, c_none, first, out) + Subtract(raw + first, raw, m_rowBytes - first, out + first);
        std::uint64_t const above = Subtract(raw, raw - m_rowBytes, m_rowBytes, up.data());
        filtered[0] = above < left ? c_upFilter : c_subFilter;
        if (above < left)
            std::memcpy(out, up.data(), m_rowBytes);
    }
}

void PngStrips::Compress(std::size_t strip, bool isLastOfAll) {
    auto const bytes = GetFiltered(strip);
    auto const before = strip == 0 ? std::span<std::byte const>(m_dictionary) : GetFiltered(strip - 1);
    auto const dictionary = before.last(std::min(before.size(), c_window));
    Deflater deflater;
    z_stream& stream = deflater.stream;
    if (!dictionary.empty())
        deflateSetDictionary(&stream, ToZlib(dictionary.data()), static_cast<uInt>(dictionary.size()));
    auto& [packed, checksum] = m_strips[strip];
    packed.clear();
    checksum = 1;
    ForEachPart(bytes, [&, &into = packed, &sum = checksum](std::span<std::byte const> part, bool isEnd) {
        sum = static_cast<std::uint32_t>(adler32(sum, ToZlib(part.data()), static_cast<uInt>(part.size())));
        // zlib reads from here only.
        stream.next_in = const_cast<Bytef*>(ToZlib(part.data()));
        stream.avail_in = static_cast<uInt>(part.size());
        int const flush = !isEnd ? Z_NO_FLUSH : isLastOfAll ? Z_FINISH : Z_SYNC_FLUSH;
        std::byte buffer[std::size_t{1} << 14];
        do {
            stream.next_out = reinterpret_cast<Bytef*>(buffer);
            stream.avail_out = sizeof buffer;
            if (deflate(&stream, flush) == Z_STREAM_ERROR)
                throw std::bad_alloc();
            into.insert(into.end(), buffer, buffer + (sizeof buffer - stream.avail_out));
        } while (stream.avail_out == 0);
    });
}

void PngStrips::Write(bool isLastOfAll) {
    for (std::size_t strip = 0; strip != m_strips.size(); ++strip) {
        auto& [packed, checksum] = m_strips[strip];
        m_checksum = static_cast<std::uint32_t>(
            adler32_combine(m_checksum, checksum, static_cast<z_off_t>(GetFiltered(strip).size())));
        if (!std::exchange(m_isStarted, true))
            packed.insert(packed.begin(), std::begin(c_header), std::end(c_header));
        if (isLastOfAll && strip + 1 == m_strips.size()) {
            for (int shift = 24; shift >= 0; shift -= 8)
                packed.push_back(static_cast<std::byte>(m_checksum >> shift));
        }
        m_sink(packed);
    }
}

} // namespace Raster::Codec
