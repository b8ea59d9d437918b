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

namespace {

// Paragraphs that are made anew, from text that stays and text that comes in between.
class ParagraphMaker {
public:
    explicit ParagraphMaker(ParagraphAttsRef openAtts) : m_openAtts(std::move(openAtts)) {}

    // Characters so far, separators included.
    std::uint32_t GetLength() const { return m_closedLength + static_cast<std::uint32_t>(m_open.text.size()); }

    // A part of a paragraph that stays; it is parted where it would become too long.
    void Keep(Paragraph const& paragraph, std::uint32_t begin, std::uint32_t end, ParagraphAttsRef const& atts) {
        if (m_open.text.size() + (end - begin) > Paragraph::c_maximumLength)
            Close(paragraph.GetGlyphAtts(begin), atts);
        m_open.Append(paragraph, begin, end);
    }

    // Text that comes in. Paragraphs that begin in it have `paragraphAtts`. True when some do.
    bool Insert(GlyphString const& string, GlyphAttsRef const& atts, ParagraphAttsRef const& paragraphAtts) {
        auto const text = string.GetText();
        auto object = string.GetObjects().begin();
        bool isParted = false;
        for (std::size_t i = 0; i != text.size(); ++i) {
            char32_t c = text[i];
            if (IsParagraphEnd(c) || m_open.text.size() + 1 == Paragraph::c_maximumLength) {
                Close(atts, paragraphAtts);
                isParted = true;
                if (c == U'\r' && i + 1 != text.size() && text[i + 1] == U'\n')
                    ++i;
                if (IsParagraphEnd(c))
                    continue;
            }
            bool const isObject = object != string.GetObjects().end() && object->index == i;
            if (isObject)
                m_open.objects.push_back({static_cast<std::uint32_t>(m_open.text.size()), (object++)->glyph});
            if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000))
                c = c_replacementCharacter;
            m_open.text.push_back(c);
            m_open.AddRun(static_cast<std::uint32_t>(m_open.text.size()), atts);
        }
        return isParted;
    }

    // Of the paragraph that is open.
    void SetAtts(ParagraphAttsRef const& atts) { m_openAtts = atts; }

    // `last` ends what is open, with its separator.
    std::vector<ParagraphRef> Take(Paragraph const& last, std::uint32_t begin, ParagraphAttsRef const& atts) {
        Keep(last, begin, last.GetLength(), atts);
        Put();
        return std::move(m_paragraphs);
    }

private:
    void Close(GlyphAttsRef const& atts, ParagraphAttsRef const& next) {
        m_open.text.push_back(c_paragraphSeparator);
        m_open.AddRun(static_cast<std::uint32_t>(m_open.text.size()), atts);
        Put();
        m_openAtts = next;
    }
    void Put() {
        m_closedLength += static_cast<std::uint32_t>(m_open.text.size());
        m_paragraphs.push_back(Kernel::MakeCounted<Paragraph>(std::move(m_open.text), std::move(m_open.runs),
                                                              std::move(m_open.objects), m_openAtts));
        m_open = {};
    }

    std::vector<ParagraphRef> m_paragraphs;
    Stretch m_open;
    ParagraphAttsRef m_openAtts;
    std::uint32_t m_closedLength = 0;
};

} // namespace

StoryRange Story::ReplaceText(StoryRange range, GlyphString const& replacement, GlyphAttsRef const& glyphAtts,
                              ParagraphAttsRef const& paragraphAtts) {
    std::vector<TextReplacement> one(1);
    one.front() = {range, replacement, glyphAtts, paragraphAtts};
    return ReplaceTexts(one).front();
}

std::vector<StoryRange> Story::ReplaceTexts(std::vector<TextReplacement> const& replacements) {
    struct Target {
        StoryRange range;
        Place from, to;
    };
    std::uint32_t const clientEnd = GetClientAll().end;
    std::vector<Target> places;
    std::uint32_t least = 0;
    for (auto const& replacement : replacements) {
        auto range = replacement.range;
        range.begin = std::clamp(range.begin, std::min(least, clientEnd), clientEnd);
        range.end = std::clamp(range.end, range.begin, clientEnd);
        least = range.end;
        places.push_back({range, Find(range.begin), Find(range.end)});
    }
    std::vector<StoryRange> replaced(places.size());
    std::vector<std::int64_t> growth(places.size(), 0);
    // From the last to the first, so that paragraphs in front keep their numbers. Those in one paragraph go together.
    for (std::size_t end = places.size(), begin = 0; end != 0; end = begin) {
        begin = end - 1;
        while (begin != 0 && places[begin - 1].to.paragraph == places[begin].from.paragraph)
            --begin;
        auto const& head = places[begin].from;
        auto const& tail = places[end - 1].to;
        bool isChanged = false;
        ParagraphMaker maker(GetParagraph(head.paragraph)->GetAtts());
        std::uint32_t kept = 0; // of the paragraph that the next one begins in
        for (std::size_t i = begin; i != end; ++i) {
            auto const& [range, text, glyphAtts, paragraphAtts] = replacements[i];
            auto const& [place, from, to] = places[i];
            auto const first = GetParagraph(from.paragraph), last = GetParagraph(to.paragraph);
            auto const own = paragraphAtts ? Intern<ParagraphAtts>(paragraphAtts) : first->GetAtts();
            auto const atts =
                glyphAtts ? Intern<GlyphAtts>(glyphAtts) : first->GetGlyphAtts(from.offset == 0 ? 0 : from.offset - 1);
            maker.Keep(*first, kept, from.offset, own);
            if (paragraphAtts)
                maker.SetAtts(own);
            replaced[i].begin = head.paragraphBegin + maker.GetLength();
            // The rest of the last paragraph keeps that one's attributes where the edit has split it off.
            bool const isParted = maker.Insert(text, atts, own) || paragraphAtts;
            if (isParted && to.paragraph != from.paragraph)
                maker.SetAtts(last->GetAtts());
            replaced[i].end = head.paragraphBegin + maker.GetLength();
            kept = to.offset;
            isChanged = isChanged || !place.empty() || !text.empty();
        }
        if (!isChanged)
            continue;
        auto const last = GetParagraph(tail.paragraph);
        std::uint32_t const before = tail.paragraphBegin + last->GetLength() - head.paragraphBegin;
        auto paragraphs = maker.Take(*last, kept, last->GetAtts());
        growth[end - 1] = std::int64_t{maker.GetLength()} - before;
        ReplaceParagraphs(head.paragraph, tail.paragraph - head.paragraph + 1, std::move(paragraphs));
    }
    // Growth counts from the paragraphs behind those that grew.
    std::int64_t shift = 0;
    for (std::size_t i = 0; i != replaced.size(); ++i) {
        replaced[i].begin = static_cast<std::uint32_t>(replaced[i].begin + shift);
        replaced[i].end = static_cast<std::uint32_t>(replaced[i].end + shift);
        shift += growth[i];
    }
    return replaced;
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
