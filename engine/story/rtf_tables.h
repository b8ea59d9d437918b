// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/style_sheet.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace Story::Rtf {

// Points to a unit of the text's lengths, across and along lines.
struct Scale {
    double x = 0.75, y = 0.75;
    friend bool operator==(Scale const&, Scale const&) = default;
};

// The head of an RTF text: its fonts, colours and styles, each numbered when it is first asked for, and the
// controls of attributes, which name them.
class Tables {
public:
    Tables(StyleSheet const& styles, Scale scale);
    // Of the texts that come from now on. Styles have that of the first.
    void SetScale(Scale scale);

    // Of letters, without their styles. `resolved` is alive as long as the tables.
    std::string const& GetLetterControls(GlyphAttsRef const& resolved);
    // The same twice, for runs of either direction: the one that is written last is the direction of what follows.
    std::string GetDirectedControls(GlyphAttsRef const& resolved, bool isRightToLeft);
    // Of paragraphs, without their styles. As the paragraph runs.
    std::string GetParagraphControls(ParagraphAtts const& resolved, bool isRightToLeft) const;
    // \s or \cs with the number; empty for a name that the sheet does not have.
    std::string GetParagraphStyle(Kernel::String const& name) const;
    std::string GetCharacterStyle(Kernel::String const& name) const;
    // \fonttbl, \colortbl and \stylesheet.
    std::string Print();

private:
    struct Letters {
        GlyphAttsRef atts;
        std::string controls;
    };
    struct LetterLook {
        int font = 0, halfPoints = 24;
        bool isBold = false, isItalic = false;
    };
    LetterLook GetLook(GlyphAtts const& atts);
    int GetFont(std::string_view families);
    int GetColour(GlyphAtts const& atts);
    int FindStyle(Kernel::String const& name, StyleType type) const;
    void AppendStyle(std::string& out, Style const& style);
    // Twips, within what readers take.
    long ToTwips(double length, double scale) const;

    StyleSheet const& m_styles;
    Scale m_scale, m_styleScale;
    std::vector<std::string> m_fonts;
    std::vector<unsigned> m_colours;
    std::unordered_map<GlyphAtts const*, Letters> m_letters;
};

} // namespace Story::Rtf
