// SPDX-License-Identifier: Apache-2.0
#include "engine/story/font.h"
#include "tests/engine/story/made_fonts.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace MadeFonts;
using Story::FontFace;

class FontLies : public testing::Test {
protected:
    void SetUp() override {
        m_path = (std::filesystem::temp_directory_path() / ("lies-" + std::to_string(getpid()) + ".ttf")).string();
    }
    void TearDown() override { std::filesystem::remove(m_path); }
    Story::FontFaceRef Load(std::string const& bytes) {
        std::ofstream(m_path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return FontFace::Load(m_path, 0);
    }
    // Reads whatever the face will give.
    static void Use(Story::FontFaceRef const& face) {
        if (!face)
            return;
        for (char32_t c = U'A'; c != U'z'; ++c)
            static_cast<void>(face->GetOutline(face->GetGlyphOfCharacter(c)));
        for (unsigned const glyph : {0u, 1u, 70'000u, 0xFFFFFFu})
            static_cast<void>(face->GetOutline(glyph));
    }
    std::string m_path;
};

TEST_F(FontLies, AFontThatDoesNotIsRead) {
    auto const face = Load(MakeFile(MakeTables({"", MakeTriangle(), MakeComposite({1, 1})})));
    ASSERT_TRUE(face);
    EXPECT_TRUE(face->HasCharacter(U'A'));
    ASSERT_TRUE(face->GetOutline(1));
    EXPECT_NEAR(face->GetOutline(1)->GetBounds()->GetWidth(), 0.5, 1e-6);
    EXPECT_NEAR(face->GetOutline(2)->GetBounds()->GetWidth(), 0.5, 1e-6);
}

TEST_F(FontLies, AFontOfPicturesSaysSo) {
    auto tables = MakeTables({"", ""});
    ASSERT_TRUE(Load(MakeFile(tables)));
    EXPECT_FALSE(Load(MakeFile(tables))->HasPictures());
    tables["CBDT"] = std::string(8, '\0');
    EXPECT_TRUE(Load(MakeFile(tables))->HasPictures());
}

TEST_F(FontLies, GlyphsThatConsistOfThemselvesHaveNoEndAndNoOutline) {
    auto const face =
        Load(MakeFile(MakeTables({"", MakeComposite({1}), MakeComposite({3}), MakeComposite({2, 2}), MakeTriangle()})));
    ASSERT_TRUE(face);
    for (unsigned glyph = 1; glyph != 4; ++glyph)
        EXPECT_FALSE(face->GetOutline(glyph)) << glyph;
    EXPECT_TRUE(face->GetOutline(4));
}

// Each glyph is two of the next: a few bytes that ask for as many parts as there are grains of sand.
TEST_F(FontLies, PartsThatDoubleFortyTimesAreRefused) {
    for (bool const isEmpty : {false, true}) {
        std::vector<std::string> glyphs{""};
        for (unsigned i = 1; i != 41; ++i)
            glyphs.push_back(MakeComposite({i + 1, i + 1}));
        glyphs.push_back(isEmpty ? "" : MakeTriangle());
        auto const face = Load(MakeFile(MakeTables(glyphs)));
        ASSERT_TRUE(face);
        EXPECT_FALSE(face->GetOutline(1));
        if (!isEmpty) {
            EXPECT_TRUE(face->GetOutline(40));
        }
    }
}

TEST_F(FontLies, TablesCutAnywhereAreNoFontOrAreRead) {
    auto const tables = MakeTables({"", MakeTriangle(), MakeComposite({1, 1}), MakeTriangle()});
    for (auto const& [tag, bytes] : tables) {
        for (std::size_t size = 0; size <= bytes.size(); ++size) {
            auto cut = tables;
            cut[tag].resize(size);
            Use(Load(MakeFile(cut)));
        }
        auto without = tables;
        without.erase(tag);
        Use(Load(MakeFile(without)));
    }
    auto const whole = MakeFile(tables);
    for (std::size_t size = 0; size < whole.size(); size += 3)
        Use(Load(whole.substr(0, size)));
}

TEST_F(FontLies, OffsetsAndCountsThatPointNowhereAreNotFollowed) {
    auto const tables = MakeTables({"", MakeTriangle(), MakeComposite({1, 1}), MakeTriangle()});
    for (auto const& [tag, bytes] : tables) {
        for (std::size_t at = 0; at + 2 <= bytes.size(); at += 2) {
            for (unsigned const value : {0u, 1u, 0x7FFFu, 0x8000u, 0xFFFFu}) {
                auto lied = tables;
                lied[tag][at] = static_cast<char>(value >> 8);
                lied[tag][at + 1] = static_cast<char>(value & 0xFF);
                Use(Load(MakeFile(lied)));
            }
        }
    }
    auto const whole = MakeFile(tables);
    for (std::size_t at = 0; at + 4 <= 12 + tables.size() * 16; at += 2) {
        auto lied = whole;
        lied.replace(at, 2, "\xFF\xFF");
        Use(Load(lied));
    }
}

TEST_F(FontLies, AFontOfSixtyThousandGlyphsThatItDoesNotHaveIsRead) {
    auto tables = MakeTables({"", MakeTriangle()});
    tables["maxp"] = Bytes().U32(0x10000).U16(0xFFFF).Zeros(26).Get();
    tables["hhea"] = Bytes().U32(0x10000).U16(800).U16(0xFF38).U16(0).U16(1000).Zeros(22).U16(0).U16(0xFFFF).Get();
    // Every character there is, and more.
    tables["cmap"] = Bytes()
                         .U16(0)
                         .U16(1)
                         .U16(3)
                         .U16(10)
                         .U32(12)
                         .U16(12)
                         .U16(0)
                         .U32(28)
                         .U32(0)
                         .U32(1)
                         .U32(0)
                         .U32(0xFFFFFFFF)
                         .U32(1)
                         .Get();
    auto const face = Load(MakeFile(tables));
    Use(face);
}

} // namespace
