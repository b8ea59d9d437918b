// SPDX-License-Identifier: Apache-2.0
#include "publishing/export_reading_order.h"

#include "platform/document/document_controller.h"
#include "platform/document/export_article.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/exception.h"
#include "tests/engine/epub/exported_book.h"
#include "tests/support/documents.h"

namespace {

using namespace Commands;

// Twenty pictures and texts in turn, each named by its number.
class ReadingOrder : public testing::Test {
protected:
    ReadingOrder() {
        auto const spread = controller->GetCurrentSpread();
        for (int i = 0; i != 20; ++i) {
            auto const name = "item " + std::to_string(i) + ".";
            if (i % 2 == 0) {
                auto const shape = Support::Named(name.c_str());
                items.emplace_back(shape);
            } else {
                auto const frame = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 0, 200, 30});
                frame->SetText(Story::GlyphString(Kernel::String(name)), {}, {});
                items.emplace_back(frame);
            }
            spread->InsertChild(NodeChildListType::Plain, items.back(), nullptr);
        }
    }
    void Put(int item, int article, int sequence) {
        items[static_cast<std::size_t>(item)]->SetArticleIndex(article);
        items[static_cast<std::size_t>(item)]->SetSequenceIndex(sequence);
        Update();
    }
    Kernel::Counted<ExportArticle> AddArticle(int number, char const* name) {
        auto const article = Kernel::MakeCounted<ExportArticle>();
        article->SetName(name);
        controller->GetDocument()->SetArticle(number, article);
        Update();
        return article;
    }
    void Update() {
        bool wasRead = false;
        controller->UpdateExportArticles(wasRead);
    }
    Book Export() {
        BookPath const path("-order.epub");
        EXPECT_TRUE(ExportReadingOrder(controller, path.Get(), ReadingOrderFormat::EPub, {}));
        auto book = ReadBook(path.Get());
        ExpectSound(book);
        return book;
    }

    Kernel::Counted<DocumentController> controller = Support::NewDocument();
    std::vector<Kernel::Counted<SceneNode>> items;
};

TEST_F(ReadingOrder, FollowsArticlesAndTheirMembers) {
    AddArticle(0, "Second & last made");
    AddArticle(1, "Other");
    Put(3, 1, 0);
    Put(2, 1, 1);
    Put(5, 0, 1);
    Put(4, 0, 0);
    Put(7, 2, -1);
    auto const book = Export();
    auto const& first = book.Get("Story1.xhtml");
    EXPECT_LT(first.find("alt=\"item 4.\""), first.find("item 5."));
    auto const& second = book.Get("Story2.xhtml");
    EXPECT_LT(second.find("item 3."), second.find("alt=\"item 2.\""));
    EXPECT_NE(book.Get("Story3.xhtml").find("item 7."), std::string::npos);
    EXPECT_EQ(book.files.count("EPUB/Story4.xhtml"), 0u);
    auto const& navigation = book.Get("Navigation.xhtml");
    EXPECT_LT(navigation.find("Second &amp; last made"), navigation.find("Other"));
}

TEST_F(ReadingOrder, LeavesHiddenEntriesAndHiddenObjectsOut) {
    auto const article = AddArticle(0, "Hidden");
    Put(1, 0, 0);
    Put(3, 1, -1);
    Put(5, 2, -1);
    Put(7, 3, -1);
    article->SetHide(true, false);
    items[3]->SetHide(true, false);
    items[5]->SetVisible(false);
    Update();
    auto const book = Export();
    auto const& page = book.Get("Story1.xhtml");
    for (char const* hidden : {"item 1.", "item 3.", "item 5."})
        EXPECT_EQ(page.find(hidden), page.npos) << hidden;
    EXPECT_NE(page.find("item 7."), page.npos);
    EXPECT_EQ(book.Get("Navigation.xhtml").find("Hidden"), std::string::npos);
}

TEST_F(ReadingOrder, SaysThatDecorationsTellNothingAndWhatOthersShow) {
    Put(2, 0, -1);
    Put(4, 1, -1);
    Put(6, 2, -1);
    items[2]->SetMarkAsDecoration(true);
    items[4]->AddMetadataValueForKey("alt", "A \"whale\"");
    auto const book = Export();
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("alt=\"\" role=\"presentation\""), page.npos);
    EXPECT_EQ(page.find("item 2."), page.npos);
    EXPECT_NE(page.find("alt=\"A &quot;whale&quot;\""), page.npos);
    EXPECT_NE(page.find("alt=\"item 6.\""), page.npos);
}

// All frames of a text are one entry, wherever the order names them.
TEST_F(ReadingOrder, WritesALinkedTextOnce) {
    auto const first = Kernel::Cast<FrameTextNode>(items[1]), second = Kernel::Cast<FrameTextNode>(items[3]);
    second->LinkBehind(*first);
    Put(1, 0, -1);
    Put(3, 1, -1);
    auto const book = Export();
    auto const& page = book.Get("Story1.xhtml");
    auto const place = page.find("item 1.");
    ASSERT_NE(place, page.npos);
    EXPECT_EQ(page.find("item 1.", place + 1), page.npos);
}

TEST_F(ReadingOrder, WritesItsTextsOneBehindTheOther) {
    Put(3, 0, -1);
    Put(1, 1, -1);
    Put(2, 2, -1);
    BookPath const path("-order.txt");
    EXPECT_TRUE(ExportReadingOrder(controller, path.Get(), ReadingOrderFormat::Text, {}));
    EXPECT_EQ(ReadText(path.Get()), "item 3.\n\nitem 1.");
}

TEST_F(ReadingOrder, WritesTextsAndPicturesAsOneRtf) {
    Put(3, 0, -1);
    Put(1, 1, -1);
    Put(2, 2, -1);
    BookPath const path("-order.rtf");
    EXPECT_TRUE(ExportReadingOrder(controller, path.Get(), ReadingOrderFormat::Rtf, {}));
    auto const rtf = ReadText(path.Get());
    std::size_t at = 0;
    for (auto const* const part : {"{\\rtf1", "item 3.", "\\par\n", "item 1.", "\\par\n", "\\pngblip", "89504e47"}) {
        at = rtf.find(part, at);
        ASSERT_NE(at, rtf.npos) << part;
    }
    EXPECT_EQ(rtf.find("{\\rtf1", 1), rtf.npos);
    EXPECT_EQ(std::count(rtf.begin(), rtf.end(), '{'), std::count(rtf.begin(), rtf.end(), '}'));
    EXPECT_TRUE(rtf.ends_with("}\n"));
}

TEST_F(ReadingOrder, FailsWithoutEntriesAndSaysThatItCannotWrite) {
    EXPECT_THROW(ExportReadingOrder(controller, "/nonexistent/x.epub", ReadingOrderFormat::EPub, {}),
                 Kernel::Exception);
    Put(1, 0, -1);
    for (auto const format :
         {ReadingOrderFormat::EPub, ReadingOrderFormat::Html, ReadingOrderFormat::Text, ReadingOrderFormat::Rtf}) {
        EXPECT_FALSE(ExportReadingOrder(controller, "/nonexistent/x", format, {}));
        EXPECT_FALSE(ExportReadingOrder(controller, "/dev/full", format, {}));
    }
}

} // namespace
