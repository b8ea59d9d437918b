// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

// Tells which line of a generated text stands for which one that would be made now. Several may have the same text:
// then the first is the first and so on, provided that there are as many lines as texts.
class GeneratedLines {
public:
    // A paragraph without its end.
    struct Line {
        std::u32string text;
        Story::StoryRange range;
    };
    static std::vector<Line> Get(Story::Story const& story, Story::StoryRange range) {
        std::vector<Line> lines;
        auto const first = story.Find(range.begin);
        auto begin = first.paragraphBegin;
        for (auto i = first.paragraph; i != story.GetParagraphCount() && begin < range.end; ++i) {
            auto const& paragraph = *story.GetParagraph(i);
            auto const text = paragraph.GetText();
            lines.push_back(
                {std::u32string(text.substr(0, text.size() - 1)), {begin, begin + paragraph.GetLength() - 1}});
            begin += paragraph.GetLength();
        }
        return lines;
    }

    // Before the lines. Counts from 0 in the order of the calls.
    void AddMade(std::u32string text) { m_texts[std::move(text)].made.push_back(m_madeCount++); }
    bool IsMade(std::u32string const& text) const { return m_texts.contains(text); }
    // A line that stands there, in order; `text` as it would be made.
    void AddLine(std::u32string const& text, Story::StoryRange range) {
        if (auto const found = m_texts.find(text); found != m_texts.end())
            found->second.lines.push_back(range);
    }

    // The range of each line that is made, by its number; empty where none is sure.
    std::vector<std::optional<Story::StoryRange>> Match() const {
        std::vector<std::optional<Story::StoryRange>> ranges(m_madeCount);
        for (auto const& [text, each] : m_texts) {
            if (each.made.size() != each.lines.size())
                continue;
            for (std::size_t i = 0; i != each.made.size(); ++i)
                ranges[each.made[i]] = each.lines[i];
        }
        return ranges;
    }

private:
    struct Text {
        std::vector<std::size_t> made;
        std::vector<Story::StoryRange> lines;
    };
    std::unordered_map<std::u32string, Text> m_texts;
    std::size_t m_madeCount = 0;
};
