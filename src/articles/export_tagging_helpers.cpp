// SPDX-License-Identifier: Apache-2.0
#include "articles/export_tagging_helpers.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <set>
#include <unordered_set>
#include <utility>

namespace Commands {

namespace {

using Articles = DocumentNode::Articles;

int Add(int number, int delta) {
    auto const sum = static_cast<long long>(number) + delta;
    if (sum < std::numeric_limits<int>::min() || sum > std::numeric_limits<int>::max())
        throw Kernel::Exception("the reading order has numbers beyond those that can be counted");
    return static_cast<int>(sum);
}

// A frame's tags are those of its text.
ExportTaggingInterface* FindTagging(Kernel::Counted<Node> const& member) {
    return Kernel::CastPointer<ExportTaggingInterface>(member.get());
}

int At(std::vector<int> const& numbers, std::size_t index) { return index < numbers.size() ? numbers[index] : -1; }

// The articles of the entries.
std::unordered_set<ExportArticle const*> ListArticles(ExportTaggingHelpers::Collectors const& collectors) {
    std::unordered_set<ExportArticle const*> articles;
    for (auto const& collector : collectors) {
        if (collector && collector->GetArticle())
            articles.insert(collector->GetArticle().get());
    }
    return articles;
}

// Puts the other articles of the document into the map, where they win.
void AddOthers(DocumentNode const& document, ExportTaggingHelpers::Collectors const& collectors, Articles& articles) {
    auto const own = ListArticles(collectors);
    for (auto const& [number, article] : document.GetArticles()) {
        if (!own.contains(article.get()))
            articles.insert_or_assign(articles.end(), number, article);
    }
}

// Puts articles under numbers of their own. Where another article of the document has the number, that one stays and
// the article is in the document no more. Few articles among many go by themselves, without the map being made anew:
// nobody can tell the difference. False, with nothing changed, where they are many, or not all different.
bool PutFew(DocumentNode& document, std::vector<std::pair<int, Kernel::Counted<ExportArticle>>> const& placed) {
    constexpr std::size_t c_share = 4;
    if (placed.size() * c_share > document.GetArticles().size())
        return false;
    std::set<int> numbers;
    std::set<ExportArticle const*> articles;
    for (auto const& [number, article] : placed) {
        if (!numbers.insert(number).second || !articles.insert(article.get()).second)
            return false;
    }
    for (auto const& [number, article] : placed) {
        if (auto const before = article->GetNumber())
            document.SetArticle(*before, nullptr);
    }
    for (auto const& [number, article] : placed) {
        if (!document.GetArticles().contains(number))
            document.SetArticle(number, article);
    }
    return true;
}

} // namespace

int GetSequenceNumber(Node const& member) {
    auto const* const tagging = Kernel::CastPointer<ExportTaggingInterface const>(&member);
    return tagging == nullptr ? -1 : tagging->GetSequenceIndex();
}

std::vector<int> CountNumbers(int first, std::size_t count) {
    std::vector<int> numbers;
    numbers.reserve(count);
    for (std::size_t i = 0; i != count; ++i)
        numbers.push_back(Add(first, static_cast<int>(i)));
    return numbers;
}

ExportTaggingHelpers::NumberMap Invert(ExportTaggingHelpers::NumberMap const& map) {
    ExportTaggingHelpers::NumberMap inverse;
    for (auto const& [before, after] : map)
        inverse.insert_or_assign(inverse.end(), after, before);
    return inverse;
}

void ExportTaggingHelpers::CollectArticles(Controller controller, Collectors& collectors) {
    collectors.clear();
    if (controller)
        collectors = controller->GetExportArticles();
}

void ExportTaggingHelpers::CollectArticles(Controller controller, Collectors& collectors, int article) {
    if (!controller)
        return;
    for (auto const& entry : controller->GetExportArticles()) {
        if (entry->GetArticleIndex(controller, true) == article)
            collectors.push_back(entry);
    }
}

int ExportTaggingHelpers::GetHighestArticleNumber(Controller controller) {
    int highest = -1;
    if (controller) {
        for (auto const& entry : controller->GetExportArticles())
            highest = std::max(highest, entry->GetArticleIndex(controller, true));
    }
    return highest;
}

int ExportTaggingHelpers::GetMaximumSequenceNumber(Controller controller, int article) {
    int maximum = -1;
    if (!controller)
        return maximum;
    for (auto const& entry : controller->GetExportArticles()) {
        if (entry->GetArticleIndex(controller, true) != article)
            continue;
        for (auto const& member : entry->GetMembers())
            maximum = std::max(maximum, GetSequenceNumber(*member));
    }
    return maximum;
}

bool ExportTaggingHelpers::IsArticleGroup(Controller controller, int article) {
    return controller && controller->GetDocument()->GetArticles().contains(article);
}

void ExportTaggingHelpers::RenumberArticles(Controller controller, int first, int delta) {
    if (!controller)
        return;
    for (auto const& entry : controller->GetExportArticles()) {
        int const number = entry->GetArticleIndex(controller, true);
        if (number >= first)
            entry->SetArticleIndex(Add(number, delta));
    }
    Articles articles;
    for (auto const& [number, article] : controller->GetDocument()->GetArticles())
        articles.insert_or_assign(articles.end(), number < first ? number : Add(number, delta), article);
    controller->GetDocument()->SetArticles(std::move(articles));
}

void ExportTaggingHelpers::RemapArticleNumbers(Controller controller, NumberMap map) {
    if (!controller)
        return;
    // Numbers are mostly asked for in their order.
    auto next = map.cbegin();
    auto const mapped = [&](int number) {
        auto const found = next != map.cend() && next->first == number ? next : map.find(number);
        if (found == map.cend())
            return number;
        next = std::next(found);
        return found->second;
    };
    for (auto const& entry : controller->GetExportArticles()) {
        int const number = entry->GetArticleIndex(controller, true), wanted = mapped(number);
        if (wanted != number)
            entry->SetArticleIndex(wanted);
    }
    Articles articles;
    for (auto const& [number, article] : controller->GetDocument()->GetArticles())
        articles.insert_or_assign(articles.end(), mapped(number), article);
    controller->GetDocument()->SetArticles(std::move(articles));
}

void ExportTaggingHelpers::RemapSequenceNumbers(Controller controller, int article, NumberMap const& map) {
    if (!controller || map.empty())
        return;
    for (auto const& entry : controller->GetExportArticles()) {
        if (entry->GetArticleIndex(controller, true) != article)
            continue;
        for (auto const& member : entry->GetMembers()) {
            auto const found = map.find(GetSequenceNumber(*member));
            if (auto* const tagging = FindTagging(member); tagging != nullptr && found != map.end())
                tagging->SetSequenceIndex(found->second);
        }
    }
}

void ExportTaggingHelpers::ReparentArticles(Controller, Collectors const& collectors, std::vector<int> const& numbers) {
    for (std::size_t i = 0; i != collectors.size(); ++i) {
        if (collectors[i])
            collectors[i]->SetArticleIndex(At(numbers, i));
    }
}

void ExportTaggingHelpers::DesequenceArticles(Controller controller, Collectors& collectors) {
    if (!controller)
        return;
    std::vector<std::pair<int, Kernel::Counted<ExportArticle>>> placed;
    for (auto const& collector : collectors) {
        if (collector && collector->GetArticle())
            placed.emplace_back(-1 - static_cast<int>(placed.size()), collector->GetArticle());
    }
    if (placed.empty() || PutFew(*controller->GetDocument(), placed))
        return;
    Articles articles(placed.begin(), placed.end());
    AddOthers(*controller->GetDocument(), collectors, articles);
    controller->GetDocument()->SetArticles(std::move(articles));
}

void ExportTaggingHelpers::SetArticlesAndSequenceNumbers(Controller controller, Collectors& collectors,
                                                         std::vector<int> const& articleNumbers,
                                                         std::vector<int> const& sequenceNumbers) {
    if (!controller)
        return;
    std::vector<std::pair<int, Kernel::Counted<ExportArticle>>> placed;
    for (std::size_t i = 0; i != collectors.size(); ++i) {
        auto const& collector = collectors[i];
        if (!collector)
            continue;
        int const number = At(articleNumbers, i);
        bool const isArticle = static_cast<bool>(collector->GetArticle());
        if (isArticle)
            placed.emplace_back(number, collector->GetArticle());
        for (auto const& member : collector->GetMembers()) {
            auto* const tagging = FindTagging(member);
            if (tagging == nullptr)
                continue;
            tagging->SetArticleIndex(number);
            if (!isArticle)
                tagging->SetSequenceIndex(At(sequenceNumbers, i));
        }
    }
    if (placed.empty() || PutFew(*controller->GetDocument(), placed))
        return;
    // Of several with one number the last one has it.
    Articles articles;
    for (auto const& [number, article] : placed)
        articles[number] = article;
    AddOthers(*controller->GetDocument(), collectors, articles);
    controller->GetDocument()->SetArticles(std::move(articles));
}

} // namespace Commands
