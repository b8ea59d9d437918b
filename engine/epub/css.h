// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "platform/story/attributes.h"

#include <string>

namespace EPub {

// Attributes as CSS declarations. Lengths are in rem: units of the size that most text of the publication has, which
// readers show in the size that they like best.
struct CssUnits {
    // Document units.
    double rem = 16;
    Raster::ICCProfileSet const& profiles;
    // Lines run from top to bottom.
    bool isVertical = false;
};

// Declarations for the attributes that are set in `own`, with the values of `resolved`.
void AppendGlyphDeclarations(std::string& css, Story::GlyphAtts const& own, Story::GlyphAtts const& resolved,
                             CssUnits const& units);
void AppendParagraphDeclarations(std::string& css, Story::ParagraphAtts const& own,
                                 Story::ParagraphAtts const& resolved, CssUnits const& units);

// A rule for the first letter of paragraphs with a drop cap, which stands in two ways: as a large letter that floats,
// and as an initial letter where readers know those. Nothing where `own` sets none. CSS knows one letter.
void AppendDropCapRules(std::string& css, std::string const& className, Story::ParagraphAtts const& own,
                        Story::ParagraphAtts const& resolved, double size, CssUnits const& units);

// A number without needless digits, the same in every locale.
std::string FormatCssNumber(double value);

} // namespace EPub
