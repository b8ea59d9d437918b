// SPDX-License-Identifier: Apache-2.0
#include "platform/story/generated_text.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace Story {

namespace {

// Paragraphs as they are made; equal attributes are looked up once.
class ParagraphMaker {
public:
    void Add(GeneratedParagraph const& generated) {
        auto const text = generated.text.GetText();
        std::size_t begin = 0;
        do {
            std::size_t const end = std::min<std::size_t>(text.size(), begin + Paragraph::c_maximumLength - 1);
            AddPart(generated, begin, end);
            begin = end;
        } while (begin != text.size());
    }
    void Add(ParagraphRef paragraph) { m_paragraphs.push_back(std::move(paragraph)); }
    // The glyphs of a paragraph from one place to another as a paragraph of its own.
    void AddPartOf(Paragraph const& paragraph, std::uint32_t begin, std::uint32_t end) {
        std::vector<GlyphRun> runs;
        std::vector<ObjectAt> objects;
        std::u32string text(paragraph.GetText().substr(begin, end - begin));
        text.push_back(c_paragraphSeparator);
        auto const length = static_cast<std::uint32_t>(text.size());
        for (auto const& run : paragraph.GetRuns()) {
            if (run.end <= begin)
                continue;
            runs.push_back({std::min(run.end, end) - begin, run.atts});
            if (run.end >= end)
                break;
        }
        runs.back().end = length;
        for (auto const& object : paragraph.GetObjects()) {
            if (object.index >= begin && object.index < end)
                objects.push_back({object.index - begin, object.glyph});
        }
        Add(Kernel::MakeCounted<Paragraph>(std::move(text), std::move(runs), std::move(objects), paragraph.GetAtts()));
    }
    std::vector<ParagraphRef> Take() { return std::exchange(m_paragraphs, {}); }

private:
    template <class T>
    using Interned = std::unordered_map<T const*, Kernel::Counted<T const>>;

    template <class T>
    static Kernel::Counted<T const> const& Intern(Interned<T>& interned, Kernel::Counted<T const> const& atts) {
        if (!atts)
            return T::GetDefault();
        auto [found, isNew] = interned.try_emplace(atts.get());
        if (isNew)
            found->second = Kernel::Consolidated<T>(atts).ToCounted();
        return found->second;
    }
    void AddPart(GeneratedParagraph const& generated, std::size_t begin, std::size_t end) {
        auto text = CleanGeneratedText(generated.text.GetText().substr(begin, end - begin));
        auto const length = static_cast<std::uint32_t>(text.size());
        text.push_back(c_paragraphSeparator);
        std::vector<GlyphRun> runs;
        auto const addRun = [&](std::uint32_t to, GlyphAttsRef const& atts) {
            if (to == (runs.empty() ? 0 : runs.back().end))
                return;
            if (!runs.empty() && runs.back().atts == atts)
                runs.back().end = to;
            else
                runs.push_back({to, atts});
        };
        for (auto const& run : generated.runs) {
            std::uint32_t const done = runs.empty() ? 0 : runs.back().end;
            auto const from = static_cast<std::uint32_t>(std::clamp<std::size_t>(run.begin, begin, end) - begin);
            auto const to = static_cast<std::uint32_t>(std::clamp<std::size_t>(run.end, begin, end) - begin);
            if (to <= std::max(from, done))
                continue;
            addRun(std::max(from, done), GlyphAtts::GetDefault());
            addRun(to, Intern(m_glyphAtts, run.atts));
        }
        addRun(length, GlyphAtts::GetDefault());
        if (runs.empty())
            runs.push_back({0, generated.runs.empty() ? GlyphAtts::GetDefault()
                                                      : Intern(m_glyphAtts, generated.runs.back().atts)});
        runs.back().end = length + 1;
        std::vector<ObjectAt> objects;
        for (auto const& object : generated.text.GetObjects()) {
            if (object.index >= begin && object.index < end)
                objects.push_back({static_cast<std::uint32_t>(object.index - begin), object.glyph});
        }
        Add(Kernel::MakeCounted<Paragraph>(std::move(text), std::move(runs), std::move(objects),
                                           Intern(m_paragraphAtts, generated.paragraphAtts)));
    }

    std::vector<ParagraphRef> m_paragraphs;
    Interned<GlyphAtts> m_glyphAtts;
    Interned<ParagraphAtts> m_paragraphAtts;
};

} // namespace

std::u32string CleanGeneratedText(std::u32string_view text) {
    std::u32string clean(text);
    std::transform(clean.begin(), clean.end(), clean.begin(), [](char32_t c) {
        if (c == U'\n' || c == U'\r' || c == 0x85 || c == c_paragraphSeparator)
            return c_lineSeparator;
        return c > 0x10FFFF || (c >= 0xD800 && c < 0xE000) ? c_replacementCharacter : c;
    });
    return clean;
}

StoryRange ReplaceWithParagraphs(Story& story, StoryRange range, std::vector<GeneratedParagraph> const& paragraphs) {
    std::uint32_t const length = story.GetLength();
    range.begin = std::min(range.begin, length);
    range.end = std::clamp(range.end, range.begin, length);
    if (range.empty() && paragraphs.empty())
        return {range.begin, range.begin};

    auto const place = story.Find(range.begin);
    std::size_t first = place.paragraph;
    std::size_t count = 0;
    std::uint32_t begin = place.paragraphBegin;
    auto const touched = story.GetParagraph(first);
    bool isParted = false;
    if (!range.empty()) {
        count = story.Find(range.end - 1).paragraph - first + 1;
    } else if (range.begin == length || (place.offset != 0 && place.offset + 1 == touched->GetLength())) {
        ++first;
        begin += touched->GetLength();
    } else if (place.offset != 0) {
        isParted = true;
        count = 1;
    }

    ParagraphMaker made;
    if (isParted) {
        made.AddPartOf(*touched, 0, place.offset);
        begin += place.offset + 1;
    }
    for (auto const& paragraph : paragraphs)
        made.Add(paragraph);
    if (isParted)
        made.AddPartOf(*touched, place.offset, touched->GetLength() - 1);
    auto result = made.Take();
    if (result.empty() && count == story.GetParagraphCount()) {
        made.AddPartOf(*touched, 0, 0);
        story.ReplaceParagraphs(first, count, made.Take());
        return {0, 0};
    }
    std::uint32_t added = 0;
    for (std::size_t i = isParted ? 1 : 0; i != result.size() - (isParted ? 1 : 0); ++i)
        added += result[i]->GetLength();
    story.ReplaceParagraphs(first, count, std::move(result));
    return {begin, begin + added};
}

} // namespace Story
