// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/shaping.h"

namespace Story {

// Shapes words once: text whose words do not see each other's glyphs (see AreSpacesSeparable) is put together from
// words that are kept by face, script, language, features and letters. The glyphs are the same as HarfBuzz gives for
// the whole span. Each thread keeps words of its own, at most some megabytes of them.
class WordCache {
public:
    // Whether a run may be put together from words.
    static bool CanPart(ShapedRun const& run);
    // Whether text may be parted at a space, so that what stands on either side of it, and only that, decides on the
    // glyphs there. `at` is the place of a space inside a run that can be parted.
    static bool PartsAt(std::u32string_view text, std::uint32_t at);
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
