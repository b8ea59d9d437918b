// SPDX-License-Identifier: Apache-2.0
#include "platform/document/alter_toc_command.h"
#include "platform/document/export_article.h"
#include "platform/document/pinned_node.h"
#include "platform/document/update_index_command.h"
#include "platform/story/generated_text.h"
#include "platform/story/hyperlink.h"
#include "publishing/export_reading_order.h"
#include "publishing/export_story_command.h"
#include "tests/engine/epub/exported_book.h"
#include "tests/examples/scenes/contents_documents.h"
#include "tests/examples/scenes/index_documents.h"

#include <pugixml.hpp>

namespace {

using namespace Commands;
using ExampleDocuments::c_tocStyle;
using Lines = std::vector<std::string>;

std::string GetText(pugi::xml_node const& node) {
    std::string text;
    for (auto const& each : node.select_nodes(".//text()"))
        text += each.node().value();
    return text;
}

// Each link within a book as its text, "->", and the text of the paragraph that it leads to.
Lines GetLinks(Book const& book) {
    Lines lines;
    std::map<std::string, pugi::xml_document> pages;
    for (auto const& [name, text] : book.files) {
        if (name.starts_with("EPUB/Story"))
            pages[name].load_buffer(text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata);
    }
    for (auto const& [name, page] : pages) {
        for (auto const& each : page.select_nodes("//a[@href]")) {
            std::string target = each.node().attribute("href").value();
            target = target.front() == '#' ? name + target : "EPUB/" + target;
            auto const hash = target.find('#');
            auto place = pages[target.substr(0, hash)]
                             .select_node(("//*[@id='" + target.substr(hash + 1) + "']").c_str())
                             .node();
            while (place && std::string_view("span") == place.name())
                place = place.parent();
            lines.push_back(GetText(each.node()) + " -> " + GetText(place));
        }
    }
    return lines;
}

class GeneratedLinks : public testing::Test {
protected:
    void Prepare(std::vector<Kernel::String> const& styles) {
        texts = ExampleDocuments::TextsWithContents(*controller, styles);
        controller->Run(AlterTocCommand::MakeUpdateTocs());
    }
    static Story::ParagraphAttsRef MakeAtts(char const* style) {
        auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
        if (*style != '\0')
            atts->Set(Story::ParagraphAtt::String::StyleName, style);
        return atts;
    }
    static void Set(TextNode& text, Kernel::Counted<Story::Story> const& story) {
        text.SetStory(story);
        text.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    }
    void AddParagraphs(TextNode& text, char const* style, std::vector<char32_t const*> const& words) {
        auto const story = text.GetStory()->Clone();
        std::vector<Story::GeneratedParagraph> paragraphs;
        for (auto const* each : words)
            paragraphs.push_back({Story::GlyphString(each), MakeAtts(style), {}});
        Story::ReplaceWithParagraphs(*story, {story->GetLength(), story->GetLength()}, paragraphs);
        Set(text, story);
    }
    // Takes the first words of this kind for others, without making tables anew.
    void Replace(TextNode& text, std::string const& words, char32_t const* others, std::size_t which = 0) {
        auto const story = text.GetStory()->Clone();
        auto place = std::string::npos;
        auto const whole = story->GetString(story->GetAll()).ToStdString();
        for (std::size_t i = 0; i <= which; ++i)
            place = whole.find(words, place + 1);
        ASSERT_NE(place, whole.npos) << words;
        auto const begin = static_cast<std::uint32_t>(place);
        story->ReplaceText({begin, begin + static_cast<std::uint32_t>(words.size())}, Story::GlyphString(others));
        Set(text, story);
    }
    Kernel::Counted<FrameTextNode> AddFrame(char const* style, std::vector<char32_t const*> const& words) {
        auto const frame = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{400, 50, 700, 1000});
        ExampleDocuments::Append(*controller->GetCurrentSpread(), frame);
        auto const story = frame->GetStory()->Clone();
        Set(*frame, story);
        AddParagraphs(*frame, style, words);
        return frame;
    }
    Book Export(Kernel::Counted<FrameTextNode> const& frame) {
        BookPath const path("-links.epub");
        auto const command =
            Kernel::MakeCounted<ExportStoryCommand>(Selection::CreateWithSingleObject(frame), path.Get(), nullptr);
        controller->Run(command);
        EXPECT_EQ(command->GetResult(), 0);
        auto book = ReadBook(path.Get());
        ExpectSound(book);
        return book;
    }
    // All texts, each as an article, which is a file of the book, or all in one.
    Book ExportAll(std::vector<Kernel::Counted<FrameTextNode>> const& frames, bool isOneArticle = false) {
        for (std::size_t i = 0; i != frames.size(); ++i) {
            controller->GetDocument()->SetArticle(static_cast<int>(i), Kernel::MakeCounted<ExportArticle>());
            frames[i]->SetArticleIndex(isOneArticle ? 0 : static_cast<int>(i));
            frames[i]->SetSequenceIndex(isOneArticle ? static_cast<int>(i) : 0);
        }
        bool wasRead = false;
        controller->UpdateExportArticles(wasRead);
        BookPath const path("-links.epub");
        EXPECT_TRUE(ExportReadingOrder(controller, path.Get(), ReadingOrderFormat::EPub, {}));
        auto book = ReadBook(path.Get());
        ExpectSound(book);
        return book;
    }

    Kernel::Counted<DocumentController> controller = DocumentController::CreateNew({794, 1123}, Raster::FormatRGBA8, 1);
    ExampleDocuments::ContentsTexts texts;
    Lines const threeLines{"The first chapter\t1 -> The first chapter", "A section\t1 -> A section",
                           "The second chapter\t1 -> The second chapter"};
};

TEST_F(GeneratedLinks, LinesOfContentsLeadToTheirHeadings) {
    Prepare({c_tocStyle});
    auto const book = Export(texts.head);
    EXPECT_EQ(GetLinks(book), threeLines);
    // The title and all else are no links.
    EXPECT_NE(book.Get("Story1.xhtml").find(">What is in it</p>"), std::string::npos);
}

TEST_F(GeneratedLinks, HtmlHasThemToo) {
    Prepare({c_tocStyle});
    BookPath const path("-links.htm");
    auto const command =
        Kernel::MakeCounted<ExportStoryCommand>(Selection::CreateWithSingleObject(texts.head), path.Get(), nullptr);
    controller->Run(command);
    auto const page = ReadText(path.Get());
    EXPECT_NE(page.find("<a href=\"#place1\">The first chapter"), page.npos);
    EXPECT_NE(page.find("id=\"heading1\" class=\"heading-1\"><span id=\"place1\"></span>The first chapter</h1>"),
              page.npos);
}

TEST_F(GeneratedLinks, NothingOfTheDocumentChanges) {
    Prepare({c_tocStyle});
    auto const before = controller->GetHash(true);
    Export(texts.head);
    EXPECT_EQ(controller->GetHash(true), before);
}

TEST_F(GeneratedLinks, EachOfTwoTablesHasItsOwn) {
    Prepare({c_tocStyle, c_tocStyle});
    auto six = threeLines;
    six.insert(six.end(), threeLines.begin(), threeLines.end());
    EXPECT_EQ(GetLinks(Export(texts.head)), six);
}

TEST_F(GeneratedLinks, LinesThatSayOtherWordsThanTheirHeadingsLeadNowhere) {
    Prepare({c_tocStyle});
    Replace(*texts.head, "A section", U"Another section", 1);
    EXPECT_EQ(GetLinks(Export(texts.head)), (Lines{threeLines[0], threeLines[2]}));
}

TEST_F(GeneratedLinks, LinesWithPageNumbersOfYesterdayLeadToTheirHeadings) {
    Prepare({c_tocStyle});
    Replace(*texts.head, "A section\t1", U"A section\t27");
    auto lines = threeLines;
    lines[1] = "A section\t27 -> A section";
    EXPECT_EQ(GetLinks(Export(texts.head)), lines);
}

TEST_F(GeneratedLinks, HeadingsWithTheSameWordsAreToldApartByTheirOrder) {
    Prepare({c_tocStyle});
    AddParagraphs(*texts.head, "Heading 2", {U"Notes"});
    AddParagraphs(*texts.head, "", {U"Between them."});
    AddParagraphs(*texts.head, "Heading 1", {U"Notes"});
    controller->Run(AlterTocCommand::MakeUpdateTocs());
    auto const book = Export(texts.head);
    auto const& page = book.Get("Story1.xhtml");
    // Of the two lines the first leads in front of what stands between the headings.
    auto const first = page.find("\">Notes"), second = page.find("\">Notes", first + 1);
    auto const id = [&](std::size_t end) {
        auto const begin = page.rfind('#', end) + 1;
        return "id=\"" + page.substr(begin, end - begin) + "\"";
    };
    EXPECT_LT(page.find(id(first)), page.find("Between them."));
    EXPECT_GT(page.find(id(second)), page.find("Between them."));
    EXPECT_EQ(GetLinks(book).size(), 5u);
}

TEST_F(GeneratedLinks, OfMoreHeadingsThanLinesWithTheSameWordsNoneIsSure) {
    Prepare({c_tocStyle});
    AddParagraphs(*texts.head, "Heading 1", {U"A section"});
    EXPECT_EQ(GetLinks(Export(texts.head)), (Lines{threeLines[0], threeLines[2]}));
}

TEST_F(GeneratedLinks, HeadingsNamedAsTheTitleAreNotTakenForIt) {
    Prepare({c_tocStyle});
    AddParagraphs(*texts.head, "Heading 1", {U"What is in it"});
    controller->Run(AlterTocCommand::MakeUpdateTocs());
    auto const links = GetLinks(Export(texts.head));
    ASSERT_EQ(links.size(), 4u);
    EXPECT_TRUE(links[3].ends_with(" -> What is in it"));
}

TEST_F(GeneratedLinks, LeadToHeadingsInOtherFilesOfTheBook) {
    Prepare({c_tocStyle});
    auto const other = AddFrame("Heading 1", {U"Elsewhere"});
    controller->Run(AlterTocCommand::MakeUpdateTocs());
    auto const book = ExportAll({texts.head, other});
    auto lines = threeLines;
    lines.push_back("Elsewhere\t1 -> Elsewhere");
    EXPECT_EQ(GetLinks(book), lines);
    EXPECT_NE(book.Get("Story1.xhtml").find("<a href=\"Story2.xhtml#place4\">Elsewhere"), std::string::npos);
    // Headings that are not exported are no places.
    EXPECT_EQ(GetLinks(Export(texts.head)), threeLines);
}

TEST_F(GeneratedLinks, LeadToHeadingsInTextsThatArePinned) {
    Prepare({c_tocStyle});
    auto const pinned = AddFrame("Heading 1", {U"In a box"});
    auto const hidden = AddFrame("Heading 1", {U"Hidden"});
    for (auto const& frame : {pinned, hidden}) {
        auto const story = texts.head->GetStory()->Clone();
        auto const end = story->GetLength() - 1;
        story->ReplaceText({end, end}, Story::GlyphString(Kernel::Counted<Story::Glyph const>(
                                           new Story::PinGlyph(Kernel::MakeCounted<PinnedNode>(frame)))));
        Set(*texts.head, story);
    }
    controller->Run(AlterTocCommand::MakeUpdateTocs());
    hidden->SetVisible(false);
    auto lines = threeLines;
    lines.push_back("In a box\t1 -> In a box");
    EXPECT_EQ(GetLinks(Export(texts.head)), lines);
    // Written twice, its heading has one id, in the first file.
    EXPECT_EQ(GetLinks(ExportAll({texts.head, pinned})), lines);
    auto const book = ExportAll({texts.head, pinned}, true);
    EXPECT_EQ(GetLinks(book), lines);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("In a box</h1>", page.find("In a box</h1>") + 1), page.npos);
}

TEST_F(GeneratedLinks, LinksOfTheTextItselfHoldWhereTheyAre) {
    Prepare({c_tocStyle});
    auto const story = texts.head->GetStory()->Clone();
    auto const whole = story->GetString(story->GetAll()).ToStdString();
    auto const begin = static_cast<std::uint32_t>(whole.find("section\t1"));
    Story::Delta::Values values;
    auto const atts = Kernel::MakeCounted<Story::GlyphAtts>();
    atts->Set(Story::GlyphAtt::Object::Hyperlink,
              Kernel::Counted<Kernel::Serialisable const>(
                  Kernel::MakeCounted<Story::HyperlinkAtt>(Kernel::String("https://example.org/")).get()));
    values.glyphAtts = atts;
    story->FormatText({begin, begin + 7}, *Kernel::MakeCounted<Story::Delta>(values));
    Set(*texts.head, story);
    auto const page = Export(texts.head).Get("Story1.xhtml");
    EXPECT_NE(page.find(">A </a><a href=\"https://example.org/\">section</a><a href=\"#place2\"><span"), page.npos)
        << page;
}

// Index lines of the example, in a frame of their own.
class IndexLinks : public GeneratedLinks {
protected:
    IndexLinks() : marked(ExampleDocuments::TextsWithIndexMarks(*controller)) {
        controller->GetDocument()->GetIndex().SetShouldIncludeSectionHeadings(false);
        index = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 450, 350, 700});
        ExampleDocuments::Append(*controller->GetCurrentSpread(), index);
        controller->Run(Kernel::MakeCounted<UpdateIndexCommand>(
            Kernel::MakeCounted<Story::IndexAtt const>(Kernel::String("index-1"), Kernel::String("Index")),
            Kernel::MakeCounted<Selection const>(index, Kernel::MakeCounted<TextSelection>(0, 0))));
    }
    std::string GetIndex() const { return index->GetStory()->GetString(index->GetStory()->GetAll()).ToStdString(); }

    ExampleDocuments::IndexTexts marked;
    Kernel::Counted<FrameTextNode> index;
};

TEST_F(IndexLinks, PageNumbersLeadToTheFirstMarkOnTheirPage) {
    ASSERT_EQ(GetIndex(), "Animals\nWhales, 1\nSperm whale, 1\nShips, 1. See also Sea\n");
    auto const book = ExportAll({marked.head, index, marked.other});
    auto const links = GetLinks(book);
    ASSERT_EQ(links.size(), 3u);
    EXPECT_EQ(links[0], "1 -> Call the whale by its name.");
    EXPECT_EQ(links[1], "1 -> A sperm whale is large.");
    EXPECT_TRUE(links[2].starts_with("1 -> The ship goes on")) << links[2];
    EXPECT_NE(book.Get("Story1.xhtml").find("Call the <span id="), std::string::npos);
    auto const& page = book.Get("Story2.xhtml");
    EXPECT_NE(page.find(">Whales, <a href=\"Story1.xhtml#place1\">1</a></p>"), page.npos) << page;
}

TEST_F(IndexLinks, LinesThatAnUpdateWouldMakeOtherwiseLeadNowhere) {
    Replace(*index, "Whales, 1", U"Whales, 2");
    auto const links = GetLinks(ExportAll({marked.head, index, marked.other}));
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(links[0], "1 -> A sperm whale is large.");
}

TEST_F(IndexLinks, MarksThatAreNotExportedAreNoPlaces) {
    EXPECT_EQ(GetLinks(ExportAll({index, marked.other})), (Lines{"1 -> A sperm whale is large."}));
    EXPECT_TRUE(GetLinks(Export(index)).empty());
}

} // namespace
