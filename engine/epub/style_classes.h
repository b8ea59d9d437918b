// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "platform/story/hyperlink.h"
#include "platform/story/style_sheet.h"

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace EPub {

// The CSS classes of a publication: one for each style that its texts use, by the style's name, and one for each set of
// attributes that texts have on top of their styles. As in the style sheet, what is nearer to the letter wins.
class StyleClasses {
public:
    // How a paragraph is written.
    struct ParagraphLook {
        std::string classes;
        // That of the style alone.
        std::string styleClass;
        // As HTML writes it; empty where the text decides.
        std::string direction;
        std::string language;
        // Of a heading, from 1; 0 for others.
        unsigned headingLevel = 0;
        Story::ParagraphAttsRef resolved;
        // Of its text where that says nothing itself.
        Story::GlyphAttsRef glyphAtts;
    };
    // How a run of letters in a paragraph is written.
    struct RunLook {
        std::string classes;
        // Where it is another one than the paragraph's.
        std::string language;
        bool isBold = false, isItalic = false;
        Kernel::Counted<Story::HyperlinkAtt const> link;
        bool IsPlain() const { return classes.empty() && language.empty() && !isBold && !isItalic; }
    };

    // `language`: that of the publication.
    StyleClasses(Kernel::Counted<Story::StyleSheet const> styles, Raster::ICCProfileSet const& profiles,
                 std::string language);
    // Valid as long as the object; the same one for equal attributes.
    ParagraphLook const& GetParagraphLook(Story::ParagraphAttsRef const& atts);
    RunLook const& GetRunLook(Story::GlyphAttsRef const& atts, Story::ParagraphAttsRef const& paragraph);
    // Text of a size was written: the size that most of it has becomes the reader's own.
    void CountText(ParagraphLook const& look, std::size_t length);

    // The sheet with the rules of all looks that were asked for.
    std::string MakeSheet(bool isVertical) const;

private:
    struct Rule {
        std::string name;
        // Null where the class says nothing about the other kind.
        Story::ParagraphAttsRef paragraph, resolvedParagraph;
        Story::GlyphAttsRef glyphs, resolvedGlyphs;
    };
    std::string MakeClassName(Kernel::String const& styleName);
    std::string GetStyleClass(Kernel::String const& styleName, Story::StyleType type);
    std::string MakeLocalClass(char const* prefix, Rule rule);

    Kernel::Counted<Story::StyleSheet const> m_styles;
    Raster::ICCProfileSet m_profiles;
    std::string m_language;
    std::map<Kernel::String, unsigned> m_headingLevels;
    std::unordered_map<Story::ParagraphAttsRef, ParagraphLook> m_paragraphLooks;
    // By the run's attributes and its paragraph's.
    std::map<std::pair<Story::GlyphAttsRef, Story::ParagraphAttsRef>, RunLook,
             bool (*)(std::pair<Story::GlyphAttsRef, Story::ParagraphAttsRef> const&,
                      std::pair<Story::GlyphAttsRef, Story::ParagraphAttsRef> const&)>
        m_runLooks;
    std::map<std::pair<Story::StyleType, Kernel::String>, std::string> m_styleClasses;
    std::unordered_map<Story::GlyphAttsRef, std::string> m_localClasses;
    std::set<std::string> m_names;
    // In the order in which they were first used: those of styles stand before others in the sheet.
    std::vector<Rule> m_styleRules, m_localRules;
    std::map<double, std::size_t> m_sizes;
};

// A language tag as XML takes it (BCP 47), or nothing.
std::string CleanLanguage(Kernel::String const& language);

} // namespace EPub
