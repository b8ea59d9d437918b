// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/font.h"
#include "platform/story/attributes.h"

#include <string>
#include <vector>

namespace Story {

// The resolved glyph attributes that shaping and drawing need. Immutable.
class TextLook final : public virtual Kernel::Countable {
public:
    // One for all text with these attributes, which are resolved against the styles.
    static Kernel::Counted<TextLook const> Get(GlyphAttsRef const& resolved);
    explicit TextLook(GlyphAttsRef const& resolved);

    GlyphAttsRef atts;
    Kernel::Counted<FontStack const> fonts;
    // Em of the text; 0 is possible and shows nothing.
    double size = 16;
    double horizontalScale = 1;
    double verticalScale = 1;
    double baselineShift = 0;
    double tracking = 0; // a length
    double skew = 0;
    bool noBreak = false;
    // For the letters of small capitals that a font has none for; null where they are not asked for.
    Kernel::Counted<TextLook const> smallCaps;
    bool isMadeSmallCaps = false;
    hb_language_t language = HB_LANGUAGE_INVALID;
    std::string languageTag;
    std::vector<hb_feature_t> features;
};
using TextLookRef = Kernel::Counted<TextLook const>;

} // namespace Story
