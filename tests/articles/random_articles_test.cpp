// SPDX-License-Identifier: Apache-2.0
// Random sequences of commands on the reading order, beside a model of lists and names that knows nothing of numbers.
#include "articles/add_export_article_command.h"
#include "articles/delete_export_article_command.h"
#include "articles/move_export_articles_command.h"
#include "articles/rename_export_article_command.h"
#include "articles/reparent_export_articles_command.h"
#include "tests/examples/scenes/reading_order_documents.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Collectors = ExportTaggingHelpers::Collectors;

// An article with its members, or a single object: then the list has one, and the entry no name of its own.
struct ModelEntry {
    bool isArticle = false;
    std::string name;
    std::vector<NodeId> members;
    friend bool operator==(ModelEntry const&, ModelEntry const&) = default;
};
using Model = std::vector<ModelEntry>;

Model Read(DocumentController& controller) {
    Model model;
    for (auto const& entry : controller.GetExportArticles()) {
        ModelEntry read{static_cast<bool>(entry->GetArticle()), {}, {}};
        if (read.isArticle)
            read.name = entry->GetName().ToStdString();
        for (auto const& member : entry->GetMembers())
            read.members.push_back(member->GetId());
        model.push_back(std::move(read));
    }
    return model;
}

// The map and the tags say the same: entry i has the number i, and members the number of their article.
void ExpectInStep(DocumentController& controller) {
    Kernel::Counted<DocumentController const> const shared(&controller);
    auto const& entries = controller.GetExportArticles();
    std::size_t articles = 0;
    for (std::size_t i = 0; i != entries.size(); ++i) {
        auto const number = static_cast<int>(i);
        ASSERT_EQ(number, entries[i]->GetArticleIndex(shared, true));
        articles += entries[i]->GetArticle() ? 1 : 0;
        ASSERT_EQ(entries[i]->GetArticle(), controller.GetDocument()->GetArticle(number));
        int last = -1;
        for (auto const& member : entries[i]->GetMembers()) {
            auto const single = ExampleDocuments::MakeEntry(member);
            ASSERT_EQ(number, single->GetArticleIndex(shared, true));
            if (!entries[i]->GetArticle())
                continue;
            ASSERT_LT(last, single->GetSequenceIndex());
            last = single->GetSequenceIndex();
        }
    }
    ASSERT_EQ(articles, controller.GetDocument()->GetArticles().size());
}

class Sequence {
public:
    explicit Sequence(unsigned seed) : m_random(seed) {
        m_controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
        m_controller->SetMergingEnabled(false);
        auto const count = 1 + Below(6);
        for (std::size_t i = 0; i != count; ++i) {
            auto const node = ExampleDocuments::MakeRectangle({0, 0, 10, 10}, 0, 0, 0);
            ExampleDocuments::Append(*m_controller->GetCurrentSpread(), node);
            node->SetArticleIndex(static_cast<int>(i));
            m_model.push_back({false, {}, {node->GetId()}});
        }
        bool flag = false;
        m_controller->UpdateExportArticles(flag);
        m_states.push_back(m_model);
    }

    void Run(int length) {
        for (int i = 0; i != length && !testing::Test::HasFatalFailure(); ++i)
            Step();
    }

private:
    std::size_t Below(std::size_t count) { return m_random() % count; }
    Kernel::Counted<ExportArticleCollector> EntryOf(NodeId id) {
        return ExampleDocuments::MakeEntry(m_controller->GetDocument()->FindNode(id));
    }
    Kernel::Counted<ExportArticleCollector> EntryAt(std::size_t index) {
        return m_controller->GetExportArticles().at(index);
    }
    std::vector<std::size_t> ListArticles() const {
        std::vector<std::size_t> articles;
        for (std::size_t i = 0; i != m_model.size(); ++i) {
            if (m_model[i].isArticle)
                articles.push_back(i);
        }
        return articles;
    }

    void Step() {
        auto const kind = Below(10);
        if (kind < 2)
            return Walk(kind == 0);
        auto const articles = ListArticles();
        if (kind < 4 || articles.empty())
            Add();
        else if (kind == 4)
            Delete(articles[Below(articles.size())]);
        else if (kind < 7)
            Move();
        else if (kind < 9)
            Reparent(articles[Below(articles.size())]);
        else
            Rename(articles[Below(articles.size())]);
        m_states.resize(++m_position);
        m_states.push_back(m_model);
        Check();
    }

    // One step back or on in the history.
    void Walk(bool back) {
        if (back ? m_position == 0 : m_position + 1 == m_states.size())
            return;
        m_position = back ? m_position - 1 : m_position + 1;
        m_controller->GoTo(m_position);
        m_model = m_states[m_position];
        Check();
    }

    void Check() {
        ASSERT_EQ(m_model, Read(*m_controller));
        ASSERT_NO_FATAL_FAILURE(ExpectInStep(*m_controller));
    }

    void Add() {
        auto const place = Below(m_model.size() + 2);
        bool const atEnd = place > m_model.size();
        m_controller->Run(MakeCounted<AddExportArticleCommand>(atEnd ? -1 : static_cast<int>(place)));
        m_model.insert(m_model.begin() + static_cast<std::ptrdiff_t>(std::min(place, m_model.size())),
                       ModelEntry{true, {}, {}});
    }

    void Delete(std::size_t index) {
        m_controller->Run(MakeCounted<DeleteExportArticleCommand>(static_cast<int>(index)));
        auto const members = m_model[index].members;
        auto const place = m_model.erase(m_model.begin() + static_cast<std::ptrdiff_t>(index));
        Model singles;
        for (auto const id : members)
            singles.push_back({false, {}, {id}});
        m_model.insert(place, singles.begin(), singles.end());
    }

    // Some entries, in random order, behind one that stays.
    void Move() {
        std::vector<std::size_t> chosen;
        for (std::size_t i = 0; i != m_model.size(); ++i) {
            if (Below(3) == 0)
                chosen.push_back(i);
        }
        std::shuffle(chosen.begin(), chosen.end(), m_random);
        std::vector<std::size_t> staying;
        for (std::size_t i = 0; i != m_model.size(); ++i) {
            if (std::ranges::find(chosen, i) == chosen.end())
                staying.push_back(i);
        }
        auto const behind = Below(staying.size() + 1);
        int const target = behind == 0 ? -1 : static_cast<int>(staying[behind - 1]);
        Collectors entries;
        Model moved, made;
        for (auto const index : chosen) {
            entries.push_back(EntryAt(index));
            moved.push_back(m_model[index]);
        }
        for (std::size_t i = 0; i != staying.size(); ++i) {
            if (i == behind)
                made.insert(made.end(), moved.begin(), moved.end());
            made.push_back(m_model[staying[i]]);
        }
        if (behind == staying.size())
            made.insert(made.end(), moved.begin(), moved.end());
        m_controller->Run(MakeCounted<MoveExportArticlesCommand>(std::move(entries), target));
        m_model = std::move(made);
    }

    // Single entries and members of articles, to the end of one. The target is no number that an entry in front of it
    // leaves free: with that, its numbers are not given back.
    void Reparent(std::size_t target) {
        Collectors entries;
        std::vector<NodeId> moved;
        Model made = m_model;
        for (std::size_t i = 0; i != m_model.size(); ++i) {
            bool const isBefore = i < target;
            if (i == target || (!m_model[i].isArticle && isBefore))
                continue;
            for (auto const id : m_model[i].members) {
                if (Below(3) != 0)
                    continue;
                entries.push_back(EntryOf(id));
                moved.push_back(id);
                std::erase(made[i].members, id);
            }
        }
        m_controller->Run(MakeCounted<ReparentExportArticlesCommand>(entries, static_cast<int>(target), -1));
        made[target].members.insert(made[target].members.end(), moved.begin(), moved.end());
        std::erase_if(made, [](ModelEntry const& entry) { return !entry.isArticle && entry.members.empty(); });
        m_model = std::move(made);
    }

    void Rename(std::size_t index) {
        auto const name = "name " + std::to_string(Below(1000));
        m_controller->Run(MakeCounted<RenameExportArticleCommand>(EntryAt(index), Kernel::String(name)));
        m_model[index].name = name;
    }

    std::mt19937 m_random;
    Kernel::Counted<DocumentController> m_controller;
    Model m_model;
    // After each step of the history, and before the first.
    std::vector<Model> m_states;
    std::size_t m_position = 0;
};

TEST(RandomArticles, KeepTheMapAndTheTagsInStep) {
    for (unsigned seed = 0; seed != 10000; ++seed) {
        SCOPED_TRACE(seed);
        Sequence(seed).Run(6 + static_cast<int>(seed % 8));
        if (testing::Test::HasFailure())
            return;
    }
}

} // namespace
