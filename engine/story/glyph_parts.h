// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <hb.h>
#include <memory>
#include <unordered_map>

namespace Story {

// Counts what composite glyphs of a TrueType font consist of (OpenType 1.9, "glyf"). Parts may have parts: a few bytes
// can ask for more of them than anything could draw, also where none of them has a single point.
class GlyphParts {
public:
    explicit GlyphParts(hb_face_t* face);
    // False for glyphs of more parts than fonts have, or that are parts of themselves.
    bool IsSane(std::uint32_t glyph);

private:
    struct DestroyBlob {
        void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
    };
    using Blob = std::unique_ptr<hb_blob_t, DestroyBlob>;
    struct Range {
        char const* begin = nullptr;
        std::uint32_t length = 0;
    };
    static Range GetRange(Blob const& blob);
    Range Find(std::uint32_t glyph) const;
    std::uint32_t Count(std::uint32_t glyph, int depth);

    Blob m_places, m_glyphs;
    bool m_hasLongPlaces = false;
    std::unordered_map<std::uint32_t, std::uint32_t> m_counts;
};

} // namespace Story
