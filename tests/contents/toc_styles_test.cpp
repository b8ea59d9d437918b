// SPDX-License-Identifier: Apache-2.0
#include "contents/delete_toc_style_command.h"
#include "contents/rename_toc_style_command.h"
#include "contents/toc_style_arguments.h"
#include "contents/update_toc_style_command.h"
#include "platform/document/toc_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/story/generated_text.h"
#include "tests/examples/scenes/contents_documents.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using ExampleDocuments::c_tocStyle;
using Names = std::vector<std::string>;

Kernel::String DefaultName() { return Story::TocAtt::GetDefaultTocStyleName().GetText(); }

class TocStyles : public testing::Test {
protected:
    void Prepare(std::vector<Kernel::String> const& styles) {
        texts = ExampleDocuments::TextsWithContents(*controller, styles);
        controller->Run(AlterTocCommand::MakeUpdateTocs());
    }
    Kernel::Counted<Story::Style const> GetStyle(Kernel::String const& name) const {
        return controller->GetDocument()->GetTextStyleSheet()->GetStyle(name);
    }
    std::vector<TocVisitor::Table> GetTables() const {
        TocVisitor visitor;
        visitor.Visit(Kernel::JailCounted<Node>(controller->GetDocument().get()), {});
        return visitor.GetTables();
    }
    Names GetStylesOfTables() const {
        Names names;
        for (auto const& table : GetTables())
            names.push_back(table.toc->GetTocStyleName().ToStdString());
        return names;
    }
    std::string GetText(std::size_t table) const {
        auto const found = GetTables().at(table);
        return found.text->GetStory()->GetString(found.range).ToStdString();
    }
    template <class C>
    Kernel::Counted<C> Run(Kernel::Counted<C> command) {
        auto const before = controller->GetHash(false);
        controller->Run(command);
        auto const after = controller->GetHash(false);
        controller->Undo();
        EXPECT_EQ(controller->GetHash(false), before);
        controller->Redo();
        EXPECT_EQ(controller->GetHash(false), after);
        return command;
    }

    Kernel::Counted<DocumentController> controller = DocumentController::CreateNew({794, 1123}, Raster::FormatRGBA8, 1);
    ExampleDocuments::ContentsTexts texts;
};

TEST_F(TocStyles, TablesListHeadingsWithTheirPages) {
    Prepare({c_tocStyle, c_tocStyle});
    for (std::size_t table : {0u, 1u})
        EXPECT_EQ(GetText(table), "What is in it\nThe first chapter\t1\nA section\t1\nThe second chapter\t1\n");
}

TEST_F(TocStyles, DeletingTheDefaultStyleMakesItAgainAndTablesStayOnIt) {
    Prepare({DefaultName(), c_tocStyle});
    auto const old = GetStyle(DefaultName());
    auto const command = Run(Kernel::MakeCounted<DeleteTocStyleCommand>(DefaultName()));
    ASSERT_TRUE(GetStyle(DefaultName()));
    EXPECT_NE(GetStyle(DefaultName()), old);
    EXPECT_EQ(GetStylesOfTables(), (Names{DefaultName().ToStdString(), c_tocStyle}));
    // The old one is deleted before the new one is set.
    ASSERT_EQ(command->GetTextStyleCommands().size(), 2u);
    EXPECT_FALSE(command->GetTextStyleCommands()[0]->GetStyle());
    EXPECT_TRUE(command->GetTextStyleCommands()[1]->GetStyle());
    EXPECT_EQ(command->GetAlterCommands().size(), 1u);
}

TEST_F(TocStyles, DeletingAStyleMovesItsTablesToTheDefaultOne) {
    Prepare({c_tocStyle, DefaultName(), c_tocStyle});
    auto const command = Run(Kernel::MakeCounted<DeleteTocStyleCommand>(c_tocStyle));
    auto const name = DefaultName().ToStdString();
    EXPECT_EQ(GetStylesOfTables(), (Names{name, name, name}));
    EXPECT_EQ(command->GetAlterCommands().size(), 2u);
    // Entry styles go first, in the order of the sheet.
    Names deleted;
    for (auto const& inner : command->GetTextStyleCommands())
        deleted.push_back(inner->GetName().ToStdString());
    EXPECT_EQ(deleted, (Names{"Book: 1", "Book: 2", c_tocStyle}));
}

TEST_F(TocStyles, DeletingAStyleThatNoTableUsesDeletesItsEntryStyles) {
    Prepare({DefaultName()});
    auto const command = Run(Kernel::MakeCounted<DeleteTocStyleCommand>(c_tocStyle));
    for (auto const* name : {"Book", "Book: 1", "Book: 2"})
        EXPECT_FALSE(GetStyle(name)) << name;
    EXPECT_TRUE(GetStyle("Heading 1"));
    EXPECT_TRUE(command->GetAlterCommands().empty());
}

TEST_F(TocStyles, DeletingWithoutAnyTableStopsAfterTheSheetEvenForTheDefaultStyle) {
    Prepare({});
    auto const sheet = controller->GetDocument()->GetTextStyleSheet();
    controller->GetDocument()->SetTextStyleSheet(sheet->With(
        Kernel::MakeCounted<Story::TocStyle const>(DefaultName(), ExampleDocuments::MakeTocDefinition("Contents"))));
    auto const command = Run(Kernel::MakeCounted<DeleteTocStyleCommand>(DefaultName()));
    EXPECT_FALSE(GetStyle(DefaultName()));
    EXPECT_EQ(command->GetTextStyleCommands().size(), 1u);
    EXPECT_TRUE(command->GetAlterCommands().empty());
}

TEST_F(TocStyles, ARenamedStyleKeepsItsTablesAndEntryStylesKeepItsOldName) {
    Prepare({c_tocStyle, c_tocStyle});
    auto const text = GetText(0);
    auto const command = Run(Kernel::MakeCounted<RenameTocStyleCommand>(c_tocStyle, "Novel"));
    EXPECT_EQ(GetStylesOfTables(), (Names{"Novel", "Novel"}));
    EXPECT_EQ(command->GetAlterCommands().size(), 2u);
    EXPECT_EQ(command->GetTextStyleCommands().size(), 1u);
    EXPECT_FALSE(GetStyle(c_tocStyle));
    ASSERT_TRUE(GetStyle("Novel"));
    auto const delta =
        Story::GetTocStyleDeltaFromDelta(Kernel::NonCounted<Story::Delta const>(GetStyle("Novel")->GetDelta().get()));
    ASSERT_TRUE(delta);
    EXPECT_EQ(delta->GetTocAtt()->GetTocStyleName(), "Novel");
    ASSERT_TRUE(GetStyle("Book: 1"));
    EXPECT_EQ(GetStyle("Book: 1")->GetTocStyleName(), Kernel::String(c_tocStyle));
    EXPECT_EQ(GetText(0), text);
    EXPECT_EQ(GetText(1), text);
}

TEST_F(TocStyles, RenamingAParagraphStyleDoesNothing) {
    Prepare({c_tocStyle});
    auto const before = controller->GetHash(false);
    auto const command = Run(Kernel::MakeCounted<RenameTocStyleCommand>("Heading 1", "Chapter"));
    EXPECT_EQ(controller->GetHash(false), before);
    EXPECT_TRUE(command->GetTextStyleCommands().empty());
    EXPECT_TRUE(command->GetAlterCommands().empty());
}

TEST_F(TocStyles, UpdatingTakesTheTableOfTheCaretLast) {
    Prepare({c_tocStyle, DefaultName(), c_tocStyle, c_tocStyle});
    controller->SetSelection(ExampleDocuments::MakeCaretInTable(*controller, 0), false);
    auto const command =
        Run(Kernel::MakeCounted<UpdateTocStyleCommand>(c_tocStyle, ExampleDocuments::MakeTocDefinition("Chapters")));
    std::vector<bool> flags;
    std::vector<std::uint32_t> ids;
    for (auto const& alter : command->GetAlterCommands()) {
        flags.push_back(alter->m_isNotLast);
        ids.push_back(alter->GetToc()->GetId());
    }
    EXPECT_EQ(flags, (std::vector<bool>{true, true, false}));
    EXPECT_EQ(ids, (std::vector<std::uint32_t>{3, 4, 1}));
    for (std::size_t table : {0u, 2u, 3u})
        EXPECT_EQ(GetText(table), "Chapters\nThe first chapter\t1\nA section\t1\nThe second chapter\t1\n");
    EXPECT_EQ(GetText(1).substr(0, 8), "Contents");
}

TEST_F(TocStyles, UpdatingAnUnknownStyleDoesNothing) {
    Prepare({c_tocStyle});
    auto const before = controller->GetHash(false);
    auto const command =
        Run(Kernel::MakeCounted<UpdateTocStyleCommand>("Other", ExampleDocuments::MakeTocDefinition("Chapters")));
    EXPECT_EQ(controller->GetHash(false), before);
    EXPECT_FALSE(command->GetSetStyleCommand());
}

// Copies of a table are altered with it: the command for the second one finds no table that still has the old style.
TEST_F(TocStyles, ATableThatCannotBeAlteredIsSkipped) {
    Prepare({c_tocStyle});
    auto const story = texts.head->GetStory()->Clone();
    Story::GeneratedParagraph copy{
        Story::GlyphString(U"a copy"), GetTables()[0].text->GetStory()->GetParagraphAtts(0), {}};
    Story::ReplaceWithParagraphs(*story, {story->GetLength(), story->GetLength()}, {copy});
    texts.head->SetStory(story);
    ASSERT_EQ(GetTables().size(), 2u);
    auto const command = Run(Kernel::MakeCounted<RenameTocStyleCommand>(c_tocStyle, "Novel"));
    EXPECT_EQ(command->GetAlterCommands().size(), 1u);
    EXPECT_EQ(GetStylesOfTables(), (Names{"Novel", "Novel"}));
    EXPECT_EQ(GetText(0), GetText(1));
}

TEST(TocStyleArgument, IsATitleWithItsStyle) {
    TocStyleArgument const argument{"In brief", "Small title"};
    auto const definition = static_cast<Kernel::Counted<Story::TocStyleDelta const>>(argument)->GetTocAtt();
    EXPECT_EQ(definition->GetTitle(), "In brief");
    EXPECT_EQ(definition->GetTitleStyleName(), "Small title");
}

} // namespace
