// SPDX-License-Identifier: Apache-2.0
#include "platform/document/alter_toc_command.h"
#include "platform/document/toc_visitor.h"
#include "platform/story/generated_text.h"
#include "tests/examples/scenes/contents_documents.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using ExampleDocuments::c_tocStyle;

Story::GeneratedParagraph Make(std::u32string_view text, char const* style, Story::TocAttRef const& toc = {}) {
    auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
    atts->Set(Story::ParagraphAtt::String::StyleName, style);
    if (toc)
        atts->Set(Story::ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(toc.get()));
    return {Story::GlyphString(text), atts, {}};
}

// A frame with a table, and behind it the headings that it lists.
struct Contents {
    Contents(Kernel::RectT<double> const& rect, std::vector<std::u32string> const& headings) {
        ExampleDocuments::TextsWithContents(*controller, {});
        auto const spread = controller->GetCurrentSpread();
        while (auto* const old = spread->GetFirstChild(NodeChildListType::Plain))
            old->RemoveFromParent();
        frame = Kernel::MakeCounted<FrameTextNode>(rect);
        ExampleDocuments::Append(*spread, frame);
        std::vector<Story::GeneratedParagraph> paragraphs{
            Make(U"not made yet", "Contents 1", Kernel::MakeCounted<Story::TocAtt>(c_tocStyle, 1u))};
        for (auto const& words : headings)
            paragraphs.push_back(Make(words, "Heading 1"));
        auto const story = Kernel::MakeCounted<Story::Story>();
        Story::ReplaceWithParagraphs(*story, story->GetAll(), paragraphs);
        frame->SetStory(story);
        frame->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    }
    void Update() { controller->Run(AlterTocCommand::MakeUpdateTocs()); }
    TocVisitor::Table FindTable() const {
        TocVisitor visitor;
        visitor.Visit(Kernel::JailCounted<Node>(controller->GetDocument().get()), {});
        return visitor.GetTables().at(0);
    }
    std::string GetTable() const {
        auto const table = FindTable();
        return table.text->GetStory()->GetString(table.range).ToStdString();
    }
    // Whether the frame has room for what stands behind the table.
    bool IsHeadingShown() const { return frame->GetTextFlow()->FindNode(FindTable().range.end).has_value(); }

    Kernel::Counted<DocumentController> controller = DocumentController::CreateNew({794, 1123}, Raster::FormatRGBA8, 1);
    Kernel::Counted<FrameTextNode> frame;
};

// A page number that makes its line longer can push its heading out of the frame. The line then has no number, is
// shorter, and the heading is back on the page.
TEST(TocLimits, PageNumbersThatNeverSettleEndInOneOfTheirStates) {
    std::string const separator = ", which you find far behind in this book, where nobody would look for it, on page ";
    std::string const without = "What is in it\nA section\n", with = "What is in it\nA section" + separator + "1\n";
    auto const make = [&](double height) {
        auto contents = std::make_unique<Contents>(Kernel::RectT<double>{50, 50, 250, 50 + height},
                                                   std::vector<std::u32string>{U"A section"});
        Story::TocEntry entry;
        entry.listedStyle = "Heading 1";
        entry.separator = Kernel::String(separator);
        auto const document = contents->controller->GetDocument();
        document->SetTextStyleSheet(document->GetTextStyleSheet()->With(
            Kernel::MakeCounted<Story::TocEntryStyle const>("Book: 1", c_tocStyle, entry)));
        contents->Update();
        return contents;
    };
    int settledWith = 0, settledWithout = 0, unsettled = 0;
    for (double height = 20; height <= 200; height += 2) {
        auto const contents = make(height);
        auto const table = contents->GetTable();
        ASSERT_TRUE(table == with || table == without) << table;
        if ((table == with) == contents->IsHeadingShown()) {
            ++(table == with ? settledWith : settledWithout);
            continue;
        }
        ++unsettled;
        EXPECT_EQ(make(height)->GetTable(), table) << height;
        auto const after = contents->controller->GetHash(false);
        contents->controller->Undo();
        EXPECT_EQ(contents->GetTable(), "not made yet\n");
        contents->controller->Redo();
        EXPECT_EQ(contents->controller->GetHash(false), after);
    }
    EXPECT_GT(settledWithout, 0);
    EXPECT_GT(unsettled, 0);
    EXPECT_GT(settledWith, 0);
}

TEST(TocLimits, HeadingsOfAMillionLettersHaveALineOfAThousand) {
    std::u32string words;
    while (words.size() < 1'000'000)
        words += U"whale ";
    std::u32string const letters(1'000'000, U'w');
    Contents contents({50, 50, 750, 1100}, {words, letters, U"The end"});
    contents.Update();
    auto const table = contents.GetTable();
    auto const end = table.find("\xE2\x80\xA6");
    ASSERT_NE(end, table.npos);
    EXPECT_TRUE(table.starts_with("What is in it\nwhale whale "));
    EXPECT_LE(end, std::string("What is in it\n").size() + 1000);
    EXPECT_GE(end, 900u);
    EXPECT_NE(table.find(std::string(999, 'w') + "\xE2\x80\xA6"), table.npos);
    EXPECT_EQ(table.find(std::string(1000, 'w')), table.npos);
    EXPECT_NE(table.find("The end"), table.npos);
    EXPECT_LT(table.size(), 2200u);
}

} // namespace
