// SPDX-License-Identifier: Apache-2.0
#include "articles/add_export_article_command.h"
#include "articles/delete_export_article_command.h"
#include "articles/move_export_articles_command.h"
#include "articles/rename_export_article_command.h"
#include "articles/reparent_export_articles_command.h"
#include "frame/contract/notifications.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/exception.h"
#include "tests/examples/scenes/reading_order_documents.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>
#include <limits>
#include <sstream>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Helpers = ExportTaggingHelpers;
using Collectors = Helpers::Collectors;
using Numbers = std::vector<int>;

class Articles : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 400}, Raster::FormatRGBA8, 1);
        order = ExampleDocuments::ObjectsInReadingOrder(*document);
    }
    Kernel::Counted<ExportArticleCollector> Entry(int number) { return ExampleDocuments::FindEntry(*document, number); }
    static Kernel::Counted<ExportArticleCollector> Entry(Kernel::Counted<Node> node) {
        return ExampleDocuments::MakeEntry(std::move(node));
    }
    // The order as "0[opening:0 text:1] 1 single ...": articles with their members and sequence numbers.
    std::string Order() { return Describe(*document); }
    static std::string Describe(DocumentController& controller) {
        Kernel::Counted<DocumentController const> const shared(&controller);
        std::ostringstream text;
        for (auto const& entry : controller.GetExportArticles()) {
            text << (text.tellp() == 0 ? "" : " ") << entry->GetArticleIndex(shared, true);
            text << (entry->GetArticle() ? "[" : ":");
            for (auto const& member : entry->GetMembers()) {
                if (member != entry->GetMembers().front())
                    text << ' ';
                text << NameOf(*member);
                if (entry->GetArticle())
                    text << GetSequenceNumber(*member);
            }
            text << (entry->GetArticle() ? "]" : "");
        }
        return text.str();
    }
    static std::string NameOf(Node const& node) {
        auto const* const frame = dynamic_cast<FrameTextNode const*>(&node);
        return frame == nullptr                  ? node.GetDescription(true).ToStdString()
               : frame->GetFrameRect().top < 100 ? "text"
                                                 : "note";
    }
    std::vector<int> Keys() const {
        std::vector<int> keys;
        for (auto const& [key, article] : document->GetDocument()->GetArticles())
            keys.push_back(key);
        return keys;
    }
    template <class C, class... Arguments>
    Kernel::Counted<C> Run(Arguments&&... arguments) {
        auto const command = MakeCounted<C>(std::forward<Arguments>(arguments)...);
        document->Run(command);
        return command;
    }
    // Runs a command, takes it back and does it again.
    template <class C, class... Arguments>
    void RunAndExpect(std::string const& expected, Arguments&&... arguments) {
        auto const before = document->GetHash(false);
        Run<C>(std::forward<Arguments>(arguments)...);
        EXPECT_EQ(expected, Order());
        document->Undo();
        EXPECT_EQ(before, document->GetHash(false)) << Order();
        EXPECT_EQ(c_order, Order());
        document->Redo();
        EXPECT_EQ(expected, Order());
    }
    static constexpr char c_order[] = "0[opening0 text1] 1:single 2[first0 second1 third2] 3[] 4:note -1:included";

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::ReadingOrder order;
};

TEST_F(Articles, StandByTheirNumbersWithThoseWithoutOneBehind) {
    EXPECT_EQ(c_order, Order());
    order.untagged->SetIncludeUntagged(true);
    EXPECT_EQ(c_order, Order()) << "entries stay until they are updated";
    bool wasRead = false;
    EXPECT_TRUE(document->UpdateExportArticles(wasRead));
    EXPECT_TRUE(wasRead);
    EXPECT_FALSE(document->UpdateExportArticles(wasRead = false));
    EXPECT_FALSE(wasRead);
    EXPECT_EQ(std::string(c_order) + " -1:untagged", Order());
}

TEST_F(Articles, HaveATextOnceWhicheverOfItsFramesIsTagged) {
    EXPECT_EQ(0, order.head->GetArticleIndex());
    EXPECT_EQ(1, order.head->GetTextFlow()->GetExportTagging()->GetSequenceIndex());
    EXPECT_TRUE(Entry(order.second)->Matches(Entry(order.head)));
    EXPECT_FALSE(Entry(order.second)->Matches(Entry(order.note)));
    // Behind a head that has gone, its frames stand for the text.
    auto const second = order.second->GetId();
    order.head->RemoveFromParent();
    EXPECT_EQ(second, Entry(0)->GetMembers().at(1)->GetId());
    order.second->Unlink();
    EXPECT_EQ(1u, Entry(0)->GetMembers().size());
}

TEST_F(Articles, LoseObjectsThatLeaveTheTree) {
    order.single->RemoveFromParent();
    EXPECT_EQ("0[opening0 text1] 2[first0 second1 third2] 3[] 4:note -1:included", Order());
}

TEST_F(Articles, GiveCopiesNoPlace) {
    CloneContext context(CloneType::Copy);
    auto const copy = Kernel::Cast<ShapeNode>(order.opening->Clone(context));
    EXPECT_EQ(-1, copy->GetArticleIndex());
    EXPECT_EQ(-1, copy->GetSequenceIndex());
}

TEST_F(Articles, OfADocumentWithoutEntriesBeginAtZero) {
    document = DocumentController::CreateNew({600, 400}, Raster::FormatRGBA8, 1);
    EXPECT_EQ(-1, Helpers::GetHighestArticleNumber(document));
    auto const command = Run<AddExportArticleCommand>(-1);
    EXPECT_EQ("0[]", Order());
    auto const told = Support::NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    auto const changed = Support::As<ExportArticlesChangedNotification>(told.front());
    ASSERT_TRUE(changed);
    EXPECT_FALSE(changed->IsRenaming());
    ASSERT_TRUE(changed->GetCollector());
    EXPECT_EQ(document->GetDocument()->GetArticle(0), changed->GetCollector()->GetArticle());
    document->Undo();
    EXPECT_EQ("", Order());
    EXPECT_FALSE(
        Support::As<ExportArticlesChangedNotification>(Support::NotificationsOf(*command).front())->GetCollector());
    document->Redo();
    EXPECT_EQ("0[]", Order());
    EXPECT_FALSE(
        Support::As<ExportArticlesChangedNotification>(Support::NotificationsOf(*command).front())->GetCollector());
}

TEST_F(Articles, ThatAreAddedMoveTheOthersInTheMapAndOnNodes) {
    RunAndExpect<AddExportArticleCommand>(
        "0[opening0 text1] 1:single 2[first0 second1 third2] 3[] 4[] 5:note -1:included", 3);
    EXPECT_EQ((Numbers{0, 2, 3, 4}), Keys());
    EXPECT_EQ(order.empty, document->GetDocument()->GetArticle(4));
    EXPECT_EQ(5, order.note->GetArticleIndex());
    EXPECT_EQ(2, order.members[0]->GetArticleIndex());
}

TEST_F(Articles, WithoutMembersLeaveAGapThatIsClosed) {
    RunAndExpect<DeleteExportArticleCommand>("0[opening0 text1] 1:single 2[first0 second1 third2] 3:note -1:included",
                                             3);
}

TEST_F(Articles, OfOneMemberGiveItTheirNumber) {
    Run<ReparentExportArticlesCommand>(Collectors{Entry(order.members[1]), Entry(order.members[2])}, 3, -1);
    EXPECT_EQ("0[opening0 text1] 1:single 2[first0] 3[second0 third1] 4:note -1:included", Order());
    auto const before = document->GetHash(false);
    Run<DeleteExportArticleCommand>(2);
    EXPECT_EQ("0[opening0 text1] 1:single 2:first 3[second0 third1] 4:note -1:included", Order());
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
}

TEST_F(Articles, OfThreeMembersGiveThemTheirNumberAndThoseBehind) {
    RunAndExpect<DeleteExportArticleCommand>(
        "0[opening0 text1] 1:single 2:first 3:second 4:third 5[] 6:note -1:included", 2);
}

TEST_F(Articles, MoveToTheStart) {
    RunAndExpect<MoveExportArticlesCommand>("0[first0 second1 third2] 1:note 2[opening0 text1] 3:single 4[] 5:included",
                                            Collectors{Entry(2), Entry(4)}, -1);
}

TEST_F(Articles, MoveBehindAnother) {
    RunAndExpect<MoveExportArticlesCommand>("0:single 1[first0 second1 third2] 2[opening0 text1] 3[] 4:note 5:included",
                                            Collectors{Entry(0)}, 2);
}

TEST_F(Articles, MoveWithoutMembersThatAreListedBehindThem) {
    RunAndExpect<MoveExportArticlesCommand>("0[first0 second1 third2] 1[opening0 text1] 2:single 3[] 4:note 5:included",
                                            Collectors{Entry(2), Entry(order.members[1])}, -1);
}

// An article takes a member along that is listed in front of it, and the number that the member was to get stays free.
// Old sequence numbers that were kept are out of step with the entries, where an article stands before a member.
TEST_F(Articles, MoveBesideMembersThatAreListedInFrontOfThem) {
    Run<MoveExportArticlesCommand>(Collectors{Entry(order.members[1]), Entry(2)}, -1);
    EXPECT_EQ("1[first0 third2 second-1] 2[opening0 text1] 3:single 4[] 5:note 6:included", Order());
    document->Undo();
    EXPECT_EQ(c_order, Order());
    Run<MoveExportArticlesCommand>(Collectors{Entry(0), Entry(order.members[1])}, -1);
    EXPECT_EQ("0[opening0 text1] 1:second 2:single 3[first0 third2] 4[] 5:note 6:included", Order());
    document->Undo();
    EXPECT_EQ("0[opening0 text1] 1:single 2[first0 third2 second-1] 3[] 4:note -1:included", Order());
}

TEST_F(Articles, TakeEntriesBetweenTheirMembers) {
    RunAndExpect<ReparentExportArticlesCommand>(
        "0[opening0 single1 text2] 1[first0 second1 third2] 2[] 3:note -1:included", Collectors{Entry(1)}, 0, 1);
}

TEST_F(Articles, TakeTheirOwnMembersElsewhere) {
    RunAndExpect<ReparentExportArticlesCommand>("0[text0 opening1] 1:single 2[first0 second1 third2] 3[] 4:note "
                                                "-1:included",
                                                Collectors{Entry(order.opening)}, 0, -1);
}

// Redo adds to what was kept of the old numbers, and Undo reads the first ones.
TEST_F(Articles, AreLeftAgainHoweverOftenEntriesWerePutIntoThem) {
    Run<ReparentExportArticlesCommand>(Collectors{Entry(order.opening), Entry(order.members[2])}, 3, -1);
    auto const done = Order();
    EXPECT_EQ("0[text0] 1:single 2[first0 second1] 3[opening0 third1] 4:note -1:included", done);
    for (int round = 0; round != 3; ++round) {
        document->Undo();
        EXPECT_EQ(c_order, Order());
        document->Redo();
        EXPECT_EQ(done, Order());
    }
}

// The target's number behind the compaction is taken for an old one: its members keep the places in which they made
// room.
TEST_F(Articles, BehindAnEntryThatGoesIntoThemKeepTheirRoomInUndo) {
    Run<ReparentExportArticlesCommand>(Collectors{Entry(1)}, 2, 0);
    EXPECT_EQ("0[opening0 text1] 1[single0 first1 second2 third3] 2[] 3:note -1:included", Order());
    document->Undo();
    EXPECT_EQ("0[opening0 text1] 1:single 2[first1 second2 third3] 3[] 4:note -1:included", Order());
}

TEST_F(Articles, AreRenamedInOneStep) {
    auto const command = Run<RenameExportArticleCommand>(Entry(2), "One");
    EXPECT_TRUE(
        Support::As<ExportArticlesChangedNotification>(Support::NotificationsOf(*command).front())->IsRenaming());
    Run<RenameExportArticleCommand>(Entry(2), "Two");
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
    EXPECT_EQ("Two", order.middle->GetName());
    Run<RenameExportArticleCommand>(Entry(3), "Other");
    EXPECT_EQ(2u, document->GetHistory()->GetCount());
    document->GoTo(0);
    EXPECT_FALSE(
        Support::As<ExportArticlesChangedNotification>(Support::NotificationsOf(*command).front())->IsRenaming());
    EXPECT_EQ("Middle", order.middle->GetName());
    document->GoTo(1);
    EXPECT_EQ("Two", order.middle->GetName());
}

// The helpers

TEST_F(Articles, AreRenumberedWithoutAnyEntry) {
    document = DocumentController::CreateNew({600, 400}, Raster::FormatRGBA8, 1);
    EXPECT_TRUE(document->GetExportArticles().empty());
    for (int const number : {1, 2, 5})
        document->GetDocument()->SetArticle(number, MakeCounted<ExportArticle>());
    Helpers::RenumberArticles(document, 2, 3);
    EXPECT_EQ((Numbers{1, 5, 8}), Keys());
}

TEST_F(Articles, StayWhereOnlyObjectsAreNumbered) {
    auto const articles = document->GetDocument()->GetArticles();
    Collectors singles{Entry(1), Entry(4)};
    Helpers::SetArticlesAndSequenceNumbers(document, singles, {0, 7}, {3, 4});
    EXPECT_EQ(articles, document->GetDocument()->GetArticles());
    EXPECT_EQ(0, order.single->GetArticleIndex());
    EXPECT_EQ(3, order.single->GetSequenceIndex());
    EXPECT_EQ(7, order.note->GetArticleIndex());
    EXPECT_EQ(4, order.note->GetSequenceIndex());
}

TEST_F(Articles, ThatAreNotNumberedWinOverOthers) {
    Collectors moved{Entry(2)};
    Helpers::SetArticlesAndSequenceNumbers(document, moved, {3}, {});
    EXPECT_EQ((Numbers{0, 3}), Keys());
    EXPECT_EQ(order.empty, document->GetDocument()->GetArticle(3));
    EXPECT_EQ(3, order.members[1]->GetArticleIndex());
    EXPECT_EQ(1, order.members[1]->GetSequenceIndex());
}

TEST_F(Articles, ThatAreTakenOutKeepTheNumbersOfTheirMembers) {
    Collectors taken{Entry(2), Entry(1), Entry(0)};
    Helpers::DesequenceArticles(document, taken);
    EXPECT_EQ((Numbers{-2, -1, 3}), Keys());
    EXPECT_EQ(order.middle, document->GetDocument()->GetArticle(-1));
    EXPECT_EQ(2, order.members[0]->GetArticleIndex());
    Collectors single{taken[1]};
    Helpers::DesequenceArticles(document, single);
    EXPECT_EQ((Numbers{-2, -1, 3}), Keys());
}

TEST_F(Articles, OfTwoThatComeToOneNumberTheLaterOneHasIt) {
    Helpers::RemapArticleNumbers(document, {{0, 3}, {1, 9}});
    EXPECT_EQ((Numbers{2, 3}), Keys());
    EXPECT_EQ(order.empty, document->GetDocument()->GetArticle(3));
    EXPECT_EQ(9, order.single->GetArticleIndex());
    EXPECT_EQ(3, order.opening->GetArticleIndex());
}

TEST_F(Articles, AnswerQuestions) {
    EXPECT_EQ(4, Helpers::GetHighestArticleNumber(document));
    EXPECT_EQ(2, Helpers::GetMaximumSequenceNumber(document, 2));
    EXPECT_EQ(-1, Helpers::GetMaximumSequenceNumber(document, 3));
    EXPECT_TRUE(Helpers::IsArticleGroup(document, 3));
    EXPECT_FALSE(Helpers::IsArticleGroup(document, 1));
    Collectors collected{Entry(1)};
    Helpers::CollectArticles(document, collected, 2);
    EXPECT_EQ(2u, collected.size());
    Helpers::CollectArticles(document, collected);
    EXPECT_EQ(6u, collected.size());
    Helpers::RemapSequenceNumbers(document, 2, {{0, 5}, {2, 6}});
    EXPECT_EQ(5, order.members[0]->GetSequenceIndex());
    EXPECT_EQ(1, order.members[1]->GetSequenceIndex());
    Helpers::ReparentArticles(document, {Entry(1), Entry(2)}, {8, 9});
    EXPECT_EQ(8, order.single->GetArticleIndex());
    EXPECT_EQ(9, order.members[2]->GetArticleIndex());
    EXPECT_EQ(order.middle, document->GetDocument()->GetArticle(2)) << "tags only";
}

// Bad input

TEST_F(Articles, WithNumbersThatCannotBeCountedAreRefused) {
    auto const highest = std::numeric_limits<int>::max();
    order.note->SetArticleIndex(highest);
    bool flag = false;
    document->UpdateExportArticles(flag);
    auto const before = document->GetHash(false);
    EXPECT_THROW(Run<AddExportArticleCommand>(0), Kernel::Exception);
    EXPECT_THROW(Run<AddExportArticleCommand>(highest), Kernel::Exception);
    EXPECT_THROW(Run<MoveExportArticlesCommand>(Collectors{Entry(order.included)}, -1), Kernel::Exception);
    EXPECT_THROW(Run<ReparentExportArticlesCommand>(Collectors{Entry(1)}, 0, -1), Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ("0[opening0 text1] 1:single 2[first0 second1 third2] 3[] 2147483647:note -1:included", Order());
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
}

TEST_F(Articles, WithNumbersBelowZeroHaveNoPlace) {
    document->GetDocument()->SetArticle(-7, MakeCounted<ExportArticle>());
    order.single->SetArticleIndex(-7);
    order.note->SetArticleIndex(std::numeric_limits<int>::min());
    bool flag = false;
    document->UpdateExportArticles(flag);
    EXPECT_EQ("0[opening0 text1] 2[first0 second1 third2] 3[] -7[] -1:included", Order());
}

TEST_F(Articles, AreGivenOneNumberEach) {
    auto const node = document->GetDocument();
    node->SetArticles({{1, order.middle}, {4, order.middle}, {5, nullptr}});
    EXPECT_EQ((Numbers{1}), Keys());
    EXPECT_EQ(1, order.middle->GetNumber());
    EXPECT_EQ(std::nullopt, order.first->GetNumber());
    node->SetArticle(3, order.middle);
    EXPECT_EQ((Numbers{3}), Keys());
    node->SetArticle(3, order.empty);
    EXPECT_EQ(std::nullopt, order.middle->GetNumber());
}

TEST_F(Articles, AreReadWithoutWhatAForgedEntryLacks) {
    MoveExportArticlesCommand command({nullptr, Entry(1), MakeCounted<ExportArticleCollector>()}, -1);
    Support::Bind(*document, command);
    command.Do();
    EXPECT_EQ(0, order.single->GetArticleIndex());
    command.Undo();
    EXPECT_EQ(1, order.single->GetArticleIndex());
}

TEST_F(Articles, AreAsTheyWereAfterAStepThatFails) {
    struct Fail final : EditJournal::Observer {
        int left = 0;
        void BeforeEdit() override {
            if (left-- == 0)
                throw Kernel::Exception("no more edits");
        }
    } fail;
    auto const before = document->GetHash(false);
    EditJournal::SetObserver(&fail);
    int failures = 0;
    for (bool done = false; !done; ++failures) {
        fail.left = failures;
        try {
            Run<MoveExportArticlesCommand>(Collectors{Entry(2), Entry(order.members[0])}, 0);
            done = true;
        } catch (Kernel::Exception const&) {
            EXPECT_EQ(before, document->GetHash(false));
            EXPECT_EQ(c_order, Order());
        }
    }
    EditJournal::SetObserver(nullptr);
    EXPECT_GT(failures, 5);
}

// Groups in groups, each an article's member.
TEST_F(Articles, HoldObjectsHoweverDeepTheyStand) {
    constexpr int c_depth = 10'000;
    document = DocumentController::CreateNew({600, 400}, Raster::FormatRGBA8, 1);
    DocumentNode::Articles articles;
    Kernel::Counted<GroupNode> inner;
    for (int i = 0; i != c_depth; ++i) {
        auto const group = MakeCounted<GroupNode>();
        group->SetArticleIndex(i);
        if (inner)
            group->InsertChild(NodeChildListType::Plain, inner, nullptr);
        inner = group;
        articles[i] = MakeCounted<ExportArticle>();
    }
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, inner, nullptr);
    document->GetDocument()->SetArticles(articles);
    auto const before = document->GetHash(false);
    Run<MoveExportArticlesCommand>(Collectors{Entry(c_depth - 1)}, -1);
    EXPECT_EQ(0, inner->GetArticleIndex());
    EXPECT_EQ(1u, Entry(0)->GetMembers().size());
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ(c_depth - 1, inner->GetArticleIndex());
}

} // namespace
