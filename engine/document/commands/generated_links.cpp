// SPDX-License-Identifier: Apache-2.0
#include "platform/document/generated_links.h"

#include "engine/document/commands/generated_lines.h"
#include "engine/document/commands/index_paragraphs.h"
#include "engine/document/commands/toc_text.h"
#include "platform/document/index_preview.h"

#include <algorithm>
#include <set>

namespace {

// The words that a line of a table may be of: its text, and that without a page number and a separator. Page numbers
// are of digits, as may be what stands beside them.
std::set<std::u32string> GetPossibleWords(std::u32string const& line, std::vector<Story::TocEntry> const& entries) {
    constexpr std::size_t c_maximumNumber = 10;
    std::set<std::u32string> possible{line};
    auto const isDigit = [](char32_t c) { return c >= U'0' && c <= U'9'; };
    for (auto const& entry : entries) {
        auto const separator = Story::CleanGeneratedText(Story::DecodeUtf8(entry.separator.view()).text);
        auto const most = std::min(c_maximumNumber, line.size());
        for (std::size_t digits = 1; digits <= most; ++digits) {
            auto const size = line.size() - digits;
            if (entry.pageNumber == Story::TocPageNumber::Behind && isDigit(line[size])) {
                auto const words = std::u32string_view(line).substr(0, size);
                if (words.ends_with(separator))
                    possible.emplace(words.substr(0, size - separator.size()));
            } else if (entry.pageNumber == Story::TocPageNumber::Before && isDigit(line[digits - 1])) {
                auto const words = std::u32string_view(line).substr(digits);
                if (words.starts_with(separator))
                    possible.emplace(words.substr(separator.size()));
            } else {
                break;
            }
        }
    }
    return possible;
}

class IndexLinker final : public StoryVisitor {
public:
    explicit IndexLinker(DocumentNode const& document) : StoryVisitor(false), m_document(document) {}
    std::vector<GeneratedLink> links;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        for (auto const& found : FindIndices(*story))
            Link(story.ToCounted(), found);
    }

private:
    void Link(Story::StoryRef const& story, FoundIndex const& found) {
        FindMarks();
        std::vector<Story::IndexPageNumber> numbers;
        auto const made =
            Story::MakeIndexText(m_document.GetIndex(), m_pages, GetIndexSeparators(m_document.GetIndex()), found.att,
                                 *m_document.GetTextStyleSheet(), &numbers);
        GeneratedLines lines;
        for (auto const& paragraph : made)
            lines.AddMade(Story::CleanGeneratedText(paragraph.text.GetText()));
        for (auto const& line : GeneratedLines::Get(*story, found.range))
            lines.AddLine(line.text, line.range);
        auto const ranges = lines.Match();
        for (auto const& number : numbers) {
            auto const& line = ranges[number.paragraph];
            auto const& mark = m_marks->GetMarks()[number.mark]->GetBookmark();
            auto const text = mark.GetText();
            auto const index = mark.FindIndex();
            if (line && text && index)
                links.push_back({story,
                                 {line->begin + number.range.begin, line->begin + number.range.end},
                                 {text->GetStory(), *index}});
        }
    }

    // Once, when an index is met.
    void FindMarks() {
        if (m_marks)
            return;
        m_marks = Kernel::MakeCounted<IndexPreview const>(m_document, false, true);
        m_pages = GetIndexedPages(*m_marks);
    }

    DocumentNode const& m_document;
    Kernel::Counted<IndexPreview const> m_marks;
    Story::IndexedPages m_pages;
};

} // namespace

std::vector<GeneratedLink> TocText::FindLinks() const {
    std::vector<GeneratedLink> links;
    auto const tables = FindTables([](auto const&) { return true; });
    if (tables.empty())
        return links;
    auto headings = FindHeadings(tables);
    FindPages(headings);
    for (auto const& table : tables)
        AddLinks(links, table, headings);
    return links;
}

void TocText::AddLinks(std::vector<GeneratedLink>& links, Table const& table,
                       std::vector<Heading> const& headings) const {
    auto const entries = Story::GetTocEntries(*m_document.GetTextStyleSheet(), table.toc->GetTocStyleName());
    std::vector<Heading const*> listed;
    GeneratedLines lines;
    for (auto const& heading : headings) {
        if (std::ranges::find(entries, heading.style, &Story::TocEntry::listedStyle) == entries.end())
            continue;
        listed.push_back(&heading);
        lines.AddMade(heading.words);
    }
    auto const story = table.text->GetStory();
    auto const title = Story::CleanGeneratedText(Story::DecodeUtf8(GetTitle(*table.toc).view()).text);
    bool isFirst = true;
    for (auto& line : GeneratedLines::Get(*story, table.range)) {
        std::erase(line.text, Story::c_objectCharacter);
        if (std::exchange(isFirst, false) && line.text == title)
            continue;
        auto possible = GetPossibleWords(line.text, entries);
        std::erase_if(possible, [&](auto const& words) { return !lines.IsMade(words); });
        if (possible.size() == 1)
            lines.AddLine(*possible.begin(), line.range);
    }
    auto const ranges = lines.Match();
    for (std::size_t i = 0; i != listed.size(); ++i) {
        if (ranges[i])
            links.push_back({story, *ranges[i], {listed[i]->text->GetStory(), listed[i]->index}});
    }
}

std::vector<GeneratedLink> FindContentsLinks(DocumentNode& document) { return TocText(document, {}).FindLinks(); }

std::vector<GeneratedLink> FindIndexLinks(DocumentNode const& document) {
    IndexLinker linker(document);
    linker.Visit(Kernel::JailCounted<Node>(const_cast<DocumentNode*>(&document)), {});
    return std::move(linker.links);
}
