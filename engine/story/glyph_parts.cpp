// SPDX-License-Identifier: Apache-2.0
#include "engine/story/glyph_parts.h"

#include <algorithm>

namespace Story {

namespace {

constexpr std::uint32_t c_maximumParts = 1000;
constexpr int c_maximumDepth = 32;

std::uint32_t ReadU16(char const* at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(at[0])) << 8 | static_cast<unsigned char>(at[1]);
}
std::uint32_t ReadU32(char const* at) { return ReadU16(at) << 16 | ReadU16(at + 2); }

} // namespace

GlyphParts::GlyphParts(hb_face_t* face)
    : m_places(hb_face_reference_table(face, HB_TAG('l', 'o', 'c', 'a'))),
      m_glyphs(hb_face_reference_table(face, HB_TAG('g', 'l', 'y', 'f'))) {
    constexpr std::uint32_t c_formatPlace = 50;
    Blob const head(hb_face_reference_table(face, HB_TAG('h', 'e', 'a', 'd')));
    auto const range = GetRange(head);
    m_hasLongPlaces = range.length >= c_formatPlace + 2 && ReadU16(range.begin + c_formatPlace) != 0;
}

GlyphParts::Range GlyphParts::GetRange(Blob const& blob) {
    unsigned length = 0;
    auto const* const begin = hb_blob_get_data(blob.get(), &length);
    return {begin, begin == nullptr ? 0 : length};
}

GlyphParts::Range GlyphParts::Find(std::uint32_t glyph) const {
    auto const places = GetRange(m_places), glyphs = GetRange(m_glyphs);
    std::uint64_t const size = m_hasLongPlaces ? 4 : 2;
    if ((glyph + std::uint64_t{2}) * size > places.length)
        return {};
    auto const* const at = places.begin + glyph * size;
    std::uint32_t const begin = m_hasLongPlaces ? ReadU32(at) : ReadU16(at) * 2;
    std::uint32_t const end = m_hasLongPlaces ? ReadU32(at + 4) : ReadU16(at + 2) * 2;
    if (begin >= end || end > glyphs.length)
        return {};
    return {glyphs.begin + begin, end - begin};
}

// Counts are known only once all parts are: a glyph that is met on its own way down counts as far too many.
std::uint32_t GlyphParts::Count(std::uint32_t glyph, int depth) {
    constexpr std::uint32_t c_headerLength = 10, c_tooMany = c_maximumParts + 1;
    if (depth > c_maximumDepth)
        return c_tooMany;
    if (auto const [known, isNew] = m_counts.try_emplace(glyph, c_tooMany); !isNew)
        return known->second;
    auto const data = Find(glyph);
    std::uint32_t count = 1;
    bool const isComposite = data.length > c_headerLength && (ReadU16(data.begin) & 0x8000) != 0;
    for (std::uint32_t at = c_headerLength; isComposite && at + 4 <= data.length;) {
        std::uint32_t const flags = ReadU16(data.begin + at);
        count = std::min(count + Count(ReadU16(data.begin + at + 2), depth + 1), c_tooMany);
        if (count == c_tooMany || (flags & 0x20) == 0)
            break;
        at += 4 + ((flags & 0x1) != 0 ? 4 : 2);
        at += (flags & 0x8) != 0 ? 2 : (flags & 0x40) != 0 ? 4 : (flags & 0x80) != 0 ? 8 : 0;
    }
    m_counts[glyph] = count;
    return count;
}

bool GlyphParts::IsSane(std::uint32_t glyph) { return Count(glyph, 0) <= c_maximumParts; }

} // namespace Story
