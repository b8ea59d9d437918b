// SPDX-License-Identifier: Apache-2.0
// The reading order from the command line: its listing, and how values of commands name its entries.
#include "shell/articles.h"

#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "shell/failure.h"
#include "shell/json_writer.h"
#include "shell/selector.h"
#include "shell/text_objects.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include <algorithm>
#include <limits>

namespace Shell {

namespace {

using Collector = Kernel::Counted<ExportArticleCollector>;
constexpr std::string_view c_article = "article:";

Collector FindGroup(DocumentController& document, std::string_view text) {
    auto const digits = text.substr(c_article.size());
    auto const number = static_cast<int>(ParseInteger(digits, 0, std::numeric_limits<int>::max()));
    auto const article = document.GetDocument()->GetArticle(number);
    auto const& entries = document.GetExportArticles();
    auto const found =
        std::ranges::find_if(entries, [&](Collector const& entry) { return entry->GetArticle() == article; });
    if (!article || found == entries.end())
        throw ValueError("the reading order has no article " + std::to_string(number) +
                         "; `redraft articles` lists them");
    return *found;
}

Collector FindSingle(DocumentController& document, std::string_view text) {
    auto const id = ParseInteger(text.substr(1), 1, std::numeric_limits<std::int64_t>::max());
    auto const node = document.GetDocument()->FindNode(static_cast<NodeId>(id));
    if (!node || !node->IsInDocument())
        throw ValueError("the document has no node #" + std::to_string(id));
    if (Kernel::CastPointer<ExportTaggingInterface>(node.get()) == nullptr)
        throw ValueError("node #" + std::to_string(id) + " can have no place in the reading order");
    auto const made = Kernel::MakeCounted<ExportArticleCollector>(node);
    for (auto const& entry : document.GetExportArticles()) {
        if (made->Matches(entry))
            return entry;
    }
    return made;
}

// In a line of the listing: where the entry's members stand.
std::string DescribeMember(Node const& member) {
    auto const name = member.GetDescription(true);
    std::string line = "#" + std::to_string(member.GetId()) + " " + std::string(member.GetTypeName());
    if (name.view() != member.GetTypeName())
        line += " " + Quote(name.view());
    if (member.GetMarkAsDecoration())
        line += "  decoration";
    return line;
}

std::string DescribeState(ExportArticleCollector const& entry) {
    return entry.IsHidden() ? entry.IsAutoHide() ? "  hidden by itself" : "  hidden" : "";
}

} // namespace

Collector FindArticleEntry(DocumentController& document, std::string_view text) {
    if (text.starts_with(c_article))
        return FindGroup(document, text);
    if (text.starts_with('#'))
        return FindSingle(document, text);
    throw ValueError("needs an entry of the reading order, as article:NUMBER or #ID, not " + Quote(text));
}

int FindArticleNumber(DocumentController& document, std::string_view text) {
    if (!text.starts_with(c_article))
        throw ValueError("needs an article, as article:NUMBER, not " + Quote(text));
    return *FindGroup(document, text)->GetArticle()->GetNumber();
}

std::vector<Collector> FindArticleEntries(DocumentController& document, std::string_view text) {
    std::vector<Collector> entries;
    for (auto const& term : SplitTerms(text)) {
        auto const entry = FindArticleEntry(document, Trim(term));
        bool const isNew = std::ranges::none_of(entries, [&](Collector const& other) { return other->Matches(entry); });
        if (isNew)
            entries.push_back(entry);
    }
    return entries;
}

ExitStatus RunArticles(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    Kernel::Counted<DocumentController const> const controller(&document);
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& entry : document.GetExportArticles()) {
        auto const number = entry->GetArticleIndex(controller, true);
        auto const& article = entry->GetArticle();
        auto const label = number < 0 ? std::string("-") : std::to_string(number);
        if (!session.IsJson()) {
            if (!article) {
                session.Print(label + "  " + DescribeMember(*entry->GetMembers().front()) + DescribeState(*entry) +
                              "\n");
                continue;
            }
            auto const name = entry->GetName();
            session.Print(label + "  article" + (name.empty() ? "" : " " + Quote(name.view())) + "  " +
                          Count(entry->GetMembers().size(), "member", "members") + DescribeState(*entry) + "\n");
            for (auto const& member : entry->GetMembers())
                session.Print("    " + DescribeMember(*member) + "\n");
            continue;
        }
        json.BeginObject();
        if (number < 0)
            json.Member("number", nullptr);
        else
            json.Member("number", number);
        json.Member("article", static_cast<bool>(article));
        json.Member("select", article ? std::string(c_article) + label
                                      : "#" + std::to_string(entry->GetMembers().front()->GetId()));
        json.Member("name", entry->GetName().view());
        json.Member("hidden", entry->IsHidden());
        json.Member("autoHide", entry->IsAutoHide());
        json.Key("members").BeginArray();
        for (auto const& member : entry->GetMembers()) {
            json.BeginObject();
            json.Member("node", member->GetId());
            json.Member("type", member->GetTypeName());
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

ExitStatus RunTags(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    auto const print = [&](Node& node) {
        auto const* const tagging = Kernel::CastPointer<ExportTaggingInterface const>(&node);
        bool const isIncluded = tagging != nullptr && tagging->IsIncludeUntagged();
        int const article = tagging == nullptr ? -1 : tagging->GetArticleIndex();
        int const sequence = tagging == nullptr ? -1 : tagging->GetSequenceIndex();
        auto const& keys = node.GetMetadataKeys();
        if (article < 0 && !isIncluded && keys.empty() && !node.GetMarkAsDecoration())
            return;
        if (!session.IsJson()) {
            auto line = DescribeMember(node);
            if (article >= 0)
                line += "  number " + std::to_string(article);
            if (sequence >= 0)
                line += "  place " + std::to_string(sequence);
            if (isIncluded)
                line += "  included";
            session.Print(line + "\n");
            for (auto key = keys.begin(); key != keys.end(); key = std::ranges::upper_bound(keys, *key)) {
                for (auto const* const value : node.GetMetadataValuesForKey(*key))
                    session.Print("    " + OneLine(key->view()) + " = " + Quote(value->view()) + "\n");
            }
            return;
        }
        json.BeginObject();
        json.Member("node", node.GetId());
        json.Member("type", node.GetTypeName());
        auto const memberOrNull = [&](char const* name, int number) {
            if (number < 0)
                json.Member(name, nullptr);
            else
                json.Member(name, number);
        };
        memberOrNull("number", article);
        memberOrNull("place", sequence);
        json.Member("included", isIncluded);
        json.Member("decoration", node.GetMarkAsDecoration());
        json.Key("metadata").BeginArray();
        for (auto key = keys.begin(); key != keys.end(); key = std::ranges::upper_bound(keys, *key)) {
            for (auto const* const value : node.GetMetadataValuesForKey(*key)) {
                json.BeginObject();
                json.Member("key", key->view());
                json.Member("value", value->view());
                json.EndObject();
            }
        }
        json.EndArray();
        json.EndObject();
    };
    for (auto const& spread : document.GetDocument()->GetSpreads())
        ForEachNode(*spread, print);
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

} // namespace Shell
