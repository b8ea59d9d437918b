// SPDX-License-Identifier: Apache-2.0
#include "formats/text/text_styles.h"

namespace Formats {

namespace {

using Story::GlyphAtt;
using Story::GlyphAtts;
using Story::ParagraphAtt;
using Story::ParagraphAtts;

constexpr int c_bold = 700;

// A style under construction.
class StyleMaker {
public:
    StyleMaker& Set(GlyphAtt::Double att, double value) { return SetGlyph(att, value); }
    StyleMaker& Set(GlyphAtt::Enum att, int value) { return SetGlyph(att, value); }
    StyleMaker& Set(GlyphAtt::String att, char const* value) { return SetGlyph(att, Kernel::String(value)); }
    StyleMaker& Set(ParagraphAtt::Double att, double value) { return SetParagraph(att, value); }
    StyleMaker& Set(ParagraphAtt::Enum att, int value) { return SetParagraph(att, value); }
    StyleMaker& Align(Story::Alignment alignment) {
        return Set(ParagraphAtt::Enum::Alignment, static_cast<int>(alignment));
    }
    StyleMaker& Space(double before, double after) {
        return Set(ParagraphAtt::Double::SpaceBefore, before).Set(ParagraphAtt::Double::SpaceAfter, after);
    }
    Kernel::Counted<Story::Style const> Make(Kernel::String name, char const* parent = "",
                                             Story::StyleType type = Story::StyleType::Paragraph) {
        return Kernel::MakeCounted<Story::Style>(std::move(name), type, Kernel::String(parent),
                                                 Kernel::MakeCounted<Story::Delta>(Story::Delta::Values{
                                                     .glyphAtts = m_glyph, .paragraphAtts = m_paragraph}));
    }

private:
    template <class Att, class Value>
    StyleMaker& SetGlyph(Att att, Value value) {
        if (!m_glyph)
            m_glyph = Kernel::MakeCounted<GlyphAtts>();
        m_glyph->Set(att, value);
        return *this;
    }
    template <class Att, class Value>
    StyleMaker& SetParagraph(Att att, Value value) {
        if (!m_paragraph)
            m_paragraph = Kernel::MakeCounted<ParagraphAtts>();
        m_paragraph->Set(att, value);
        return *this;
    }

    Kernel::Counted<GlyphAtts> m_glyph;
    Kernel::Counted<ParagraphAtts> m_paragraph;
};

// The sizes of a printer's case around text of 10.5 points: 21, 16, 14 and 12 points, then weight and slope alone tell
// the levels apart. More space stands above a heading than below, so that it goes with what follows.
struct HeadingLook {
    double size;
    bool isBold;
    bool isItalic;
    double before;
    double after;
};
constexpr HeadingLook c_headings[c_headingLevels] = {{28, true, false, 34, 17},   {21.33, true, false, 25, 8.5},
                                                     {18.67, true, false, 17, 6}, {16, true, false, 17, 4},
                                                     {14, true, false, 8.5, 0},   {14, false, true, 8.5, 0}};

Kernel::Counted<Story::Style const> MakeHeading(int level) {
    auto const& look = c_headings[level - 1];
    StyleMaker maker;
    maker.Set(GlyphAtt::String::FontFamily, "serif").Set(GlyphAtt::Double::Size, look.size);
    if (look.isBold)
        maker.Set(GlyphAtt::Double::Weight, double{c_bold});
    if (look.isItalic)
        maker.Set(GlyphAtt::Enum::Italic, 1);
    return maker.Align(Story::Alignment::Start)
        .Space(look.before, look.after)
        .Set(ParagraphAtt::Enum::KeepWithNext, 1)
        .Make(GetHeadingStyleName(level));
}

Story::StyleSheet::Styles MakeHeadings() {
    Story::StyleSheet::Styles styles;
    for (int level = 1; level <= c_headingLevels; ++level)
        styles.push_back(MakeHeading(level));
    return styles;
}

Story::StyleSheet::Styles MakeMarkup() {
    using namespace TextStyle;
    using Double = ParagraphAtt::Double;
    using Enum = ParagraphAtt::Enum;
    constexpr double c_quoteSize = 13, c_codeSize = 11.5, c_gap = 7;
    auto styles = MakeHeadings();
    styles.push_back(StyleMaker()
                         .Set(GlyphAtt::String::FontFamily, "serif")
                         .Set(GlyphAtt::Double::Size, c_textSize)
                         .Align(Story::Alignment::Justify)
                         .Set(Enum::Hyphenate, 1)
                         .Set(Double::FirstIndent, c_firstIndent)
                         .Make(c_body));
    styles.push_back(StyleMaker().Set(Double::FirstIndent, 0.0).Make(c_first, c_body));
    styles.push_back(StyleMaker().Set(GlyphAtt::Double::Size, c_quoteSize).Space(c_gap, c_gap).Make(c_quote, c_first));
    styles.push_back(StyleMaker().Align(Story::Alignment::Start).Make(c_list, c_first));
    styles.push_back(StyleMaker()
                         .Set(GlyphAtt::String::FontFamily, "monospace")
                         .Set(GlyphAtt::Double::Size, c_codeSize)
                         .Set(GlyphAtt::Enum::Ligatures, 0)
                         .Align(Story::Alignment::Left)
                         .Space(c_gap, c_gap)
                         .Make(c_code));
    styles.push_back(StyleMaker()
                         .Align(Story::Alignment::Centre)
                         .Set(Enum::Hyphenate, 0)
                         .Space(c_gap, c_gap)
                         .Make(c_figure, c_first));
    styles.push_back(StyleMaker().Align(Story::Alignment::Centre).Space(c_gap, c_gap).Make(c_rule, c_first));
    constexpr auto c_character = Story::StyleType::Character;
    styles.push_back(StyleMaker().Set(GlyphAtt::Enum::Italic, 1).Make(c_emphasis, "", c_character));
    styles.push_back(StyleMaker().Set(GlyphAtt::Double::Weight, double{c_bold}).Make(c_strong, "", c_character));
    styles.push_back(StyleMaker().Set(GlyphAtt::String::FontFamily, "monospace").Make(c_codeWords, "", c_character));
    styles.push_back(StyleMaker().Set(GlyphAtt::Enum::Underline, 1).Make(c_link, "", c_character));
    return styles;
}

} // namespace

Kernel::String GetHeadingStyleName(int level) { return {"Heading " + std::to_string(level)}; }

Kernel::Counted<Story::StyleSheet const> const& GetHeadingStyles() {
    static auto const& s_styles = *new Kernel::Counted<Story::StyleSheet const>(new Story::StyleSheet(MakeHeadings()));
    return s_styles;
}

Kernel::Counted<Story::StyleSheet const> const& GetMarkupStyles() {
    static auto const& s_styles = *new Kernel::Counted<Story::StyleSheet const>(new Story::StyleSheet(MakeMarkup()));
    return s_styles;
}

void AddMissingStyles(DocumentNode& document, Story::StyleSheet const& styles) {
    auto sheet = document.GetTextStyleSheet();
    for (auto const& style : styles) {
        if (!sheet->GetStyle(style->GetName()))
            sheet = sheet->With(style);
    }
    if (sheet != document.GetTextStyleSheet())
        document.SetTextStyleSheet(sheet);
}

} // namespace Formats
