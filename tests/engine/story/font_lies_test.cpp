// SPDX-License-Identifier: Apache-2.0
#include "engine/story/font.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Story::FontFace;

// Bytes as font files have them: the greater first.
class Bytes {
public:
    Bytes& U8(unsigned value) {
        m_bytes.push_back(static_cast<char>(value));
        return *this;
    }
    Bytes& U16(unsigned value) { return U8(value >> 8 & 0xFF).U8(value & 0xFF); }
    Bytes& U32(std::uint64_t value) {
        return U16(static_cast<unsigned>(value >> 16 & 0xFFFF)).U16(static_cast<unsigned>(value & 0xFFFF));
    }
    Bytes& Zeros(std::size_t count) {
        m_bytes.append(count, '\0');
        return *this;
    }
    std::string const& Get() const { return m_bytes; }

private:
    std::string m_bytes;
};

using Tables = std::map<std::string, std::string>;

// Triangles in a font of 1000 units.
std::string MakeTriangle() {
    Bytes glyph;
    glyph.U16(1).U16(0).U16(0).U16(500).U16(500).U16(2).U16(0);
    glyph.U8(1).U8(1).U8(1);
    glyph.U16(0).U16(500).U16(0xFE0C).U16(0).U16(0).U16(500).U8(0);
    return glyph.Get();
}
std::string MakeComposite(std::vector<unsigned> const& parts) {
    Bytes glyph;
    glyph.U16(0xFFFF).Zeros(8);
    for (std::size_t i = 0; i != parts.size(); ++i)
        glyph.U16(i + 1 == parts.size() ? 0x0003 : 0x0023).U16(parts[i]).U16(0).U16(0);
    return glyph.Get();
}

// A font whose letters from A on are the glyphs from 1 on.
Tables MakeTables(std::vector<std::string> const& glyphs) {
    Tables tables;
    auto const count = static_cast<unsigned>(glyphs.size());
    tables["head"] = Bytes()
                         .U32(0x10000)
                         .U32(0x10000)
                         .U32(0)
                         .U32(0x5F0F3CF5)
                         .U16(0)
                         .U16(1000)
                         .Zeros(16)
                         .U16(0)
                         .U16(0)
                         .U16(1000)
                         .U16(1000)
                         .U16(0)
                         .U16(8)
                         .U16(2)
                         .U16(1)
                         .U16(0)
                         .Get();
    tables["hhea"] = Bytes().U32(0x10000).U16(800).U16(0xFF38).U16(0).U16(1000).Zeros(22).U16(0).U16(1).Get();
    tables["maxp"] = Bytes().U32(0x10000).U16(count).Zeros(26).Get();
    Bytes metrics;
    metrics.U16(600).U16(0).Zeros(2 * (count - 1));
    tables["hmtx"] = metrics.Get();
    Bytes cmap;
    cmap.U16(0).U16(1).U16(3).U16(10).U32(12);
    cmap.U16(12).U16(0).U32(28).U32(0).U32(1).U32('A').U32('A' + count - 2).U32(1);
    tables["cmap"] = cmap.Get();
    Bytes places;
    std::string all;
    for (auto const& glyph : glyphs) {
        places.U32(all.size());
        all += glyph;
        all.resize((all.size() + 3) / 4 * 4);
    }
    places.U32(all.size());
    tables["loca"] = places.Get();
    tables["glyf"] = all;
    return tables;
}

std::string MakeFile(Tables const& tables) {
    Bytes directory;
    auto const count = static_cast<unsigned>(tables.size());
    directory.U32(0x10000).U16(count).U16(128).U16(3).U16(0);
    std::size_t at = 12 + tables.size() * 16;
    std::string content;
    for (auto const& [tag, bytes] : tables) {
        for (char const c : tag)
            directory.U8(static_cast<unsigned char>(c));
        directory.U32(0).U32(at + content.size()).U32(bytes.size());
        content += bytes;
        content.resize((content.size() + 3) / 4 * 4);
    }
    return directory.Get() + content;
}

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
