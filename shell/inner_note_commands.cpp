// SPDX-License-Identifier: Apache-2.0
// Notes, links, numbers of paragraphs, drop caps and the way in which lines run.
#include "shell/inner_commands.h"
#include "shell/text_objects.h"
#include "shell/values.h"

#include "platform/document/text_commands.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/drop_cap.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"

#include <algorithm>

inline constexpr std::string_view c_noteKindNames[] = {"footnote", "endnote"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Story::NoteGlyph::Kind>{c_noteKindNames};

inline constexpr std::string_view c_numberStyleNames[] = {"none",        "decimal",     "lower-letter", "upper-letter",
                                                          "lower-roman", "upper-roman", "bullet"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Story::NumberStyle>{c_numberStyleNames};

inline constexpr std::string_view c_writingModeNames[] = {"horizontal", "vertical"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Story::WritingMode>{c_writingModeNames};

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::String;
using Kernel::Unstored;
using Command = Kernel::Counted<DocumentCommand>;

struct InsertNote {
    static constexpr char c_name[] = "insert-note", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String text;
    Story::NoteGlyph::Kind kind{};
    static constexpr auto Fields() {
        using This = InsertNote;
        return FieldList{
            Unstored{&This::text}.As("text", "of the note, whose number stands behind the selected text"),
            Unstored{&This::kind}.As("kind", "both are laid out behind the text", Story::NoteGlyph::Kind::Endnote)};
    }
    Command Make(ValueContext const& context) const {
        auto const caret = MakeCaret(*context.selection, true);
        auto const story = Kernel::MakeCounted<Story::Story>();
        Write(*story, **caret->begin());
        auto const glyph = Kernel::MakeCounted<Story::NoteGlyph>(kind, Kernel::Counted<Story::Story const>(story));
        return Kernel::MakeCounted<InsertGlyphsCommand>(glyph, caret);
    }

private:
    // The place whose look a note at `index` takes: behind headings, as notes are no titles; `index` where all that
    // follows are headings.
    static std::uint32_t FindModel(Story::Story const& story, std::uint32_t index) {
        auto const first = story.Find(index).paragraph;
        for (auto paragraph = first; paragraph != story.GetParagraphCount(); ++paragraph) {
            auto const place = paragraph == first ? index : story.GetParagraphBegin(paragraph);
            auto const style = story.GetParagraphAtts(place)->Get(Story::ParagraphAtt::String::StyleName);
            if (!style.view().starts_with("Heading "))
                return place;
        }
        return index;
    }
    // The note looks as the text in front of its mark does, or as the text that the heading stands above.
    void Write(Story::Story& note, SelectionItem const& caret) const {
        auto const* const part = Kernel::CastPointer<SubSelectionItem const>(&caret);
        auto const* const place =
            part == nullptr ? nullptr : Kernel::CastPointer<TextSelection const>(part->GetSubSelection().get());
        auto const* const node = Kernel::CastPointer<TextNode const>(caret.GetSelectable().get());
        auto letters = Kernel::MakeCounted<Story::GlyphAtts>();
        auto paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
        if (place != nullptr && node != nullptr) {
            auto const around = node->GetStory();
            auto const index =
                FindModel(*around, static_cast<std::uint32_t>(std::max(place->GetRanges().front().end - 1, 0)));
            letters = around->GetGlyphAtts(index)->Clone();
            letters->Unset(Story::GlyphAtt::Object::Hyperlink);
            letters->Unset(Story::GlyphAtt::String::StyleName);
            auto const style = around->GetParagraphAtts(index)->Get(Story::ParagraphAtt::String::StyleName);
            if (!style.empty())
                paragraph->Set(Story::ParagraphAtt::String::StyleName, style);
        }
        note.ReplaceText({0, 0}, Story::GlyphString(text), letters, paragraph);
    }
};

struct SetLink {
    static constexpr char c_name[] = "set-link", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    String url, anchor;
    static constexpr auto Fields() {
        using This = SetLink;
        return FieldList{
            Unstored{&This::url}.As("url", "the address that the selected text leads to", std::string_view()),
            Unstored{&This::anchor}.As("anchor",
                                       "the name or id of an anchor, in place of an address; neither of both "
                                       "takes links away",
                                       std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        if (!url.empty() && !anchor.empty())
            throw ValueError("leads to an address or to an anchor, not to both");
        auto link = Kernel::MakeCounted<Story::HyperlinkAtt>(url);
        if (!anchor.empty())
            link = Kernel::MakeCounted<Story::HyperlinkAtt>(FindAnchor(context.document, anchor.view()));
        return Kernel::MakeCounted<FormatTextCommand>(Story::MakeDelta(Story::GlyphAtt::Object::Hyperlink, link),
                                                      context.selection);
    }
};

struct SetParagraphNumbering {
    static constexpr char c_name[] = "set-paragraph-numbering", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    Story::NumberStyle style{};
    String format, list;
    int level = 1, start = 1;
    static constexpr auto Fields() {
        using This = SetParagraphNumbering;
        return FieldList{
            Unstored{&This::style}.As("style", "how the numbers are written", Story::NumberStyle::Decimal),
            Unstored{&This::format}.As("format",
                                       "such as \"{1}.{2}\" with the numbers of the outer levels; for bullets "
                                       "the bullet",
                                       std::string_view()),
            Unstored{&This::level}
                .As("level", "1 is the outermost one", 1)
                .Between(1, Story::NumberingAtt::c_levelCount),
            Unstored{&This::start}
                .As("start", "the first number of the list", 1)
                .Between(0, Story::NumberingAtt::c_maximumStart),
            Unstored{&This::list}.As("list", "paragraphs with the same name here count on", std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        auto const numbering = Kernel::MakeCounted<Story::NumberingAtt>(
            Story::NumberingAtt::Values{list, static_cast<std::uint32_t>(level - 1), style, format, start});
        return Kernel::MakeCounted<FormatTextCommand>(
            Story::MakeDelta(Story::ParagraphAtt::Object::Numbering, numbering), context.selection);
    }
};

struct SetDropCap {
    static constexpr char c_name[] = "set-drop-cap", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    int lines = 3, characters = 1;
    double gap = 0;
    String style;
    static constexpr auto Fields() {
        using This = SetDropCap;
        return FieldList{Unstored{&This::lines}
                             .As("lines", "how many lines high the first letters are; 0 takes them away", 3)
                             .Between(0, Story::DropCapAtt::c_maximumLines),
                         Unstored{&This::characters}
                             .As("characters", "how many letters they are", 1)
                             .Between(1, Story::DropCapAtt::c_maximumCharacters),
                         Unstored{&This::gap}.As("gap", "room behind them", 0.0).In("px (1/96 inch)").AtLeast(0),
                         Unstored{&This::style}.As("style", "a character style of theirs", std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        auto const found = context.document.GetDocument()->GetTextStyleSheet()->GetStyle(style);
        if (!style.empty() && (!found || found->GetType() != Story::StyleType::Character))
            throw ValueError("names no character style of the document: " + Quote(style.view()));
        auto const cap = Kernel::MakeCounted<Story::DropCapAtt>(Story::DropCapAtt::Values{
            static_cast<std::uint32_t>(lines), static_cast<std::uint32_t>(characters), gap, style});
        return Kernel::MakeCounted<FormatTextCommand>(Story::MakeDelta(Story::ParagraphAtt::Object::DropCap, cap),
                                                      context.selection);
    }
};

struct SetWritingMode {
    static constexpr char c_name[] = "set-writing-mode", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    Story::WritingMode mode{};
    static constexpr auto Fields() {
        return FieldList{Unstored{&SetWritingMode::mode}.As(
            "mode", "how the lines of whole texts run: from left to right, or from top to bottom with the next line on "
                    "the left")};
    }
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<FormatTextCommand>(Story::MakeDelta(mode), context.selection);
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerNoteEntries() {
    std::vector<CommandEntry> entries;
    entries.push_back(MakeInnerEntry<InsertNote>());
    entries.push_back(MakeInnerEntry<SetLink>());
    entries.push_back(MakeInnerEntry<SetParagraphNumbering>());
    entries.push_back(MakeInnerEntry<SetDropCap>());
    entries.push_back(MakeInnerEntry<SetWritingMode>());
    return entries;
}

} // namespace Shell
