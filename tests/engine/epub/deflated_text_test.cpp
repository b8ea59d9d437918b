// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/deflated_text.h"
#include "platform/kernel/dispatch.h"
#include "platform/story/paragraph.h"
#include "tests/engine/epub/exported_book.h"

#include <random>

namespace {

using EPub::DeflatedText;

class DeflatedTexts : public testing::Test {
protected:
    ~DeflatedTexts() override { Kernel::Dispatch::SetThreadCount(m_threads); }

private:
    unsigned m_threads = Kernel::Dispatch::GetThreadCount();
};

std::string MakeText(std::size_t length) {
    std::mt19937 random{5};
    std::string text;
    while (text.size() < length)
        text += static_cast<char>(random() % 7 == 0 ? ' ' : 'a' + random() % 12);
    return text;
}

DeflatedText::Result Compress(std::string_view text, std::size_t pieceLength) {
    DeflatedText deflated;
    for (std::size_t i = 0; i < text.size(); i += pieceLength)
        deflated.Append(std::string(text.substr(i, pieceLength)));
    return deflated.Finish();
}

Kernel::Counted<Story::Story> MakeLongStory() {
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    for (int i = 0; i != 3000; ++i) {
        for (char const c : "The " + std::to_string(i) + "th paragraph of a text that is longer than most of them are.")
            sink.Add(static_cast<char32_t>(static_cast<unsigned char>(c)));
        sink.Add(Story::c_paragraphSeparator);
    }
    sink.Flush();
    return story;
}

std::string WriteLongBook(unsigned threads) {
    Kernel::Dispatch::SetThreadCount(threads);
    BookPath const path(".epub");
    auto const settings = Kernel::MakeCounted<EPub::ExportSettings>();
    settings->isEPub = true;
    settings->title = "A Long Book";
    auto const story = MakeLongStory();
    EPub::FlowingEPubExporter exporter(settings, {});
    exporter.Start(path.Get(), {});
    EXPECT_TRUE(exporter.ExportStory(story, story->gend(), "Story1.xhtml", {}));
    EXPECT_TRUE(exporter.Finish());
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_GT(page.size(), 150'000u);
    EXPECT_NE(page.find("<p>The 0th paragraph"), page.npos);
    EXPECT_NE(page.find("<p>The 2999th paragraph"), page.npos);
    EXPECT_TRUE(page.ends_with("</body>\n</html>\n"));
    return ReadText(path.Get());
}

// The bytes of an empty text and its sum are those that RFC 1951 and CRC-32 give.
TEST_F(DeflatedTexts, HoldNothingOfAnEmptyText) {
    auto const empty = Compress({}, 1);
    EXPECT_EQ(empty.bytes, (std::vector<std::byte>{std::byte{3}, std::byte{0}}));
    EXPECT_EQ(empty.length, 0u);
    EXPECT_EQ(empty.crc, 0u);
}

TEST_F(DeflatedTexts, AreTheSameHoweverTheTextIsCutAndWhateverThreadCompresses) {
    auto const text = MakeText(700'000);
    auto const whole = Compress(text, text.size());
    EXPECT_EQ(whole.length, text.size());
    EXPECT_LT(whole.bytes.size(), text.size());
    for (unsigned const threads : {1u, 2u}) {
        Kernel::Dispatch::SetThreadCount(threads);
        for (std::size_t const piece : {std::size_t{997}, std::size_t{65536}, text.size()}) {
            auto const parts = Compress(text, piece);
            EXPECT_EQ(parts.bytes, whole.bytes) << threads << " threads, pieces of " << piece;
            EXPECT_EQ(parts.crc, whole.crc);
        }
    }
}

// CRC-32 of this text: the check value that catalogues of such sums list.
TEST_F(DeflatedTexts, HaveTheSumOfTheirText) { EXPECT_EQ(Compress("123456789", 2).crc, 0xCBF43926u); }

TEST_F(DeflatedTexts, MayBeDroppedHalfWay) {
    Kernel::Dispatch::SetThreadCount(2);
    DeflatedText deflated;
    for (int i = 0; i != 100; ++i)
        deflated.Append(MakeText(10'000));
}

// Written in pieces, and read back by a library that checks sums.
TEST_F(DeflatedTexts, MakeTheSameBookOnOneThreadAndOnTwo) { EXPECT_EQ(WriteLongBook(1), WriteLongBook(2)); }

} // namespace
