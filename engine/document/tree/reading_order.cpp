// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/reading_order.h"

#include "engine/document/tree/layout_epoch.h"
#include "platform/document/edit_journal.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <tuple>
#include <unordered_set>

namespace {

std::atomic<std::uint64_t> s_flowVersion{0};

// A node with a place in the order, or one that has none and is included.
struct Tagged {
    int article, sequence;
    // The number of the node in the order of the tree.
    std::size_t ordinal;
    Node* node;
};

// The tagged nodes of all spreads in the order of the tree. Frames of one text are one node: the owner of the text, or
// where that has left the tree, the first of the frames.
std::vector<Tagged> CollectTagged(DocumentNode const& document) {
    std::vector<Tagged> tagged;
    std::unordered_set<ExportTaggingInterface const*> ownersMet;
    auto const collect = [&](Node& node) {
        // Frames that follow others have their tags elsewhere.
        if (node.FindState(InterfaceId::TextFrame) == nullptr && node.FindState(InterfaceId::ExportTagging) == nullptr)
            return;
        auto* const tagging = Kernel::CastPointer<ExportTaggingInterface>(&node);
        if (tagging == nullptr)
            return;
        auto& owner = tagging->GetExportTaggingOwner();
        auto const& state = owner.GetState<ExportTaggingState>();
        if (state.articleIndex < 0 && !state.includeUntagged)
            return;
        if (Kernel::CastPointer<FrameTextNode>(&node) != nullptr && !ownersMet.insert(&owner).second)
            return;
        Node* member = &node;
        if (auto* const head = &owner == tagging ? nullptr : Kernel::CastPointer<Node>(&owner))
            member = head->GetDocumentNode() == &document ? head : &node;
        tagged.push_back({state.articleIndex, state.sequenceIndex, tagged.size(), member});
    };
    for (Node* child = document.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        ForEachNode(*child, collect);
    return tagged;
}

// Within an article those without a number come last.
bool ComesBefore(Tagged const& a, Tagged const& b) {
    auto const key = [](Tagged const& each) {
        return std::tuple(static_cast<unsigned>(each.article), static_cast<unsigned>(each.sequence), each.ordinal);
    };
    return key(a) < key(b);
}

} // namespace

std::uint64_t ReadingOrder::GetVersion() noexcept {
    return LayoutEpoch::Get() + s_flowVersion.load(std::memory_order_acquire);
}

void ReadingOrder::NoteFlowChange() noexcept { s_flowVersion.fetch_add(1, std::memory_order_release); }

ReadingOrder::Entries ReadingOrder::Make(DocumentNode const& document) {
    auto tagged = CollectTagged(document);
    // Numbers below 0 are above all others without their sign: those without a place come last.
    std::ranges::sort(tagged, ComesBefore);
    auto const& articles = document.GetArticles();
    Entries entries;
    entries.reserve(articles.size() + tagged.size());
    auto next = tagged.begin();
    auto const isNumbered = [&] { return next != tagged.end() && next->article >= 0; };
    auto const addSingles = [&](auto const& isWanted) {
        for (; next != tagged.end() && isWanted(); ++next)
            entries.push_back(Kernel::MakeCounted<ExportArticleCollector>(Kernel::JailCounted<Node>(next->node)));
    };
    for (auto each = articles.lower_bound(0); each != articles.end(); ++each) {
        addSingles([&] { return isNumbered() && next->article < each->first; });
        ExportArticleCollector::Members members;
        for (; isNumbered() && next->article == each->first; ++next)
            members.emplace_back(next->node);
        entries.push_back(Kernel::MakeCounted<ExportArticleCollector>(each->second, std::move(members)));
    }
    addSingles(isNumbered);
    for (auto each = std::make_reverse_iterator(articles.lower_bound(0)); each != articles.rend(); ++each)
        entries.push_back(Kernel::MakeCounted<ExportArticleCollector>(each->second));
    // They may have different numbers below 0, which say nothing.
    std::sort(next, tagged.end(), [](Tagged const& a, Tagged const& b) { return a.ordinal < b.ordinal; });
    addSingles([] { return true; });
    return entries;
}

// The articles of a document

Kernel::Counted<ExportArticle> DocumentNode::GetArticle(int number) const {
    auto const found = m_articles.find(number);
    return found == m_articles.end() ? Kernel::Counted<ExportArticle>() : found->second;
}

void DocumentNode::SetArticle(int number, Kernel::Counted<ExportArticle> article) {
    auto const isAtOther = article && article->m_number && *article->m_number != number;
    if (isAtOther) {
        auto articles = m_articles;
        articles.erase(*article->m_number);
        articles[number] = std::move(article);
        return SetArticles(std::move(articles));
    }
    EditJournal::NoteFor(
        *this, [number, old = GetArticle(number)](DocumentNode& document) { document.SetArticle(number, old); });
    MarkChanged();
    if (auto const old = GetArticle(number))
        old->m_number.reset();
    if (article) {
        article->m_number = number;
        m_articles[number] = std::move(article);
    } else {
        m_articles.erase(number);
    }
}

void DocumentNode::SetArticles(Articles articles) {
    if (EditJournal::IsOpen()) {
        // Filled when nothing can fail any more.
        auto const old = std::make_shared<Articles>();
        EditJournal::NoteFor(*this,
                             [old](DocumentNode& document) { document.PutArticles(std::exchange(*old, Articles())); });
        *old = std::move(m_articles);
        for (auto const& [number, article] : *old)
            article->m_number.reset();
        m_articles.clear();
    }
    PutArticles(std::move(articles));
}

void DocumentNode::PutArticles(Articles articles) noexcept {
    MarkChanged();
    for (auto const& [number, article] : m_articles)
        article->m_number.reset();
    m_articles = std::move(articles);
    for (auto each = m_articles.begin(); each != m_articles.end();) {
        auto const& [number, article] = *each;
        if (!article || article->m_number) {
            each = m_articles.erase(each);
            continue;
        }
        article->m_number = number;
        ++each;
    }
}
