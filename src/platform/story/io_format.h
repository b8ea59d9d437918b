// SPDX-License-Identifier: Apache-2.0
#pragma once

// How text is given out: bits that may be combined. Without any, paragraphs and lines are separated by newlines, and
// nothing else is changed.
namespace Story::IoFormat {
using Type = unsigned;
// Ends of paragraphs and lines, and tabs, become spaces.
inline constexpr Type c_oneLine = 1u << 5;
// Without characters that show nothing: controls, soft hyphens, joiners and marks of direction.
inline constexpr Type c_plain = 1u << 9;
} // namespace Story::IoFormat
