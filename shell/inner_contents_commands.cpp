// SPDX-License-Identifier: Apache-2.0
// Tables of contents: putting them into texts and bringing them up to date.
#include "shell/inner_commands.h"
#include "shell/values.h"

#include "platform/document/alter_toc_command.h"
#include "platform/document/compound_command.h"
#include "platform/document/text_style_command.h"
#include "platform/document/toc_visitor.h"
#include "platform/kernel/cast.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::String;
using Kernel::Unstored;
using Command = Kernel::Counted<DocumentCommand>;
using Sheet = Story::StyleSheet;

constexpr char c_titleStyle[] = "Contents Title";

std::string TakeText(nlohmann::json const& value, std::string_view member) {
    if (!value.is_string())
        throw ValueError("has an entry whose " + Quote(member) + " is no text");
    return value.get<std::string>();
}

Story::TocEntry ParseEntry(nlohmann::json const& value, Sheet const& styles) {
    if (!value.is_object())
        throw ValueError("needs a list of entries such as [{\"style\":\"Heading 1\",\"level\":1}]");
    Story::TocEntry entry;
    std::optional<String> paragraphStyle;
    for (auto const& [name, member] : value.items()) {
        if (name == "style") {
            entry.listedStyle = TakeText(member, name);
        } else if (name == "level") {
            if (!member.is_number_integer() || member.get<std::int64_t>() < 1 ||
                member.get<std::int64_t>() > Story::TocEntry::c_maximumLevel)
                throw ValueError("has an entry whose level is no number from 1 to 9");
            entry.level = member.get<std::uint32_t>();
        } else if (name == "lineStyle") {
            paragraphStyle = String(TakeText(member, name));
        } else if (name == "characterStyle") {
            entry.characterStyle = TakeText(member, name);
        } else if (name == "separator") {
            entry.separator = TakeText(member, name);
        } else if (name == "leader") {
            auto const text = Story::DecodeUtf8(TakeText(member, name)).text;
            if (text.size() > 1)
                throw ValueError("has an entry whose leader is more than one character");
            entry.leader = text.empty() ? U'\0' : text.front();
        } else if (name == "page") {
            auto const place = TakeText(member, name);
            if (place != "none" && place != "behind" && place != "before")
                throw ValueError("has an entry whose page number is not none, behind or before");
            entry.pageNumber = place == "none"     ? Story::TocPageNumber::None
                               : place == "before" ? Story::TocPageNumber::Before
                                                   : Story::TocPageNumber::Behind;
        } else {
            throw ValueError("has an entry with a member that is unknown: " + Quote(name));
        }
    }
    auto const listed = styles.GetStyle(entry.listedStyle);
    if (!listed || listed->GetType() != Story::StyleType::Paragraph)
        throw ValueError("names no paragraph style of the document: " + Quote(entry.listedStyle.view()));
    entry.paragraphStyle = paragraphStyle ? *paragraphStyle : Story::GetTocLineStyleName(entry.level);
    return entry;
}

std::vector<Story::TocEntry> ParseEntries(String const& text, Sheet const& styles) {
    if (text.empty()) {
        auto entries = Story::GetHeadingEntries(styles);
        if (entries.empty())
            throw ValueError("lists no style: the document has no paragraph style whose name begins with Heading, and "
                             "entries names no others");
        return entries;
    }
    auto const value = nlohmann::json::parse(text.view(), nullptr, false);
    if (!value.is_array() || value.empty())
        throw ValueError("needs a list of entries such as [{\"style\":\"Heading 1\",\"level\":1}], not " +
                         Quote(text.view()));
    std::vector<Story::TocEntry> entries;
    for (auto const& entry : value)
        entries.push_back(ParseEntry(entry, styles));
    return entries;
}

// The look of the text that the table goes into: of its first paragraph that has words and is not listed.
Story::GlyphAttsRef FindTextLook(Selection const& selection, Sheet const& styles,
                                 std::vector<Story::TocEntry> const& entries) {
    constexpr std::size_t c_looked = 1000;
    for (auto const& item : selection) {
        auto const* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get());
        if (text == nullptr)
            continue;
        auto const story = text->GetStory();
        for (std::size_t i = 0; i != std::min(story->GetParagraphCount(), c_looked); ++i) {
            auto const& paragraph = *story->GetParagraph(i);
            auto const name = paragraph.GetAtts()->Get(Story::ParagraphAtt::String::StyleName);
            bool const isListed = std::any_of(entries.begin(), entries.end(),
                                              [&](Story::TocEntry const& entry) { return entry.listedStyle == name; });
            if (!isListed && paragraph.GetLength() > 1)
                return styles.Resolve(paragraph.GetGlyphAtts(0), paragraph.GetAtts());
        }
    }
    return Story::GlyphAtts::GetDefault();
}

// How the lines of a level look: levels are told apart by indents, those of the first one by space above and weight
// too.
Kernel::Counted<Story::Style const> MakeLineStyle(String const& name, std::uint32_t level, bool isHeavy,
                                                  Story::GlyphAtts const& text) {
    using Glyph = Story::GlyphAtt;
    using Paragraph = Story::ParagraphAtt;
    constexpr double c_bold = 700, c_titleFactor = 1.6;
    double const size = text.Get(Glyph::Double::Size);
    bool const isTitle = level == 0;
    auto const glyphs = Kernel::MakeCounted<Story::GlyphAtts>();
    auto const paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
    glyphs->Set(Glyph::Double::Size, isTitle ? size * c_titleFactor : size);
    if (text.IsSet(Glyph::String::FontFamily))
        glyphs->Set(Glyph::String::FontFamily, text.Get(Glyph::String::FontFamily));
    if (isTitle || (level == 1 && isHeavy))
        glyphs->Set(Glyph::Double::Weight, c_bold);
    paragraph->Set(Paragraph::Enum::Alignment, static_cast<int>(Story::Alignment::Start));
    if (isTitle) {
        paragraph->Set(Paragraph::Double::SpaceAfter, size);
        paragraph->Set(Paragraph::Enum::KeepWithNext, 1);
    } else {
        // The rest of a line that has no room hangs behind its begin.
        paragraph->Set(Paragraph::Double::LeftIndent, size * (1.5 * (level - 1) + 1));
        paragraph->Set(Paragraph::Double::FirstIndent, -size);
        if (level == 1 && isHeavy)
            paragraph->Set(Paragraph::Double::SpaceBefore, size / 2);
    }
    Story::Delta::Values values;
    values.glyphAtts = glyphs;
    values.paragraphAtts = paragraph;
    return Kernel::MakeCounted<Story::Style>(name, Story::StyleType::Paragraph, String(),
                                             Kernel::MakeCounted<Story::Delta>(values));
}

struct InsertContents {
    static constexpr char c_name[] = "insert-contents", c_class[] = "CompoundCommand";
    static constexpr bool c_takesSelection = true;
    String style, entries;
    std::optional<String> title;
    static constexpr auto Fields() {
        using This = InsertContents;
        return FieldList{
            Unstored{&This::style}.As("style",
                                      "the style of the table: one of the document, or a new one; the default style "
                                      "where it is not given",
                                      std::string_view()),
            Unstored{&This::title}.As("title", "the paragraph above the lines; a new style has the title Contents",
                                      std::nullopt),
            Unstored{&This::entries}.As(
                "entries",
                "of a new style, as JSON: a list of records with the paragraph style that is listed (style), its level "
                "from 1 (level), and if wanted the styles of the line (lineStyle, characterStyle), where the page "
                "number stands (page: behind, before or none), what stands between (separator, a tab) and what fills "
                "the way of the tab (leader, a full stop); styles whose name begins with Heading where it is not given",
                std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        auto& document = context.document;
        auto const sheet = document.GetDocument()->GetTextStyleSheet();
        auto const name = style.empty() ? Story::TocAtt::GetDefaultTocStyleName().GetText() : style;
        auto const known = sheet->GetStyle(name);
        if (known && known->GetType() != Story::StyleType::Toc)
            throw ValueError("names a style of another kind: " + Quote(name.view()));
        if (known && !entries.empty())
            throw ValueError("is given for a style that the document has: " + Quote(name.view()));
        bool const hasText = std::any_of(context.selection->begin(), context.selection->end(), [](auto const& item) {
            return Kernel::CastPointer<TextNode>(item->GetSelectable().get()) != nullptr;
        });
        if (!hasText)
            throw ValueError("stands in a text, and none is selected; #ID[from:to] names a place in one");
        auto const command = Kernel::MakeCounted<CompoundCommand>(false, true, true);
        command->SetDescription(Kernel::LocalisedString("Insert table of contents", "Command description"));
        std::set<String> made;
        auto const set = [&](Kernel::Counted<Story::Style const> const& added) {
            if (made.insert(added->GetName()).second)
                command->AppendCommand(
                    TextStyleCommand::MakeSetStyle(added->GetName(), Kernel::Consolidated<Story::Style>(added)));
        };
        auto const listed = known ? Story::GetTocEntries(*sheet, name) : ParseEntries(entries, *sheet);
        auto const look = FindTextLook(*context.selection, *sheet, listed);
        auto const usesLevel = [&](std::uint32_t level) {
            return std::any_of(listed.begin(), listed.end(),
                               [=](Story::TocEntry const& entry) { return entry.level == level; });
        };
        if (!sheet->GetStyle(c_titleStyle))
            set(MakeLineStyle(c_titleStyle, 0, true, *look));
        for (auto const& entry : listed) {
            if (!entry.paragraphStyle.empty() && !sheet->GetStyle(entry.paragraphStyle))
                set(MakeLineStyle(entry.paragraphStyle, entry.level, usesLevel(1) && usesLevel(2), *look));
        }
        auto const toc = Kernel::MakeCounted<Story::TocAtt>(name, AlterTocCommand::MakeTocId(document));
        if (known) {
            if (title)
                toc->SetTitle(*title);
        } else {
            auto const own = AlterTocCommand::MakeTocStyle(sheet, name);
            if (title) {
                auto const definition =
                    Story::GetTocStyleDeltaFromDelta(Kernel::NonCounted<Story::Delta const>(own->GetDelta().get()));
                auto const att = definition->GetTocAtt()->Clone();
                att->SetTitle(*title);
                own->SetDelta(Kernel::MakeCounted<Story::TocStyleDelta>(att));
            }
            set(Kernel::Counted<Story::Style const>(own));
            for (auto const& entry : listed)
                set(Kernel::MakeCounted<Story::TocEntryStyle const>(
                    String(name.ToStdString() + ": " + entry.listedStyle.ToStdString()), name, entry));
        }
        command->AppendCommand(AlterTocCommand::MakeInsertToc(toc, context.selection));
        return command;
    }
};

struct UpdateContents {
    static constexpr char c_name[] = "update-contents", c_class[] = "AlterTocCommand";
    static constexpr bool c_takesSelection = true;
    bool selected = false;
    static constexpr auto Fields() {
        return FieldList{Unstored{&UpdateContents::selected}.As(
            "selected", "true brings only the table up to date in which the selected text begins", false)};
    }
    Command Make(ValueContext const& context) const {
        if (!selected)
            return AlterTocCommand::MakeUpdateTocs();
        auto const toc = TocVisitor::GetToc(context.selection);
        if (!toc)
            throw ValueError("names no place in a table of contents; `redraft contents` lists them");
        return AlterTocCommand::MakeApplyTocStyle(toc, toc->GetTocStyleName(),
                                                  Kernel::Counted<DocumentController const>(&context.document));
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerContentsEntries() {
    return {MakeInnerEntry<InsertContents>(), MakeInnerEntry<UpdateContents>()};
}

} // namespace Shell
