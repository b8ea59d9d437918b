// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"
#include "platform/story/style_sheet.h"

namespace Story {

// Whether a text is read from right to left on the whole, as its columns then follow one another: more of its first
// 10,000 letters belong to scripts that are written so. Letters of a paragraph whose attributes name a direction count
// for that direction. False for a text without letters.
REDRAFT_ENGINE bool IsReadRightToLeft(Story const& story, StyleSheet const& styles);

// Whether a paragraph of that text runs from right to left where its attributes name no direction (Unicode Standard
// Annex 9, P2 and P3).
REDRAFT_ENGINE bool BeginsRightToLeft(std::u32string_view text);

} // namespace Story
