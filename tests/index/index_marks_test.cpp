// SPDX-License-Identifier: Apache-2.0
#include "index/insert_index_mark_with_new_topic_command.h"
#include "platform/document/index_preview.h"
#include "platform/document/tool.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "tests/examples/scenes/index_documents.h"
#include "tests/examples/scenes/text_documents.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Topic = Kernel::Counted<Story::IndexTopic const>;

class IndexMarks : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        texts = ExampleDocuments::TextsWithIndexMarks(*document);
    }
    Story::Index& Index() const { return document->GetDocument()->GetIndex(); }
    Kernel::Counted<DocumentCommand> Make(Topic const& topic, Topic const& parent, char const* name,
                                          char const* parentName, Kernel::String const& style = {}) {
        return InsertIndexMarkWithNewTopicCommand::MakeInsertIndexMarkCommand(
            document, topic, parent, name, parentName,
            MakeCounted<Selection const>(texts.other, MakeCounted<TextSelection>(3, 8)), style, false);
    }
    static std::vector<Kernel::String> NamesOf(Kernel::Counted<DocumentCommand> const& command) {
        auto const composite = Kernel::Cast<InsertIndexMarkWithNewTopicCommand>(command);
        return composite ? composite->GetAddTopicCommand()->GetNames() : std::vector<Kernel::String>();
    }
    // Puts a text with its caret, or its selected part, at the given places, and asks.
    std::string Suggest(Story::GlyphString const& text, int begin, int end) {
        auto const frame = MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 450, 500, 550});
        frame->SetText(text, {}, {});
        ExampleDocuments::Append(*document->GetCurrentSpread(), frame);
        document->SetSelection(MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(begin, end)), false);
        selection.reset();
        return InsertIndexMarkWithNewTopicCommand::SuggestIndexTopic(MakeCounted<Tool>(document), selection)
            .ToStdString();
    }
    Story::StoryRange GetSelected() const {
        auto const text = selection->MakeFirstStorySelection(false);
        return text.GetMaxRange();
    }

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::IndexTexts texts;
    Kernel::Counted<Selection const> selection;
};

TEST_F(IndexMarks, StyleThatIsNoneIsEmpty) {
    auto const none = Story::Style::GetNoneName().ToString();
    auto const plain = Kernel::Cast<InsertIndexMarkCommand>(Make(texts.ships, nullptr, "", "", none));
    ASSERT_TRUE(plain);
    EXPECT_TRUE(plain->GetStyleName().empty());
    EXPECT_EQ("Bold", Kernel::Cast<InsertIndexMarkCommand>(Make(texts.ships, nullptr, "", "", "Bold"))->GetStyleName());
    document->Run(Make(nullptr, nullptr, "New", "", none));
    auto const added = ExampleDocuments::FindTopic(*document, "New");
    auto const marks = document->GetDocument()->GetIndexMarks(false, false, true)->GetMarksForTopic(added);
    ASSERT_EQ(1u, marks.size());
    EXPECT_TRUE(marks.front()->GetStyleName().empty());
}

TEST_F(IndexMarks, OfTopicsThatAreThereArePlain) {
    auto const found = Kernel::Cast<InsertIndexMarkCommand>(Make(nullptr, nullptr, "Whales", "Animals"));
    ASSERT_TRUE(found);
    EXPECT_EQ(texts.whales, found->GetTopic());
    EXPECT_EQ(
        texts.spermWhale,
        Kernel::Cast<InsertIndexMarkCommand>(Make(nullptr, nullptr, "Sperm whale", "Animals/Whales"))->GetTopic());
    // The same name elsewhere is another topic.
    EXPECT_FALSE(Kernel::Cast<InsertIndexMarkCommand>(Make(nullptr, nullptr, "Whales", "Ships")));
    EXPECT_FALSE(Kernel::Cast<InsertIndexMarkCommand>(Make(nullptr, nullptr, "Whales", "")));
}

TEST_F(IndexMarks, ParentThatIsNotTheOneNamedIsDropped) {
    auto const dropped = Make(nullptr, texts.animals, "Cats", "Pets");
    EXPECT_EQ((std::vector<Kernel::String>{"Pets", "Cats"}), NamesOf(dropped));
    EXPECT_FALSE(Kernel::Cast<InsertIndexMarkWithNewTopicCommand>(dropped)->GetAddTopicCommand()->GetParent());
    // A name of the parent alone is not its full name.
    EXPECT_EQ(2u, NamesOf(Make(nullptr, texts.whales, "Blue", "Whales")).size());
    auto const kept = Make(nullptr, texts.whales, "Blue", "ANIMALS/whales");
    EXPECT_EQ((std::vector<Kernel::String>{"Blue"}), NamesOf(kept));
    EXPECT_EQ(texts.whales, Kernel::Cast<InsertIndexMarkWithNewTopicCommand>(kept)->GetAddTopicCommand()->GetParent());
}

TEST_F(IndexMarks, WithoutAParentItsNameIsLookedUp) {
    EXPECT_EQ((std::vector<Kernel::String>{"Cats"}), NamesOf(Make(nullptr, nullptr, "Cats", "Animals")));
    EXPECT_EQ((std::vector<Kernel::String>{"Pets", "Cats"}), NamesOf(Make(nullptr, nullptr, "Cats", "Pets")));
    EXPECT_EQ((std::vector<Kernel::String>{"Cats"}), NamesOf(Make(nullptr, nullptr, "Cats", "")));
}

TEST_F(IndexMarks, WithNewTopicsGoAndComeWithThem) {
    auto const before = document->GetHash(false);
    auto const length = texts.other->GetStory()->GetLength();
    auto const text = texts.other->GetStory()->GetString(texts.other->GetStory()->GetAll());
    document->Run(Make(nullptr, nullptr, "Cats", "Pets"));
    auto const cats = ExampleDocuments::FindTopic(*document, "Pets/Cats");
    ASSERT_TRUE(cats);
    // In front of what is selected, which stays.
    EXPECT_EQ(length + 1, texts.other->GetStory()->GetLength());
    EXPECT_EQ(text, texts.other->GetStory()->GetString(texts.other->GetStory()->GetAll()));
    EXPECT_TRUE(Story::IsIndexMarkGlyph(*texts.other->GetStory()->GetGlyph(3)));
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    document->Redo();
    EXPECT_EQ(cats, ExampleDocuments::FindTopic(*document, "Pets/Cats"));
}

TEST_F(IndexMarks, WithoutAnAddedTopicThereIsNone) {
    auto const before = document->GetHash(false);
    auto const command = Kernel::Cast<InsertIndexMarkWithNewTopicCommand>(Make(nullptr, nullptr, "", ""));
    ASSERT_TRUE(command);
    document->Run(command);
    EXPECT_FALSE(command->GetInsertMarkCommand());
    EXPECT_EQ(before, document->GetHash(false));
    command->Undo();
    command->Redo();
    EXPECT_EQ(before, document->GetHash(false));
    Kernel::NotificationList told;
    command->Notify(told);
    EXPECT_EQ(1u, told.size());
}

TEST_F(IndexMarks, LevelsThatAreThereCanBeUsedAgain) {
    auto const reuse = MakeCounted<AddIndexTopicCommand>(
        std::vector<Kernel::String>{"Animals", "", "Whales", "Blue whale"}, nullptr, true);
    document->Run(reuse);
    EXPECT_EQ("Animals/Whales/Blue whale", reuse->GetAddedTopic()->GetNameWithParents());
    EXPECT_EQ(texts.whales, reuse->GetAddedTopic()->GetParent());
    auto const anew =
        MakeCounted<AddIndexTopicCommand>(std::vector<Kernel::String>{"Animals", "Whales"}, nullptr, false);
    document->Run(anew);
    EXPECT_NE(texts.whales, anew->GetAddedTopic());
    EXPECT_EQ("Animals/Whales", anew->GetAddedTopic()->GetNameWithParents());
}

TEST_F(IndexMarks, OfATopicOutsideTheIndexAreRefused) {
    auto const stranger = MakeCounted<Story::IndexTopic>("Stranger");
    EXPECT_THROW(document->Run(MakeCounted<InsertIndexMarkCommand>(stranger, "")), Kernel::Exception);
}

TEST_F(IndexMarks, ShortSelectionSuggestsItsText) {
    std::u32string text = U"word ";
    while (text.size() < 100)
        text += U"abcd ";
    auto const utf8 = [&](std::size_t length) {
        return std::string(text.begin(), text.begin() + static_cast<int>(length));
    };
    EXPECT_EQ(utf8(79), Suggest(Story::GlyphString(text), 0, 79));
    EXPECT_EQ((Story::StoryRange{0, 0}), GetSelected());
    EXPECT_EQ("word", Suggest(Story::GlyphString(text), 0, 80));
    EXPECT_EQ((Story::StoryRange{0, 4}), GetSelected());
    // On one line, and without what does not show.
    EXPECT_EQ("two lines", Suggest(Story::GlyphString(U"two\nli\u00ADnes"), 0, 10));
}

TEST_F(IndexMarks, WordThatEndsInMarksIsSuggestedAtItsEnd) {
    Story::GlyphString text(U"the whale");
    text.Add(Kernel::Counted<Story::Glyph const>(MakeCounted<Story::IndexMarkGlyph>(texts.whales)));
    text.Add(U" swims");
    // In front of the mark and behind it.
    for (int const caret : {9, 10}) {
        EXPECT_EQ("whale", Suggest(text, caret, caret)) << caret;
        EXPECT_EQ((Story::StoryRange{4, 9}), GetSelected()) << caret;
    }
    EXPECT_EQ("whale", Suggest(text, 6, 6));
    EXPECT_EQ("whale", Suggest(text, 4, 4));
}

TEST_F(IndexMarks, WhiteSpaceSuggestsTheNextWord) {
    EXPECT_EQ("two", Suggest(Story::GlyphString(U"one   two"), 4, 4));
    EXPECT_EQ((Story::StoryRange{6, 9}), GetSelected());
    EXPECT_EQ("first", Suggest(Story::GlyphString(U"  first"), 0, 0));
    EXPECT_EQ("", Suggest(Story::GlyphString(U"last.  "), 6, 6));
}

TEST_F(IndexMarks, WithoutATextNothingIsSuggested) {
    document->SetSelection(MakeCounted<Selection const>(), false);
    selection = MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{texts.head});
    auto const given = selection;
    EXPECT_EQ(
        "",
        InsertIndexMarkWithNewTopicCommand::SuggestIndexTopic(MakeCounted<Tool>(document), selection).ToStdString());
    EXPECT_EQ(given, selection);
}

} // namespace
