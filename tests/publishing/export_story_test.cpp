// SPDX-License-Identifier: Apache-2.0
#include "publishing/export_story_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/pinned_node.h"
#include "platform/epub/export_settings.h"
#include "platform/story/cross_reference.h"
#include "platform/story/note.h"
#include "tests/engine/epub/exported_book.h"
#include "tests/examples/scenes/publication_documents.h"
#include "tests/support/documents.h"

#include <fstream>

namespace {

using namespace Commands;

// A frame of two linked ones on one page, in a folder of its own.
class ExportStory : public testing::Test {
protected:
    ExportStory() {
        std::filesystem::create_directory(folder);
        for (double const left : {10.0, 200.0}) {
            frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{left, 10, left + 150, 60}));
            controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
        }
        FrameTextNode::LinkAll(frames);
        SetText(Story::GlyphString(
            U"Call me Ishmael. Some years ago, never mind how long precisely, I thought I would sail about a "
            U"little and see the watery part of the world."));
    }
    ~ExportStory() override { std::filesystem::remove_all(folder); }

    void SetText(Story::GlyphString const& text) { frames.front()->SetText(text, {}, {}); }
    std::string In(std::string const& name) const { return (folder / name).string(); }
    int Export(std::string const& path, Kernel::Counted<Renderer::FileExportOptions const> const& options = {}) {
        auto const command =
            Kernel::MakeCounted<ExportStoryCommand>(Selection::CreateWithSingleObject(frames.front()), path, options);
        controller->Run(command);
        return command->GetResult();
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("redraft-export-story-" + std::to_string(::getpid()));
    Kernel::Counted<DocumentController> controller = Support::NewDocument();
    std::vector<Kernel::Counted<FrameTextNode>> frames;
};

TEST_F(ExportStory, ComparesExtensionsExactly) {
    for (char const* name : {"x.TXT", "x.Rtf", "x.EPUB", "x.HTM", "x.txt ", "x", "x."}) {
        EXPECT_EQ(Export(In(name)), 0) << name;
        EXPECT_FALSE(std::filesystem::exists(In(name))) << name;
    }
}

TEST_F(ExportStory, WritesHtmlToHtmAndNotToHtml) {
    EXPECT_EQ(Export(In("x.html")), 0);
    EXPECT_FALSE(std::filesystem::exists(In("x.html")));
    EXPECT_EQ(Export(In("x.htm")), 0);
    EXPECT_TRUE(ReadText(In("x.htm")).starts_with("<!DOCTYPE html>"));
}

TEST_F(ExportStory, TakesNoPointOfAFolderForAnExtension) {
    std::filesystem::create_directory(folder / "a.txt");
    EXPECT_EQ(Export(In("a.txt/c")), 0);
    EXPECT_FALSE(std::filesystem::exists(In("a.txt/c")));
    EXPECT_EQ(Export(In("a.txt\\c")), 0);
    EXPECT_FALSE(std::filesystem::exists(In("a.txt\\c")));
}

TEST_F(ExportStory, IsNoStepAndHasNothingToUndo) {
    auto const command = Kernel::MakeCounted<ExportStoryCommand>(Selection::CreateWithSingleObject(frames.front()),
                                                                 In("x.txt"), nullptr);
    auto const hash = controller->GetHash(true);
    controller->Run(command);
    EXPECT_EQ(controller->GetHistory()->GetCount(), 0u);
    EXPECT_FALSE(command->Clone());
    EXPECT_TRUE(std::filesystem::remove(In("x.txt")));
    command->Undo();
    command->Redo();
    EXPECT_FALSE(std::filesystem::exists(In("x.txt")));
    EXPECT_TRUE(Support::NotificationsOf(*command).empty());
    EXPECT_EQ(controller->GetHash(true), hash);
}

TEST_F(ExportStory, RegistersAPageOnceForItsTwoFrames) {
    ASSERT_NE(frames.back()->GetContainedText(false).GetSize(), 0u) << "the second frame shows nothing";
    EXPECT_EQ(Export(In("x.epub")), 0);
    auto const book = ReadBook(In("x.epub"));
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    auto const first = page.find("epub:type=\"pagebreak\"");
    ASSERT_NE(first, page.npos);
    EXPECT_EQ(page.find("epub:type=\"pagebreak\"", first + 1), page.npos);
    // In front of all text: the first frame's.
    EXPECT_LT(first, page.find("Call me"));
}

// The places of page breaks in a page of XHTML, in letters and paragraph ends before them.
std::vector<std::uint32_t> FindPageBreaks(std::string const& page) {
    std::vector<std::uint32_t> places;
    std::uint32_t length = 0;
    for (auto at = page.find("<body"); at < page.size(); ++at) {
        if (page[at] != '<') {
            length += page[at] != '\n' ? 1 : 0;
            continue;
        }
        auto const end = page.find('>', at);
        auto const tag = page.substr(at, end - at);
        if (tag.find("pagebreak") != tag.npos)
            places.push_back(length);
        length += tag == "</p" ? 1 : 0;
        at = end;
    }
    return places;
}

// Pages are composed while the text before them is written.
TEST_F(ExportStory, BreaksPagesWhereFramesBegin) {
    constexpr int c_spreads = 30;
    ExampleDocuments::AddSpreads(*controller, c_spreads);
    for (auto* spread = controller->GetDocument()->GetFirstChild(NodeChildListType::Plain); spread != nullptr;
         spread = spread->GetNextSibling()) {
        auto const frame = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 10, 90, 90});
        spread->InsertChild(NodeChildListType::Plain, frame, nullptr);
        frame->LinkBehind(*frames.back());
        frames.push_back(frame);
    }
    std::u32string text;
    for (int i = 0; i != 40; ++i) {
        text += U"Some years ago, never mind how long precisely, I thought I would sail about a little and see the "
                U"watery part of the world.";
        text += Story::c_paragraphSeparator;
    }
    SetText(Story::GlyphString(text));
    // The frames at which pages begin; the first three stand on one page.
    std::vector<std::uint32_t> expected{0};
    for (std::size_t i = 3; i != frames.size(); ++i)
        expected.push_back(frames[i]->GetContainedText(false).GetAnchor().GetIndex());
    ASSERT_GT(expected[20], expected[10]);
    ASSERT_LT(expected.back(), frames.front()->GetStory()->GetLength());

    EXPECT_EQ(Export(In("x.epub")), 0);
    auto const book = ReadBook(In("x.epub"));
    ExpectSound(book);
    EXPECT_EQ(FindPageBreaks(book.Get("Story1.xhtml")), expected);
}

TEST_F(ExportStory, WritesAnEmptyText) {
    SetText({});
    for (char const* name : {"x.rtf", "x.txt", "x.epub", "x.htm"}) {
        EXPECT_EQ(Export(In(name)), 0) << name;
        EXPECT_TRUE(std::filesystem::exists(In(name))) << name;
    }
    EXPECT_EQ(ReadText(In("x.txt")), "");
    ExpectSound(ReadBook(In("x.epub")));
}

TEST_F(ExportStory, TellsWhatFailed) {
    for (char const* name : {"none/x.rtf", "none/x.txt"})
        EXPECT_EQ(Export(In(name)), ExportStoryCommand::OpenFailed) << name;
    for (char const* name : {"none/x.epub", "none/x.htm"})
        EXPECT_EQ(Export(In(name)), ExportStoryCommand::WriteFailed) << name;
    for (char const* name : {"x.rtf", "x.txt", "x.epub", "x.htm"}) {
        std::filesystem::create_symlink("/dev/full", In(name));
        EXPECT_EQ(Export(In(name)), ExportStoryCommand::WriteFailed) << name;
    }
    // The result is the last run's.
    EXPECT_EQ(Export(In("y.txt")), 0);
}

TEST_F(ExportStory, DoesNothingWithoutAFrame) {
    auto const shape = Support::Named("shape");
    controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, shape, nullptr);
    for (auto const& selection : {Selection::CreateWithSingleObject(shape), Kernel::Counted<Selection const>()}) {
        auto const command = Kernel::MakeCounted<ExportStoryCommand>(selection, In("x.txt"), nullptr);
        controller->Run(command);
        EXPECT_EQ(command->GetResult(), 0);
    }
    EXPECT_FALSE(std::filesystem::exists(In("x.txt")));
}

TEST_F(ExportStory, WritesTheSameBytesTwiceAndTellsOtherOptions) {
    for (char const* extension : {".epub", ".htm", ".rtf", ".txt"}) {
        auto const options = Kernel::MakeCounted<EPub::FlowingEPubOptions>();
        options->title = "One title";
        EXPECT_EQ(Export(In(std::string("a") + extension), options), 0);
        EXPECT_EQ(Export(In(std::string("b") + extension), options), 0);
        EXPECT_EQ(ReadText(In(std::string("a") + extension)), ReadText(In(std::string("b") + extension))) << extension;
    }
    auto const options = Kernel::MakeCounted<EPub::FlowingEPubOptions>();
    options->modified = 86400;
    EXPECT_EQ(Export(In("c.epub"), options), 0);
    auto const book = ReadBook(In("c.epub"));
    EXPECT_NE(book.Get("Package.opf").find("1970-01-02T00:00:00Z"), std::string::npos);
    EXPECT_NE(book.Get("Package.opf").find("<dc:title>c</dc:title>"), std::string::npos);
}

// An anchor, a reference to it, a note, a pinned shape and a pinned text.
TEST_F(ExportStory, LinksAndPinsWhatTheTextNames) {
    auto const anchor = Kernel::MakeCounted<Story::AnchorData>("1", "place");
    auto const reference = Kernel::MakeCounted<Story::CrossReferenceGlyph>(
        Story::CrossReferenceAtt::GetDefault(), Story::CrossReferenceTargetType::Text, anchor, false);
    reference->SetText("over there");
    auto const noteText = Kernel::MakeCounted<Story::Story>();
    noteText->ReplaceText({0, 0}, Story::GlyphString(U"In a note"));
    auto const& spread = controller->GetCurrentSpread();
    auto const shape = Support::Named("A white whale");
    auto const boxed = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 100, 100, 150});
    boxed->SetText(Story::GlyphString(U"In a box"), {}, {});
    spread->InsertChild(NodeChildListType::Plain, shape, nullptr);
    spread->InsertChild(NodeChildListType::Plain, boxed, nullptr);
    Story::GlyphString text(U"See ");
    text.Add(Kernel::Counted<Story::Glyph const>(reference));
    text.Add(Kernel::Counted<Story::Glyph const>(new Story::NoteGlyph(Story::NoteGlyph::Kind::Endnote, noteText)));
    text.Add(Kernel::Counted<Story::Glyph const>(new Story::PinGlyph(Kernel::MakeCounted<PinnedNode>(shape))));
    text.Add(Kernel::Counted<Story::Glyph const>(new Story::PinGlyph(Kernel::MakeCounted<PinnedNode>(boxed))));
    text.Add(U"\n");
    text.Add(Kernel::Counted<Story::Glyph const>(new Story::AnchorGlyph(anchor)));
    text.Add(U"There.");
    SetText(text);
    EXPECT_EQ(Export(In("x.epub")), 0);
    auto const book = ReadBook(In("x.epub"));
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("<a href=\"#anchor1\">over there</a>"), page.npos) << page;
    EXPECT_NE(page.find("role=\"doc-noteref\">1</a>"), page.npos) << page;
    EXPECT_NE(page.find("In a note"), page.npos);
    EXPECT_NE(page.find("alt=\"A white whale\""), page.npos);
    EXPECT_NE(page.find("In a box"), page.npos);
    auto const png = book.Get("Images/picture1.png");
    EXPECT_TRUE(png.starts_with("\x89PNG"));
    // A pin does not keep its object.
    shape->RemoveFromParent();
    boxed->SetVisible(false);
    EXPECT_EQ(Export(In("y.epub")), 0);
    auto const later = ReadBook(In("y.epub"));
    ExpectSound(later);
    EXPECT_EQ(later.Get("Story1.xhtml").find("<img"), std::string::npos);
    EXPECT_EQ(later.Get("Story1.xhtml").find("In a box"), std::string::npos);
}

TEST_F(ExportStory, KeepsPinsInDocuments) {
    auto const shape = Support::Named("A white whale");
    controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, shape, nullptr);
    SetText(Kernel::Counted<Story::Glyph const>(new Story::PinGlyph(Kernel::MakeCounted<PinnedNode>(shape))));
    controller->Save(In("x.redraft"));
    auto const loaded = DocumentController::Open(In("x.redraft"), true);
    EXPECT_EQ(loaded->GetHash(true), controller->GetHash(true));
    auto const frame = Kernel::Cast<FrameTextNode>(
        Kernel::Counted<Node>(loaded->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain)));
    ASSERT_TRUE(frame);
    auto const objects = frame->GetStory()->FindObjects(frame->GetStory()->GetAll());
    ASSERT_EQ(objects.size(), 1u);
    auto const pin = Kernel::Cast<Story::PinGlyph const>(objects.front().glyph);
    ASSERT_TRUE(pin && pin->GetPin());
    auto const pinned = Kernel::Cast<PinnedNode>(pin->GetPin());
    ASSERT_TRUE(pinned && pinned->GetNode());
    EXPECT_EQ(pinned->GetNode()->GetDescription(false), "A white whale");
}

} // namespace
