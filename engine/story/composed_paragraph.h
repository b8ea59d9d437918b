// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/text_look.h"
#include "platform/story/composition.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Story {

// One glyph of a font as shaping placed it. Lengths in text units; y grows upwards as fonts have it. Along a line and
// across it where lines run from top to bottom, too.
struct ShapedGlyph {
    static constexpr std::uint32_t c_unsafeToBreak = 1u << 31; // a line cannot begin here without shaping again
    // Justification widens what follows it: a space, an ideograph, or the end of a South East Asian letter.
    static constexpr std::uint32_t c_stretches = 1u << 30;
    static constexpr std::uint32_t c_noGlyph = 0xFFFFFF; // draws nothing
    std::uint32_t idAndFlags = 0;
    // Index in the paragraph's composed text of the first character that the glyph belongs to.
    std::uint32_t cluster = 0;
    float advance = 0;
    float offsetX = 0;
    float offsetY = 0;

    std::uint32_t GetId() const { return idAndFlags & 0xFFFFFF; }
    bool Has(std::uint32_t flag) const { return (idAndFlags & flag) != 0; }
    friend bool operator==(ShapedGlyph const&, ShapedGlyph const&) = default;
};

// Characters that were shaped together.
struct ShapedRun {
    std::uint32_t begin = 0, end = 0; // in composed text
    std::uint32_t glyphBegin = 0, glyphEnd = 0;
    TextLookRef look;
    FontFace const* face = nullptr; // kept by the look's fonts, or by the system's; null shows nothing
    hb_script_t script = HB_SCRIPT_COMMON;
    std::uint8_t level = 0; // bidirectional embedding level
    // Letters stand upright on a line that runs from top to bottom; others lie on their side there.
    bool isUpright = false;
    bool IsRightToLeft() const { return (level & 1) != 0; }
};

// The properties of each character of composed text.
namespace CharacterFlag {
inline constexpr std::uint8_t c_breakBefore = 1;     // a line may begin here
inline constexpr std::uint8_t c_mustBreakBefore = 2; // a line begins here
inline constexpr std::uint8_t c_space = 4;           // hangs at a line's end
inline constexpr std::uint8_t c_tab = 8;
inline constexpr std::uint8_t c_softHyphen = 16;
inline constexpr std::uint8_t c_control = 32; // shows nothing
} // namespace CharacterFlag

// Chinese and Japanese letters and marks, which stand without spaces: lines are filled by parting them a little.
constexpr bool IsIdeographic(char32_t c) {
    return c > 0x3000 &&
           (c <= 0x30FF || (c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF) ||
            (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFF01 && c <= 0xFFEF) || (c >= 0x20000 && c <= 0x3FFFF));
}
// Thai, Lao, Burmese and Khmer letters and marks, which stand without spaces between words: lines are filled by parting
// letters, each with its marks, a little.
constexpr bool IsSouthEastAsian(char32_t c) {
    return c >= 0x0E00 &&
           (c <= 0x0EFF || (c >= 0x1000 && c <= 0x109F) || (c >= 0x1780 && c <= 0x17FF) ||
            (c >= 0x19E0 && c <= 0x19FF) || (c >= 0xA9E0 && c <= 0xA9FF) || (c >= 0xAA60 && c <= 0xAA7F));
}
constexpr bool PartsLetters(char32_t c) { return IsIdeographic(c) || IsSouthEastAsian(c); }
constexpr bool IsStretchable(char32_t c) { return c == U' ' || c == 0xA0 || PartsLetters(c); }
// How much room counts as a space's, where lines stretch and shrink, behind a glyph that stretches: its own advance
// for a space, a tenth of it for an ideograph, which is as wide as its size. The last glyph of a South East Asian
// letter may be a mark without an advance, so the size stands for it there.
constexpr double GetStretch(char32_t c, double advance, double size) {
    return IsIdeographic(c) ? 0.1 * advance : IsSouthEastAsian(c) ? 0.06 * size : advance;
}

// Where composed text is not the story's: a span that an object expanded to.
struct Expansion {
    std::uint32_t begin = 0, end = 0; // in composed text; the object's own character stands at begin - 1
    std::uint32_t madeBefore = 0;     // characters of the expansions in front of it
    bool isFiller = false;
    // The number of a note, which stands raised.
    bool isNoteMark = false;
};

// Where a paragraph is shown, and what it shows in front of its text.
struct ParagraphContext {
    // Null: there is no document, and fields show nothing.
    FieldDataSource const* fields = nullptr;
    std::size_t frame = 0;
    // Of the story, in front of the paragraph.
    std::uint32_t notesBefore = 0;
    // The paragraph's number, with what parts it from the text.
    std::u32string number = {};
    // Its lines run from top to bottom.
    bool isVertical = false;
};

class GlyphBuffer;

// A paragraph shaped as one endless line: what does not depend on where it stands. Immutable but for its broken lines.
class ComposedParagraph final : public virtual Kernel::Countable {
public:
    // `other` may be null: the same paragraph with the same styles, when its objects showed something else. Shaping
    // takes over from it what that cannot have changed.
    ComposedParagraph(ParagraphRef source, StyleSheet const& styles, ParagraphContext const& context,
                      ComposedParagraph const* other = nullptr);
    // The same paragraph, with what objects show from `from` on, a place in composed text, taken anew. The text in
    // front of it stays.
    ComposedParagraph(ComposedParagraph const& earlier, std::uint32_t from, StyleSheet const& styles,
                      ParagraphContext const& context);
    // The same paragraph without its drop cap: its letters stand among the others.
    static Kernel::Counted<ComposedParagraph const>
    MakeWithoutDropCap(ComposedParagraph const& other, StyleSheet const& styles, ParagraphContext const& context);
    ~ComposedParagraph() override;

    ParagraphRef const& GetSource() const { return m_source; }
    // Resolved against the styles.
    ParagraphAttsRef const& GetAtts() const { return m_atts; }
    // The text that is shown, objects expanded, the separator at its end included.
    std::u32string_view GetText() const { return m_text.empty() ? m_source->GetText() : m_text; }
    // Characters in front of the text that are the paragraph's number.
    std::uint32_t GetNumberLength() const { return m_numberLength; }
    std::uint32_t GetNotesBefore() const { return m_notesBefore; }
    // Characters at its beginning that are to stand as a drop cap; runs end there. 0 for none.
    std::uint32_t GetDropCapEnd() const { return m_dropCapEnd; }
    std::vector<std::uint8_t> const& GetFlags() const { return m_flags; }
    std::vector<ShapedRun> const& GetRuns() const { return m_runs; }
    std::vector<ShapedGlyph> const& GetGlyphs() const { return m_glyphs; }
    std::vector<Expansion> const& GetExpansions() const { return m_expansions; }
    // The farthest of its objects.
    ExpansionReach GetReach() const { return m_reach; }
    // Whether its number and its objects, those that show from `from` on, show the same in another context. `reach`:
    // objects that depend on less are known to.
    bool ShowsTheSame(ParagraphContext const& context, ExpansionReach reach, std::uint32_t from = 0) const;
    bool IsRightToLeft() const { return m_isRightToLeft; }
    // Lines run from top to bottom: what stands on one is centred on it, and is not put on a baseline.
    bool IsVertical() const { return m_isVertical; }
    bool HasTabs() const { return m_hasTabs; }
    bool HasRightToLeftRuns() const { return m_hasRightToLeftRuns; }
    double GetLengthScale() const { return m_lengthScale; }
    double GetLength(ParagraphAtt::Double att) const { return m_atts->Get(att) * m_lengthScale; }

    // The source index of a composed index, and the other way round. Made characters have that of their object.
    std::uint32_t ToSource(std::uint32_t composed) const;
    std::uint32_t ToComposed(std::uint32_t source) const;
    Expansion const* FindExpansion(std::uint32_t composed) const;
    // The run that holds a character.
    std::size_t FindRun(std::uint32_t composed) const;
    // The first glyph at or behind a character, among a run's.
    std::uint32_t FindGlyph(ShapedRun const& run, std::uint32_t composed) const;

    // Shapes a span of one run by itself, as it must be where a line ends or begins inside it.
    std::vector<ShapedGlyph> ShapeAgain(ShapedRun const& run, std::uint32_t begin, std::uint32_t end) const;
    std::size_t GetMemoryUse() const;

private:
    explicit ComposedParagraph(ParagraphRef source) : m_source(std::move(source)) {}
    // The texts that objects show in front of `from` are taken from `other`, and glyphs wherever they are the same.
    void Compose(StyleSheet const& styles, ParagraphContext const& context, ComposedParagraph const* other,
                 std::uint32_t from);
    void Expand(ParagraphContext const& context, ComposedParagraph const* earlier, std::uint32_t from);
    // The last expansion that begins at or before a place; none is the end.
    std::vector<Expansion>::const_iterator FindExpansionBefore(std::uint32_t composed) const;
    void FindBreaks();
    void FindDropCap(StyleSheet const& styles);
    void Itemise(StyleSheet const& styles);
    void ShapeRuns(ComposedParagraph const* other);
    void ShapeRun(GlyphBuffer& glyphs, ShapedRun const& run) const;
    // Appends a run's glyphs, as ShapeRun would, from those of the other's run. False, with nothing appended, where
    // they may differ.
    bool TakeOverRun(GlyphBuffer& glyphs, ShapedRun const& run, ComposedParagraph const& other,
                     ShapedRun const& otherRun) const;

    ParagraphRef m_source;
    ParagraphAttsRef m_atts;
    std::u32string m_text;
    std::vector<Expansion> m_expansions;
    std::vector<std::uint8_t> m_flags;
    std::vector<ShapedRun> m_runs;
    std::vector<ShapedGlyph> m_glyphs;
    double m_lengthScale = 1;
    std::uint32_t m_numberLength = 0;
    std::uint32_t m_notesBefore = 0;
    std::uint32_t m_dropCapEnd = 0;
    ExpansionReach m_reach = ExpansionReach::Glyph;
    bool m_isRightToLeft = false;
    bool m_isVertical = false;
    bool m_hasTabs = false;
    bool m_hasRightToLeftRuns = false;
    bool m_leavesDropCapOut = false;
};
using ComposedParagraphRef = Kernel::Counted<ComposedParagraph const>;

} // namespace Story
