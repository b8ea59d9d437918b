// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/kernel/cast.h"
#include "shapes/convert_to_art_text_command.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/support/records.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

namespace {

using namespace ExampleDocuments;
using Kernel::Cast;
using Kernel::CastPointer;
using Kernel::MakeCounted;

constexpr char c_text[] = "The frame has some words that fill more than one line, and then\nanother paragraph.";

class ConvertToArtText : public testing::Test {
protected:
    void SetUp() override { document = DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 1); }

    Kernel::Counted<FrameTextNode> Add(Kernel::RectT<double> rect, char const* text = c_text) {
        auto const frame = MakeTextFrame(rect, text);
        Append(*document->GetCurrentSpread(), frame);
        return frame;
    }
    void Run(std::vector<Kernel::Counted<Node>> const& nodes) {
        Select(*document, nodes);
        document->Run(MakeCounted<Commands::ConvertToArtTextCommand>());
    }
    std::vector<Node*> Children() const {
        std::vector<Node*> nodes;
        auto const spread = document->GetCurrentSpread();
        for (Node* child = spread->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            nodes.push_back(child);
        return nodes;
    }
    static std::string TextOf(Node const* node) {
        auto const story = CastPointer<TextNode const>(node)->GetStory();
        return story->GetString(story->GetClientAll()).ToStdString();
    }
    static std::u32string RawTextOf(Node const* node) {
        auto const story = CastPointer<TextNode const>(node)->GetStory();
        return story->GetText(story->GetClientAll());
    }
    std::vector<unsigned char> Draw() const {
        SpreadPictureOptions options;
        options.scale = 1;
        options.background = Renderer::Colour::FromGrey(1);
        auto const target = MakeSpreadPicture(*document->GetCurrentSpread(), options);
        auto const buffer = target->Render({0, 0, 600, 800});
        std::vector<unsigned char> bytes(std::size_t{600} * 800 * 4);
        buffer->ReadPixels(buffer->GetBounds(), bytes.data(), 600 * 4);
        return bytes;
    }
    // The bound: no channel of any pixel differs by more than 2 of 255.
    void ExpectSamePicture(std::vector<unsigned char> const& before) const {
        auto const after = Draw();
        int greatest = 0;
        std::size_t ink = 0;
        for (std::size_t i = 0; i != before.size(); ++i) {
            greatest = std::max(greatest, std::abs(before[i] - after[i]));
            ink += before[i] < 128;
        }
        EXPECT_GT(ink, 5000u);
        EXPECT_LE(greatest, 2);
    }

    Kernel::Counted<DocumentController> document;
};

TEST_F(ConvertToArtText, AFrameWithoutTextStaysAndIsNotSelected) {
    auto const empty = MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 0, 100, 0});
    Append(*document->GetCurrentSpread(), empty);
    Run({empty});
    ASSERT_EQ(Children().size(), 1u);
    EXPECT_EQ(Children()[0], empty.get());
    EXPECT_TRUE(document->GetCurrentSelection()->empty());
}

TEST_F(ConvertToArtText, OneColumnGivesOneNodeWithACaret) {
    auto const frame = Add({50, 50, 250, 300});
    frame->SetUserDescription("Introduction");
    Run({frame});
    ASSERT_EQ(Children().size(), 1u);
    auto const* const text = CastPointer<ArtTextNode>(Children()[0]);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->GetDescription(false), "Introduction");
    auto const selection = document->GetCurrentSelection();
    ASSERT_EQ(selection->size(), 1u);
    auto const* const item = CastPointer<SubSelectionItem const>(selection->begin()->get());
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->GetSelectable().get(), text);
    auto const* const part = CastPointer<TextSelection const>(item->GetSubSelection().get());
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(part->GetRanges(), (std::vector<Story::SelectionRange>{{0, 1}}));
}

TEST_F(ConvertToArtText, ThreeColumnsGiveAGroupOfThreeWithTheFramesChildrenEach) {
    auto const frame = Add({50, 50, 350, 90},
                           "The frame has some words that fill more than one line, and these words go on for so long "
                           "that three columns take them.");
    frame->SetColumns(3, 10);
    Append(*frame, MakeRectangle({0, 0, 5, 5}, 1, 0, 0));
    frame->InsertChild(NodeChildListType::Clipping, MakeRectangle({0, 0, 500, 500}, 0, 0, 0), nullptr);
    Run({frame});
    ASSERT_EQ(Children().size(), 1u);
    auto const* const group = CastPointer<GroupNode>(Children()[0]);
    ASSERT_NE(group, nullptr);
    ASSERT_EQ(group->CountChildren(NodeChildListType::Plain), 3u);
    for (Node const* child = group->GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        EXPECT_NE(CastPointer<ArtTextNode const>(child), nullptr);
        EXPECT_EQ(child->CountChildren(NodeChildListType::Plain), 1u);
        EXPECT_EQ(child->CountChildren(NodeChildListType::Clipping), 1u);
    }
    EXPECT_EQ(frame->CountChildren(NodeChildListType::Plain), 1u);
    auto const selection = document->GetCurrentSelection();
    ASSERT_EQ(selection->size(), 1u);
    EXPECT_TRUE((*selection->begin())->IsWholeObject());
}

TEST_F(ConvertToArtText, AFollowerIsJudgedByItsHeadAndAllFollowers) {
    auto const head = Add({50, 50, 150, 90});
    auto const second = MakeCounted<FrameTextNode>(Kernel::RectT<double>{200, 50, 300, 400});
    auto const third = MakeCounted<FrameTextNode>(Kernel::RectT<double>{350, 50, 450, 400});
    Append(*document->GetCurrentSpread(), second);
    Append(*document->GetCurrentSpread(), third);
    second->LinkBehind(*head);
    third->LinkBehind(*second);
    auto const applies = [&] {
        Select(*document, {second});
        return Commands::ConvertToArtTextCommand::CanApplyTo(document->GetCurrentSelection());
    };
    EXPECT_TRUE(applies());
    third->SetTextGenerated(true);
    EXPECT_FALSE(applies());
    Run({second});
    EXPECT_EQ(Children().size(), 3u);
    EXPECT_EQ(Children()[1], second.get());
    third->SetTextGenerated(false);
    head->SetTextFrameKind(TextFrameKind::Table);
    EXPECT_FALSE(applies());
    head->SetTextFrameKind(TextFrameKind::Plain);
    EXPECT_FALSE(Commands::ConvertToArtTextCommand::CanApplyTo(Kernel::Counted<Selection const>()));
    Select(*document, {});
    EXPECT_FALSE(Commands::ConvertToArtTextCommand::CanApplyTo(document->GetCurrentSelection()));
}

TEST_F(ConvertToArtText, FillerTextComesAsWordsAlsoBehindAColumnsEnd) {
    auto const frame = Add({50, 50, 250, 90}, "");
    frame->SetColumns(2, 10);
    auto const story = frame->GetMutableStory(true);
    auto const filler = MakeCounted<Story::FillerTextGlyph>(14u);
    story->ReplaceText({0, 0}, Story::GlyphString(Kernel::Counted<Story::Glyph const>(filler)));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    ASSERT_EQ(frame->MakeComposedFrame()->GetColumnCount(), 2u);
    ASSERT_FALSE(frame->MakeComposedFrame()->GetColumn(1).empty());
    Run({frame});
    auto const* const group = Children().at(0);
    std::u32string words;
    for (Node const* child = group->GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto const text = CastPointer<ArtTextNode const>(child)->GetStory();
        EXPECT_FALSE(text->empty());
        std::vector<Story::StoryPos> found;
        text->gbegin().BaseCollectIf(found, text->gend(), Story::GlyphPredicateAdaptor<Story::IsFillerTextGlyph>());
        EXPECT_TRUE(found.empty());
        words += RawTextOf(child);
    }
    std::erase(words, Story::c_lineSeparator);
    EXPECT_EQ(words, filler->Expand({}).substr(0, words.size()));
    EXPECT_GT(words.size(), 10u);
    ASSERT_EQ(2u, group->CountChildren(NodeChildListType::Plain));
    auto last = RawTextOf(group->GetLastChild(NodeChildListType::Plain));
    std::erase(last, Story::c_lineSeparator);
    EXPECT_GT(last.size(), 5u) << "the second column is filled from the first one's glyph";
}

TEST_F(ConvertToArtText, SoftLineEndsBecomeLineSeparatorsAndHardOnesDoNot) {
    auto const frame = Add({50, 50, 250, 300}, "one two three four five six seven eight nine ten\nnext");
    auto const lines = frame->MakeComposedFrame()->GetColumn(0).size();
    ASSERT_GE(lines, 3u);
    Run({frame});
    auto const text = RawTextOf(Children()[0]);
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), Story::c_lineSeparator)), lines - 2);
    EXPECT_EQ(std::count(text.begin(), text.end(), Story::c_paragraphSeparator), 1);
    std::u32string plain = text;
    std::erase(plain, Story::c_lineSeparator);
    EXPECT_EQ(plain, U"one two three four five six seven eight nine ten\u2029next");
    auto const composed = CastPointer<ArtTextNode>(Children()[0])->MakeComposedText();
    EXPECT_EQ(composed->GetColumn(0).size(), lines);
}

TEST_F(ConvertToArtText, UndoBringsTheFrameBackAndRedoTheSameNodes) {
    auto const frame = Add({50, 50, 250, 300});
    Run({frame});
    auto* const text = Children()[0];
    auto const story = CastPointer<ArtTextNode>(text)->GetStory();
    document->Undo();
    ASSERT_EQ(Children().size(), 1u);
    EXPECT_EQ(Children()[0], frame.get());
    ASSERT_EQ(document->GetCurrentSelection()->size(), 1u);
    EXPECT_EQ((*document->GetCurrentSelection()->begin())->GetSelectable().get(), frame.get());
    document->Redo();
    EXPECT_EQ(Children()[0], text);
    EXPECT_EQ(CastPointer<ArtTextNode>(text)->GetStory().get(), story.get());
}

TEST_F(ConvertToArtText, RaggedTextLooksTheSameAfterwards) {
    auto const left = Add({30, 30, 230, 230});
    auto const centred =
        Add({260, 30, 460, 230}, "Centred words that take a few lines of their frame, and a last one.");
    auto const scaled =
        Add({30, 300, 430, 500}, "Scaled and turned text with 3\u00BD fractions and a long enough run.");
    auto const columns =
        Add({30, 550, 530, 620}, "Two columns of text that are set ragged, so that nothing is lost when "
                                 "they turn into art, one beside the other, as a group.");
    centred->GetMutableStory(true)->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Alignment, 1));
    centred->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
    scaled->SetFrameTextScale({1.4, 0, 0, 0, 1.2, 0});
    scaled->SetTransform({0.9, -0.1, 20, 0.1, 0.9, 0}, false);
    columns->SetColumns(2, 20);
    auto const before = Draw();
    Run({left, centred, scaled, columns});
    ASSERT_EQ(CastPointer<FrameTextNode>(Children()[0]), nullptr);
    ExpectSamePicture(before);
}

TEST_F(ConvertToArtText, TextThatIsScaledInOneDirectionLooksTheSameAfterwards) {
    auto const wide = Add({30, 30, 430, 230},
                          "Wide words that take three or four of the lines of their frame, and a last one."),
               high = Add({30, 300, 430, 500},
                          "High words that take two or three of the lines of their frame, and a last one.");
    wide->SetFrameTextScale({2, 0, 0, 0, 1, 0});
    high->SetFrameTextScale({1, 0, 0, 0, 2, 0});
    auto const before = Draw();
    Run({wide, high});
    ASSERT_EQ(CastPointer<FrameTextNode>(Children()[0]), nullptr);
    ExpectSamePicture(before);
}

TEST_F(ConvertToArtText, LettersKeepTheirAttributesAndTheTextTheFramesLook) {
    auto const frame = Add({50, 50, 450, 300});
    auto const red = MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0.8f, 0, 0));
    frame->GetMutableStory(true)->FormatText({4, 30}, *Story::MakeDelta(Story::GlyphAtt::Object::Fill, red));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
    frame->SetOpacity(0.6);
    auto const before = Draw();
    Run({frame});
    auto const* const text = CastPointer<ArtTextNode>(Children()[0]);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(0.6, text->GetOpacity());
    auto const after = Draw();
    EXPECT_TRUE(
        std::equal(before.begin(), before.end(), after.begin(), [](int a, int b) { return std::abs(a - b) <= 2; }));
    std::size_t reddish = 0;
    for (std::size_t i = 0; i != after.size(); i += 4)
        reddish += after[i] > after[i + 1] + 40;
    EXPECT_GT(reddish, 100u);
}

// The hyphens that a line end shows are letters of the new text, which nothing breaks any more.
TEST_F(ConvertToArtText, HyphensThatTheLinesShowBecomeLetters) {
    auto const frame = Add({50, 50, 130, 600}, "incomprehensible internationalisation representatives characterised");
    auto const story = frame->GetMutableStory(true);
    story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Hyphenate, 1));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
    std::size_t hyphens = 0;
    for (auto const& line : frame->MakeComposedFrame()->GetColumn(0)) {
        for (std::uint32_t i = 0; i != line.GetSize(); ++i)
            hyphens += !line.IsSource(i);
    }
    ASSERT_GT(hyphens, 0u);
    auto const before = Draw();
    Run({frame});
    auto const text = RawTextOf(Children()[0]);
    EXPECT_EQ(hyphens, static_cast<std::size_t>(std::count_if(text.begin(), text.end(),
                                                              [](char32_t c) { return c == U'-' || c == U'\u2010'; })));
    auto const after = Draw();
    EXPECT_TRUE(
        std::equal(before.begin(), before.end(), after.begin(), [](int a, int b) { return std::abs(a - b) <= 2; }));
}

TEST_F(ConvertToArtText, TellsOfTheSelectionAndThenOfWhatTookThePlaceOfWhat) {
    auto const frame = Add({50, 50, 250, 300});
    Select(*document, {frame});
    auto const old = document->GetCurrentSelection();
    auto const command = MakeCounted<Commands::ConvertToArtTextCommand>();
    document->Run(command);
    auto const made = document->GetCurrentSelection();
    auto const tell = [&](Kernel::Counted<Selection const> const& now, Kernel::Counted<Selection const> const& before) {
        Kernel::NotificationList list;
        command->Notify(list);
        ASSERT_GE(list.size(), 2u);
        auto const* const selection = dynamic_cast<NewSelectionNotification*>(list[0].get());
        ASSERT_NE(nullptr, selection);
        EXPECT_EQ(now, selection->GetNewSelection());
        EXPECT_EQ(before, selection->GetOldSelection());
        bool hasStructure = false;
        for (auto const& notification : list)
            hasStructure |= dynamic_cast<DocumentStructureChangedNotification*>(notification.get()) != nullptr;
        EXPECT_TRUE(hasStructure);
    };
    tell(made, old);
    document->Undo();
    tell(old, made);
    document->Redo();
    tell(made, old);
}

TEST_F(ConvertToArtText, OneFilledColumnOfTwoGivesOneNodeWithoutAGroup) {
    auto const frame = Add({50, 50, 450, 300}, "few words");
    frame->SetColumns(2, 10);
    ASSERT_TRUE(frame->MakeComposedFrame()->GetColumn(1).empty());
    Run({frame});
    ASSERT_EQ(Children().size(), 1u);
    EXPECT_NE(CastPointer<ArtTextNode>(Children()[0]), nullptr);
    auto const* const item = CastPointer<SubSelectionItem const>(document->GetCurrentSelection()->begin()->get());
    ASSERT_NE(item, nullptr);
    EXPECT_NE(item->GetSubSelection(), nullptr);
}

// Text of other directions and without spaces, and a frame whose text goes on beyond its end.
TEST_F(ConvertToArtText, RaggedTextOfAllKindsLooksTheSameAfterwards) {
    std::string hebrew, japanese, words;
    for (int i = 0; i != 12; ++i) {
        hebrew += "\u05D1\u05E8\u05D0\u05E9\u05D9\u05EA abc \u05D1\u05E8\u05D0, ";
        japanese += "\u3059\u3079\u3066\u306E\u4EBA\u9593\u306F\u3001";
        words += "words that go on ";
    }
    std::vector<Kernel::Counted<Node>> frames{Add({30, 30, 230, 230}, hebrew.c_str()),
                                              Add({260, 30, 460, 230}, japanese.c_str()),
                                              Add({30, 300, 230, 350}, words.c_str())};
    auto const before = Draw();
    Run(frames);
    ExpectSamePicture(before);
    for (auto const* const child : Children())
        EXPECT_EQ(CastPointer<FrameTextNode const>(child), nullptr);
}

// The command copies what a frame shows and leaves the story alone: frames that stay in the chain are filled with it
// from its beginning.
// Also where a column begins in the middle of a paragraph, with a word in the other direction, and where paragraphs of
// both directions follow one another.
TEST_F(ConvertToArtText, RightToLeftTextStaysInItsColumn) {
    std::string const hebrew = "\u05D1\u05E8\u05D0\u05E9\u05D9\u05EA";
    std::string runs, mixed;
    for (int i = 0; i != 100; ++i)
        runs += (i == 0 ? hebrew : i % 2 == 0 ? hebrew + " " + hebrew : std::string("latin words")) + " ";
    for (int i = 0; i != 16; ++i)
        mixed += "A heading of its own\n1 " + hebrew + " " + hebrew + " " + hebrew + "\n";
    for (auto const& text : {runs, mixed}) {
        for (double const shift : {0.0, 7.0, 14.0, 21.0, 28.0}) {
            for (bool const isJustified : {false, true}) {
                SetUp();
                auto const frame = Add({100, 50, 400 + shift, 210}, text.c_str());
                frame->SetColumns(3, 20);
                if (isJustified) {
                    auto const story = frame->GetStory()->Clone();
                    story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Alignment,
                                                        static_cast<int>(Story::Alignment::Justify)));
                    frame->SetStory(story);
                }
                auto const composed = frame->MakeComposedFrame();
                ASSERT_FALSE(composed->GetColumn(2).empty());
                Run({frame});
                auto const* const group = CastPointer<GroupNode>(Children()[0]);
                ASSERT_NE(group, nullptr);
                Node const* child = group->GetFirstChild(NodeChildListType::Plain);
                for (auto const& column : *composed) {
                    ASSERT_NE(child, nullptr);
                    auto const art = CastPointer<ArtTextNode const>(child)->MakeComposedText();
                    auto const& lines = art->GetColumn(0);
                    // A column that ends within a paragraph leaves a break behind its last line.
                    ASSERT_GE(lines.size(), column->size());
                    auto after = lines.begin();
                    for (auto const& before : *column) {
                        auto const& line = *after++;
                        EXPECT_EQ(line.IsRightToLeft(), before.IsRightToLeft());
                        // A line that justification had shrunk takes some units more.
                        EXPECT_GE(line.GetOrigin().x, column->GetRect().left - 5) << text << shift;
                        EXPECT_LE(line.GetOrigin().x + line.GetWidth(), column->GetRect().right + 5) << text << shift;
                    }
                    child = child->GetNextSibling();
                }
            }
        }
    }
}

TEST_F(ConvertToArtText, TheStoryStaysWithTheFramesThatAreLeft) {
    auto const head = Add({50, 50, 150, 92});
    auto const second = MakeCounted<FrameTextNode>(Kernel::RectT<double>{200, 50, 300, 400});
    Append(*document->GetCurrentSpread(), second);
    second->LinkBehind(*head);
    auto const whole = RawTextOf(head.get());
    auto const hash = document->GetHash(false);
    Run({head});
    EXPECT_EQ(RawTextOf(second.get()), whole);
    EXPECT_EQ(second->MakeComposedFrame()->GetRange().begin, 0u);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), hash);
    EXPECT_GT(second->MakeComposedFrame()->GetRange().begin, 0u);
    Run({second});
    EXPECT_EQ(RawTextOf(head.get()), whole);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), hash);
}

// Pieces of a row beside a shape become one line.
TEST_F(ConvertToArtText, RowsOnBothSidesOfAShapeBecomeLines) {
    auto const frame = Add({50, 50, 450, 300}, "some words that run on both sides of a shape that stands in the middle "
                                               "of the frame, and below it again as they did");
    auto const shape = MakeRectangle({200, 40, 300, 100}, 1, 0, 0);
    shape->SetTextWrap(Story::WrapStyle::Around, {});
    Append(*document->GetCurrentSpread(), shape);
    auto const& column = frame->MakeComposedFrame()->GetColumn(0);
    auto const rows =
        std::count_if(column.begin(), column.end(), [](auto const& line) { return line.IsWholeLineBack(); });
    ASSERT_LT(static_cast<std::size_t>(rows), column.size());
    Run({frame});
    auto const text = RawTextOf(Children()[0]);
    EXPECT_EQ(std::count(text.begin(), text.end(), Story::c_lineSeparator), rows - 1);
}

// A chain that is taken apart in one go keeps the text that each frame showed.
TEST_F(ConvertToArtText, LinkedFramesKeepTheirOwnPartOfTheText) {
    auto const head = Add({50, 50, 150, 92});
    auto const second = MakeCounted<FrameTextNode>(Kernel::RectT<double>{200, 50, 300, 400});
    Append(*document->GetCurrentSpread(), second);
    second->LinkBehind(*head);
    auto const range = second->MakeComposedFrame()->GetRange();
    ASSERT_GT(range.begin, 5u);
    auto const expected = head->GetStory()->GetText(range);
    Run({head, second});
    auto text = RawTextOf(Children()[1]);
    std::erase(text, Story::c_lineSeparator);
    EXPECT_EQ(text + Story::c_paragraphSeparator, expected);
}

TEST_F(ConvertToArtText, UndoWorksAfterAReload) {
    auto const frame = Add({50, 50, 250, 300});
    auto const before = document->GetHash(false);
    Run({frame});
    auto const after = document->GetHash(false);
    auto const path =
        (std::filesystem::temp_directory_path() / ("art-" + std::to_string(getpid()) + ".redraft")).string();
    document->Save(path);
    auto const again = DocumentController::Open(path, true);
    EXPECT_EQ(again->GetHash(false), after);
    again->Undo();
    EXPECT_EQ(again->GetHash(false), before);
    again->Redo();
    EXPECT_EQ(again->GetHash(false), after);
    std::filesystem::remove(path);
}

// Neighbours, one of them alone in a group, with their tags.
TEST_F(ConvertToArtText, TagsReachTheArtTextAndTheGroupOfColumns) {
    auto const first = Add({50, 50, 250, 300}), second = Add({300, 50, 500, 300});
    auto const columns = Add({50, 350, 350, 390});
    auto const group = MakeCounted<GroupNode>();
    auto const inside = MakeTextFrame({50, 500, 250, 700}, c_text);
    Append(*document->GetCurrentSpread(), group);
    Append(*group, inside);
    columns->SetColumns(3, 10);
    std::vector<Kernel::String> const heading{"heading", "intro"}, body{"body"};
    first->SetTags(heading);
    columns->SetTags(body);
    inside->SetTags(body);
    auto const before = document->GetHash(false);
    Run({first, second, columns, inside});
    auto const after = document->GetHash(false);
    auto const path =
        (std::filesystem::temp_directory_path() / ("art-tags-" + std::to_string(getpid()) + ".redraft")).string();
    auto const expectTags = [&](DocumentController& controller) {
        std::vector<std::vector<Kernel::String>> tags;
        ForEachNode(*controller.GetCurrentSpread(), [&](Node& node) { tags.push_back(node.GetTags()); });
        std::vector<Node*> nodes;
        for (Node* child = controller.GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            nodes.push_back(child);
        ASSERT_EQ(nodes.size(), 4u);
        EXPECT_EQ(nodes[0]->GetTags(), heading);
        EXPECT_TRUE(nodes[1]->GetTags().empty());
        EXPECT_NE(CastPointer<GroupNode>(nodes[2]), nullptr);
        EXPECT_EQ(nodes[2]->GetTags(), body);
        auto const* const child = nodes[3]->GetFirstChild(NodeChildListType::Plain);
        ASSERT_NE(CastPointer<ArtTextNode const>(child), nullptr);
        EXPECT_EQ(child->GetTags(), body);
    };
    expectTags(*document);
    auto const replacement = Kernel::Counted<Node>(Children()[0]);
    for (int round = 0; round != 2; ++round) {
        document->Undo();
        EXPECT_EQ(document->GetHash(false), before);
        EXPECT_TRUE(replacement->GetTags().empty());
        document->Redo();
        EXPECT_EQ(document->GetHash(false), after);
        expectTags(*document);
    }
    document->Save(path);
    auto const again = DocumentController::Open(path, true);
    again->Undo();
    EXPECT_EQ(again->GetHash(false), before);
    again->Redo();
    EXPECT_EQ(again->GetHash(false), after);
    expectTags(*again);
    std::filesystem::remove(path);
}

TEST_F(ConvertToArtText, WhatReplacesWhatIsSavedAsTheStateOfTheStructure) {
    auto const frame = Add({50, 50, 250, 300});
    Run({frame});
    auto const saved =
        Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(document->GetHistory()->GetCommand(0))});
    std::set<std::string> tags;
    for (auto const& field : Support::ListFields(saved)) {
        if (field.classTag == "C2AT")
            tags.insert(field.tag);
    }
    EXPECT_TRUE(tags.contains("Ps13"));
    EXPECT_FALSE(tags.contains("RpOl"));
    EXPECT_FALSE(tags.contains("RpNw"));
}

TEST_F(ConvertToArtText, AFrameThatIsSelectedTwiceIsReplacedOnce) {
    auto const frame = Add({50, 50, 250, 300});
    auto const before = document->GetHash(false);
    MutableSelection twice(MutableSelection::DuplicateStrategy::Allow);
    twice.AddSelectable(frame, false);
    twice.AddSelectable(frame, false);
    document->SetSelection(twice.CloneImmutable(), false);
    document->Run(MakeCounted<Commands::ConvertToArtTextCommand>());
    EXPECT_EQ(document->GetCurrentSelection()->size(), 1u);
    auto const after = document->GetHash(false);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), before);
    document->Redo();
    EXPECT_EQ(document->GetHash(false), after);
}

} // namespace
