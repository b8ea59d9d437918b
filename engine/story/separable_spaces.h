// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hb.h>

namespace Story {

// Scripts whose letters stand each by itself and whose words are separated by spaces; shaped by general rules alone.
inline bool IsSpacedScript(hb_script_t script) {
    return script == HB_SCRIPT_LATIN || script == HB_SCRIPT_GREEK || script == HB_SCRIPT_CYRILLIC ||
           script == HB_SCRIPT_COMMON;
}

// Whether the shape of text on one side of a space (U+0020) never depends on what stands on the other side, in words of
// these scripts from left to right: then the shape of "a b" is those of "a " and " b" put together, and pair
// adjustments at the two sides of the space add up.
//
// The answer is for the whole font, whatever features are on: the rules of its OpenType Layout tables that these
// scripts can reach are looked through (OpenType 1.9, chapters "GSUB", "GPOS", "kern"). Where they cannot be read, or
// belong to another shaping technology, it is no.
bool AreSpacesSeparable(hb_face_t* face, hb_codepoint_t space);

} // namespace Story
