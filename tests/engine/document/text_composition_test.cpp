// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_controller.h"
#include "platform/document/edit_journal.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace {

using Frame = Kernel::Counted<FrameTextNode>;

// Every line of a text: its place, its width and its glyphs.
std::string Lay(TextNode const& text) {
    std::string lines;
    auto const frame = text.MakeComposedText();
    for (auto const& column : *frame) {
        for (auto const& line : *column) {
            auto const range = line.GetRange();
            lines += std::to_string(line.GetOrigin().x) + " " + std::to_string(line.GetOrigin().y) + " " +
                     std::to_string(line.GetWidth()) + " " + std::to_string(range.begin) + "-" +
                     std::to_string(range.end) + " " + text.GetStory()->GetString(range).ToStdString() + "\n";
        }
        lines += "--\n";
    }
    return lines;
}

// A chain of frames on three spreads, one of them in a group, an art text, and shapes.
class EditedTexts : public testing::Test {
protected:
    EditedTexts() : document(DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 3)) {
        auto const spreads = document->GetDocument()->GetSpreads();
        for (auto const& spread : spreads) {
            group.push_back(Kernel::MakeCounted<GroupNode>());
            Insert(*spread, group.back());
            shapes.push_back(Kernel::MakeCounted<PolyCurveNode>());
            shapes.back()->SetCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, 60, 40}));
            Insert(*group.back(), shapes.back());
            for (int i = 0; i != 2; ++i) {
                frames.push_back(
                    Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{200.0 * i, 0, 200.0 * i + 150, 90}));
                Insert(i == 0 ? static_cast<Node&>(*spread) : *group.back(), frames.back());
            }
        }
        std::string text;
        for (int i = 0; i != 12; ++i)
            text += "The quick brown fox jumps over the lazy dog, again and again, until it is full.\n";
        frames.front()->SetText(Story::GlyphString(Kernel::String(text)), {}, {});
        FrameTextNode::LinkAll(frames);
        auto const story = Kernel::MakeCounted<Story::Story>();
        story->ReplaceText({0, 0}, Story::GlyphString(U"one\u2028two"));
        art = Kernel::MakeCounted<ArtTextNode>(story, Kernel::PointT<double>{30, 30});
        Insert(*spreads[0], art);
    }

    static void Insert(Node& parent, Kernel::Counted<Node> const& node) {
        parent.InsertChild(NodeChildListType::Plain, node, nullptr);
    }
    std::size_t Any(std::size_t count) { return random() % count; }
    Frame const& AnyFrame() { return frames[Any(frames.size())]; }
    void EditStory(TextNode& text) {
        text.OnStoryChange(nullptr, false, Story::StoryChange(false), false);
        auto const story = text.GetMutableStory(true);
        // Somebody may look while the story is being edited.
        if (Any(2) == 0)
            text.EnsureTextComposed();
        auto const at = static_cast<std::uint32_t>(Any(story->GetLength()));
        auto const end = at + static_cast<std::uint32_t>(Any(40));
        switch (Any(3)) {
        case 0:
            story->ReplaceText({at, at}, Story::GlyphString(U"some more words\nof it "));
            break;
        case 1:
            story->ReplaceText({at, end}, {});
            break;
        default:
            story->FormatText({at, end},
                              *Story::MakeDelta(Story::GlyphAtt::Double::Size, 8.0 + static_cast<double>(Any(20))));
        }
        text.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    }
    void Edit() {
        auto const& frame = AnyFrame();
        double const x = static_cast<double>(Any(200)), y = static_cast<double>(Any(60));
        switch (Any(18)) {
        case 0:
        case 1:
            kept.emplace_back(frames.front()->FindState(InterfaceId::Story));
            return EditStory(*frame);
        case 2:
            return EditStory(*art);
        case 3:
            return frame->SetTransform({1, 0, x, 0, 1, y}, false);
        case 4:
            return frame->SetFrameRect({x, 0, x + 100 + y, 100});
        case 5:
            return frame->SetColumns(1 + static_cast<int>(Any(2)), 8);
        case 6:
            return frame->SetInsets({y / 10, 2, 3, 4});
        case 7:
            return frame->EditState<BaselineGridState>([&](BaselineGridState& grid) {
                grid.enabled = !grid.enabled;
                grid.spacing = 5 + y;
            });
        case 8:
            return shapes[Any(3)]->SetTextWrap(Any(2) == 0 ? Story::WrapStyle::Around : Story::WrapStyle::None,
                                               {0, 0, 5, 5});
        case 9:
            return group[Any(3)]->SetTransform({1, 0, x, 0, 1, y}, false);
        case 10:
            return shapes[Any(3)]->SetVisible(Any(2) == 0);
        case 11:
            return shapes[Any(3)]->SetTransform({1.5, 0, x, 0, 1, y}, false);
        case 12: {
            auto const place = frame->GetPlace();
            frame->RemoveFromParent();
            if (Any(2) == 0)
                frames[0]->EnsureTextComposed();
            return frame->SetPlace(place);
        }
        case 13:
            frame->RemoveFromParent();
            return Insert(*group[Any(3)], frame);
        case 14:
            if (&frame != &frames.front()) {
                frame->Unlink();
                frame->LinkBehind(*frames.front());
            }
            return;
        case 15: {
            auto const atts = Kernel::MakeCounted<Story::GlyphAtts>();
            atts->Set(Story::GlyphAtt::Double::Size, 8.0 + static_cast<double>(Any(10)));
            auto const styles = document->GetDocument()->GetTextStyleSheet();
            document->GetDocument()->SetTextStyleSheet(styles->With(Kernel::MakeCounted<Story::Style>(
                "Plain", Story::StyleType::Paragraph, "",
                Story::DeltaRef(Kernel::MakeCounted<Story::Delta>(Story::Delta::Values{atts, {}})))));
            frame->GetMutableStory(true)->FormatText(
                {100, 300}, *Story::MakeDelta(Story::ParagraphAtt::String::StyleName, Kernel::String("Plain")));
            return frame->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
        }
        case 16:
            return art->SetTextWrap(Any(2) == 0 ? Story::WrapStyle::Around : Story::WrapStyle::None, {});
        default:
            if (!kept.empty())
                frames.front()->SetState(InterfaceId::Story, kept[Any(kept.size())]);
        }
    }

    std::mt19937 random{7};
    Kernel::Counted<DocumentController> document;
    std::vector<Frame> frames;
    std::vector<Kernel::Counted<GroupNode>> group;
    std::vector<Kernel::Counted<PolyCurveNode>> shapes;
    Kernel::Counted<ArtTextNode> art;
    std::vector<Kernel::Counted<InterfaceState const>> kept;
};

// Whatever is kept of a composition, texts lie as in a document in which nothing has been composed yet.
TEST_F(EditedTexts, LieAsIfComposedAfresh) {
    auto const path =
        (std::filesystem::temp_directory_path() / ("edited-" + std::to_string(getpid()) + ".redraft")).string();
    for (int step = 0; step != 400; ++step) {
        SCOPED_TRACE(step);
        if (Any(4) == 0) {
            // A step that fails is taken back.
            EXPECT_THROW(EditJournal::RunOrRollBack([&] {
                             Edit();
                             frames[0]->EnsureTextComposed();
                             art->EnsureTextComposed();
                             throw Kernel::Exception("a failed step");
                         }),
                         Kernel::Exception);
        } else {
            Edit();
        }
        if (Any(3) == 0)
            AnyFrame()->EnsureTextComposed();
        if (step % 4 != 0)
            continue;
        document->Save(path);
        auto const fresh = DocumentController::Open(path, false);
        std::vector<TextNode const*> texts{art.get()};
        for (auto const& frame : frames)
            texts.push_back(frame.get());
        for (auto const* const text : texts) {
            auto const peer = Kernel::Cast<TextNode>(fresh->GetDocument()->FindNode(text->GetId()));
            ASSERT_TRUE(peer);
            ASSERT_EQ(Lay(*peer), Lay(*text));
        }
        // Positions lead to the frames that show them.
        auto const flow = frames.front()->GetTextFlow();
        auto const story = frames.front()->GetStory();
        for (std::uint32_t at = 0; at < story->GetLength(); at += 37) {
            Kernel::Counted<TextNode> expected;
            for (auto const& node : *flow) {
                auto const range = node->MakeComposedText()->GetRange();
                if (at >= range.begin && at < range.end)
                    expected = node;
            }
            ASSERT_EQ(flow->GetNode({story, at}), expected) << at;
        }
    }
    std::filesystem::remove(path);
}

// A composition that somebody holds goes on from the version that it was made of.
TEST_F(EditedTexts, AnEditDoesNotReachACompositionThatIsHeld) {
    auto const held = frames[0]->MakeComposedStory(Story::CompositionEndConditions({0, 1}));
    auto const before = held->GetStory()->GetString(held->GetStory()->GetAll());
    auto const story = frames[5]->GetMutableStory(true);
    auto const beforeEdit = frames[0]->MakeComposedStory(Story::CompositionEndConditions({0, 1}));
    story->ReplaceText({0, 40}, Story::GlyphString(U"words"));
    frames[5]->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    EXPECT_EQ(held->GetStory()->GetString(held->GetStory()->GetAll()), before);
    EXPECT_EQ(beforeEdit->GetStory()->GetString(beforeEdit->GetStory()->GetAll()), before);
    EXPECT_NE(Lay(*frames[0]).find(" words"), std::string::npos);
}

TEST_F(EditedTexts, FlowsAndFramesInFrontOfAnEditAreKept) {
    frames[0]->MakeComposedStory({});
    auto const flow = frames[0]->GetTextFlow();
    auto const first = frames[0]->MakeComposedText();
    auto const story = frames[0]->GetMutableStory(true);
    story->ReplaceText({story->GetLength() - 5, story->GetLength() - 2}, Story::GlyphString(U"end"));
    frames[0]->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    EXPECT_EQ(frames[3]->GetTextFlow(), flow);
    EXPECT_EQ(frames[0]->MakeComposedText(), first);
    EXPECT_GT(frames[0]->MakeComposedStory(Story::CompositionEndConditions({0, 1}))->GetReusedFrameCount(), 0u);
    frames[4]->SetColumns(2, 5);
    EXPECT_NE(frames[3]->GetTextFlow(), flow);
    EXPECT_EQ(frames[0]->MakeComposedText(), first);
}

} // namespace
