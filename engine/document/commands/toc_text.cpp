// SPDX-License-Identifier: Apache-2.0
#include "engine/document/commands/toc_text.h"

#include "platform/document/text_field_data_source.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace {

using Story::GlyphAtt, Story::ParagraphAtt;

// A line says so much of what it lists at most.
constexpr std::size_t c_maximumLine = 1000;

bool IsRoom(char32_t c) {
    return c <= U' ' || c == 0x85 || c == Story::c_lineSeparator || c == Story::c_paragraphSeparator;
}
bool IsPartOfLetter(char32_t c) {
    return (c >= 0x300 && c < 0x370) || c == 0x200D || (c >= 0xFE00 && c < 0xFE10) || (c >= 0x20D0 && c < 0x2100) ||
           (c >= 0x1F3FB && c < 0x1F400);
}

// The words of a paragraph in one line: what its objects show, without ends of lines and tabs.
std::u32string GetHeadingText(TextNode& text, Story::Paragraph const& paragraph, std::uint32_t index) {
    std::u32string words;
    bool isRoom = false;
    auto const add = [&](char32_t c) {
        if (IsRoom(c)) {
            isRoom = !words.empty();
        } else if (c != Story::c_objectCharacter) {
            if (std::exchange(isRoom, false))
                words.push_back(U' ');
            words.push_back(c);
        }
        return words.size() <= c_maximumLine;
    };
    auto object = paragraph.GetObjects().begin();
    std::optional<TextFieldDataSource> fields;
    auto const characters = paragraph.GetText();
    for (std::uint32_t i = 0; i + 1 < characters.size(); ++i) {
        bool const isObject = object != paragraph.GetObjects().end() && object->index == i;
        bool goesOn = true;
        if (!isObject) {
            goesOn = add(characters[i]);
        } else {
            auto const flow = text.GetTextFlow();
            if (!fields)
                fields.emplace(Kernel::NonCounted<TextFlow const>(flow));
            Story::ExpansionContext context{&*fields, 0};
            if (object->glyph->GetExpansionReach() == Story::ExpansionReach::Frame)
                context.frame = flow->FindNode(index + i).value_or(flow->size());
            for (char32_t const c : Story::ExpandGlyph(*object->glyph, context))
                goesOn = goesOn && add(c);
            ++object;
        }
        if (!goesOn)
            break;
    }
    if (words.size() > c_maximumLine) {
        auto end = words.rfind(U' ', c_maximumLine - 1);
        if (end == words.npos || end < c_maximumLine * 9 / 10)
            end = c_maximumLine - 1;
        while (end > 1 && (IsPartOfLetter(words[end]) || words[end - 1] == 0x200D))
            --end;
        words.resize(end);
        words.push_back(U'\u2026');
    }
    return words;
}

// The paragraphs of a tree that tables list, those within tables left out.
class ListedFinder final : public StoryVisitor {
public:
    struct Found {
        Kernel::Counted<TextNode> text;
        std::uint32_t index;
        Kernel::Counted<Story::Paragraph const> paragraph;
        Kernel::String const* style;
    };
    explicit ListedFinder(std::map<Kernel::String, bool> const& styles) : StoryVisitor(true), m_styles(styles) {}
    std::vector<Found> found;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        std::uint32_t begin = 0;
        for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
            auto const& paragraph = story->GetParagraph(i);
            auto const [known, isNew] = m_known.try_emplace(paragraph->GetAtts().get());
            if (isNew)
                known->second = {paragraph->GetAtts(), Find(*paragraph->GetAtts())};
            if (known->second.style != nullptr)
                found.push_back({GetTextNode(), begin, paragraph, known->second.style});
            begin += paragraph->GetLength();
        }
    }

private:
    struct Known {
        Story::ParagraphAttsRef atts;
        Kernel::String const* style = nullptr;
    };
    Kernel::String const* Find(Story::ParagraphAtts const& atts) const {
        if (atts.IsSet(ParagraphAtt::Object::Toc) && Story::TocAtt::Of(atts))
            return nullptr;
        auto const style = m_styles.find(atts.Get(ParagraphAtt::String::StyleName));
        return style == m_styles.end() ? nullptr : &style->first;
    }

    std::map<Kernel::String, bool> const& m_styles;
    std::unordered_map<Story::ParagraphAtts const*, Known> m_known;
};

// Of the columns that a table stands in; of all that its text may stand in where nobody knows yet. 0 without columns.
double GetColumnWidth(TextNode& text, Story::StoryRange range, bool isComposed) {
    auto const composed = text.GetComposition();
    auto const& geometries = composed->GetGeometries();
    if (geometries.empty())
        return 0;
    auto const last = geometries.size() - 1;
    auto const first = isComposed ? std::min(composed->FindFrame(range.begin), last) : 0;
    auto const end = isComposed ? std::min(composed->FindFrame(range.end - 1), last) : last;
    double width = 0;
    for (auto i = first; i <= end; ++i) {
        for (auto const& column : geometries[i].columns)
            width = width == 0 ? column.GetWidth() : std::min(width, column.GetWidth());
    }
    return width;
}

// The attributes of a table's lines, each kind made once.
class LineLooks {
public:
    LineLooks(Story::StyleSheet const& styles, Story::TocAttRef toc, double width)
        : m_styles(styles), m_toc(std::move(toc)), m_width(width) {}

    Story::ParagraphAttsRef GetTitle(Kernel::String const& style) { return Make(style, nullptr); }
    Story::ParagraphAttsRef GetLine(Story::TocEntry const& entry) {
        auto& known = m_lines[&entry];
        if (!known)
            known = Make(entry.paragraphStyle, &entry);
        return known;
    }
    Story::GlyphAttsRef GetGlyphs(Story::TocEntry const& entry, Kernel::String const& language, bool isNumber) {
        auto& known = m_glyphs[{entry.characterStyle, language, isNumber}];
        if (known)
            return known;
        auto const atts = Kernel::MakeCounted<Story::GlyphAtts>();
        if (!entry.characterStyle.empty())
            atts->Set(GlyphAtt::String::StyleName, entry.characterStyle);
        if (!language.empty())
            atts->Set(GlyphAtt::String::Language, language);
        if (isNumber)
            atts->Set(GlyphAtt::Enum::NoBreak, 1);
        return known = atts;
    }

private:
    Story::ParagraphAttsRef Make(Kernel::String const& style, Story::TocEntry const* entry) const {
        constexpr double c_indent = 18, c_numberRoom = 36;
        using Double = ParagraphAtt::Double;
        auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
        atts->Set(ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(m_toc.get()));
        if (!style.empty())
            atts->Set(ParagraphAtt::String::StyleName, style);
        if (entry == nullptr)
            return atts;
        if (entry->level > 1 && (style.empty() || !m_styles.GetStyle(style)))
            atts->Set(Double::LeftIndent, c_indent * (entry->level - 1));
        auto const resolved = m_styles.Resolve(Story::ParagraphAttsRef(atts));
        bool const hasTab = entry->separator.view().find('\t') != std::string_view::npos;
        if (!hasTab || entry->pageNumber == Story::TocPageNumber::None ||
            resolved->IsSet(ParagraphAtt::Object::TabStops))
            return atts;
        double const scale = resolved->Get(Double::LengthScale);
        std::vector<Story::TabStop> stops;
        if (entry->pageNumber == Story::TocPageNumber::Before)
            stops.push_back({resolved->Get(Double::LeftIndent) + c_numberRoom, Story::TabStop::Kind::Start, 0});
        else if (m_width > 0 && scale > 0)
            stops.push_back(
                {m_width / scale - resolved->Get(Double::RightIndent), Story::TabStop::Kind::End, entry->leader});
        if (!stops.empty())
            atts->Set(ParagraphAtt::Object::TabStops,
                      Kernel::Counted<Kernel::Serialisable const>(Kernel::MakeCounted<Story::TabStops>(stops).get()));
        return atts;
    }

    Story::StyleSheet const& m_styles;
    Story::TocAttRef m_toc;
    double m_width;
    std::unordered_map<Story::TocEntry const*, Story::ParagraphAttsRef> m_lines;
    std::map<std::tuple<Kernel::String, Kernel::String, bool>, Story::GlyphAttsRef> m_glyphs;
};

Story::GeneratedParagraph MakeLine(std::u32string_view words, Kernel::String const& page, Story::TocEntry const& entry,
                                   Kernel::String const& language, LineLooks& looks) {
    Story::GeneratedParagraph line;
    line.paragraphAtts = looks.GetLine(entry);
    auto const plain = looks.GetGlyphs(entry, language, false);
    auto const separator = Story::DecodeUtf8(entry.separator.view()).text;
    auto const number = Story::DecodeUtf8(page.view()).text;
    bool const hasNumber = !number.empty() && entry.pageNumber != Story::TocPageNumber::None;
    if (hasNumber && entry.pageNumber == Story::TocPageNumber::Before) {
        line.text.Add(number);
        line.text.Add(separator);
    }
    line.text.Add(words);
    line.runs.push_back({0, line.text.GetLength(), plain});
    if (hasNumber && entry.pageNumber == Story::TocPageNumber::Behind) {
        auto const begin = line.text.GetLength();
        line.text.Add(separator);
        line.text.Add(number);
        // A number goes on in the next line with the tab that it is behind.
        bool const hasTab = separator.find(U'\t') != separator.npos;
        line.runs.push_back({begin, line.text.GetLength(), hasTab ? looks.GetGlyphs(entry, language, true) : plain});
    }
    return line;
}

} // namespace

TocText::TocText(DocumentNode& document, std::function<void(TextNode& text)> beforeChange)
    : m_document(document), m_beforeChange(std::move(beforeChange)) {}

std::vector<TocText::Table> TocText::FindTables(std::function<bool(Story::TocAtt const& toc)> const& isWanted) const {
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(&m_document), {});
    auto tables = visitor.GetTables();
    std::erase_if(tables, [&](Table const& table) { return !isWanted(*table.toc); });
    return tables;
}

bool TocText::SetStory(TextNode& text, Kernel::Counted<Story::Story> const& story, Story::StoryRange range) {
    if (*story == *text.GetStory())
        return false;
    if (m_changed.insert(&text).second)
        m_beforeChange(text);
    text.SetStory(story);
    text.OnStoryChange(nullptr, true,
                       Story::StoryChange(Story::StoryChangeType::Text, Story::StoryRanges(std::vector{range})), false);
    return true;
}

void TocText::Insert(TextNode& text, std::uint32_t place, Story::TocAttRef const& toc) {
    auto const story = text.GetStory()->Clone();
    auto const at = story->Find(place);
    auto const& paragraph = *story->GetParagraph(at.paragraph);
    Story::StoryRange range{place, place};
    if (Story::TocAtt::Of(*paragraph.GetAtts())) {
        for (auto const& table : FindTables([](auto const&) { return true; })) {
            bool const isThere = &table.text->GetStoryOwner() == &text.GetStoryOwner() &&
                                 at.paragraphBegin >= table.range.begin && at.paragraphBegin < table.range.end;
            if (isThere)
                range = {table.range.end, table.range.end};
        }
    } else if (paragraph.GetLength() == 1) {
        range = {at.paragraphBegin, at.paragraphBegin + 1};
    }
    auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
    atts->Set(ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(toc.get()));
    auto const added = Story::ReplaceWithParagraphs(*story, range, {{Story::GlyphString(), atts, {}}});
    SetStory(text, story, added);
}

void TocText::Replace(Story::TocAtt const& toc, Story::TocAttRef const& other) {
    Story::TocStyleDelta const delta(other);
    for (auto const& table : FindTables([&](Story::TocAtt const& att) { return att == toc; })) {
        auto const story = table.text->GetStory()->Clone();
        story->FormatText(table.range, delta);
        SetStory(*table.text, story, table.range);
    }
}

std::vector<TocText::Heading> TocText::FindHeadings(std::vector<Table> const& tables) const {
    auto const styles = m_document.GetTextStyleSheet();
    std::map<Kernel::String, bool> listed;
    for (auto const& table : tables) {
        for (auto const& entry : Story::GetTocEntries(*styles, table.toc->GetTocStyleName()))
            listed.emplace(entry.listedStyle, true);
    }
    ListedFinder finder(listed);
    finder.Visit(Kernel::JailCounted<Node>(&m_document), {});
    std::vector<Heading> headings;
    headings.reserve(finder.found.size());
    for (auto const& found : finder.found)
        headings.push_back({found.text,
                            found.index,
                            GetHeadingText(*found.text, *found.paragraph, found.index),
                            *found.style,
                            found.paragraph->GetGlyphAtts(0)->Get(GlyphAtt::String::Language),
                            {}});
    std::erase_if(headings, [](Heading const& heading) { return heading.words.empty(); });
    return headings;
}

void TocText::FindPages(std::vector<Heading>& headings) const {
    PageNumbers const numbers(m_document);
    std::unordered_map<Node const*, std::size_t> pages;
    std::vector<std::pair<std::size_t, Heading>> sorted;
    std::size_t before = 0;
    TextNode const* last = nullptr;
    for (auto& heading : headings) {
        auto const flow = heading.text->GetTextFlow();
        auto const number = flow->FindNode(heading.index);
        auto const node = number ? flow->GetNodeAt(*number) : Kernel::Counted<TextNode>();
        if (node) {
            auto const [known, isNew] = pages.try_emplace(node.get());
            if (isNew)
                known->second = numbers.GetPageNumber(*node);
            if (known->second != 0)
                heading.page = known->second;
        }
        // Behind the last page comes what the frames of its text have no room for.
        bool const isOverflow = !node && last == heading.text.get();
        before = heading.page ? *heading.page : isOverflow ? before : node ? before : numbers.GetPageCount();
        last = heading.text.get();
        sorted.emplace_back(before, std::move(heading));
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    for (std::size_t i = 0; i != sorted.size(); ++i)
        headings[i] = std::move(sorted[i].second);
}

Story::TocAttRef TocText::FindDefinition(Story::TocAtt const& toc) const {
    auto const style = m_document.GetTextStyleSheet()->GetStyle(toc.GetTocStyleName());
    if (!style || style->GetType() != Story::StyleType::Toc)
        return {};
    auto const delta =
        Story::GetTocStyleDeltaFromDelta(Kernel::NonCounted<Story::Delta const>(style->GetDelta().get()));
    return delta ? Story::TocAttRef(delta->GetTocAtt()) : Story::TocAttRef();
}

Kernel::String TocText::GetTitle(Story::TocAtt const& toc) const {
    auto const definition = toc.GetTitle().empty() ? FindDefinition(toc) : Story::TocAttRef();
    return definition ? definition->GetTitle() : toc.GetTitle();
}

std::vector<Story::GeneratedParagraph> TocText::MakeTable(Table const& table, std::vector<Heading> const& headings,
                                                          bool hasPages) const {
    auto const styles = m_document.GetTextStyleSheet();
    LineLooks looks(*styles, table.toc, GetColumnWidth(*table.text, table.range, hasPages));
    std::vector<Story::GeneratedParagraph> paragraphs;
    if (auto const title = GetTitle(*table.toc); !title.empty()) {
        auto const definition = FindDefinition(*table.toc);
        paragraphs.push_back({Story::GlyphString(title),
                              looks.GetTitle(definition ? definition->GetTitleStyleName() : Kernel::String()),
                              {}});
    }
    auto const entries = Story::GetTocEntries(*styles, table.toc->GetTocStyleName());
    std::map<Kernel::String, Story::TocEntry const*> byStyle;
    for (auto const& entry : entries)
        byStyle.emplace(entry.listedStyle, &entry);
    // As wide as a page number may be.
    Kernel::String const standIn(
        std::string(hasPages ? 0 : std::to_string(PageNumbers(m_document).GetPageCount()).size(), '8'));
    for (auto const& heading : headings) {
        auto const entry = byStyle.find(heading.style);
        if (entry == byStyle.end())
            continue;
        auto const page =
            hasPages ? heading.page ? Kernel::String(std::to_string(*heading.page)) : Kernel::String() : standIn;
        paragraphs.push_back(MakeLine(heading.words, page, *entry->second, heading.language, looks));
    }
    // A table has one paragraph at least, by which it is found again.
    if (paragraphs.empty())
        paragraphs.push_back({Story::GlyphString(), looks.GetTitle({}), {}});
    return paragraphs;
}

void TocText::MakeLines(std::function<bool(Story::TocAtt const& toc)> const& isWanted, bool findPages) {
    bool hasStandIns = false;
    for (int pass = 0; pass != c_maximumPasses; ++pass) {
        auto const tables = FindTables(isWanted);
        if (tables.empty())
            return;
        auto headings = FindHeadings(tables);
        // Where lines come or go, pages are looked for when the lines are there.
        auto const hasOtherLines = [&](Table const& table) {
            auto const story = table.text->GetStory();
            auto const count = story->Find(table.range.end - 1).paragraph - story->Find(table.range.begin).paragraph;
            return MakeTable(table, headings, false).size() != count + 1;
        };
        bool const waits =
            !findPages || (!hasStandIns && pass == 0 && std::any_of(tables.begin(), tables.end(), hasOtherLines));
        if (!waits)
            FindPages(headings);
        bool isChanged = false;
        // From the last to the first, so that those in front keep their places. All are made before one changes: a
        // change of one would have the text composed for the width of the next.
        std::vector<std::vector<Story::GeneratedParagraph>> made;
        for (auto const& table : tables)
            made.push_back(MakeTable(table, headings, !waits));
        for (auto i = tables.size(); i-- != 0;) {
            auto const story = tables[i].text->GetStory()->Clone();
            Story::ReplaceWithParagraphs(*story, tables[i].range, made[i]);
            isChanged |= SetStory(*tables[i].text, story, tables[i].range);
        }
        if (!findPages || (!isChanged && !waits))
            return;
        hasStandIns = waits;
    }
}
