// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/glyph.h"

namespace Story {

// A value that another place or object gives.
REDRAFT_ENGINE bool IsFieldGlyph(Glyph const& glyph);
REDRAFT_ENGINE bool IsAnchorGlyph(Glyph const& glyph);
REDRAFT_ENGINE bool IsCrossReferenceGlyph(Glyph const& glyph);

// A question about a glyph. It gives the same answer for the same character, and for the same object, each time.
class REDRAFT_ENGINE GlyphPredicate {
public:
    virtual ~GlyphPredicate();
    virtual bool operator()(Glyph const& glyph) const = 0;
    // False where no character is ever taken: a search then goes from object to object.
    virtual bool TakesCharacters() const { return true; }

protected:
    GlyphPredicate() = default;
    GlyphPredicate(GlyphPredicate const&) = default;
    GlyphPredicate& operator=(GlyphPredicate const&) = default;
};

// Whether a function may take a character.
template <bool (*predicate)(Glyph const&)>
inline constexpr bool c_takesCharacters = true;
template <>
inline constexpr bool c_takesCharacters<&IsFieldGlyph> = false;
template <>
inline constexpr bool c_takesCharacters<&IsAnchorGlyph> = false;
template <>
inline constexpr bool c_takesCharacters<&IsCrossReferenceGlyph> = false;
template <>
inline constexpr bool c_takesCharacters<&IsFillerTextGlyph> = false;

// A function as a predicate: GlyphPredicateAdaptor<IsFieldGlyph>().
template <bool (*predicate)(Glyph const&)>
class GlyphPredicateAdaptor final : public GlyphPredicate {
public:
    bool operator()(Glyph const& glyph) const override { return predicate(glyph); }
    bool TakesCharacters() const override { return c_takesCharacters<predicate>; }
};

} // namespace Story
