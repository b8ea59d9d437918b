// SPDX-License-Identifier: Apache-2.0
// Lists the tables of contents of a document, with their lines.
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/toc_visitor.h"

#include <algorithm>

namespace Shell {

namespace {

struct Line {
    std::string text, page;
    std::uint32_t level = 0;
};

// A line as it stands in its table, taken apart by the entry that its paragraph style belongs to. A title is none.
Line TakeApart(Story::Story const& story, std::size_t number, std::vector<Story::TocEntry> const& entries) {
    auto const begin = story.GetParagraphBegin(number);
    auto const& paragraph = *story.GetParagraph(number);
    Line line;
    line.text = story.GetString({begin, begin + paragraph.GetLength() - 1}).ToStdString();
    auto const style = paragraph.GetAtts()->Get(Story::ParagraphAtt::String::StyleName);
    auto const entry = std::find_if(entries.begin(), entries.end(), [&](Story::TocEntry const& candidate) {
        return candidate.paragraphStyle == style;
    });
    if (entry == entries.end())
        return line;
    line.level = entry->level;
    auto const separator = entry->separator.ToStdString();
    bool const isBefore = entry->pageNumber == Story::TocPageNumber::Before;
    auto const at = separator.empty() || entry->pageNumber == Story::TocPageNumber::None ? std::string::npos
                    : isBefore                                                           ? line.text.find(separator)
                                                                                         : line.text.rfind(separator);
    if (at == std::string::npos)
        return line;
    auto const front = line.text.substr(0, at), back = line.text.substr(at + separator.size());
    line.page = isBefore ? front : back;
    line.text = isBefore ? back : front;
    return line;
}

} // namespace

ExitStatus RunContents(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(document.GetDocument().get()), {});
    auto const styles = document.GetDocument()->GetTextStyleSheet();
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& table : visitor.GetTables()) {
        auto const story = table.text->GetStory();
        auto const& style = table.toc->GetTocStyleName();
        auto const entries = Story::GetTocEntries(*styles, style);
        auto const end = std::min(table.range.end, story->GetClientAll().end);
        auto const selector = "#" + std::to_string(table.text->GetId()) + "[" + std::to_string(table.range.begin) +
                              ":" + std::to_string(end) + "]";
        if (session.IsJson()) {
            json.BeginObject();
            json.Member("style", style.view());
            json.Member("id", table.toc->GetId());
            json.Member("node", table.text->GetId());
            json.Member("begin", table.range.begin);
            json.Member("end", end);
            json.Member("select", selector);
            json.Key("lines").BeginArray();
        } else {
            session.Print(OneLine(style.view()) + "  " + selector + "\n");
        }
        auto const last = story->Find(table.range.end - 1).paragraph;
        for (auto i = story->Find(table.range.begin).paragraph; i <= last; ++i) {
            auto const line = TakeApart(*story, i, entries);
            if (!session.IsJson()) {
                session.Print("  " + std::string(line.level < 2 ? 0 : 2 * (line.level - 1), ' ') + OneLine(line.text) +
                              (line.page.empty() ? "" : "  " + OneLine(line.page)) + "\n");
                continue;
            }
            json.BeginObject();
            json.Member("text", line.text);
            if (line.level == 0)
                json.Member("level", nullptr);
            else
                json.Member("level", line.level);
            if (line.page.empty())
                json.Member("page", nullptr);
            else
                json.Member("page", line.page);
            json.EndObject();
        }
        if (session.IsJson()) {
            json.EndArray();
            json.EndObject();
        }
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

} // namespace Shell
