// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "index/add_index_cross_reference_command.h"
#include "index/delete_index_topic_command.h"
#include "index/rename_index_topic_command.h"
#include "index/reparent_index_cross_reference_command.h"
#include "index/reparent_index_topic_command.h"
#include "index/set_index_fragment_command.h"
#include "index/set_index_option_command.h"
#include "platform/document/edit_journal.h"
#include "platform/document/index_commands.h"
#include "platform/document/index_preview.h"
#include "platform/document/update_index_command.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/object_graph.h"
#include "tests/examples/scenes/index_documents.h"
#include "tests/support/stored_graph.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Topic = Kernel::Counted<Story::IndexTopic const>;
using Topics = DeleteIndexTopicCommand::Topics;

class IndexTopics : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        texts = ExampleDocuments::TextsWithIndexMarks(*document);
    }
    Story::Index& Index() const { return document->GetDocument()->GetIndex(); }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (auto const& topic : Index())
            names.push_back(topic->GetNameWithParents().ToStdString());
        return names;
    }

public:
    std::pair<std::size_t, std::size_t> CountNow() const { return {CountMarks(), Index().GetTopicCount()}; }

protected:
    std::size_t CountMarks() const {
        return document->GetDocument()->GetIndexMarks(false, false, true)->GetMarks().size();
    }
    Kernel::Counted<DeleteIndexTopicCommand> Delete(Topics topics) {
        auto command = MakeCounted<DeleteIndexTopicCommand>(std::move(topics));
        document->Run(command);
        return command;
    }
    static std::size_t CountTold(Command& command) {
        Kernel::NotificationList told;
        command.Notify(told);
        return static_cast<std::size_t>(std::ranges::count_if(told, [](auto const& each) {
            return static_cast<bool>(Kernel::Cast<IndexTopicsChangedNotification>(each));
        }));
    }

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::IndexTexts texts;
};

TEST_F(IndexTopics, GoWithAllBelowThemAndTheirMarks) {
    auto const before = document->GetHash(false);
    EXPECT_EQ(4u, CountMarks());
    auto const command = Delete({texts.animals});
    EXPECT_EQ((std::vector<std::string>{"Ships", "Sea"}), Names());
    EXPECT_EQ(1u, CountMarks());
    EXPECT_EQ((Topics{texts.spermWhale, texts.whales, texts.animals}), command->GetAllTopics());
    EXPECT_EQ(3u, command->GetDeleteCommands().size());
    auto const after = document->GetHash(false);
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ(4u, CountMarks());
    document->Redo();
    EXPECT_EQ(after, document->GetHash(false));
}

TEST_F(IndexTopics, NamedWithOneBelowThemGoOnce) {
    auto const command = Delete({texts.whales, texts.spermWhale, texts.whales});
    EXPECT_EQ((Topics{texts.spermWhale, texts.whales}), command->GetAllTopics());
    EXPECT_EQ(3u, command->GetDeleteCommands().size());
    EXPECT_EQ((std::vector<std::string>{"Animals", "Ships", "Sea"}), Names());
}

TEST_F(IndexTopics, ThatCameBackWithoutMarksLeaveThePreview) {
    auto const node = document->GetDocument();
    auto const stale = MakeCounted<IndexPreview>(*node, false, false);
    Delete({texts.sea});
    node->SetIndexMarkPreview(stale);
    document->Undo();
    EXPECT_EQ(stale.get(), node->GetIndexMarks(false, false, false).get());
    Delete({texts.ships});
    auto const other = MakeCounted<IndexPreview>(*node, false, false);
    node->SetIndexMarkPreview(other);
    document->Undo();
    EXPECT_NE(other.get(), node->GetIndexMarks(false, false, false).get());
}

// The steps of the texts ask for the topics of their marks no more than Do does; they run before the topics go.
TEST_F(IndexTopics, GoAfterTheirMarksInRedoToo) {
    struct Watch final : EditJournal::Observer {
        IndexTopics* test;
        std::vector<std::pair<std::size_t, std::size_t>> seen;
        explicit Watch(IndexTopics* of) : test(of) {}
        void BeforeEdit() override { seen.push_back(test->CountNow()); }
    };
    Delete({texts.animals});
    document->Undo();
    Watch watch(this);
    EditJournal::SetObserver(&watch);
    document->Redo();
    EditJournal::SetObserver(nullptr);
    EXPECT_TRUE(std::ranges::any_of(watch.seen, [](auto const& each) { return each.first == 1 && each.second == 5; }));
    for (auto const& [marks, topics] : watch.seen) {
        if (topics != 5) {
            EXPECT_EQ(1u, marks);
        }
    }
}

TEST_F(IndexTopics, KeepTheirOrderWhenTheyComeBack) {
    auto const before = Names();
    Delete({texts.whales});
    Delete({texts.ships});
    document->Undo();
    document->Undo();
    EXPECT_EQ(before, Names());
}

TEST_F(IndexTopics, CloneOfADeletionHasNothingOfItsRun) {
    auto const command = Delete({texts.animals});
    auto const clone = Kernel::Cast<DeleteIndexTopicCommand>(command->Clone());
    EXPECT_TRUE(clone->GetAllTopics().empty());
    EXPECT_TRUE(clone->GetDeleteCommands().empty());
    EXPECT_EQ("Delete Index Topic", clone->GetDescription().GetText());
    EXPECT_EQ("Delete Index Topics",
              MakeCounted<DeleteIndexTopicCommand>(Topics{texts.sea, texts.ships})->GetDescription().GetText());
}

TEST_F(IndexTopics, DeletedAreToldOnceAndLast) {
    auto const command = Delete({texts.animals});
    EXPECT_EQ(1u, CountTold(*command));
    Kernel::NotificationList told;
    command->Notify(told);
    EXPECT_TRUE(Kernel::Cast<IndexTopicsChangedNotification>(told.back()));
    EXPECT_GT(told.size(), 3u);
}

TEST_F(IndexTopics, OptionTouchesNoOther) {
    document->Run(MakeCounted<SetIndexOptionCommand>(SetIndexOptionCommand::Option::ExpandCrossReferences, true));
    EXPECT_TRUE(Index().GetShouldExpandCrossReferences());
    EXPECT_TRUE(Index().GetShouldIncludeSectionHeadings());
    EXPECT_TRUE(Index().GetShouldGroupPageRanges());
    document->Run(MakeCounted<SetIndexOptionCommand>(SetIndexOptionCommand::Option::PageRanges, false));
    EXPECT_FALSE(Index().GetShouldGroupPageRanges());
    EXPECT_TRUE(Index().GetShouldIncludeSectionHeadings());
    auto const before = document->GetHash(false);
    document->Run(MakeCounted<SetIndexOptionCommand>(static_cast<SetIndexOptionCommand::Option>(3), false));
    EXPECT_EQ(before, document->GetHash(false));
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
}

TEST_F(IndexTopics, FragmentsAreReplacedByTexts) {
    SetIndexFragmentCommand none(IndexFragmentSeparator::None, "x");
    EXPECT_FALSE(none.GetReplacementCommand());
    struct {
        IndexFragmentSeparator separator;
        std::string_view key;
    } const c_cases[] = {{IndexFragmentSeparator::AfterTopic, UpdateIndexCommand::AfterTopicTag},
                         {IndexFragmentSeparator::BetweenListItems, UpdateIndexCommand::BetweenListItemsTag},
                         {IndexFragmentSeparator::BetweenRanges, UpdateIndexCommand::BetweenRangesTag},
                         {IndexFragmentSeparator::BeforeCrossReferences, UpdateIndexCommand::BeforeCrossReferencesTag},
                         {IndexFragmentSeparator::See, UpdateIndexCommand::SeeTag},
                         {IndexFragmentSeparator::SeeAlso, UpdateIndexCommand::SeeAlsoTag},
                         {IndexFragmentSeparator::AfterCrossReferences, UpdateIndexCommand::AfterCrossReferencesTag}};
    for (auto const& [separator, key] : c_cases) {
        SetIndexFragmentCommand command(separator, "; ");
        auto const replacement = Kernel::Cast<SetLocalisableStringCommand>(command.GetReplacementCommand());
        ASSERT_TRUE(replacement);
        EXPECT_EQ(key, replacement->GetKey().view());
        EXPECT_TRUE(replacement->GetLanguage().empty());
        EXPECT_EQ(Story::GlyphString(U"; "), replacement->GetText());
        EXPECT_TRUE(replacement->GetOldText().empty());
    }
}

TEST_F(IndexTopics, OldHistoryOfFragmentsLoadsAsTexts) {
    auto const path = std::filesystem::temp_directory_path() / ("fragment-" + std::to_string(getpid()) + ".redraft");
    document->Run(MakeCounted<SetIndexFragmentCommand>(IndexFragmentSeparator::See, "cf. "));
    document->Save(path);
    auto const loaded = DocumentController::Open(path, false);
    auto const& index = loaded->GetDocument()->GetIndex();
    loaded->Undo();
    EXPECT_EQ(nullptr, index.FindString("See"));
    loaded->Redo();
    ASSERT_NE(nullptr, index.FindString("See"));
    EXPECT_EQ(Story::GlyphString(U"cf. "), *index.FindString("See"));
    std::filesystem::remove(path);
}

TEST_F(IndexTopics, CannotStandBelowThemselves) {
    auto const before = document->GetHash(false);
    EXPECT_THROW(document->Run(MakeCounted<ReparentIndexTopicCommand>(texts.animals, texts.spermWhale)),
                 Kernel::Exception);
    EXPECT_THROW(document->Run(MakeCounted<ReparentIndexTopicCommand>(texts.animals, texts.animals)),
                 Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_TRUE(texts.spermWhale->IsTransitiveParent(texts.animals));
    EXPECT_FALSE(texts.animals->IsTransitiveParent(texts.spermWhale));
    EXPECT_EQ(2, texts.spermWhale->DistanceToRoot());
}

// Animals, Whales and Sperm whale, each below the one before it, and the first below the last.
TEST_F(IndexTopics, InAForgedRingStandAtTheTop) {
    Index().SetTopicParent(texts.animals, texts.sea);
    Kernel::MemoryChunkStorage storage;
    std::vector<Kernel::Counted<Kernel::Serialisable const>> const roots{
        Kernel::Counted<Kernel::Serialisable const>(document->GetDocument().get())};
    Kernel::ObjectGraph::SaveCopy(roots, storage);
    auto graph = Support::ReadGraph(storage);
    auto const find = [&](std::string_view name) {
        return std::ranges::find_if(graph.objects, [&](Support::StoredObject const& object) {
            return object.classTag == "TxIT" && std::ranges::any_of(object.fields, [&](auto const& field) {
                       return field.tag == "Name" &&
                              std::string_view(reinterpret_cast<char const*>(field.value.data()), field.value.size())
                                  .ends_with(name);
                   });
        });
    };
    auto const last = find("Sperm whale");
    ASSERT_NE(graph.objects.end(), last);
    auto const first = find("Animals");
    auto const parent = std::ranges::find(first->fields, "Prnt", &Support::StoredField::tag);
    ASSERT_NE(first->fields.end(), parent);
    parent->objects = {last->id};
    Support::WriteGraph(graph, storage);

    Kernel::Weak<Story::IndexTopic> weak;
    {
        Kernel::ObjectGraph loader;
        Kernel::FileStore files;
        auto loaded = loader.Load(storage, files);
        auto const node = Kernel::Cast<DocumentNode>(loaded.front());
        ASSERT_TRUE(node);
        std::vector<std::string> names;
        for (auto const& topic : node->GetIndex()) {
            names.push_back(topic->GetNameWithParents().ToStdString());
            EXPECT_EQ(0, topic->DistanceToRoot());
            EXPECT_FALSE(topic->IsTransitiveParent(topic));
        }
        EXPECT_EQ((std::vector<std::string>{"Animals", "Whales", "Sperm whale", "Ships", "Sea"}), names);
        weak = *node->GetIndex().begin();
    }
    EXPECT_TRUE(weak.IsExpired());
}

TEST_F(IndexTopics, WithEmptyAndLongNamesAreTopicsLikeOthers) {
    std::string const text(1u << 20, 'n');
    Kernel::String const longName(text);
    auto const before = document->GetHash(false);
    document->Run(MakeCounted<RenameIndexTopicCommand>(texts.animals, longName));
    document->Run(MakeCounted<RenameIndexTopicCommand>(texts.whales, ""));
    EXPECT_EQ(text + "/", texts.whales->GetNameWithParents().ToStdString());
    EXPECT_EQ(texts.animals, Index().FindTopicByName(longName, false));
    EXPECT_EQ(texts.whales, Index().FindTopicByName("", longName, false));
    auto const path = std::filesystem::temp_directory_path() / ("names-" + std::to_string(getpid()) + ".redraft");
    document->Save(path);
    auto const loaded = DocumentController::Open(path, false);
    EXPECT_EQ(document->GetHash(false), loaded->GetHash(false));
    loaded->Undo();
    loaded->Undo();
    EXPECT_EQ(before, loaded->GetHash(false));
    std::filesystem::remove(path);
}

TEST_F(IndexTopics, WithMarksInDeletedTextGoAndComeBack) {
    auto const start = document->GetHash(false);
    document->Run(
        MakeCounted<DeleteTextCommand>(MakeCounted<Selection const>(texts.head, MakeCounted<TextSelection>(5, 20))));
    auto const marks = document->GetDocument()->GetIndexMarks(false, false, true)->GetMarksForTopic(texts.whales);
    ASSERT_EQ(1u, marks.size());
    auto const bookmark = marks.front()->GetBookmark();
    auto const command = Delete({texts.animals});
    EXPECT_EQ(2u, command->GetDeleteCommands().size());
    // The glyph that it stands for is gone: nothing is selected, so that nothing is ever deleted in its place.
    EXPECT_TRUE(bookmark.GetSelection()->empty());
    auto const length = texts.head->GetStory()->GetLength();
    document->Run(MakeCounted<DeleteTextCommand>(Story::MoveCaret::No, bookmark.GetSelection()));
    EXPECT_EQ(length, texts.head->GetStory()->GetLength());
    document->Undo();
    EXPECT_EQ(5u, Index().GetTopicCount());
    document->Undo();
    EXPECT_EQ(start, document->GetHash(false));
}

TEST_F(IndexTopics, BookmarksFollowTheirGlyphs) {
    auto const marks = document->GetDocument()->GetIndexMarks(false, false, true)->GetMarksForTopic(texts.whales);
    ASSERT_EQ(2u, marks.size());
    auto const index = marks[1]->GetBookmark().FindIndex();
    document->Run(
        MakeCounted<InsertTextCommand>(Kernel::String(std::string(700, 'x')),
                                       MakeCounted<Selection const>(texts.head, MakeCounted<TextSelection>(0, 0))));
    EXPECT_EQ(*index + 700, marks[1]->GetBookmark().FindIndex());
    auto const old = document->GetDocument()->GetIndexMarks(false, false, false);
    EXPECT_EQ(old, document->GetDocument()->GetIndexMarks(false, false, false));
    document->Undo();
    EXPECT_NE(old, document->GetDocument()->GetIndexMarks(false, false, false));
}

TEST_F(IndexTopics, MarksHaveThePagesOfTheirPlaces) {
    auto const preview = document->GetDocument()->GetIndexMarks(false, true, true);
    ASSERT_EQ(4u, preview->GetMarks().size());
    for (auto const& mark : preview->GetMarks())
        EXPECT_EQ("1", mark->GetPageLabel());
    EXPECT_EQ("Bold", preview->GetMarksForTopic(texts.ships).front()->GetStyleName());
}

TEST_F(IndexTopics, RelationThatWasThereIsGoneAfterUndo) {
    document->Run(MakeCounted<AddIndexCrossReferenceCommand>(texts.ships, texts.sea));
    EXPECT_EQ(1u, texts.ships->GetRelatedTo().size());
    document->Undo();
    EXPECT_TRUE(texts.ships->GetRelatedTo().empty());
}

// A macro of one document may be played on another.
TEST_F(IndexTopics, OfAnotherDocumentAreNotChanged) {
    auto const other = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
    auto const before = document->GetHash(false), otherBefore = other->GetHash(false);
    other->Run(MakeCounted<RenameIndexTopicCommand>(texts.ships, "Boats"));
    other->Run(MakeCounted<AddIndexCrossReferenceCommand>(texts.whales, texts.ships));
    other->Run(MakeCounted<ReparentIndexTopicCommand>(texts.ships, Topic()));
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ(otherBefore, other->GetHash(false));
}

TEST_F(IndexTopics, RelationToTheTopicItselfIsNoneThatAnotherBecomes) {
    auto const before = document->GetHash(false);
    auto const command = MakeCounted<ReparentIndexCrossReferenceCommand>(texts.ships, texts.ships, texts.sea);
    document->Run(command);
    EXPECT_EQ(before, document->GetHash(false));
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    document->Redo();
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ(1u, CountTold(*command));
    document->Run(MakeCounted<ReparentIndexCrossReferenceCommand>(texts.ships, texts.whales, texts.sea));
    EXPECT_EQ((std::vector<Topic>{texts.whales}), texts.ships->GetRelatedTo());
}

// A topic that is out of the index counts nowhere, until it comes back.
TEST_F(IndexTopics, RelationsToDeletedTopicsComeBackWithThem) {
    Delete({texts.sea});
    EXPECT_TRUE(texts.ships->GetRelatedTo().empty());
    document->Undo();
    EXPECT_EQ((std::vector<Topic>{texts.sea}), texts.ships->GetRelatedTo());
}

TEST_F(IndexTopics, UnneededGoesWithItsLastHolder) {
    Kernel::Weak<Story::IndexTopic const> weak;
    {
        auto const a = ExampleDocuments::AddTopic(*document, "a"), b = ExampleDocuments::AddTopic(*document, "b", a);
        Index().AddRelatedTo(a, b);
        Index().AddRelatedTo(b, a);
        Index().AddRelatedTo(a, a);
        weak = Topic(a);
        Index().DeleteTopic(b);
        Index().DeleteTopic(a);
    }
    EXPECT_TRUE(weak.IsExpired());
}

} // namespace
