// SPDX-License-Identifier: Apache-2.0
#include "articles/add_export_article_command.h"
#include "articles/delete_export_article_command.h"
#include "articles/move_export_articles_command.h"
#include "articles/rename_export_article_command.h"
#include "articles/reparent_export_articles_command.h"
#include "articles/set_export_article_include_untagged_command.h"
#include "articles/set_hide_export_article_from_reader_command.h"
#include "articles/set_mark_as_decoration_command.h"
#include "articles/set_metadata_tag_command.h"
#include "frame/contract/notifications.h"
#include "platform/story/field_glyphs.h"
#include "tests/examples/scenes/reading_order_documents.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"
#include "tests/support/stored_graph.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Collectors = ExportTaggingHelpers::Collectors;

class Tagging : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 400}, Raster::FormatRGBA8, 1);
        order = ExampleDocuments::ObjectsInReadingOrder(*document);
        path = std::filesystem::temp_directory_path() / ("tagging" + std::to_string(::getpid()) + ".redraft");
    }
    void TearDown() override { std::filesystem::remove(path); }
    Kernel::Counted<ExportArticleCollector> Entry(int number) { return ExampleDocuments::FindEntry(*document, number); }
    static Kernel::Counted<Selection const> SelectionOf(std::vector<Kernel::Counted<Node>> const& nodes) {
        MutableSelection selection;
        for (auto const& node : nodes)
            selection.AddItem(MakeCounted<SelectionItem>(Kernel::Counted<Selectable>(node.get())), false);
        return selection.CloneImmutable();
    }
    void Reopen() {
        document->Save(path);
        document = DocumentController::Open(path, true);
    }

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::ReadingOrder order;
    std::string path;
};

TEST_F(Tagging, IncludesUntilItIsTakenBackWithTheStateOfTheLastObject) {
    auto const both = SelectionOf({order.included, order.untagged});
    auto const command = MakeCounted<SetExportArticleIncludeUntaggedCommand>(true, both);
    document->Run(command);
    EXPECT_EQ("Include in Reading Order", command->GetDescription().GetText());
    EXPECT_EQ(7u, document->GetExportArticles().size());
    document->Undo();
    EXPECT_FALSE(order.included->IsIncludeUntagged());
    EXPECT_FALSE(order.untagged->IsIncludeUntagged());
    EXPECT_EQ(5u, document->GetExportArticles().size());
    document->Redo();
    EXPECT_EQ(7u, document->GetExportArticles().size());
    EXPECT_FALSE(command->Clone());
    auto const told = Support::NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    EXPECT_FALSE(Support::As<ExportArticlesChangedNotification>(told.front())->IsRenaming());
    EXPECT_EQ("Exclude from Reading Order",
              MakeCounted<SetExportArticleIncludeUntaggedCommand>(false, both)->GetDescription().GetText());
}

// The end of a step visits its objects once more, when the document may be gone.
TEST_F(Tagging, EndsWithoutItsDocument) {
    auto const command = MakeCounted<SetExportArticleIncludeUntaggedCommand>(true, SelectionOf({order.untagged}));
    document->Run(command);
    bool flag = false;
    document->GetExportArticles();
    command->Teardown();
    EXPECT_FALSE(document->UpdateExportArticles(flag)) << "the end of a step updates the order, too";
    document.reset();
    command->Teardown();
    EXPECT_TRUE(order.untagged->IsIncludeUntagged());
}

TEST_F(Tagging, HidesEntriesAndGivesEachItsOwnStateBack) {
    Entry(0)->SetHide(false, true);
    Entry(1)->SetHide(true, true);
    auto const command = MakeCounted<SetHideExportArticleFromReaderCommand>(Collectors{Entry(0), Entry(1)}, true);
    EXPECT_EQ("Hide from Reading Order", command->GetDescription().GetText());
    document->Run(command);
    EXPECT_TRUE(order.first->IsHidden());
    EXPECT_FALSE(order.first->IsAutoHide());
    EXPECT_TRUE(order.single->IsHidden());
    EXPECT_FALSE(order.single->IsAutoHide());
    document->Undo();
    EXPECT_FALSE(order.first->IsHidden());
    EXPECT_TRUE(order.first->IsAutoHide());
    EXPECT_TRUE(order.single->IsHidden());
    EXPECT_TRUE(order.single->IsAutoHide());
    document->Redo();
    EXPECT_TRUE(order.first->IsHidden());
    EXPECT_FALSE(command->Clone());
    EXPECT_EQ("Unhide from Reading Order",
              MakeCounted<SetHideExportArticleFromReaderCommand>(Entry(0), false)->GetDescription().GetText());
}

// Of an older program, which hid one entry at a time.
TEST_F(Tagging, ReadsTheOlderFormOfAHiddenEntryAsAListOfOne) {
    auto const command = MakeCounted<SetHideExportArticleFromReaderCommand>(Entry(2), true);
    document->Run(command);
    auto storage = Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(command),
                                          Kernel::Counted<Kernel::Serialisable const>(order.middle)});
    auto graph = Support::ReadGraph(storage);
    auto const stored = std::ranges::find(graph.objects, "hdac", &Support::StoredObject::classTag);
    ASSERT_NE(graph.objects.end(), stored);
    auto& fields = stored->fields;
    auto const find = [&](char const* tag) { return std::ranges::find(fields, tag, &Support::StoredField::tag); };
    // The entry was hidden, and not by itself.
    auto hidden = *find("hide");
    hidden.tag = "ohid";
    auto entry = *find("arts");
    entry.tag = "arti";
    entry.form = Support::c_objectForm;
    std::erase_if(fields,
                  [](auto const& field) { return field.tag == "ohds" || field.tag == "oats" || field.tag == "arts"; });
    fields.insert(fields.end(), {hidden, entry});
    Support::WriteGraph(graph, storage);
    auto const roots = Support::LoadFromMemory(storage);
    auto const loaded = Kernel::Cast<SetHideExportArticleFromReaderCommand>(roots.at(0));
    auto const article = Kernel::Cast<ExportArticle>(roots.at(1));
    ASSERT_TRUE(loaded && article);
    article->SetHide(false, true);
    Support::Bind(*document, *loaded);
    loaded->Undo();
    EXPECT_TRUE(article->IsHidden());
    EXPECT_FALSE(article->IsAutoHide());
    article->SetHide(false, false);
    loaded->Redo();
    EXPECT_TRUE(article->IsHidden());
}

TEST_F(Tagging, MarksDecorationsAndGivesEachItsOwnFlagBack) {
    order.single->SetMarkAsDecoration(true);
    auto const both = SelectionOf({order.single, order.opening});
    auto const command = MakeCounted<SetMarkAsDecorationCommand>(true, both);
    document->Run(command);
    EXPECT_TRUE(order.opening->GetMarkAsDecoration());
    auto const told = Support::NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    EXPECT_FALSE(Support::As<MetadataChangedNotification>(told.front())->IsPreview());
    Reopen();
    document->Undo();
    auto const find = [&](Node const& node) { return document->GetDocument()->FindNode(node.GetId()); };
    EXPECT_TRUE(find(*order.single)->GetMarkAsDecoration());
    EXPECT_FALSE(find(*order.opening)->GetMarkAsDecoration());
    document->Redo();
    EXPECT_TRUE(find(*order.opening)->GetMarkAsDecoration());
    auto const clone = Kernel::Cast<SetMarkAsDecorationCommand>(command->Clone());
    ASSERT_TRUE(clone);
    EXPECT_EQ(both, clone->GetGivenSelection());
}

// Metadata

using Values = std::vector<std::string>;

Values ValuesOf(Node const& node, char const* key) {
    Values values;
    for (auto const* const value : node.GetMetadataValuesForKey(key))
        values.push_back(value->ToStdString());
    return values;
}

TEST(Metadata, KeepsSeveralValuesOfAKeyInTheirOrder) {
    auto const node = MakeCounted<GroupNode>();
    for (char const* const value : {"b", "a", ""})
        node->AddMetadataValueForKey("alt", value);
    node->AddMetadataValueForKey("Title", "t");
    EXPECT_EQ((Values{"b", "a", ""}), ValuesOf(*node, "alt"));
    EXPECT_EQ((std::vector<Kernel::String>{"Title", "alt", "alt", "alt"}), node->GetMetadataKeys());
    node->RemoveMetadataValuesForKey("alt");
    node->RemoveMetadataValuesForKey("none");
    EXPECT_EQ((Values{}), ValuesOf(*node, "alt"));
    EXPECT_EQ((Values{"t"}), ValuesOf(*node, "Title"));
}

class MetadataCommand : public Tagging {
protected:
    Kernel::Counted<SetMetadataTagCommand>
    Set(char const* key, char const* value, std::vector<Kernel::Counted<Node>> const& nodes, bool allowEmpty = false) {
        auto const command = MakeCounted<SetMetadataTagCommand>(key, value, SelectionOf(nodes));
        command->SetAllowEmptyValue(allowEmpty);
        document->Run(command);
        return command;
    }
};

TEST_F(MetadataCommand, TakesTheKeyAwayWithAnEmptyValue) {
    order.single->AddMetadataValueForKey("title", "Old");
    Set("title", "", {order.single});
    EXPECT_TRUE(order.single->GetMetadataKeys().empty());
    document->Undo();
    EXPECT_EQ((Values{"Old"}), ValuesOf(*order.single, "title"));
    document->Redo();
    EXPECT_TRUE(order.single->GetMetadataKeys().empty());
}

TEST_F(MetadataCommand, KeepsTheKeyWithAnEmptyValueWhereThatIsAllowed) {
    auto const command = Set("title", "", {order.single}, true);
    EXPECT_EQ((Values{""}), ValuesOf(*order.single, "title"));
    document->Undo();
    document->Redo();
    EXPECT_EQ((Values{""}), ValuesOf(*order.single, "title"));
    // A clone does not have the permission.
    document->Run(command->Clone());
    EXPECT_TRUE(order.single->GetMetadataKeys().empty());
}

TEST_F(MetadataCommand, LeavesTheKeyAbsentInUndoWhereItWasAbsent) {
    order.opening->AddMetadataValueForKey("title", "Old");
    Set("title", "New", {order.single, order.opening});
    EXPECT_EQ((Values{"New"}), ValuesOf(*order.single, "title"));
    Reopen();
    document->Undo();
    auto const find = [&](Node const& node) { return document->GetDocument()->FindNode(node.GetId()); };
    EXPECT_TRUE(find(*order.single)->GetMetadataKeys().empty());
    EXPECT_EQ((Values{"Old"}), ValuesOf(*find(*order.opening), "title"));
}

TEST_F(MetadataCommand, MergesOnOneSelectionAndKeyOnly) {
    Set("title", "One", {order.single});
    Set("title", "Two", {order.single});
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
    Set("author", "Three", {order.single});
    EXPECT_EQ(2u, document->GetHistory()->GetCount());
    Set("author", "Four", {order.opening});
    EXPECT_EQ(3u, document->GetHistory()->GetCount());
    document->GoTo(0);
    EXPECT_TRUE(order.single->GetMetadataKeys().empty());
    document->GoTo(1);
    EXPECT_EQ((Values{"Two"}), ValuesOf(*order.single, "title"));
}

TEST_F(MetadataCommand, LosesAllButTheFirstOfSeveralValues) {
    order.single->AddMetadataValueForKey("author", "One");
    order.single->AddMetadataValueForKey("author", "Two");
    Set("author", "New", {order.single});
    EXPECT_EQ((Values{"New"}), ValuesOf(*order.single, "author"));
    document->Undo();
    EXPECT_EQ((Values{"One"}), ValuesOf(*order.single, "author"));
}

TEST_F(MetadataCommand, TellsOfMetadataNamesAndCaptions) {
    auto const command = Set("title", "New", {order.single});
    auto told = Support::NotificationsOf(*command);
    ASSERT_EQ(2u, told.size());
    EXPECT_TRUE(Support::As<MetadataChangedNotification>(told[0]));
    EXPECT_TRUE(Support::As<DescriptionChangedNotification>(told[1]));
    document->Undo();
    auto const caption = MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 0, 50, 20});
    order.single->InsertChild(NodeChildListType::Captions, caption, nullptr);
    document->Redo();
    told = Support::NotificationsOf(*command);
    ASSERT_EQ(4u, told.size());
    EXPECT_TRUE(Support::As<InvalidateDocumentNotification>(told[2]));
    auto const changed = Support::As<StoryChangedNotification>(told[3]);
    ASSERT_TRUE(changed);
    EXPECT_EQ(1u, changed->GetSelection()->size());
    caption->RemoveFromParent();
    document->Undo();
    EXPECT_EQ(2u, Support::NotificationsOf(*command).size());
}

TEST_F(MetadataCommand, TellsWhereTheTextOfACaptionReadOtherwise) {
    order.single->AddMetadataValueForKey("title", "Old");
    Story::GlyphString text(U"A title: ");
    text.Add(Kernel::Counted<Story::Glyph const>(MakeCounted<Story::MetadataGlyph>("title")));
    text.Add(U" with some more words behind it, for the next frame");
    auto const caption = MakeCounted<FrameTextNode>(Kernel::RectT<double>{70, 200, 200, 225});
    auto const rest = MakeCounted<FrameTextNode>(Kernel::RectT<double>{300, 300, 500, 340});
    caption->SetText(text, {}, {});
    order.single->InsertChild(NodeChildListType::Captions, caption, nullptr);
    ExampleDocuments::Append(*document->GetCurrentSpread(), rest);
    rest->LinkBehind(*caption);
    rest->MakeComposedText();
    auto const areaOf = [&](DocumentCommand& command) {
        for (auto const& told : Support::NotificationsOf(command)) {
            if (auto const area = Kernel::Cast<InvalidateDocumentNotification>(told))
                return area->GetSpreadRects().GetUnion(
                    Kernel::NonCounted<SpreadNode const>(document->GetCurrentSpread().get()));
        }
        return Kernel::RectT<double>();
    };
    auto const command = Set("title", "A longer title", {order.single});
    auto area = areaOf(*command);
    EXPECT_LE(area.left, 70);
    EXPECT_GE(area.bottom, 340);
    rest->MakeComposedText();
    document->Undo();
    EXPECT_GE(areaOf(*command).bottom, 340);
    // A key that the caption does not show leaves the second frame as it was.
    rest->MakeComposedText();
    EXPECT_LT(areaOf(*Set("author", "Somebody", {order.single})).bottom, 300);
}

// After a reload

class ReloadedArticles : public Tagging {
protected:
    int NumberOf(Node const& node) const { return Find(node)->GetArticleIndex(); }
    Kernel::Counted<ExportTaggingInterface> Find(Node const& node) const {
        return Kernel::Cast<ExportTaggingInterface>(document->GetDocument()->FindNode(node.GetId()));
    }
    Kernel::Counted<ExportArticleCollector> MakeEntry(Kernel::Counted<Node> node) {
        return ExampleDocuments::MakeEntry(std::move(node));
    }
};

TEST_F(ReloadedArticles, KeepNumbersNamesAndWhatIsHidden) {
    order.middle->SetHide(true, true);
    Reopen();
    auto const article = document->GetDocument()->GetArticle(2);
    EXPECT_EQ("Middle", article->GetName());
    EXPECT_TRUE(article->IsHidden());
    EXPECT_TRUE(article->IsAutoHide());
    EXPECT_EQ(3u, Entry(2)->GetMembers().size());
    EXPECT_EQ(2, article->GetNumber());
}

TEST_F(ReloadedArticles, ThatWereDissolvedGetNoMembersBack) {
    document->Run(MakeCounted<DeleteExportArticleCommand>(2));
    Reopen();
    document->Undo();
    EXPECT_TRUE(document->GetDocument()->GetArticle(2));
    EXPECT_TRUE(Entry(2)->GetMembers().empty());
    EXPECT_EQ(-1, NumberOf(*order.members[0]));
    EXPECT_EQ(4, NumberOf(*order.note));
    document->Redo();
    EXPECT_EQ(3, NumberOf(*order.members[1]));
}

TEST_F(ReloadedArticles, ThatWereMovedAreMovedBackAndThenToTheStart) {
    document->Run(MakeCounted<MoveExportArticlesCommand>(Collectors{Entry(0)}, 2));
    EXPECT_EQ(2, order.opening->GetArticleIndex());
    EXPECT_EQ(5, order.included->GetArticleIndex());
    Reopen();
    document->Undo();
    EXPECT_EQ(0, NumberOf(*order.opening));
    EXPECT_EQ(1, NumberOf(*order.single));
    EXPECT_EQ(-1, NumberOf(*order.included));
    document->Redo();
    EXPECT_EQ(0, NumberOf(*order.opening));
    EXPECT_EQ(-1, NumberOf(*order.included));
}

TEST_F(ReloadedArticles, ThatTookEntriesLetThemGoAndThenLoseThem) {
    document->Run(MakeCounted<ReparentExportArticlesCommand>(Collectors{MakeEntry(order.opening)}, 3, -1));
    Reopen();
    document->Undo();
    EXPECT_EQ(0, NumberOf(*order.opening));
    EXPECT_EQ(0, Find(*order.opening)->GetSequenceIndex());
    EXPECT_EQ(1, Find(*order.second)->GetSequenceIndex());
    document->Redo();
    EXPECT_EQ(-1, NumberOf(*order.opening));
}

TEST_F(ReloadedArticles, ThatWereRenamedKeepTheirNewName) {
    document->Run(MakeCounted<RenameExportArticleCommand>(Entry(2), "New"));
    Reopen();
    document->Undo();
    EXPECT_EQ("New", document->GetDocument()->GetArticle(2)->GetName());
    document->Redo();
    document->Run(MakeCounted<RenameExportArticleCommand>(Entry(2), "Newer"));
    EXPECT_EQ(2u, document->GetHistory()->GetCount()) << "a loaded step takes no newer one over";
}

} // namespace
