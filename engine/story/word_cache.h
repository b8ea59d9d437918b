// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/shaping.h"

namespace Story {

// Shapes words once: text whose words do not see each other's glyphs (see AreSpacesSeparable) is put together from
// words that are kept by face, script, language, features and letters. The glyphs are the same as HarfBuzz gives for
// the whole span. Each thread keeps words of its own, at most some megabytes of them.
class WordCache {
public:
    // Appends the glyphs as ShapeText does. False, with nothing appended, when the span must be shaped in one go.
    static bool Shape(GlyphBuffer& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
                      ShapedRun const& run);
    // For tests and measurements, which compare: off, all threads shape everything in one go.
    static void SetEnabled(bool isEnabled);
    // Forgets the calling thread's words.
    static void Clear();
    // Bytes that the calling thread's words take.
    static std::size_t GetMemoryUse();
};

} // namespace Story
