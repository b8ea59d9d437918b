// SPDX-License-Identifier: Apache-2.0
#include "engine/story/colour_glyphs.h"
#include "engine/story/composed_paragraph.h"
#include "engine/story/emoji.h"
#include "engine/story/font.h"
#include "platform/raster/codec.h"
#include "platform/renderer/colour_profiles.h"
#include "platform/renderer/raster_render_target.h"
#include "platform/story/text_renderer.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/made_fonts.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Composing;
using namespace MadeFonts;
using Renderer::Colour;

std::string MakePng(std::uint32_t width, std::uint32_t height, std::array<unsigned char, 3> const& colour) {
    Raster::ImageInfo info;
    info.width = width;
    info.height = height;
    std::string file;
    Raster::EncodePng(
        info,
        [&](std::uint32_t, std::span<std::byte> row) {
            for (std::size_t i = 0; i != row.size(); ++i)
                row[i] = std::byte{colour[i % 3]};
        },
        [&](std::span<std::byte const> bytes) {
            file.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        });
    return file;
}

Picture MakePicture(unsigned side, std::string file) { return {side, side, 0, side, std::move(file)}; }

class ColourFonts : public testing::Test {
protected:
    void SetUp() override {
        m_path = (std::filesystem::temp_directory_path() / ("colours-" + std::to_string(getpid()) + ".ttf")).string();
    }
    void TearDown() override { std::filesystem::remove(m_path); }
    FontFaceRef Load(Tables const& tables) {
        auto const bytes = MakeFile(tables);
        std::ofstream(m_path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return FontFace::Load(m_path, 0);
    }
    static Tables MakeSquares() { return MakeTables({"", "", MakeRectangle(0, 0, 500, 500), MakeTriangle()}); }
    // Reads whatever colours the face will give.
    static void Use(FontFaceRef const& face) {
        for (unsigned const glyph : {0u, 1u, 2u, 3u, 70'000u}) {
            for (double const size : {0.0, 12.0, 1000.0}) {
                if (auto const found = face ? face->FindColourGlyph(glyph, size) : nullptr)
                    static_cast<void>(found->MakeOutline()->GetBounds());
            }
        }
    }
    std::string m_path;
};

TEST_F(ColourFonts, LayersHaveColoursOfTheFirstPaletteOrTheTextsOwn) {
    auto tables = MakeSquares();
    tables["COLR"] = MakeLayers({{1, {{2, 1}, {3, 0xFFFF}, {2, 2}}}});
    tables["CPAL"] = MakePalette({0x112233FF, 0xFF800080});
    auto const face = Load(tables);
    ASSERT_TRUE(face && face->HasColours());
    EXPECT_FALSE(face->FindColourGlyph(2, 16)) << "a plain letter of the font";
    auto const glyph = face->FindColourGlyph(1, 16);
    ASSERT_TRUE(glyph);
    ASSERT_EQ(glyph->layers.size(), 3u);
    EXPECT_EQ(glyph->layers[0].colour, Colour::FromRGB(1, 128.0f / 255, 0, 128.0f / 255));
    EXPECT_FALSE(glyph->layers[1].colour);
    EXPECT_FALSE(glyph->layers[2].colour) << "a colour that the palette lacks";
    EXPECT_TRUE(*glyph->layers[0].outline == *face->GetOutline(2));
    EXPECT_TRUE(*glyph->layers[1].outline == *face->GetOutline(3));
}

TEST_F(ColourFonts, APictureIsTheNextLargerOneOrElseTheLargest) {
    auto tables = MakeSquares();
    AddPictures(tables, {{10, {{1, MakePicture(10, MakePng(10, 10, {255, 0, 0}))}}},
                         {40,
                          {{1, {20, 30, 4, 20, MakePng(20, 30, {255, 0, 0})}},
                           {2, MakePicture(40, MakePng(40, 40, {255, 0, 0}))}}}});
    auto const face = Load(tables);
    ASSERT_TRUE(face && face->HasColours());
    auto const widthOf = [&](unsigned glyph, double size) {
        auto const found = face->FindColourGlyph(glyph, size);
        return found && found->picture ? found->picture->GetWidth() : 0;
    };
    EXPECT_EQ(widthOf(1, 1), 10);
    EXPECT_EQ(widthOf(1, 10), 10);
    EXPECT_EQ(widthOf(1, 10.5), 20);
    EXPECT_EQ(widthOf(1, 1e9), 20);
    EXPECT_EQ(widthOf(2, 1), 40) << "it is there in one size only";
    EXPECT_EQ(widthOf(3, 1), 0);
    auto const bounds = face->FindColourGlyph(1, 40)->MakeOutline()->GetBounds();
    ASSERT_TRUE(bounds);
    EXPECT_NEAR(bounds->left, 0.1, 1e-3);
    EXPECT_NEAR(bounds->right, 0.6, 1e-3);
    EXPECT_NEAR(bounds->top, -0.5, 1e-3);
    EXPECT_NEAR(bounds->bottom, 0.25, 1e-3);
}

TEST_F(ColourFonts, WhatIsNoPictureOrTooLargeIsLeftOut) {
    auto const hugeSide = MakePng(100'000, 1, {1, 2, 3});
    auto const lying = [&] {
        auto file = MakePng(8, 8, {1, 2, 3});
        // A width of 2^30 in the header, whose checksum does not fit any more.
        file[16] = 0x40;
        return file;
    }();
    for (auto const& file : {std::string("GIF89a, or so it says"), std::string(),
                             MakePng(8, 8, {1, 2, 3}).substr(0, 30), hugeSide, lying}) {
        auto tables = MakeSquares();
        AddPictures(tables, {{20, {{1, MakePicture(20, file)}, {2, MakePicture(20, MakePng(20, 20, {0, 0, 0}))}}}});
        auto const face = Load(tables);
        ASSERT_TRUE(face);
        EXPECT_FALSE(face->FindColourGlyph(1, 20));
        EXPECT_TRUE(face->FindColourGlyph(2, 20)) << "others of the font are shown";
    }
}

TEST_F(ColourFonts, LayersBeyondReasonAreLeftOut) {
    auto tables = MakeTables({"", MakeRectangle(0, 0, 500, 500), MakeComposite({2}), MakeTriangle()});
    tables["CPAL"] = MakePalette({0x112233FF});
    tables["COLR"] = MakeLayers({{1, {{1, 0}, {1, 0}}}, {2, {{2, 0}}}, {3, std::vector<Layer>(2000, {3, 0})}});
    auto const face = Load(tables);
    ASSERT_TRUE(face);
    auto const ofItself = face->FindColourGlyph(1, 16);
    ASSERT_TRUE(ofItself);
    EXPECT_EQ(ofItself->layers.size(), 2u) << "layers are outlines and have no layers";
    EXPECT_FALSE(face->FindColourGlyph(2, 16)) << "an outline that consists of itself";
    EXPECT_FALSE(face->FindColourGlyph(3, 16)) << "2,000 layers";
}

TEST_F(ColourFonts, TablesThatLieAreNotBelieved) {
    auto tables = MakeSquares();
    AddPictures(tables, {{10, {{1, MakePicture(10, MakePng(10, 10, {255, 0, 0}))}}},
                         {40, {{1, MakePicture(40, MakePng(40, 40, {255, 0, 0}))}}}});
    tables["COLR"] = MakeLayers({{1, {{2, 1}, {3, 0xFFFF}}}, {2, {{1, 0}}}});
    tables["CPAL"] = MakePalette({0x112233FF, 0xFF800080});
    for (auto const* const tag : {"COLR", "CPAL", "CBLC", "CBDT"}) {
        auto const size = std::min<std::size_t>(tables[tag].size(), 120);
        for (std::size_t at = 0; at < size; ++at) {
            auto cut = tables;
            cut[tag].resize(at);
            if (at % 3 == 0)
                Use(Load(cut));
            for (char const value : {'\1', '\xFF'}) {
                auto lied = tables;
                lied[tag][at] = value;
                // Layers would hide pictures.
                if (tag[0] == 'C' && tag[1] == 'B')
                    lied.erase("COLR");
                Use(Load(lied));
            }
        }
    }
}

constexpr int c_side = 40;

struct Canvas {
    Raster::Format format = Raster::FormatRGBA8;
    Raster::ICCProfileSet profiles;
    Colour background = Colour::FromGrey(1);
};

template <class Draw>
Kernel::Counted<Raster::BufferBase const> Paint(Canvas const& canvas, Draw const& draw) {
    Renderer::RasterOptions options;
    options.width = options.height = c_side;
    options.format = canvas.format;
    options.background = canvas.background;
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    target->SetColourFormatAndProfiles(canvas.format, canvas.profiles);
    draw(target);
    return target->Render({0, 0, c_side, c_side});
}

// The samples of a pixel of eight bits.
std::vector<int> GetPixel(Raster::BufferBase const& buffer, int x, int y, std::size_t count = 4) {
    std::vector<int> samples;
    for (std::size_t plane = 0; plane != count; ++plane)
        samples.push_back(static_cast<unsigned char const*>(buffer.GetRow(static_cast<int>(plane), y))[x]);
    return samples;
}

StoryPtr MakeColoured(std::u32string_view text, double size = c_side) { return MakeStory(text, size, "Made Colours"); }

ComposedFramePtr ComposeInCanvas(StoryPtr const& story) { return Compose(story, MakeFrame(c_side * 4, c_side * 2)); }

// The place of the baseline, in whole pixels.
int FindBaseline(ComposedFramePtr const& frame) {
    return static_cast<int>(std::lround(frame->GetColumn(0).begin()->GetOrigin().y));
}

void DrawText(Kernel::Counted<Renderer::RasterRenderTarget> const& target, ComposedFramePtr const& frame) {
    TextRenderer(target, frame).Render(DrawMode::All, false);
}

TEST(ColourText, LayersAreDrawnOverEachOther) {
    auto const frame = ComposeInCanvas(MakeColoured(U"A"));
    auto const picture = Paint({}, [&](auto const& target) { DrawText(target, frame); });
    int const baseline = FindBaseline(frame);
    auto const pixelAt = [&](int x, int above) {
        auto pixel = GetPixel(*picture, x, baseline - above);
        pixel.pop_back();
        return pixel;
    };
    // Planes of RGBA are red, green and blue in some order that plain drawing has as well.
    auto const plain = [&](Colour const& colour) {
        auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, c_side, c_side});
        Renderer::Paint paint;
        paint.mainFill = Renderer::FillDescriptorConst(colour);
        auto const drawn = Paint(
            {}, [&](auto const& target) { target->DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero); });
        auto pixel = GetPixel(*drawn, 5, 5);
        pixel.pop_back();
        return pixel;
    };
    EXPECT_EQ(pixelAt(16, 24), plain(Colour::FromRGB(1, 0, 0)));
    EXPECT_EQ(pixelAt(16, 8), plain(Colour::FromRGB(0, 1, 0)));
    EXPECT_EQ(pixelAt(36, 8), plain(Colour::FromGrey(1))) << "beside the letter";
}

// As its own drawing in that colour, in each format of documents.
TEST(ColourText, LayersBecomeColoursOfTheDocument) {
    auto const frame = ComposeInCanvas(MakeColoured(U"A"));
    for (auto const format : {Raster::FormatRGBA8, Raster::FormatIA8, Raster::FormatCMYKA8}) {
        Canvas canvas;
        canvas.format = format;
        std::size_t const planes = format == Raster::FormatIA8 ? 2 : format == Raster::FormatCMYKA8 ? 5 : 4;
        auto const drawn = Paint(canvas, [&](auto const& target) { DrawText(target, frame); });
        Renderer::Paint paint;
        paint.mainFill = Renderer::FillDescriptorConst(Colour::FromRGB(1, 0, 0));
        auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, c_side, c_side});
        auto const plain = Paint(canvas, [&](auto const& target) {
            target->DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero);
        });
        EXPECT_EQ(GetPixel(*drawn, 16, FindBaseline(frame) - 24, planes), GetPixel(*plain, 16, 5, planes));
    }
}

TEST(ColourText, TheTextsFillShowsWhereALayerHasNoColourAndItsAlphaEverywhere) {
    auto const story = MakeColoured(U"B");
    auto const draw = [&](Colour const& fill) {
        story->FormatText(*MakeDelta(GlyphAtt::Object::Fill, Kernel::MakeCounted<Renderer::FillDescriptor>(fill)));
        auto const frame = ComposeInCanvas(story);
        return std::pair(Paint({}, [&](auto const& target) { DrawText(target, frame); }), FindBaseline(frame));
    };
    auto const [opaque, baseline] = draw(Colour::FromGrey(0));
    auto const upper = GetPixel(*opaque, 16, baseline - 24);
    EXPECT_EQ(std::count(upper.begin(), upper.end(), 0), 3) << "black";
    auto const lower = GetPixel(*opaque, 16, baseline - 8);
    EXPECT_EQ(std::count(lower.begin(), lower.end(), 128), 1) << "half of blue";
    auto const half = GetPixel(*draw(Colour::FromGrey(0, 0.5f)).first, 16, baseline - 24);
    for (std::size_t i = 0; i != half.size(); ++i)
        EXPECT_NEAR(half[i], upper[i] == 0 ? 128 : 255, 1);
    auto const clear = GetPixel(*draw(Colour::FromGrey(0, 0)).first, 16, baseline - 24);
    EXPECT_EQ(std::count(clear.begin(), clear.end(), 255), 4) << "text without a fill shows nothing";
}

TEST(ColourText, ASilhouetteHasTheLettersShapeAndNoneOfItsColours) {
    auto const frame = ComposeInCanvas(MakeColoured(U"A"));
    auto const drawn = Paint({}, [&](auto const& target) {
        TextRenderer renderer(target, frame);
        renderer.SetSilhouette(true);
        renderer.Render(DrawMode::All, false);
    });
    auto const inside = GetPixel(*drawn, 16, FindBaseline(frame) - 8);
    EXPECT_EQ(std::count(inside.begin(), inside.end(), 0), 3);
    auto const outside = GetPixel(*drawn, 36, FindBaseline(frame) - 8);
    EXPECT_EQ(std::count(outside.begin(), outside.end(), 255), 4);
}

TEST(ColourText, OutlinesAreThoseOfTheLayers) {
    auto const bounds = GetTextOutline(*ComposeInCanvas(MakeColoured(U"A")))->GetBounds();
    ASSERT_TRUE(bounds);
    EXPECT_NEAR(bounds->GetWidth(), 0.8 * c_side, 1e-6);
    EXPECT_NEAR(bounds->GetHeight(), 0.8 * c_side, 1e-6);
}

// The face that a text's first character is drawn with has colours.
bool IsColoured(std::u32string_view text, char const* family) {
    auto const frame = Compose(MakeStory(text, 16, family), MakeFrame(1000, 1000));
    return frame->GetColumn(0).begin()->GetParagraph().GetRuns().front().face->HasColours();
}

TEST(EmojiFaces, AreChosenByTheFontAndByTheText) {
    constexpr char const* c_plain = "DejaVu Sans";
    constexpr char const* c_colours = "Noto Color Emoji";
    EXPECT_FALSE(IsColoured(U"\u2764", c_plain)) << "it has an outline";
    EXPECT_TRUE(IsColoured(U"\u2764\uFE0F", c_plain)) << "the text asks for an emoji";
    EXPECT_TRUE(IsColoured(U"\u2764", c_colours)) << "the font is asked for by name";
    EXPECT_FALSE(IsColoured(U"\u2764\uFE0E", c_colours)) << "the text asks for a letter";
    EXPECT_TRUE(IsColoured(U"\U0001F9A9", c_plain)) << "no font has an outline of it";
    EXPECT_TRUE(IsColoured(U"1\uFE0F\u20E3", c_plain)) << "a key";
    EXPECT_FALSE(IsColoured(U"1", c_plain));
    EXPECT_TRUE(IsColoured(U"\U0001F1E9\U0001F1EA", c_plain)) << "a flag";
}

// One glyph with one advance, although the letters and joiners are seven.
TEST(EmojiFaces, AJoinedSequenceIsOnePicture) {
    auto const frame =
        Compose(MakeStory(U"\U0001F469\U0001F3FD\u200D\U0001F52C", 16, "DejaVu Sans"), MakeFrame(1000, 1000));
    auto const cells = frame->GetColumn(0).begin()->GetCells();
    EXPECT_EQ(cells.size(), 1u);
}

struct SequenceCase {
    std::u32string_view text;
    // 0 for none.
    std::uint32_t length;
    bool inColours;
};

TEST(EmojiSequences, AreThoseThatSayHowTheyWantToBeShown) {
    SequenceCase const cases[] = {
        {U"a\uFE0F", 0, false},
        {U"\U0001F600", 0, false},
        {U"\U0001F600x", 0, false},
        {U"\u2764\uFE0Fx", 2, true},
        {U"\u2764\uFE0Ex", 2, false},
        {U"#\uFE0F\u20E3", 3, true},
        {U"\U0001F44D\U0001F3FD\U0001F3FD", 2, true},
        {U"\U0001F600\U0001F3FD", 0, false}, // a face that has no tones
        {U"\U0001F1E9\U0001F1EA\U0001F1EB", 2, true},
        {U"\U0001F1E9x", 0, false},
        {U"\U0001F469\u200D\U0001F469\u200D\U0001F467.", 5, true},
        {U"\U0001F469\u200Dx", 0, false},
        {U"\U0001F3F4\U000E0067\U000E0062\U000E007F!", 4, true},
    };
    for (auto const& [text, length, inColours] : cases) {
        auto const found = FindEmojiSequence(text, 0, static_cast<std::uint32_t>(text.size()));
        ASSERT_EQ(found.has_value(), length != 0) << text.size();
        if (found) {
            EXPECT_EQ(found->end, length);
            EXPECT_EQ(found->inColours, inColours);
        }
    }
    std::u32string endless(100'000, U'\u200D');
    for (std::size_t i = 0; i < endless.size(); i += 2)
        endless[i] = U'\U0001F469';
    EXPECT_EQ(FindEmojiSequence(endless, 0, 100'000)->end, 63u);
}

} // namespace
