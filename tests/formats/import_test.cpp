// SPDX-License-Identifier: Apache-2.0
#include "formats/export.h"
#include "formats/import.h"
#include "platform/kernel/cast.h"
#include "tests/formats/files.h"
#include "tests/support/documents.h"

#include <set>

namespace {

using Formats::Note;

class Import : public FilesTest {
protected:
    // A picture of the two squares with two pixels a unit.
    std::string WritePicture() const {
        Formats::ExportOptions options;
        options.scale = 2;
        Formats::Export(*Formats::Import(Write("squares.svg", c_twoSquares)), PathOf("squares.png"), options);
        return PathOf("squares.png");
    }
};

TEST_F(Import, MakesThePageAsLargeAsTheDrawing) {
    Formats::Report report;
    auto const document = Formats::Import(Write("squares.svg", c_twoSquares), {}, &report);
    auto const box = document->GetCurrentSpread()->GetBaseBox(false);
    EXPECT_EQ(box.GetWidth(), 40);
    EXPECT_EQ(box.GetHeight(), 20);
    EXPECT_EQ(document->GetHistory()->GetCount(), 0u);
    EXPECT_TRUE(report.notes.empty());
    EXPECT_EQ(report.files, std::vector{PathOf("squares.svg")});
}

TEST_F(Import, ReportsLossesAndTheFilesThatADrawingRefersTo) {
    auto const picture = WritePicture();
    Formats::Report report;
    Formats::Import(Write("filtered.svg",
                          "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'>"
                          "<filter id='f'><feImage/></filter><rect id='r' width='9' height='9' filter='url(#f)'/>"
                          "<image href='squares.png' width='9' height='9'/></svg>"),
                    {}, &report);
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].kind, Note::Kind::NotTakenOver);
    EXPECT_EQ(Formats::Describe(report.notes[0]), "not taken over: filter with feImage: 1 (first #r)");
    ASSERT_EQ(report.files.size(), 2u);
    EXPECT_EQ(report.files[1], picture);
}

TEST_F(Import, SelectsAPictureAndKeepsItsResolution) {
    auto const document = Formats::Import(WritePicture());
    auto const selected = document->GetCurrentSelection()->GetNodes();
    ASSERT_EQ(selected.size(), 1u);
    auto const* const layer = Kernel::CastPointer<RasterNode>(selected[0].get());
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->GetBitmap()->GetWidth(), 80);
    EXPECT_NEAR(document->GetCurrentSpread()->GetBaseBox(false).GetWidth(), 40, 0.01);
    EXPECT_EQ(layer->GetDescription(true).ToStdString(), "squares");
}

TEST_F(Import, TellsOfAnEncodingThatWasGuessed) {
    std::string const latin = "Gr\xFC\xDF"
                              "e\n";
    Formats::Report report;
    auto const path = Write("greeting.txt", latin);
    Formats::Import(path, {}, &report);
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].kind, Note::Kind::GuessedEncoding);

    Formats::Report named;
    Formats::ImportOptions options;
    options.encoding = "latin-1";
    Formats::Import(path, options, &named);
    EXPECT_TRUE(named.notes.empty());

    Formats::Report malformed;
    options.encoding = "utf-8";
    Formats::Import(path, options, &malformed);
    ASSERT_EQ(malformed.notes.size(), 1u);
    EXPECT_EQ(malformed.notes[0].kind, Note::Kind::MalformedText);
}

TEST_F(Import, RefusesWhatIsAboveItsLimits) {
    Formats::ImportOptions options;
    options.limits.drawing.sourceBytes = 10;
    EXPECT_THROW(Formats::Import(Write("squares.svg", c_twoSquares), options), Kernel::Exception);
    options = {};
    options.limits.textPages = 1;
    std::string lines;
    for (int i = 0; i != 400; ++i)
        lines += "a line of a long text\n";
    auto const path = Write("long.txt", lines);
    EXPECT_EQ(MessageOf([&] { Formats::Import(path, options); }), "the text fills more than 1 pages");
    options.limits.textPages = 100;
    EXPECT_GT(Formats::Import(path, options)->GetDocument()->GetSpreads().size(), 1u);
}

TEST_F(Import, NamesThePathOfAMissingFileAndTheKindsThatItKnows) {
    EXPECT_NE(MessageOf([&] { Formats::Import(PathOf("none.svg")); }).find(PathOf("none.svg")), std::string::npos);
    EXPECT_NE(MessageOf([&] { Formats::Import(Write("table.csv", "1,2")); }).find(".svgz"), std::string::npos);
}

TEST_F(Import, TellsItsProgressAndStopsWhenItIsAborted) {
    std::string drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>";
    for (int i = 0; i != 2000; ++i)
        drawing += "<rect width='1' height='1'/>";
    auto const path = Write("many.svg", drawing + "</svg>");
    bool abort = false;
    std::vector<float> told;
    Formats::ImportOptions options;
    options.abort = &abort;
    options.progress = [&](float fraction) {
        told.push_back(fraction);
        abort = fraction > 0.5f;
    };
    EXPECT_THROW(Formats::Import(path, options), Kernel::AbortException);
    ASSERT_GT(told.size(), 2u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_LT(told.back(), 0.9f);
}

TEST_F(Import, StopsInAPicture) {
    auto const path = WritePicture();
    bool abort = true;
    Formats::ImportOptions options;
    options.abort = &abort;
    EXPECT_THROW(Formats::Import(path, options), Kernel::AbortException);
}

TEST_F(Import, PlacesInFrontOfWhatIsThere) {
    auto const document = Formats::Import(Write("squares.svg", c_twoSquares));
    auto const picture = Formats::Place(*document, WritePicture());
    ASSERT_EQ(picture.size(), 1u);
    EXPECT_EQ(document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain), picture[0].get());
    Formats::Report report;
    auto const text = Formats::Place(*document, Write("words.txt", std::string(4000, 'x') + "\n"), {}, &report);
    ASSERT_EQ(text.size(), 1u);
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].text, "the text is longer than the page");
}

// The GUIDs of a second drawing's groups follow those of the first, wherever the document has come from.
TEST_F(Import, GivesGroupsOfSeveralDrawingsDifferentGUIDs) {
    auto const path = Write("uses.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>"
                                        "<defs><g id='g'><g><rect width='5' height='5'/></g></g></defs>"
                                        "<use href='#g'/><use href='#g' x='9'/></svg>");
    auto const guidsOf = [](Node& top) {
        std::set<std::string> guids;
        ForEachNode(top, [&](Node& node) {
            if (!node.GetGUID().empty())
                guids.insert(node.GetGUID().ToStdString());
        });
        return guids;
    };
    auto const document = Formats::Import(path);
    auto const first = guidsOf(*document->GetDocument());
    ASSERT_FALSE(first.empty());
    document->Save(PathOf("uses.redraft"));
    auto const again = DocumentController::Open(PathOf("uses.redraft"), true);
    for (auto const& node : Formats::Place(*again, path)) {
        for (auto const& guid : guidsOf(*node))
            EXPECT_FALSE(first.contains(guid)) << guid;
    }
    EXPECT_EQ(guidsOf(*again->GetDocument()).size(), 2 * first.size());
}

} // namespace
