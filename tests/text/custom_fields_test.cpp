// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"
#include "platform/document/text_commands.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/field_glyphs.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/add_custom_field_command.h"
#include "text/create_custom_field_from_text_command.h"
#include "text/delete_custom_field_command.h"
#include "text/rename_custom_field_command.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using ExampleDocuments::c_titleField;
using Kernel::MakeCounted;

class CustomFields : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        texts = ExampleDocuments::TextsWithFields(*document);
    }
    CustomFieldSource& Source() const { return document->GetDocument()->GetCustomFieldSource(); }
    static Kernel::String Text(FrameTextNode const& frame) {
        auto const story = frame.GetStory();
        return story->GetString(story->GetClientAll());
    }
    static int CountFields(FrameTextNode const& frame, char const* guid) {
        int count = 0;
        auto const story = frame.GetStory();
        for (std::uint32_t i = 0; i != story->GetLength(); ++i) {
            auto const field = Kernel::Cast<Story::CustomFieldGlyph const>(story->GetGlyph(i));
            count += field && field->GetCustomFieldGuid() == guid;
        }
        return count;
    }
    static Kernel::Counted<Selection const> Select(Kernel::Counted<Node> const& frame,
                                                   std::vector<Story::SelectionRange> ranges) {
        return Kernel::MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(std::move(ranges)));
    }
    Kernel::Counted<FrameTextNode> AddText(char32_t const* text) {
        auto const frame = MakeCounted<FrameTextNode>(Kernel::RectT<double>{300, 300, 500, 400});
        frame->SetText(Story::GlyphString(text), {}, {});
        ExampleDocuments::Append(*document->GetCurrentSpread(), frame);
        return frame;
    }
    // Whether each notification of a changed catalogue told of a new field, in their order.
    static std::vector<bool> ToldBy(DocumentCommand& command) {
        Kernel::NotificationList told;
        command.Notify(told);
        std::vector<bool> result;
        for (auto const& each : told) {
            if (auto const fields = Kernel::Cast<AvailableFieldsChangedNotification>(each))
                result.push_back(fields->HaveNamesChanged());
        }
        return result;
    }

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::FieldTexts texts;
};

TEST_F(CustomFields, ThatNoTextUsesAreDeletedWithoutExpansion) {
    Source().AddField("field-year", "Year", "1851");
    auto const command = MakeCounted<DeleteCustomFieldCommand>("field-year");
    document->Run(command);
    EXPECT_TRUE(command->GetExpandCommands().empty());
    EXPECT_FALSE(Source().Has("field-year"));
    document->Undo();
    EXPECT_EQ("Year", Source().GetFieldName("field-year"));
    EXPECT_EQ("1851", Source().GetFieldValue("field-year"));
}

// Three times in one story is one expansion of three ranges; the second story has one of its own.
TEST_F(CustomFields, ThatTwoTextsUseAreExpandedOnceInEach) {
    ASSERT_EQ(3, CountFields(*texts.head, c_titleField));
    ASSERT_EQ(1, CountFields(*texts.other, c_titleField));
    auto const before = document->GetHash(false);
    auto const command = MakeCounted<DeleteCustomFieldCommand>(c_titleField);
    document->Run(command);
    ASSERT_EQ(2u, command->GetExpandCommands().size());
    std::vector<std::size_t> counts;
    for (auto const& expand : command->GetExpandCommands()) {
        auto const selection = expand->GetSelection();
        ASSERT_EQ(1u, selection->size());
        auto const item = Kernel::Cast<SubSelectionItem const>(*selection->begin());
        ASSERT_TRUE(item);
        counts.push_back(Kernel::Cast<TextSelection const>(item->GetSubSelection())->GetRanges().size());
    }
    std::ranges::sort(counts);
    EXPECT_EQ((std::vector<std::size_t>{1, 3}), counts);
    EXPECT_EQ(0, CountFields(*texts.head, c_titleField));
    EXPECT_EQ(1, CountFields(*texts.head, ExampleDocuments::c_authorField));
    EXPECT_TRUE(Text(*texts.head).view().starts_with("This is Of Anchors, by "));
    EXPECT_TRUE(Text(*texts.head).view().ends_with("Of Anchors"));
    EXPECT_EQ("Running head: Of Anchors", Text(*texts.other));
    EXPECT_FALSE(Source().Has(c_titleField));
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    document->Redo();
    EXPECT_EQ("Running head: Of Anchors", Text(*texts.other));
}

TEST_F(CustomFields, ThatStandBesideADeletedOneStayFields) {
    Source().AddField("field-year", "Year", "1851");
    Source().AddField("field-place", "Place", "Nantucket");
    Story::GlyphString text(U"In ");
    text.Add(Kernel::Counted<Story::Glyph const>(MakeCounted<Story::CustomFieldGlyph>("field-year")));
    text.Add(Kernel::Counted<Story::Glyph const>(MakeCounted<Story::CustomFieldGlyph>("field-place")));
    auto const frame = AddText(U"");
    frame->SetText(text, {}, {});
    document->Run(MakeCounted<DeleteCustomFieldCommand>("field-year"));
    EXPECT_EQ(0, CountFields(*frame, "field-year"));
    EXPECT_EQ(1, CountFields(*frame, "field-place"));
}

TEST_F(CustomFields, AreMadeOfOneRangeOfPlainText) {
    auto const can = [](Kernel::Counted<Selection const> const& selection) {
        return CreateCustomFieldFromTextCommand::CanCreateCustomFieldFromSelection(selection);
    };
    auto const frame = AddText(U"First line\nSecond line");
    EXPECT_TRUE(can(Select(frame, {{0, 5}})));
    EXPECT_TRUE(can(Select(frame, {{5, 0}})));
    EXPECT_FALSE(can(Select(frame, {{0, 5}, {11, 17}}))) << "two ranges";
    EXPECT_FALSE(can(Select(frame, {{6, 15}}))) << "a hard break";
    EXPECT_FALSE(can(Select(frame, {{5, 6}}))) << "nothing but white space";
    EXPECT_FALSE(can(Select(frame, {{5, 5}}))) << "nothing";
    EXPECT_FALSE(can(MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{})));
    EXPECT_FALSE(can({}));
    auto const story = frame->GetMutableStory(true);
    story->ReplaceText(
        {2, 2}, Story::GlyphString(Kernel::Counted<Story::Glyph const>(MakeCounted<Story::FillerTextGlyph>(4u))));
    EXPECT_FALSE(can(Select(frame, {{0, 5}}))) << "filler text";
    EXPECT_TRUE(can(Select(frame, {{3, 6}})));
}

TEST_F(CustomFields, SuggestTheFirstWordAsAName) {
    auto const suggest = [](Kernel::Counted<Selection const> const& selection) {
        Kernel::String name("kept"), value("kept");
        CreateCustomFieldFromTextCommand::GetSuggestedNameAndValue(selection, name, value);
        return std::pair(name, value);
    };
    using Pair = std::pair<Kernel::String, Kernel::String>;
    auto const frame = AddText(U"  two words \nand");
    EXPECT_EQ(Pair("two", "two words"), suggest(Select(frame, {{0, 12}})));
    EXPECT_EQ(Pair("words", "words"), suggest(Select(frame, {{6, 11}})));
    EXPECT_EQ(Pair("", ""), suggest(Select(frame, {{0, 2}})));
    EXPECT_EQ(Pair("kept", "kept"), suggest({}));
    // A field shows as its result.
    EXPECT_EQ(Pair("Of", "Of Anchors"), suggest(Select(texts.other, {{14, 15}})));
}

TEST_F(CustomFields, TakeThePlaceOfTheText) {
    auto const frame = AddText(U"By a great author");
    document->SetSelection(Select(frame, {{3, 10}}), false);
    auto const before = document->GetHash(false);
    document->Run(MakeCounted<CreateCustomFieldFromTextCommand>("field-made", "Made", "a great"));
    EXPECT_EQ(1, CountFields(*frame, "field-made"));
    EXPECT_EQ("By  author", Text(*frame)) << "the field itself is no character";
    EXPECT_EQ("a great", Source().GetFieldValue("field-made"));
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    document->Redo();
    EXPECT_EQ(1, CountFields(*frame, "field-made"));
}

// Required: the text between two ranges goes with them.
TEST_F(CustomFields, OfTwoRangesTakeWhatLiesBetween) {
    auto const frame = AddText(U"one two three four");
    document->SetSelection(Select(frame, {{0, 3}, {8, 13}}), false);
    document->Run(MakeCounted<CreateCustomFieldFromTextCommand>("field-made", "Made", "one"));
    EXPECT_EQ(" four", Text(*frame));
}

TEST_F(CustomFields, WithoutSelectedTextLeaveTheTextAlone) {
    auto const frame = AddText(U"some words");
    document->SetSelection(Select(frame, {{4, 4}}), false);
    document->Run(MakeCounted<CreateCustomFieldFromTextCommand>("field-made", "Made", "one"));
    EXPECT_EQ("some words", Text(*frame));
    EXPECT_TRUE(Source().Has("field-made"));
}

TEST_F(CustomFields, OfAKnownIdentityAreRefused) {
    auto const before = document->GetHash(false);
    EXPECT_THROW(document->Run(MakeCounted<AddCustomFieldCommand>(c_titleField, "Again", "x")), Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(false));
}

// A later change of a new field is a part of the step that made it.
TEST_F(CustomFields, TakeOverNameAndValueWhileTheyAreNew) {
    auto const add = MakeCounted<AddCustomFieldCommand>("field-year", "Year", "1850");
    document->Run(add);
    auto const before = document->GetHash(false);
    EXPECT_TRUE(add->Merge(MakeCounted<RenameCustomFieldCommand>("field-year", "Printed")));
    EXPECT_TRUE(add->Merge(MakeCounted<SetCustomFieldValueCommand>("field-year", "1851")));
    EXPECT_FALSE(add->Merge(MakeCounted<RenameCustomFieldCommand>(c_titleField, "Printed")));
    EXPECT_FALSE(add->Merge(MakeCounted<SetCustomFieldValueCommand>(c_titleField, "1851")));
    EXPECT_FALSE(add->Merge(MakeCounted<DeleteCustomFieldCommand>("field-year")));
    document->Undo();
    EXPECT_FALSE(Source().Has("field-year"));
    document->Redo();
    EXPECT_NE(before, document->GetHash(false));
    EXPECT_EQ("Printed", Source().GetFieldName("field-year"));
    EXPECT_EQ("1851", Source().GetFieldValue("field-year"));
}

TEST_F(CustomFields, OfTheValueThatTheyHaveAreNoStep) {
    document->Run(MakeCounted<SetCustomFieldValueCommand>(c_titleField, "Of Anchors"));
    EXPECT_FALSE(document->CanUndo());
    document->Run(MakeCounted<SetCustomFieldValueCommand>(c_titleField, ""));
    EXPECT_TRUE(document->CanUndo());
    EXPECT_EQ("", Source().GetFieldValue(c_titleField));
    document->Undo();
    EXPECT_EQ("Of Anchors", Source().GetFieldValue(c_titleField));
}

// A document may have no selection at all.
TEST_F(CustomFields, AreNotMadeOfNoSelection) {
    document->SetSelection(nullptr, false);
    auto const before = texts.plain->GetStory();
    document->Run(MakeCounted<CreateCustomFieldFromTextCommand>("field-made", "Made", "one"));
    EXPECT_EQ(before, texts.plain->GetStory());
    document->Undo();
    EXPECT_FALSE(Source().Has("field-made"));
    document->Run(MakeCounted<FormatTextCommand>(Story::MakeDelta(Story::GlyphAtt::Double::Size, 9.0), nullptr));
    EXPECT_EQ(before, texts.plain->GetStory());
}

TEST_F(CustomFields, RenamedTwiceGoBackToTheFirstName) {
    auto const first = MakeCounted<RenameCustomFieldCommand>(c_titleField, "One");
    document->Run(first);
    auto const second = MakeCounted<RenameCustomFieldCommand>(c_titleField, "Two");
    EXPECT_FALSE(first->Merge(MakeCounted<RenameCustomFieldCommand>("field-author", "Two")));
    EXPECT_TRUE(first->Merge(second));
    document->Undo();
    EXPECT_EQ("Title", Source().GetFieldName(c_titleField));
    document->Redo();
    EXPECT_EQ("Two", Source().GetFieldName(c_titleField));
}

TEST_F(CustomFields, TellWhetherOneIsNew) {
    auto const frame = AddText(U"some words");
    document->SetSelection(Select(frame, {{0, 4}}), false);
    std::vector<std::pair<Kernel::Counted<DocumentCommand>, bool>> const commands{
        {MakeCounted<AddCustomFieldCommand>("field-a", "A", "a"), true},
        {MakeCounted<RenameCustomFieldCommand>("field-a", "B"), false},
        {MakeCounted<CreateCustomFieldFromTextCommand>("field-b", "C", "some"), true},
        {MakeCounted<DeleteCustomFieldCommand>(c_titleField), false}};
    for (auto const& [command, isNew] : commands) {
        document->Run(command);
        EXPECT_EQ(std::vector<bool>{isNew}, ToldBy(*command));
        document->Undo();
        EXPECT_EQ(std::vector<bool>{isNew}, ToldBy(*command)) << "whichever way it went";
        document->Redo();
    }
}

} // namespace
