// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/image_source.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace Formats::Svg;

namespace {

// A folder of its own for each test, with a file in it and one beside it.
class SvgImageFile : public ::testing::Test {
protected:
    void SetUp() override {
        auto const name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        m_top = std::filesystem::temp_directory_path() / ("svg-image-" + std::string(name) + std::to_string(getpid()));
        std::filesystem::remove_all(m_top);
        std::filesystem::create_directories(m_top / "drawing" / "sub");
        std::ofstream(m_top / "drawing" / "sub" / "in side.png") << "inside";
        std::ofstream(m_top / "outside.png") << "outside";
    }
    void TearDown() override { std::filesystem::remove_all(m_top); }

    std::string Load(std::string const& href, std::string const& kind = {}, std::size_t maxBytes = 1000) {
        ReadOptions options;
        options.folder = m_top / "drawing";
        options.limits.imageBytes = maxBytes;
        Drawing drawing(
            "<svg xmlns='http://www.w3.org/2000/svg' width='1' height='1'><image href='" + href + "'/></svg>", options);
        auto const image = LoadImage(*drawing.GetRoot().GetFirstChild());
        if (!kind.empty()) {
            EXPECT_EQ(drawing.GetReport().GetCount(kind), 1u) << href;
        } else {
            EXPECT_TRUE(drawing.GetReport().IsEmpty()) << href;
        }
        return image ? image->bytes : "none";
    }

    std::filesystem::path m_top;
};

} // namespace

TEST_F(SvgImageFile, FilesBelowTheFolderAreRead) {
    EXPECT_EQ(Load("sub/in%20side.png"), "inside");
    EXPECT_EQ(Load("./sub/../sub/in side.png#x"), "inside");
}

TEST_F(SvgImageFile, NothingElseIsRead) {
    std::filesystem::create_symlink(m_top / "outside.png", m_top / "drawing" / "link.png");
    for (std::string const href : {"../outside.png", "..%2Foutside.png", "sub/../../outside.png", "link.png", "sub",
                                   "missing.png", "/etc/hostname", "", "sub/in%20side.png%00.svg"})
        EXPECT_EQ(Load(href, href.empty() ? "" : "missing image file"), "none") << href;
    EXPECT_EQ(Load((m_top / "outside.png").string(), "missing image file"), "none");
    for (std::string const href : {"http://127.0.0.1/x.png", "file:///etc/hostname", "ftp://x/y"})
        EXPECT_EQ(Load(href, "external reference"), "none") << href;
}

TEST_F(SvgImageFile, FilesBeyondTheLimitAreNotRead) {
    EXPECT_EQ(Load("sub/in side.png", "missing image file", 5), "none");
    EXPECT_EQ(Load("sub/in side.png", "", 6), "inside");
}

TEST(SvgDataUri, Base64AndPercentFormsAreDecoded) {
    auto bytes = [](std::string_view uri) {
        auto const image = DecodeDataUri(uri, 1000);
        return image ? image->mediaType + "|" + image->bytes : "none";
    };
    EXPECT_EQ(bytes("data:image/PNG;base64,aGVsbG8="), "image/png|hello");
    EXPECT_EQ(bytes(" data:image/png;charset=x;BASE64,aGVs\n bG8 "), "image/png|hello");
    EXPECT_EQ(bytes("data:image/png;base64,aGVsbG8%3D"), "image/png|hello");
    EXPECT_EQ(bytes("data:,a%20b%zz"), "|a b%zz");
    EXPECT_EQ(bytes("data:image/png;base64,aGVsb*8="), "none");
    EXPECT_EQ(bytes("data:image/png"), "none");
}

TEST(SvgDataUri, LengthsModuloFour) {
    EXPECT_EQ(DecodeBase64(""), "");
    EXPECT_EQ(DecodeBase64("YQ=="), "a");
    EXPECT_EQ(DecodeBase64("YWI"), "ab");
    EXPECT_EQ(DecodeBase64("_-8"), "\xFF\xEF");
    EXPECT_FALSE(DecodeBase64("Y"));
    EXPECT_FALSE(DecodeBase64("YQ=a"));
}
