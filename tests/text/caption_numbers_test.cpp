// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/text_commands.h"
#include "platform/document/text_field_data_source.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/kernel/cast.h"
#include "platform/story/cross_reference.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/field_documents.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"
#include "text/add_caption_command.h"
#include "text/caption_arguments.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;

// A document of three pages of 600 by 600, each a spread.
class CaptionNumbering : public testing::Test {
protected:
    void SetUp() override { document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 3); }
    Kernel::Counted<ShapeNode> AddShape(std::size_t page, double left = 100) {
        auto const shape = ExampleDocuments::MakeRectangle({left, 100, left + 80, 150}, 1, 0, 0);
        document->GetDocument()->GetSpreads()[page]->InsertChild(NodeChildListType::Plain, shape, nullptr);
        return shape;
    }
    Kernel::Counted<AddCaptionCommand> Caption(Kernel::Counted<Node> const& object, char const* counter,
                                               char const* text = "No. {number}") {
        CaptionArgument argument;
        argument.text = text;
        argument.counter = counter;
        argument.width = 50;
        auto const command =
            MakeCounted<AddCaptionCommand>(argument, MakeCounted<Selection const>(std::vector{object}), false);
        document->Run(command);
        return command;
    }
    static std::string Shown(Kernel::Counted<Node> const& object) {
        auto const caption =
            Kernel::Cast<FrameTextNode>(Kernel::Counted<Node>(object->GetLastChild(NodeChildListType::Captions)));
        auto const frame = caption->MakeComposedText();
        std::u32string text;
        for (auto const& column : *frame) {
            for (auto const& line : *column) {
                for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
                    bool const isSeen = (line.GetCompositionFlags(i) & Story::CompositionFlag::c_hidden) == 0;
                    if (isSeen && !Story::IsHardBreakCharacter(line.GetCharacter(i)))
                        text += line.GetCharacter(i);
                }
            }
        }
        return Story::EncodeUtf8(std::u32string_view(text));
    }
    Kernel::Counted<DocumentController> document;
};

TEST_F(CaptionNumbering, FollowsThePagesAndThenTheTree) {
    auto const last = AddShape(2), first = AddShape(0), second = AddShape(0, 300);
    for (auto const& shape : {last, second, first})
        Caption(shape, "Figure");
    EXPECT_EQ(Shown(first), "No. 1");
    EXPECT_EQ(Shown(second), "No. 2");
    EXPECT_EQ(Shown(last), "No. 3");
}

TEST_F(CaptionNumbering, EachNameCountsByItself) {
    auto const a = AddShape(0), b = AddShape(1), c = AddShape(2);
    Caption(a, "Figure");
    Caption(b, "Table");
    Caption(c, "Figure");
    EXPECT_EQ(Shown(a), "No. 1");
    EXPECT_EQ(Shown(b), "No. 1");
    EXPECT_EQ(Shown(c), "No. 2");
}

TEST_F(CaptionNumbering, ACaptionThatCountsByNoNameHasNone) {
    auto const plain = AddShape(0), counted = AddShape(1);
    Caption(plain, "");
    Caption(counted, "Figure");
    EXPECT_EQ(Shown(plain), "No. {number}") << "the words stay as they are";
    EXPECT_EQ(Shown(counted), "No. 1");
}

TEST_F(CaptionNumbering, GoesWithWhatIsAddedTakenAwayAndMoved) {
    auto const a = AddShape(0), b = AddShape(1), c = AddShape(2);
    Caption(b, "Figure");
    Caption(c, "Figure");
    EXPECT_EQ(Shown(c), "No. 2");
    Caption(a, "Figure");
    EXPECT_EQ(Shown(a), "No. 1");
    EXPECT_EQ(Shown(c), "No. 3");
    document->Undo();
    EXPECT_EQ(Shown(c), "No. 2");
    document->Redo();
    EXPECT_EQ(Shown(c), "No. 3");
    b->RemoveFromParent();
    EXPECT_EQ(Shown(c), "No. 2");
    document->GetDocument()->GetSpreads()[2]->InsertChild(NodeChildListType::Plain, b, nullptr);
    EXPECT_EQ(Shown(c), "No. 2") << "in front of the one that came last";
    EXPECT_EQ(Shown(b), "No. 3");
}

// Two pages on one spread: the place decides, and not the tree.
TEST_F(CaptionNumbering, GoesByThePageThatACaptionStandsOn) {
    auto const spread = document->GetDocument()->GetSpreads()[0];
    auto const page = MakeCounted<PageNode>();
    page->SetBaseBox({600, 0, 1200, 600});
    spread->InsertChild(NodeChildListType::Pages, page, nullptr);
    auto const a = AddShape(0, 100), b = AddShape(0, 300);
    Caption(a, "Figure");
    Caption(b, "Figure");
    EXPECT_EQ(Shown(a), "No. 1");
    a->SetTransform({1, 0, 650, 0, 1, 0}, false);
    auto const caption = a->GetLastChild(NodeChildListType::Captions);
    Kernel::CastPointer<FrameTextNode>(caption)->SetTransform({1, 0, 650, 0, 1, 0}, false);
    EXPECT_EQ(Shown(a), "No. 2");
    EXPECT_EQ(Shown(b), "No. 1");
}

TEST_F(CaptionNumbering, AFrameIsMeasuredWithANumber) {
    auto const narrow = AddShape(0), wide = AddShape(1);
    Caption(narrow, "Figure", "Figure {number}");
    Caption(wide, "Figure", "{number}");
    auto const heightOf = [](Kernel::Counted<Node> const& object) {
        return Kernel::CastPointer<FrameTextNode>(object->GetLastChild(NodeChildListType::Captions))
            ->GetFrameRect()
            .GetHeight();
    };
    EXPECT_EQ(Shown(narrow), "Figure 1") << "nothing is cut off";
    EXPECT_GT(heightOf(narrow), 1.5 * heightOf(wide)) << "the number stands on a second line";
}

TEST_F(CaptionNumbering, AddingTellsOfTheCaptionsWhoseNumbersChange) {
    auto const a = AddShape(0), b = AddShape(2);
    Caption(b, "Figure");
    EXPECT_EQ(Shown(b), "No. 1");
    auto const later = Kernel::NonCounted<SpreadNode const>(document->GetDocument()->GetSpreads()[2].get());
    auto const tellsOf = [&](DocumentCommand& command) {
        for (auto const& told : Support::NotificationsOf(command)) {
            auto const area = Kernel::Cast<InvalidateDocumentNotification>(told);
            if (area && !area->GetSpreadRects().GetUnion(later).IsEmpty())
                return true;
        }
        return false;
    };
    EXPECT_TRUE(tellsOf(*Caption(a, "Figure")));
    EXPECT_EQ(Shown(b), "No. 2");
    EXPECT_FALSE(tellsOf(*Caption(AddShape(1), "Table"))) << "of another name";
}

TEST_F(CaptionNumbering, AReferenceShowsTheNumber) {
    auto const a = AddShape(0), b = AddShape(1);
    Caption(b, "Figure");
    auto const caption =
        Kernel::Cast<FrameTextNode>(Kernel::Counted<Node>(b->GetLastChild(NodeChildListType::Captions)));
    auto const anchor = MakeCounted<Story::AnchorData>("a1", "here");
    auto const at = [](Kernel::Counted<FrameTextNode> const& text, std::uint32_t place) {
        return MakeCounted<Selection const>(text, MakeCounted<TextSelection>(Story::StoryRange{place, place}));
    };
    document->Run(MakeCounted<InsertGlyphsCommand>(
        Kernel::Counted<Story::Glyph const>(MakeCounted<Story::AnchorGlyph>(anchor)), at(caption, 0)));
    auto const text = MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 10, 300, 60});
    text->SetText(Story::GlyphString(U"See "), {}, {});
    document->GetDocument()->GetSpreads()[0]->InsertChild(NodeChildListType::Plain, text, nullptr);
    auto const reference =
        MakeCounted<Story::CrossReferenceGlyph>(MakeCounted<Story::CrossReferenceAtt>("Plain", "{number}"),
                                                Story::CrossReferenceTargetType::Number, anchor, true);
    document->Run(MakeCounted<InsertGlyphsCommand>(Kernel::Counted<Story::Glyph const>(reference), at(text, 4)));
    auto const update = [&] {
        document->Run(MakeCounted<UpdateCrossReferencesCommand>(nullptr, false, true));
        return Kernel::CastPointer<Story::CrossReferenceGlyph const>(text->GetStory()->GetGlyph(4).get())->GetText();
    };
    EXPECT_EQ(update(), "1");
    Caption(a, "Figure");
    EXPECT_EQ(update(), "2");
}

} // namespace
