// SPDX-License-Identifier: Apache-2.0
#include "engine/story/drop_cap.h"

#include "engine/story/break_iterator.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/story/drop_cap.h"

#include <algorithm>
#include <cmath>
#include <unicode/uchar.h>

namespace Story {

// DropCapAtt

DropCapAtt::DropCapAtt(Values values) : m_values(std::move(values)) {
    constexpr double c_maximumGap = 1e6;
    m_values.lines = std::min(m_values.lines, c_maximumLines);
    m_values.characters = std::clamp<std::uint32_t>(m_values.characters, 1, c_maximumCharacters);
    m_values.gap = std::isfinite(m_values.gap) ? std::clamp(m_values.gap, 0.0, c_maximumGap) : 0;
}

DropCapAtt const* DropCapAtt::Of(ParagraphAtts const& resolved) {
    auto const* const cap = Kernel::CastPointer<DropCapAtt const>(resolved.Get(ParagraphAtt::Object::DropCap).get());
    return cap != nullptr && cap->GetValues().lines > 1 ? cap : nullptr;
}

void DropCapAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Line", m_values.lines);
    Kernel::SaveValue(out, "Char", m_values.characters);
    Kernel::SaveValue(out, "Gapp", m_values.gap);
    Kernel::SaveValue(out, "Styl", m_values.characterStyle);
}
bool DropCapAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Values values;
    Kernel::LoadValue(in, "Line", values.lines);
    Kernel::LoadValue(in, "Char", values.characters);
    Kernel::LoadValue(in, "Gapp", values.gap);
    Kernel::LoadValue(in, "Styl", values.characterStyle);
    m_values = DropCapAtt(std::move(values)).m_values;
    return true;
}

namespace {

// Marks that open something, and the two of ASCII that may: those that stand in front of a first letter.
bool IsOpeningMark(char32_t c) {
    constexpr std::uint32_t c_opening = U_GC_PI_MASK | U_GC_PF_MASK | U_GC_PS_MASK;
    return c == U'"' || c == U'\'' || c == 0xA1 || c == 0xBF ||
           (U_GET_GC_MASK(static_cast<UChar32>(c)) & c_opening) != 0;
}
bool IsSpace(char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)) != 0; }
bool IsNoBreakSpace(char32_t c) { return c == 0xA0 || c == 0x202F; }
bool IsShown(char32_t c) { return c != c_objectCharacter && u_iscntrl(static_cast<UChar32>(c)) == 0; }

// Of an ideographic letter's square below the baseline, in em.
constexpr double c_ideographicDescent = 0.12;

FontFace const* GetFace(ShapedRun const& run) {
    return run.face != nullptr ? run.face : run.look->fonts->GetPrimary().get();
}
double GetEm(ShapedRun const& run) { return run.look->size * run.look->verticalScale; }
double GetCapHeight(ShapedRun const& run) {
    auto const* const face = GetFace(run);
    return (face == nullptr ? 0.7 : face->GetCapHeight()) * GetEm(run);
}

// The first character of the cap that shows something.
std::uint32_t FindFirstShown(ComposedParagraph const& paragraph) {
    std::uint32_t at = 0;
    while (at + 1 < paragraph.GetDropCapEnd() && !IsShown(paragraph.GetText()[at]))
        ++at;
    return at;
}

// How wide spaces behind the cap's letters are, in the text's own size.
double GetSpaceBehind(ComposedParagraph const& paragraph, std::uint32_t visibleEnd) {
    double width = 0;
    for (auto const& glyph : paragraph.GetGlyphs())
        width += glyph.cluster >= visibleEnd && glyph.cluster < paragraph.GetDropCapEnd() ? double{glyph.advance} : 0.0;
    return width;
}

// How the cap's letters are enlarged.
struct Enlargement {
    double scale = 1;
    double drop = 0;
};

// Letters of alphabets by the height of capitals; ideographs, which have none, by the square that they fill. On lines
// that run from top to bottom, a letter that stands upright fills the way from the first line's side to the last one's.
Enlargement FindEnlargement(ComposedParagraph const& paragraph, double depth) {
    auto const first = FindFirstShown(paragraph);
    auto const& own = paragraph.GetRuns()[paragraph.FindRun(first)];
    auto const& text = paragraph.GetRuns()[paragraph.FindRun(paragraph.GetDropCapEnd())];
    if (!own.isUpright && !IsIdeographic(paragraph.GetText()[first])) {
        double const scale = (depth + GetCapHeight(text)) / GetCapHeight(own);
        return {scale, GetBaselineOffset(paragraph, text, 1) - GetBaselineOffset(paragraph, own, scale)};
    }
    double const scale = (depth + GetEm(text)) / GetEm(own);
    if (paragraph.IsVertical())
        return {scale, -depth / 2};
    return {scale, -c_ideographicDescent * (GetEm(own) * scale - GetEm(text))};
}

} // namespace

std::uint32_t FindDropCapEnd(std::u32string_view text, std::uint32_t characters, std::uint32_t limit,
                             std::string const& language) {
    // Far more than a hundred letters with all their marks have.
    constexpr std::size_t c_longest = 4096;
    text = text.substr(0, std::min<std::size_t>({text.size(), limit, c_longest}));
    auto* const clusters = BreakIterator::Get(UBRK_CHARACTER, language);
    if (clusters == nullptr)
        return 0;
    Utf16Text utf16;
    utf16.Assign(text);
    clusters->SetText(utf16);
    std::uint32_t begin = 0, counted = 0;
    bool hasMark = false, hasLetter = false;
    for (std::int32_t next = clusters->Next(); next >= 0 && counted != characters; next = clusters->Next()) {
        char32_t const c = text[begin];
        bool const isBehindMark = hasMark && IsNoBreakSpace(c);
        if (c == U'\t' || IsHardBreakCharacter(c) || (!hasLetter && IsSpace(c) && !isBehindMark))
            break;
        begin = utf16.ToCodePoints(next);
        if (!IsShown(c) || isBehindMark)
            continue;
        hasLetter = true;
        hasMark = characters == 1 && IsOpeningMark(c);
        if (!hasMark)
            ++counted;
    }
    // Where a word ends with the cap, the space behind it begins no line.
    while (hasLetter && begin < text.size() && IsSpace(text[begin]) && text[begin] != U'\t' &&
           !IsHardBreakCharacter(text[begin]))
        ++begin;
    return hasLetter ? begin : 0;
}

GlyphAttsRef WithDropCapStyle(GlyphAttsRef const& own, ParagraphAtts const& resolved) {
    auto const* const att = DropCapAtt::Of(resolved);
    if (att == nullptr || att->GetValues().characterStyle.empty())
        return own;
    auto atts = own->Clone();
    atts->Set(GlyphAtt::String::StyleName, att->GetValues().characterStyle);
    return Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(std::move(atts))).ToCounted();
}

float GetDropCapLeading(ComposedParagraph const& paragraph) {
    return GetLeading(paragraph, paragraph.GetRuns()[paragraph.FindRun(paragraph.GetDropCapEnd())].look->size);
}

std::optional<DropCap> BuildDropCap(ComposedParagraph const& paragraph, double depth, LineMeasure const& measure) {
    auto const [scale, drop] = FindEnlargement(paragraph, depth);
    auto const* const att = DropCapAtt::Of(*paragraph.GetAtts());
    constexpr double c_largestScale = 1000;
    if (att == nullptr || !(scale > 0 && scale <= c_largestScale))
        return {};
    DropCap cap;
    cap.drop = drop;
    cap.line = BuildLine(paragraph, 0, {paragraph.GetDropCapEnd(), false}, {0, true}, {});
    auto& line = cap.line;
    line.scale = static_cast<float>(scale);
    line.alignment = paragraph.IsRightToLeft() ? Alignment::Right : Alignment::Left;
    // Art text's lines are as long as they are; this one begins at the column's side.
    std::vector<ShapedGlyph> own;
    double x = 0;
    for (auto& run : line.runs) {
        auto const& glyphs = run.own ? line.own : paragraph.GetGlyphs();
        auto const begin = static_cast<std::uint32_t>(own.size());
        run.x = static_cast<float>(x);
        for (auto i = run.glyphBegin; i != run.glyphEnd; ++i) {
            auto glyph = glyphs[i];
            glyph.idAndFlags &= ~ShapedGlyph::c_stretches;
            glyph.advance *= line.scale;
            glyph.offsetX *= line.scale;
            glyph.offsetY *= line.scale;
            x += glyph.advance;
            own.push_back(glyph);
        }
        run.glyphBegin = begin;
        run.glyphEnd = static_cast<std::uint32_t>(own.size());
        run.own = true;
    }
    line.own = std::move(own);
    line.width = static_cast<float>(x);
    auto const first = GetIndents(paragraph, true), others = GetIndents(paragraph, false);
    cap.end = first.start + x + GetSpaceBehind(paragraph, line.visibleEnd) +
              att->GetValues().gap * paragraph.GetLengthScale();
    line.left = static_cast<float>(paragraph.IsRightToLeft() ? measure.width - first.start - x : first.start);
    double const endIndent = paragraph.IsRightToLeft() ? others.left : others.right;
    double const leastRoom = paragraph.GetRuns()[paragraph.FindRun(paragraph.GetDropCapEnd())].look->size;
    bool const fits = x > 0 && measure.width - std::max(cap.end, others.start) - endIndent >= leastRoom;
    return fits ? std::optional(std::move(cap)) : std::nullopt;
}

} // namespace Story
