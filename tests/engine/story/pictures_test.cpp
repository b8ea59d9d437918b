// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/files.h"
#include "platform/raster/codec.h"
#include "platform/renderer/raster_render_target.h"
#include "platform/story/drop_cap.h"
#include "platform/story/text_renderer.h"
#include "tests/engine/story/composing.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>

namespace {

using namespace Composing;

constexpr int c_width = 300;
constexpr int c_height = 150;

struct Page {
    char const* name;
    char const* family;
    char const* language;
    std::u32string_view text;
    Alignment alignment = Alignment::Start;
    DropCapAtt::Values cap = {0, 1, 0, {}};
    WritingMode mode = WritingMode::Horizontal;
};

// Article 1 of the Universal Declaration of Human Rights; the Hebrew page is Genesis 1:1-2, for its vowels.
Page const c_pages[] = {
    {"english", "Liberation Serif", "en",
     U"All human beings are born free and equal in dignity and rights. They are endowed with reason and conscience and "
     U"should act towards one another in a spirit of brotherhood.",
     Alignment::Justify},
    {"german", "Liberation Sans", "de",
     U"Alle Menschen sind frei und gleich an Würde und Rechten geboren. Sie sind mit Vernunft und Gewissen begabt und "
     U"sollen einander im Geist der Brüderlichkeit begegnen.",
     Alignment::Justify},
    {"greek", "Liberation Serif", "el",
     U"Όλοι οι άνθρωποι γεννιούνται ελεύθεροι και ίσοι στην αξιοπρέπεια και τα δικαιώματα. Είναι προικισμένοι με "
     U"λογική και συνείδηση, και οφείλουν να συμπεριφέρονται μεταξύ τους με πνεύμα αδελφοσύνης."},
    {"arabic", "Noto Naskh Arabic", "ar",
     U"يولد جميع الناس أحرارًا متساوين في الكرامة والحقوق. وقد وهبوا عقلًا وضميرًا وعليهم أن يعامل بعضهم بعضًا بروح "
     U"الإخاء. (UDHR 1948)",
     Alignment::Justify},
    {"hebrew", "Noto Sans Hebrew", "he",
     U"בְּרֵאשִׁית בָּרָא אֱלֹהִים אֵת הַשָּׁמַיִם וְאֵת הָאָרֶץ׃ וְהָאָרֶץ הָיְתָה תֹהוּ וָבֹהוּ וְחֹשֶׁךְ עַל־פְּנֵי תְהוֹם וְרוּחַ "
     U"אֱלֹהִים מְרַחֶפֶת עַל־פְּנֵי הַמָּיִם׃"},
    {"hindi", "Noto Sans Devanagari", "hi",
     U"सभी मनुष्यों को गौरव और अधिकारों के मामले में जन्मजात स्वतन्त्रता और समानता प्राप्त है। उन्हें बुद्धि और अन्तरात्मा की देन "
     U"प्राप्त है और परस्पर उन्हें भाईचारे के भाव से बर्ताव करना चाहिए।"},
    {"thai", "Noto Sans Thai", "th",
     U"มนุษย์ทั้งหลายเกิดมามีอิสระและเสมอภาคกันในเกียรติศักดิ์และสิทธิ ต่างมีเหตุผลและมโนธรรม "
     U"และควรปฏิบัติต่อกันด้วยเจตนารมณ์แห่งภราดรภาพ"},
    {"japanese", "IPAGothic", "ja",
     U"すべての人間は、生まれながらにして自由であり、かつ、尊厳と権利とについて平等である。人間は、理性と良心とを授けら"
     U"れており、"
     U"互いに同胞の精神をもって行動しなければならない。"},
    {"english_drop_cap",
     "Liberation Serif",
     "en",
     U"\u201CAll human beings are born free and equal in dignity and rights. They are endowed with reason and "
     U"conscience and should act towards one another in a spirit of brotherhood.\u201D",
     Alignment::Justify,
     {3, 1, 4, {}}},
    {"hebrew_drop_cap",
     "Noto Sans Hebrew",
     "he",
     U"בראשית ברא אלהים את השמים ואת הארץ׃ והארץ היתה תהו ובהו וחשך על־פני תהום ורוח אלהים מרחפת על־פני המים׃",
     Alignment::Start,
     {2, 1, 4, {}}},
    {"japanese_drop_cap",
     "IPAGothic",
     "ja",
     U"人間は、理性と良心とを授けられており、互いに同胞の精神をもって行動しなければならない。すべての人間は、生まれなが"
     U"らにして自由である。",
     Alignment::Justify,
     {2, 1, 4, {}}},
    {"japanese_vertical",
     "IPAGothic",
     "ja",
     U"「すべて」の人間は、（生まれながらにして）自由であり、ゲーテのいう12の Human Rights "
     U"とについて平等である。人間は、理性と"
     U"良心とを授けられており、互いに同胞の精神をもって行動しなければならない。",
     Alignment::Justify,
     {0, 1, 0, {}},
     WritingMode::Vertical},
};

FrameGeometry MakePageFrame(Page const& page) {
    auto frame = MakeFrame(c_width, c_height);
    if (page.mode == WritingMode::Vertical) {
        frame.columns = {{0, -c_width, c_height, 0}};
        frame.renderScale = c_verticalTurn;
    }
    return frame;
}

Kernel::Counted<Story::Story> MakePage(Page const& page) {
    auto const story = MakeStory(page.text, 18, page.family);
    story->FormatText(*MakeDelta(GlyphAtt::String::Language, Kernel::String(page.language)));
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(page.alignment)));
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Hyphenate, 1));
    story->FormatText(*MakeDelta(ParagraphAtt::Object::DropCap, Kernel::MakeCounted<DropCapAtt>(page.cap)));
    story->SetWritingMode(page.mode);
    return story;
}

// Grey on white, rows without gaps.
std::vector<unsigned char> Draw(ComposedFramePtr const& frame) {
    Renderer::RasterOptions options;
    options.width = c_width;
    options.height = c_height;
    options.format = Raster::FormatRGBA8;
    options.background = Renderer::Colour::FromGrey(1);
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    TextRenderer(target, frame).Render(DrawMode::All, false);
    auto const buffer = target->Render({0, 0, c_width, c_height});
    std::vector<unsigned char> grey;
    for (int y = 0; y != c_height; ++y) {
        auto const* const row = static_cast<unsigned char const*>(std::as_const(*buffer).GetRow(1, y));
        grey.insert(grey.end(), row, row + c_width);
    }
    return grey;
}

std::string GetPath(char const* folder, char const* name) { return std::string(folder) + "/" + name + ".png"; }

void Write(std::string const& path, std::vector<unsigned char> const& grey) {
    Raster::ImageInfo info;
    info.width = c_width;
    info.height = c_height;
    info.colourModel = Raster::ColourModel::Grey;
    std::ofstream out(path, std::ios::binary);
    Raster::EncodePng(
        info,
        [&](std::uint32_t y, std::span<std::byte> row) {
            std::memcpy(row.data(), grey.data() + std::size_t{y} * c_width, c_width);
        },
        [&](std::span<std::byte const> bytes) {
            out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        });
}

// Mean difference of grey values between the pictures after a blur of 3 by 3 pixels, and the greatest one: rounding of
// curves may differ between machines, letters may not.
std::pair<double, int> Compare(std::vector<unsigned char> const& a, std::vector<unsigned char> const& b) {
    auto const blurred = [](std::vector<unsigned char> const& grey, int x, int y) {
        int sum = 0;
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx)
                sum += grey[static_cast<std::size_t>((y + dy) * c_width + x + dx)];
        }
        return sum / 9;
    };
    double total = 0;
    int greatest = 0;
    for (int y = 1; y != c_height - 1; ++y) {
        for (int x = 1; x != c_width - 1; ++x) {
            int const difference = std::abs(blurred(a, x, y) - blurred(b, x, y));
            total += difference;
            greatest = std::max(greatest, difference);
        }
    }
    return {total / (c_width * c_height), greatest};
}

class Pages : public testing::TestWithParam<Page> {};

// The stored pictures were made by this test and looked at; REDRAFT_WRITE_PICTURES names a folder to make them anew.
TEST_P(Pages, LookAsTheyDid) {
    auto const& page = GetParam();
    auto const grey = Draw(Compose(MakePage(page), MakePageFrame(page)));
    if (auto const* folder = std::getenv("REDRAFT_WRITE_PICTURES"))
        Write(GetPath(folder, page.name), grey);
    auto const file = Kernel::ReadWholeFile(GetPath(REDRAFT_TEST_PICTURES, page.name), 1 << 20);
    auto const stored = Raster::DecodeImage(file);
    ASSERT_EQ(stored.samples.size(), grey.size());
    std::vector<unsigned char> expected(grey.size());
    std::memcpy(expected.data(), stored.samples.data(), expected.size());
    auto const [mean, greatest] = Compare(grey, expected);
    EXPECT_LT(mean, 0.05);
    EXPECT_LT(greatest, 24);
}

// The comparison would see a letter that has moved or changed.
TEST_P(Pages, WouldBeSeenToDiffer) {
    auto const& page = GetParam();
    auto const grey = Draw(Compose(MakePage(page), MakePageFrame(page)));
    auto const story = MakePage(page);
    story->ReplaceText({10, 11}, GlyphString(U"\u2588"));
    EXPECT_GT(Compare(grey, Draw(Compose(story, MakePageFrame(page)))).second, 24);
}

INSTANTIATE_TEST_SUITE_P(TextPictures, Pages, testing::ValuesIn(c_pages),
                         [](auto const& param) { return std::string(param.param.name); });

TEST(TextRenderer, DrawsWhatTheAttributesSay) {
    auto const story = MakeStory(U"\u2588", 100, "DejaVu Sans Mono");
    auto const darkness = [&] {
        double sum = 0;
        for (auto const value : Draw(Compose(story, MakeFrame(c_width, c_height))))
            sum += 255 - value;
        return sum / 255;
    };
    double const full = darkness();
    EXPECT_GT(full, 3000);
    story->FormatText(*MakeDelta(GlyphAtt::Object::Fill,
                                 Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromGrey(0, 0.5f))));
    EXPECT_NEAR(darkness(), full / 2, full * 0.01);
    story->FormatText(*MakeDelta(GlyphAtt::Double::HorizontalScale, 0.5));
    EXPECT_NEAR(darkness(), full / 4, full * 0.01);
    story->FormatText(*MakeDelta(GlyphAtt::Object::Fill,
                                 Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour().WithAlpha(0))));
    EXPECT_EQ(darkness(), 0);
}

TEST(TextRenderer, AMissingLetterIsSeen) {
    auto const blank = Compose(MakeStory(U"\U0010FFFD"), MakeFrame(c_width, c_height));
    EXPECT_TRUE(GetTextOutline(*blank)->GetBounds().has_value());
    auto const emoji = Compose(MakeStory(U"\U0001F9A9", 16, "Liberation Sans"), MakeFrame(c_width, c_height));
    EXPECT_TRUE(GetTextOutline(*emoji)->GetBounds().has_value());
}

TEST(TextRenderer, UnderlinesRunBelowTheirText) {
    auto const story = MakeStory(U"xxxx", 40);
    auto const inked = [&](ComposedFramePtr const& frame) {
        std::size_t count = 0;
        for (auto const value : Draw(frame))
            count += value < 128;
        return count;
    };
    auto const plain = inked(Compose(story, MakeFrame(c_width, c_height)));
    story->FormatText({0, 4}, *MakeDelta(GlyphAtt::Enum::Underline, 1));
    EXPECT_GT(inked(Compose(story, MakeFrame(c_width, c_height))), plain + 80);
}

} // namespace
