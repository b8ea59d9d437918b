// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composed_paragraph.h"

#include "engine/story/drop_cap.h"
#include "engine/story/itemiser.h"
#include "engine/story/line_breaks.h"
#include "engine/story/shaping.h"
#include "engine/story/word_cache.h"
#include "platform/story/drop_cap.h"
#include "platform/story/note.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Story {

namespace {

// Longer runs are shaped in pieces: shaping takes time beyond proportion for hostile fonts and texts.
constexpr std::uint32_t c_maximumShapedLength = 4096;

// The contexts of a paragraph's objects, asked for in their order.
class ObjectContexts {
public:
    explicit ObjectContexts(ParagraphContext const& context)
        : m_context{context.fields, context.frame}, m_note(context.notesBefore) {}
    ExpansionContext const& Next(Glyph const& glyph) {
        m_context.note = IsNoteGlyph(glyph) ? ++m_note : 0;
        return m_context;
    }

private:
    ExpansionContext m_context;
    std::uint32_t m_note;
};

// How the number of a note stands in text that looks like that: small and raised.
GlyphAttsRef MakeNoteMarkAtts(GlyphAttsRef const& resolved) {
    constexpr double c_size = 0.65, c_shift = 0.35;
    double const size = resolved->Get(GlyphAtt::Double::Size);
    auto atts = resolved->Clone();
    atts->Set(GlyphAtt::Double::Size, c_size * size);
    atts->Set(GlyphAtt::Double::BaselineShift, resolved->Get(GlyphAtt::Double::BaselineShift) + c_shift * size);
    return Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(std::move(atts))).ToCounted();
}

} // namespace

ComposedParagraph::ComposedParagraph(ParagraphRef source, StyleSheet const& styles, ParagraphContext const& context,
                                     ComposedParagraph const* other)
    : ComposedParagraph(std::move(source)) {
    Compose(styles, context, other, 0);
}

ComposedParagraph::ComposedParagraph(ComposedParagraph const& earlier, std::uint32_t from, StyleSheet const& styles,
                                     ParagraphContext const& context)
    : ComposedParagraph(earlier.m_source) {
    m_leavesDropCapOut = earlier.m_leavesDropCapOut;
    Compose(styles, context, &earlier, from);
}

Kernel::Counted<ComposedParagraph const> ComposedParagraph::MakeWithoutDropCap(ComposedParagraph const& other,
                                                                               StyleSheet const& styles,
                                                                               ParagraphContext const& context) {
    Kernel::Counted<ComposedParagraph> const made(new ComposedParagraph(other.m_source));
    made->m_leavesDropCapOut = true;
    made->Compose(styles, context, &other, std::numeric_limits<std::uint32_t>::max());
    return made;
}

void ComposedParagraph::Compose(StyleSheet const& styles, ParagraphContext const& context,
                                ComposedParagraph const* other, std::uint32_t from) {
    m_atts = styles.Resolve(m_source->GetAtts());
    m_lengthScale = std::clamp(m_atts->Get(ParagraphAtt::Double::LengthScale), 0.0, 1e6);
    m_isVertical = context.isVertical;
    Expand(context, other, from);
    FindDropCap(styles);
    Itemise(styles);
    FindBreaks();
    ShapeRuns(other);
}

ComposedParagraph::~ComposedParagraph() = default;

// The text of an object is cut off where the paragraph would be longer, by more than the longest expansion, than any
// that may be stored: many objects that show much each must not fill the memory.
void ComposedParagraph::Expand(ParagraphContext const& context, ComposedParagraph const* earlier, std::uint32_t from) {
    auto const& objects = m_source->GetObjects();
    if (objects.empty() && context.number.empty())
        return;
    ObjectContexts contexts(context);
    auto const text = m_source->GetText();
    constexpr std::size_t c_likelyExpansion = 16, c_mostInAdvance = 4096;
    m_text.reserve(context.number.size() + text.size() + std::min(objects.size() * c_likelyExpansion, c_mostInAdvance));
    m_text = context.number;
    m_numberLength = static_cast<std::uint32_t>(m_text.size());
    m_notesBefore = context.notesBefore;
    m_expansions.reserve(objects.size());
    // The number counts as made, so that places behind it are shifted by it.
    std::uint32_t done = 0, made = m_numberLength;
    for (std::size_t i = 0; i != objects.size(); ++i) {
        auto const& glyph = *objects[i].glyph;
        m_text += text.substr(done, objects[i].index + 1 - done);
        done = objects[i].index + 1;
        m_reach = std::max(m_reach, glyph.GetExpansionReach());
        auto const& objectContext = contexts.Next(glyph);
        auto const begin = static_cast<std::uint32_t>(m_text.size());
        if (earlier != nullptr && earlier->m_expansions[i].begin < from) {
            auto const& kept = earlier->m_expansions[i];
            m_text += std::u32string_view(earlier->m_text).substr(kept.begin, kept.end - kept.begin);
        } else {
            auto const shown = ExpandGlyph(glyph, objectContext);
            m_text += std::u32string_view(shown).substr(0, c_maximumExpansion -
                                                               std::min<std::size_t>(made, c_maximumExpansion));
        }
        auto const end = static_cast<std::uint32_t>(m_text.size());
        bool const isNoteMark = IsNoteGlyph(glyph);
        m_expansions.push_back({begin, end, made, IsFillerTextGlyph(glyph), isNoteMark});
        made += end - begin;
    }
    m_text += text.substr(done);
}

bool ComposedParagraph::ShowsTheSame(ParagraphContext const& context, ExpansionReach reach, std::uint32_t from) const {
    auto const& objects = m_source->GetObjects();
    if (from == 0 && GetText().substr(0, m_numberLength) != context.number)
        return false;
    ObjectContexts contexts(context);
    for (std::size_t i = 0; i != objects.size(); ++i) {
        auto const& expansion = m_expansions[i];
        auto const& objectContext = contexts.Next(*objects[i].glyph);
        if (expansion.begin < from || objects[i].glyph->GetExpansionReach() < reach)
            continue;
        auto const shown = ExpandGlyph(*objects[i].glyph, objectContext);
        std::size_t const room = c_maximumExpansion - std::min<std::size_t>(expansion.madeBefore, c_maximumExpansion);
        if (std::u32string_view(shown).substr(0, room) !=
            std::u32string_view(m_text).substr(expansion.begin, expansion.end - expansion.begin))
            return false;
    }
    return true;
}

std::vector<Expansion>::const_iterator ComposedParagraph::FindExpansionBefore(std::uint32_t composed) const {
    auto const next = std::upper_bound(m_expansions.begin(), m_expansions.end(), composed,
                                       [](std::uint32_t wanted, Expansion const& each) { return wanted < each.begin; });
    return next == m_expansions.begin() ? m_expansions.end() : std::prev(next);
}

std::uint32_t ComposedParagraph::ToSource(std::uint32_t composed) const {
    auto const found = FindExpansionBefore(composed);
    if (found == m_expansions.end())
        return composed - std::min(composed, m_numberLength);
    if (composed < found->end)
        return found->begin - 1 - found->madeBefore;
    return composed - found->madeBefore - (found->end - found->begin);
}

std::uint32_t ComposedParagraph::ToComposed(std::uint32_t source) const {
    // Objects ascend in the source as their expansions do.
    auto const next = std::partition_point(m_expansions.begin(), m_expansions.end(), [&](Expansion const& each) {
        return each.begin - each.madeBefore <= source;
    });
    if (next == m_expansions.begin())
        return source + m_numberLength;
    auto const last = std::prev(next);
    return source + last->madeBefore + (last->end - last->begin);
}

Expansion const* ComposedParagraph::FindExpansion(std::uint32_t composed) const {
    auto const found = FindExpansionBefore(composed);
    return found != m_expansions.end() && composed < found->end ? &*found : nullptr;
}

std::size_t ComposedParagraph::FindRun(std::uint32_t composed) const {
    auto const run = std::upper_bound(m_runs.begin(), m_runs.end(), composed,
                                      [](std::uint32_t wanted, ShapedRun const& each) { return wanted < each.end; });
    return static_cast<std::size_t>(std::min(run, std::prev(m_runs.end())) - m_runs.begin());
}

std::uint32_t ComposedParagraph::FindGlyph(ShapedRun const& run, std::uint32_t composed) const {
    // In most text each character has one glyph.
    auto const likely = run.glyphBegin + std::uint64_t{composed - run.begin};
    bool const isThere = composed >= run.begin && likely < run.glyphEnd && m_glyphs[likely].cluster == composed &&
                         (likely == run.glyphBegin || m_glyphs[likely - 1].cluster < composed);
    if (isThere)
        return static_cast<std::uint32_t>(likely);
    auto const begin = m_glyphs.begin() + run.glyphBegin;
    auto const found =
        std::lower_bound(begin, m_glyphs.begin() + run.glyphEnd, composed,
                         [](ShapedGlyph const& glyph, std::uint32_t wanted) { return glyph.cluster < wanted; });
    return static_cast<std::uint32_t>(found - m_glyphs.begin());
}

// Behind a number, of the paragraph or of its note, there is no drop cap; the number of a note is no letter of one.
void ComposedParagraph::FindDropCap(StyleSheet const& styles) {
    auto const* const att = m_leavesDropCapOut ? nullptr : DropCapAtt::Of(*m_atts);
    if (att == nullptr || m_numberLength != 0)
        return;
    auto const mark =
        std::find_if(m_expansions.begin(), m_expansions.end(), [](Expansion const& each) { return each.isNoteMark; });
    auto const limit = mark == m_expansions.end() ? GetText().size() - 1 : mark->begin - 1;
    auto const look = TextLook::Get(styles.Resolve(m_source->GetRuns().front().atts, m_source->GetAtts()));
    m_dropCapEnd =
        FindDropCapEnd(GetText(), att->GetValues().characters, static_cast<std::uint32_t>(limit), look->languageTag);
}

void ComposedParagraph::Itemise(StyleSheet const& styles) {
    auto const text = GetText();
    m_flags.assign(text.size() + 1, 0);
    Itemiser itemiser(text, m_atts->Get(ParagraphAtt::Enum::Direction), m_isVertical);
    m_isRightToLeft = itemiser.IsRightToLeft();
    std::uint32_t begin = 0;
    auto mark = m_expansions.begin();
    for (auto const& run : m_source->GetRuns()) {
        std::uint32_t const end =
            run.end == m_source->GetLength() ? static_cast<std::uint32_t>(text.size()) : ToComposed(run.end);
        auto const resolved = styles.Resolve(run.atts, m_source->GetAtts());
        auto const look = TextLook::Get(resolved);
        if (begin < m_dropCapEnd) {
            auto const capEnd = std::min(end, m_dropCapEnd);
            auto const own = WithDropCapStyle(run.atts, *m_atts);
            itemiser.Itemise(begin, capEnd, TextLook::Get(styles.Resolve(own, m_source->GetAtts())), m_runs, m_flags);
            begin = capEnd;
        }
        for (; mark != m_expansions.end() && mark->end <= end; ++mark) {
            if (!mark->isNoteMark || mark->begin == mark->end)
                continue;
            itemiser.Itemise(begin, mark->begin, look, m_runs, m_flags);
            itemiser.Itemise(mark->begin, mark->end, TextLook::Get(MakeNoteMarkAtts(resolved)), m_runs, m_flags);
            begin = mark->end;
        }
        itemiser.Itemise(begin, end, look, m_runs, m_flags);
        begin = end;
    }
    m_hasTabs = text.find(U'\t') != std::u32string_view::npos;
    for (auto const& run : m_runs)
        m_hasRightToLeftRuns |= run.IsRightToLeft();
}

void ComposedParagraph::FindBreaks() {
    auto const text = GetText();
    FindLineBreaks(text, m_runs.front().look->languageTag, m_flags);
    // A span that is to stay together may be several runs: a tab, or letters of another script, are runs of their own.
    bool isTogether = false;
    for (auto const& run : m_runs) {
        bool const goesOn = std::exchange(isTogether, run.look->noBreak);
        if (!run.look->noBreak)
            continue;
        for (std::uint32_t i = run.begin + (goesOn ? 0 : 1); i < run.end; ++i)
            m_flags[i] &= static_cast<std::uint8_t>(~CharacterFlag::c_breakBefore);
    }
    // Only a line separator forces a line in this model: other controls that Unicode lets break are shown as nothing.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == c_lineSeparator)
            m_flags[i + 1] |= CharacterFlag::c_breakBefore | CharacterFlag::c_mustBreakBefore;
    }
    // A note's number stays with the word in front of it.
    for (auto const& mark : m_expansions) {
        if (!mark.isNoteMark)
            continue;
        m_flags[mark.begin - 1] &= static_cast<std::uint8_t>(~CharacterFlag::c_breakBefore);
        if (mark.begin != mark.end)
            m_flags[mark.begin] &= static_cast<std::uint8_t>(~CharacterFlag::c_breakBefore);
    }
    m_flags[0] &= static_cast<std::uint8_t>(~CharacterFlag::c_breakBefore);
    m_flags[text.size()] |= CharacterFlag::c_breakBefore | CharacterFlag::c_mustBreakBefore;
}

void ComposedParagraph::ShapeRuns(ComposedParagraph const* other) {
    thread_local GlyphBuffer s_glyphs;
    s_glyphs.Clear();
    bool const hasOther = other != nullptr && other->m_runs.size() == m_runs.size();
    for (std::size_t i = 0; i != m_runs.size(); ++i) {
        auto& run = m_runs[i];
        run.glyphBegin = static_cast<std::uint32_t>(s_glyphs.GetSize());
        if (!hasOther || !TakeOverRun(s_glyphs, run, *other, other->m_runs[i]))
            ShapeRun(s_glyphs, run);
        run.glyphEnd = static_cast<std::uint32_t>(s_glyphs.GetSize());
    }
    m_glyphs.assign(s_glyphs.begin(), s_glyphs.end());
    s_glyphs.Trim();
}

void ComposedParagraph::ShapeRun(GlyphBuffer& glyphs, ShapedRun const& run) const {
    auto const text = GetText();
    for (std::uint32_t begin = run.begin; begin != run.end;) {
        std::uint32_t end = run.end;
        if (end - begin > c_maximumShapedLength) {
            end = begin + c_maximumShapedLength;
            // A piece ends at a break where there is one.
            std::uint32_t best = end;
            while (best > begin && (m_flags[best] & CharacterFlag::c_breakBefore) == 0)
                --best;
            end = best > begin ? best : end;
        }
        ShapeText(glyphs, text, begin, end, run);
        begin = end;
    }
}

// Where words do not see each other's glyphs, a change inside a run reaches the words that it touches and the spaces
// beside them. Runs in other scripts, in which letters join across what stands between runs, are shaped again.
bool ComposedParagraph::TakeOverRun(GlyphBuffer& glyphs, ShapedRun const& run, ComposedParagraph const& other,
                                    ShapedRun const& otherRun) const {
    bool const isAlike = run.face == otherRun.face && run.look == otherRun.look && run.script == otherRun.script &&
                         run.level == otherRun.level && WordCache::CanPart(run) &&
                         run.end - run.begin <= c_maximumShapedLength &&
                         otherRun.end - otherRun.begin <= c_maximumShapedLength;
    if (!isAlike)
        return false;
    auto const text = GetText(), otherText = other.GetText();
    std::uint32_t const shift = run.end - otherRun.end; // modulo 2^32, as are the places that it is added to
    std::uint32_t same = run.end;                       // the beginning of what both end in
    bool const isSame =
        run.begin - shift == otherRun.begin &&
        std::equal(text.begin() + run.begin, text.begin() + run.end, otherText.begin() + otherRun.begin);
    if (isSame)
        same = run.begin;
    while (same != run.begin && same - shift != otherRun.begin && text[same - 1] == otherText[same - shift - 1])
        --same;
    std::uint32_t from = run.begin; // what is taken over
    if (same != run.begin || same - shift != otherRun.begin) {
        auto const findParting = [&](std::uint32_t at) {
            while (at < run.end && !(at + 1 < run.end && WordCache::PartsAt(text, at)))
                ++at;
            return at;
        };
        // The letter in front of the space must be the same in both, and the word behind it a whole one.
        auto const space = findParting(same + 1), nextSpace = findParting(space + 1);
        if (nextSpace >= run.end)
            return false;
        auto const first = glyphs.GetSize();
        if (!WordCache::Shape(glyphs, text, run.begin, nextSpace + 1, run))
            return false;
        from = space + 1;
        auto size = glyphs.GetSize();
        while (size != first && glyphs.begin()[size - 1].cluster >= from)
            --size;
        glyphs.CutTo(size);
    }
    std::uint32_t const begin = other.FindGlyph(otherRun, from - shift), count = otherRun.glyphEnd - begin;
    auto* const taken = glyphs.Append(count);
    std::copy_n(other.m_glyphs.data() + begin, count, taken);
    for (std::uint32_t i = 0; i != count; ++i)
        taken[i].cluster += shift;
    return true;
}

std::vector<ShapedGlyph> ComposedParagraph::ShapeAgain(ShapedRun const& run, std::uint32_t begin,
                                                       std::uint32_t end) const {
    GlyphBuffer glyphs;
    auto const text = GetText();
    // Without what stands beyond the line: letters do not join across lines.
    for (std::uint32_t at = begin; at < end; at += c_maximumShapedLength)
        ShapeText(glyphs, text.substr(0, end), at, std::min(end, at + c_maximumShapedLength), run);
    return {glyphs.begin(), glyphs.end()};
}

std::size_t ComposedParagraph::GetMemoryUse() const {
    return sizeof *this + m_source->GetText().size() * sizeof(char32_t) + m_text.capacity() * sizeof(char32_t) +
           m_expansions.capacity() * sizeof(Expansion) + m_flags.capacity() + m_runs.capacity() * sizeof(ShapedRun) +
           m_glyphs.capacity() * sizeof(ShapedGlyph);
}

} // namespace Story
