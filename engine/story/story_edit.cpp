// SPDX-License-Identifier: Apache-2.0
#include "engine/story/story_content.h"

#include <algorithm>

namespace Story {

namespace {

// Text with runs and objects while an edit takes it apart.
struct Stretch {
    std::u32string text;
    std::vector<GlyphRun> runs;
    std::vector<ObjectAt> objects;

    void AddRun(std::uint32_t end, GlyphAttsRef const& atts) {
        std::uint32_t const begin = runs.empty() ? 0 : runs.back().end;
        if (end == begin)
            return;
        if (!runs.empty() && runs.back().atts == atts)
            runs.back().end = end;
        else
            runs.push_back({end, atts});
    }
    void Append(Paragraph const& paragraph, std::uint32_t begin, std::uint32_t end) {
        if (begin >= end)
            return;
        auto const base = static_cast<std::uint32_t>(text.size());
        text += paragraph.GetText().substr(begin, end - begin);
        for (auto const& run : paragraph.GetRuns()) {
            if (run.end > begin)
                AddRun(base + std::min(run.end, end) - begin, run.atts);
            if (run.end >= end)
                break;
        }
        for (auto const& object : paragraph.GetObjects()) {
            if (object.index >= begin && object.index < end)
                objects.push_back({base + object.index - begin, object.glyph});
        }
    }
};

template <class T>
Kernel::Counted<T const> Intern(Kernel::Counted<T const> const& atts) {
    return Kernel::Consolidated<T>(atts).ToCounted();
}

bool IsParagraphEnd(char32_t c) { return c == U'\n' || c == U'\r' || c == 0x85 || c == c_paragraphSeparator; }

} // namespace

void Story::ReplaceParagraphs(std::size_t first, std::size_t count, std::vector<ParagraphRef> paragraphs) {
    auto const& content = Get();
    std::vector<Content::BlockRef> blocks;
    std::vector<ParagraphRef> mixed;
    std::size_t const end = first + count;
    for (auto const& entry : content.blocks) {
        std::size_t const begin = entry.firstParagraph;
        auto const& own = entry.block->paragraphs;
        bool const isWholeBefore = begin + own.size() <= first;
        bool const isWholeAfter = begin >= end && !(begin == first && count == 0);
        if (isWholeBefore) {
            blocks.push_back(entry.block);
            continue;
        }
        if (isWholeAfter) {
            // A small remainder joins its neighbour, so that many edits do not leave many small blocks.
            if (!mixed.empty() && mixed.size() + own.size() <= Block::c_capacity) {
                mixed.insert(mixed.end(), own.begin(), own.end());
                Content::AppendBlocks(blocks, mixed);
                mixed.clear();
                continue;
            }
            Content::AppendBlocks(blocks, mixed);
            mixed.clear();
            blocks.push_back(entry.block);
            continue;
        }
        for (std::size_t i = 0; i != own.size(); ++i) {
            std::size_t const number = begin + i;
            if (number == first)
                mixed.insert(mixed.end(), paragraphs.begin(), paragraphs.end());
            if (number < first || number >= end)
                mixed.push_back(own[i]);
        }
    }
    if (first == content.paragraphCount)
        mixed = std::move(paragraphs);
    Content::AppendBlocks(blocks, mixed);
    m_content = Content::Make(std::move(blocks));
    MarkChanged();
}

StoryRange Story::ReplaceText(StoryRange range, GlyphString const& replacement, GlyphAttsRef const& glyphAtts,
                              ParagraphAttsRef const& paragraphAtts) {
    std::uint32_t const clientEnd = GetClientAll().end;
    range.begin = std::min(range.begin, clientEnd);
    range.end = std::clamp(range.end, range.begin, clientEnd);
    if (range.empty() && replacement.empty())
        return range;
    auto const from = Find(range.begin);
    auto const to = Find(range.end);
    auto const first = GetParagraph(from.paragraph);
    auto const last = GetParagraph(to.paragraph);
    GlyphAttsRef const atts =
        glyphAtts ? Intern<GlyphAtts>(glyphAtts) : first->GetGlyphAtts(from.offset == 0 ? 0 : from.offset - 1);
    ParagraphAttsRef const ownParagraphAtts = paragraphAtts ? Intern<ParagraphAtts>(paragraphAtts) : first->GetAtts();

    std::vector<ParagraphRef> paragraphs;
    Stretch open;
    open.Append(*first, 0, from.offset);
    std::uint32_t const before = from.offset;
    std::uint64_t added = 0;
    auto const close = [&](ParagraphAttsRef const& own) {
        open.text.push_back(c_paragraphSeparator);
        open.AddRun(static_cast<std::uint32_t>(open.text.size()), atts);
        paragraphs.push_back(
            Kernel::MakeCounted<Paragraph>(std::move(open.text), std::move(open.runs), std::move(open.objects), own));
        open = {};
        ++added;
    };
    auto const text = replacement.GetText();
    auto object = replacement.GetObjects().begin();
    for (std::size_t i = 0; i != text.size(); ++i) {
        char32_t c = text[i];
        if (IsParagraphEnd(c) || open.text.size() + 1 == Paragraph::c_maximumLength) {
            close(ownParagraphAtts);
            if (c == U'\r' && i + 1 != text.size() && text[i + 1] == U'\n')
                ++i;
            if (IsParagraphEnd(c))
                continue;
        }
        bool const isObject = object != replacement.GetObjects().end() && object->index == i;
        if (isObject)
            open.objects.push_back({static_cast<std::uint32_t>(open.text.size()), (object++)->glyph});
        if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000))
            c = c_replacementCharacter;
        open.text.push_back(c);
        open.AddRun(static_cast<std::uint32_t>(open.text.size()), atts);
        ++added;
    }
    // The rest of the last paragraph keeps that one's attributes where the edit has split it off.
    bool const isParted = !paragraphs.empty() || paragraphAtts;
    ParagraphAttsRef const restAtts = !isParted || to.paragraph == from.paragraph
                                          ? (paragraphAtts ? ownParagraphAtts : first->GetAtts())
                                          : last->GetAtts();
    if (open.text.size() + last->GetLength() - to.offset > Paragraph::c_maximumLength)
        close(ownParagraphAtts);
    open.Append(*last, to.offset, last->GetLength());
    paragraphs.push_back(
        Kernel::MakeCounted<Paragraph>(std::move(open.text), std::move(open.runs), std::move(open.objects), restAtts));
    std::uint32_t const begin = from.paragraphBegin + before;
    ReplaceParagraphs(from.paragraph, to.paragraph - from.paragraph + 1, std::move(paragraphs));
    return {begin, static_cast<std::uint32_t>(begin + added)};
}

namespace {

ParagraphRef FormatParagraph(ParagraphRef const& paragraph, std::uint32_t begin, std::uint32_t end,
                             Delta const& delta) {
    Stretch changed;
    bool differs = false;
    for (std::uint32_t at = 0; auto const& run : paragraph->GetRuns()) {
        std::uint32_t const inside = std::clamp(begin, at, run.end);
        std::uint32_t const after = std::clamp(end, inside, run.end);
        changed.AddRun(inside, run.atts);
        if (after > inside) {
            auto const atts = delta.Apply(run.atts);
            differs |= atts != run.atts;
            changed.AddRun(after, atts);
        }
        changed.AddRun(run.end, run.atts);
        at = run.end;
    }
    auto const atts = delta.Apply(paragraph->GetAtts());
    if (!differs && atts == paragraph->GetAtts())
        return paragraph;
    return Kernel::MakeCounted<Paragraph>(std::u32string(paragraph->GetText()), std::move(changed.runs),
                                          paragraph->GetObjects(), atts);
}

} // namespace

void Story::FormatText(StoryRange range, Delta const& delta) {
    range.begin = std::min(range.begin, GetLength());
    range.end = std::clamp(range.end, range.begin, GetLength());
    auto const from = Find(range.begin);
    auto const to = Find(range.empty() ? range.begin : range.end - 1);
    std::vector<ParagraphRef> paragraphs;
    bool differs = false;
    for (std::size_t i = from.paragraph; i <= to.paragraph; ++i) {
        auto const& paragraph = GetParagraph(i);
        std::uint32_t const begin = GetParagraphBegin(i);
        std::uint32_t const local = range.begin > begin ? range.begin - begin : 0;
        auto changed = FormatParagraph(paragraph, local, std::max(range.end, begin) - begin, delta);
        differs |= changed != paragraph;
        paragraphs.push_back(std::move(changed));
    }
    if (differs)
        ReplaceParagraphs(from.paragraph, to.paragraph - from.paragraph + 1, std::move(paragraphs));
    m_writingMode = delta.GetValues().writingMode.value_or(m_writingMode);
}

// GlyphSink

GlyphSink::GlyphSink(Kernel::Counted<Story> story)
    : m_story(std::move(story)), m_paragraphAtts(ParagraphAtts::GetDefault()), m_glyphAtts(GlyphAtts::GetDefault()) {
    // The story's last paragraph is taken up again.
    auto const count = m_story->GetParagraphCount();
    auto const& last = m_story->GetParagraph(count - 1);
    Stretch stretch;
    stretch.Append(*last, 0, last->GetLength() - 1);
    m_text = std::move(stretch.text);
    m_runs = std::move(stretch.runs);
    m_objects = std::move(stretch.objects);
    if (!m_text.empty())
        m_paragraphAtts = last->GetAtts();
}

GlyphSink::~GlyphSink() = default;

void GlyphSink::SetParagraphAtts(ParagraphAttsRef atts) {
    m_paragraphAtts = atts ? Intern<ParagraphAtts>(atts) : ParagraphAtts::GetDefault();
}
void GlyphSink::SetGlyphAtts(GlyphAttsRef atts) {
    if (atts != m_glyphAtts)
        m_glyphAtts = atts ? Intern<GlyphAtts>(atts) : GlyphAtts::GetDefault();
}

void GlyphSink::EndParagraph() {
    m_text.push_back(c_paragraphSeparator);
    Stretch runs{{}, std::move(m_runs), {}};
    runs.AddRun(static_cast<std::uint32_t>(m_text.size()), m_glyphAtts);
    m_paragraphs.push_back(
        Kernel::MakeCounted<Paragraph>(std::move(m_text), std::move(runs.runs), std::move(m_objects), m_paragraphAtts));
    m_text.clear();
    m_runs.clear();
    m_objects.clear();
}

void GlyphSink::Add(char32_t character) {
    if (IsParagraphEnd(character)) {
        EndParagraph();
        return;
    }
    if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000))
        character = c_replacementCharacter;
    if (m_text.size() + 1 == Paragraph::c_maximumLength)
        EndParagraph();
    m_text.push_back(character);
    auto const end = static_cast<std::uint32_t>(m_text.size());
    if (!m_runs.empty() && m_runs.back().atts == m_glyphAtts)
        m_runs.back().end = end;
    else
        m_runs.push_back({end, m_glyphAtts});
}

void GlyphSink::Add(std::u32string_view text) {
    for (std::size_t i = 0; i != text.size(); ++i) {
        Add(text[i]);
        if (text[i] == U'\r' && i + 1 != text.size() && text[i + 1] == U'\n')
            ++i;
    }
}

void GlyphSink::Add(Kernel::Counted<Glyph const> const& glyph) {
    if (glyph->IsCharacter()) {
        Add(glyph->GetCharacter());
        return;
    }
    Add(c_objectCharacter);
    m_objects.push_back({static_cast<std::uint32_t>(m_text.size()) - 1, glyph});
}

void GlyphSink::Flush() {
    auto const count = m_story->GetParagraphCount();
    // The open paragraph stays open: its text is there for what is added next.
    auto text = m_text;
    auto runs = m_runs;
    auto objects = m_objects;
    EndParagraph();
    m_story->ReplaceParagraphs(count - 1, 1, std::move(m_paragraphs));
    m_paragraphs.clear();
    m_text = std::move(text);
    m_runs = std::move(runs);
    m_objects = std::move(objects);
}

} // namespace Story
