// SPDX-License-Identifier: Apache-2.0
// Notes, links and numbers of paragraphs.
#include "shell/inner_commands.h"
#include "shell/text_objects.h"
#include "shell/values.h"

#include "platform/document/text_commands.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"

#include <algorithm>

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::String;
using Kernel::Unstored;
using Command = Kernel::Counted<DocumentCommand>;

// The place of a name in a list; `what` names the list's owner in the error.
template <std::size_t count>
std::uint32_t ParseName(std::string_view name, std::string_view const (&names)[count], char const* what) {
    auto const* const found = std::find(std::begin(names), std::end(names), name);
    if (found != std::end(names))
        return static_cast<std::uint32_t>(found - std::begin(names));
    std::string all;
    for (auto const& each : names)
        all += (all.empty() ? "" : ", ") + std::string(each);
    throw ValueError(std::string(what) + " is one of " + all + ", not " + Quote(name));
}

struct InsertNote {
    static constexpr char c_name[] = "insert-note", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String text, kind;
    static constexpr auto Fields() {
        using This = InsertNote;
        return FieldList{Unstored{&This::text}.As("text", "of the note, whose number stands behind the selected text"),
                         Unstored{&This::kind}.As("kind", "endnote or footnote; both are laid out behind the text",
                                                  std::string_view("endnote"))};
    }
    Command Make(ValueContext const& context) const {
        constexpr std::string_view c_kinds[] = {"footnote", "endnote"};
        auto const caret = MakeCaret(*context.selection, true);
        auto const story = Kernel::MakeCounted<Story::Story>();
        Write(*story, **caret->begin());
        auto const glyph = Kernel::MakeCounted<Story::NoteGlyph>(
            static_cast<Story::NoteGlyph::Kind>(ParseName(kind.view(), c_kinds, "kind")),
            Kernel::Counted<Story::Story const>(story));
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
    String style, format, list;
    int level = 1, start = 1;
    static constexpr auto Fields() {
        using This = SetParagraphNumbering;
        return FieldList{
            Unstored{&This::style}.As("style",
                                      "none, decimal, lower-letter, upper-letter, lower-roman, upper-roman, "
                                      "bullet",
                                      std::string_view("decimal")),
            Unstored{&This::format}.As("format",
                                       "such as \"{1}.{2}\" with the numbers of the outer levels; for bullets "
                                       "the bullet",
                                       std::string_view()),
            Unstored{&This::level}.As("level", "from 1, the outermost, to 9", 1),
            Unstored{&This::start}.As("start", "the first number of the list", 1),
            Unstored{&This::list}.As("list", "paragraphs with the same name here count on", std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        constexpr std::string_view c_styles[] = {"none",        "decimal",     "lower-letter", "upper-letter",
                                                 "lower-roman", "upper-roman", "bullet"};
        if (level < 1 || level > static_cast<int>(Story::NumberingAtt::c_levelCount) || start < 0 ||
            start > Story::NumberingAtt::c_maximumStart)
            throw ValueError("needs a level from 1 to 9 and a start from 0 to 999999999");
        auto const numbering = Kernel::MakeCounted<Story::NumberingAtt>(Story::NumberingAtt::Values{
            list, static_cast<std::uint32_t>(level - 1),
            static_cast<Story::NumberStyle>(ParseName(style.view(), c_styles, "style")), format, start});
        return Kernel::MakeCounted<FormatTextCommand>(
            Story::MakeDelta(Story::ParagraphAtt::Object::Numbering, numbering), context.selection);
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerNoteEntries() {
    std::vector<CommandEntry> entries;
    entries.push_back(MakeInnerEntry<InsertNote>());
    entries.push_back(MakeInnerEntry<SetLink>());
    entries.push_back(MakeInnerEntry<SetParagraphNumbering>());
    return entries;
}

} // namespace Shell
