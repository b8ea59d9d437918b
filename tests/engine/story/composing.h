// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/composition.h"

#include <limits>
#include <string>

// Small stories and frames for the tests of composition.
namespace Composing {

using namespace Story;
using StoryPtr = Kernel::Counted<Story::Story>;

inline StoryPtr MakeStory(std::u32string_view text, double size = 16, char const* family = "Liberation Serif") {
    auto story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText(story->GetClientAll(), GlyphString(text));
    story->FormatText(*MakeDelta(GlyphAtt::Double::Size, size));
    story->FormatText(*MakeDelta(GlyphAtt::String::FontFamily, Kernel::String(family)));
    return story;
}

inline FrameGeometry MakeFrame(double width, double height = 1e6) {
    FrameGeometry frame;
    frame.columns.push_back({0, 0, width, height});
    return frame;
}

inline ComposedFramePtr Compose(StoryPtr const& story, FrameGeometry const& frame) {
    return Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{frame})->GetFrame(0);
}

// The characters of a line that can be seen, as composition puts them.
inline std::u32string LineText(LinePart const& line) {
    std::u32string text;
    for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
        char32_t const c = line.GetCharacter(i);
        if (!IsHardBreakCharacter(c) && (line.GetCompositionFlags(i) & CompositionFlag::c_hidden) == 0)
            text.push_back(c);
    }
    return text;
}

inline std::vector<std::u32string> LineTexts(ComposedColumn const& column) {
    std::vector<std::u32string> texts;
    for (auto const& line : column)
        texts.push_back(LineText(line));
    return texts;
}

} // namespace Composing
