// SPDX-License-Identifier: Apache-2.0
#include "formats/colour.h"
#include "formats/export.h"
#include "formats/import.h"
#include "platform/raster/codec.h"
#include "tests/formats/files.h"

#include <algorithm>

namespace {

class Export : public FilesTest {
protected:
    Kernel::Counted<DocumentController> ImportSquares() const {
        return Formats::Import(Write("squares.svg", c_twoSquares));
    }
    Raster::DecodedImage Decode(std::string const& name) const {
        auto const bytes = Read(name);
        return Raster::DecodeImage(std::as_bytes(std::span(bytes)));
    }
};

TEST_F(Export, WritesTheSpreadAsAPictureOfItsSize) {
    auto const document = ImportSquares();
    Formats::Export(*document, PathOf("out.png"));
    auto const image = Decode("out.png");
    EXPECT_EQ(image.info.width, 40u);
    EXPECT_EQ(image.info.height, 20u);
    EXPECT_EQ(std::to_integer<int>(image.samples[0]), 255);
    EXPECT_EQ(std::to_integer<int>(image.samples[1]), 0);
}

TEST_F(Export, WritesOnlyTheNodesThatAreAskedFor) {
    auto const document = ImportSquares();
    Formats::ExportOptions options;
    options.nodes = {Kernel::Counted<Node>(document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain))};
    options.scale = 2;
    Formats::Export(*document, PathOf("out.tif"), options);
    auto const image = Decode("out.tif");
    EXPECT_EQ(image.info.width, 40u);
    EXPECT_EQ(image.info.height, 40u);
    EXPECT_TRUE(image.info.hasAlpha);
}

TEST_F(Export, TakesTheSpreadAndPixelFormatThatAreAskedFor) {
    auto const document = DocumentController::CreateNew({30, 10}, Raster::FormatRGBA16, 2);
    Formats::ExportOptions options;
    options.spread = document->GetDocument()->GetSpreads().back();
    Formats::Export(*document, PathOf("deep.png"), options);
    EXPECT_EQ(Decode("deep.png").info.sampleFormat, Raster::SampleFormat::Integer16);
    options.pixelFormat = Raster::FormatRGBA8;
    Formats::Export(*document, PathOf("flat.png"), options);
    EXPECT_EQ(Decode("flat.png").info.sampleFormat, Raster::SampleFormat::Integer8);
}

TEST_F(Export, GivesBackADrawingThatImportsAlike) {
    auto const document = ImportSquares();
    Formats::Report report;
    Formats::Export(*document, PathOf("out.svg"), {}, &report);
    EXPECT_TRUE(report.notes.empty());
    EXPECT_EQ(Formats::Import(PathOf("out.svg"))->GetHash(false), document->GetHash(false));
}

TEST_F(Export, LeavesTheOldFileAndNoOtherWhereItFails) {
    auto const document = ImportSquares();
    Write("out.png", "precious");
    bool abort = true;
    Formats::ExportOptions options;
    options.abort = &abort;
    options.scale = 1;
    EXPECT_THROW(Formats::Export(*document, PathOf("out.png"), options), Kernel::AbortException);
    EXPECT_THROW(Formats::Export(*document, PathOf("out.svg"), options), Kernel::AbortException);
    EXPECT_EQ(Read("out.png"), "precious");
    auto const folder = std::filesystem::path(PathOf("out.png")).parent_path();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    EXPECT_THROW(Formats::Export(*document, PathOf("none/out.png")), Kernel::Exception);
}

TEST_F(Export, RefusesAnEndingThatNamesNoFormat) {
    EXPECT_NE(MessageOf([&] { Formats::Export(*ImportSquares(), PathOf("out.bmp")); }).find(".png"), std::string::npos);
    EXPECT_EQ(Formats::FindExportFormat("A.TIFF"), Formats::ExportFormat::Tiff);
    EXPECT_FALSE(Formats::FindExportFormat("png"));
}

// An output that a host program gives gets the bytes of the file.
TEST_F(Export, GivesAnOutputTheBytesOfTheFile) {
    struct Bytes final : Formats::Output {
        void Begin() override { text.clear(); }
        void Write(std::span<std::byte const> bytes) override {
            text.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        }
        std::string text;
    };
    auto const document = ImportSquares();
    for (auto const name : {"out.svg", "out.png", "out.tif"}) {
        Bytes output;
        std::vector<float> told;
        Formats::ExportOptions options;
        options.progress = [&](float fraction) { told.push_back(fraction); };
        Formats::Export(*document, *Formats::FindExportFormat(name), output, options);
        Formats::Export(*document, PathOf(name));
        EXPECT_EQ(output.text, Read(name)) << name;
        EXPECT_TRUE(std::all_of(told.begin(), told.end(), [](float f) { return f >= 0 && f <= 1; }));
    }
}

TEST(CssColour, TakesNamesAndHexadecimalForms) {
    using Renderer::Colour;
    EXPECT_EQ(Formats::ParseCssColour("RebeccaPurple"), Formats::ParseCssColour("#663399"));
    EXPECT_EQ(Formats::ParseCssColour("red"), Colour::FromRGB(1, 0, 0));
    EXPECT_EQ(Formats::ParseCssColour("transparent"), Colour::FromRGB(0, 0, 0, 0));
    EXPECT_FALSE(Formats::ParseCssColour("reddish"));
    EXPECT_FALSE(Formats::ParseCssColour(""));
}

} // namespace
