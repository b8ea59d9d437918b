// SPDX-License-Identifier: Apache-2.0
// Stories as plain text and as RTF.
#include "platform/renderer/fill_descriptor.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "platform/story/story_to_rtf.h"
#include "platform/story/unicode_story_exporter.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"
#include "tests/engine/story/rtf_reader.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;
using Kernel::MakeCounted;
using SheetRef = Kernel::Counted<StyleSheet const>;

std::string ExportText(StoryPtr const& story, FieldDataSourceRef const& fields = {}, bool withNumbers = true,
                       bool withNotes = true) {
    UnicodeStoryExporter exporter({}, fields, {}, withNumbers, withNotes);
    exporter.Visit(story->Bind(story->GetClientAll()));
    return exporter.GetText().ToStdString();
}

std::string ExportRtf(StoryPtr const& story, SheetRef const& styles = {}, FieldDataSourceRef const& fields = {},
                      double scale = 96.0 / 72, bool withNumbers = true) {
    auto const rtf = StoryToRtf(StoryRef(story), {}, styles, {}, fields, scale, scale, 96.0 / 72, withNumbers);
    return {rtf.begin(), rtf.end()};
}

void PutGlyph(StoryPtr const& story, std::uint32_t index, Kernel::Counted<Glyph const> const& glyph) {
    story->ReplaceText({index, index}, GlyphString(glyph));
}
Kernel::Counted<Glyph const> MakeEndnote(StoryPtr const& text, NoteGlyph::Kind kind = NoteGlyph::Kind::Endnote) {
    return MakeCounted<NoteGlyph>(kind, Kernel::Counted<Story::Story const>(text));
}
void SetNumbering(StoryPtr const& story, StoryRange range, NumberingAtt::Values values = {}) {
    story->FormatText(range, *MakeDelta(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>(std::move(values))));
}
void SetLinkTo(StoryPtr const& story, StoryRange range, char const* url) {
    story->FormatText(range, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(Kernel::String(url))));
}

// A paragraph style that numbers, and the same with other attributes.
SheetRef MakeSheet() {
    Delta::Values item;
    auto atts = MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>());
    atts->Set(ParagraphAtt::Double::LeftIndent, 48);
    item.paragraphAtts = atts;
    Delta::Values strong;
    auto bold = MakeCounted<GlyphAtts>();
    bold->Set(GlyphAtt::Double::Weight, 700);
    strong.glyphAtts = bold;
    return MakeCounted<StyleSheet>(StyleSheet::Styles{
        MakeCounted<Style>("Item", StyleType::Paragraph, Kernel::String(), MakeCounted<Delta>(item)),
        MakeCounted<Style>("Heading 2", StyleType::Paragraph, "Item", DeltaRef()),
        MakeCounted<Style>("Stark; {\u00e4}", StyleType::Character, Kernel::String(), MakeCounted<Delta>(strong))});
}

class StyledSource final : public FieldDataSource {
public:
    Kernel::Counted<StyleSheet const> GetStyleSheet() const override { return MakeSheet(); }
};

TEST(TextExport, PartsParagraphsByLineFeedsAndHasNoMark) {
    EXPECT_EQ(ExportText(MakeStory(U"one\ntwo\u2028three\n")), "one\ntwo\nthree\n");
    EXPECT_EQ(ExportText(MakeStory(U"")), "");
    EXPECT_EQ(ExportText(MakeStory(U"Stra\u00dfe \u4e2d \U0001F600")), "Stra\u00dfe \u4e2d \U0001F600");
}

TEST(TextExport, LeavesOutWhatNoTextHas) {
    EXPECT_EQ(ExportText(MakeStory(std::u32string(U"a\u00ADb\tc\u0001d") + U'\0' + U"e\u007Ff\u0090g")), "ab\tcdefg");
    // Surrogates do not enter a story; noncharacters do.
    EXPECT_EQ(ExportText(MakeStory(U"x\uFDD0\uFFFE\U0010FFFFy")), "x\uFFFD\uFFFD\uFFFDy");
}

TEST(TextExport, ShowsFieldsAndNoMarks) {
    auto const fields = MakeCounted<Fields::Source>();
    fields->values["f"] = "Pe\u00ADquod\r\nship";
    auto const story = MakeStory(U"The ");
    PutGlyph(story, 4, MakeCounted<CustomFieldGlyph>("f"));
    PutGlyph(story, 2, MakeCounted<AnchorGlyph>());
    EXPECT_EQ(ExportText(story, fields), "The Pequod\nship");
    EXPECT_EQ(ExportText(story), "The ");
}

TEST(TextExport, NumbersStandBeforeTheirParagraphs) {
    auto const story = MakeStory(U"head\none\ntwo\nend");
    SetNumbering(story, {5, 12}, {"", 0, NumberStyle::LowerLetter, "({1})", 1});
    EXPECT_EQ(ExportText(story), "head\n(a)\tone\n(b)\ttwo\nend");
    EXPECT_EQ(ExportText(story, {}, false), "head\none\ntwo\nend");
    // A part of the story counts what stands in front of it, and a part of a paragraph has no number.
    UnicodeStoryExporter exporter({}, {}, {}, true, true);
    exporter.Visit(story->Bind({6, 12}));
    EXPECT_EQ(exporter.GetText(), "ne\n(b)\ttwo");
    auto const numberer = MakeCounted<Numberer>();
    numberer->Next(*story->GetParagraphAtts(5));
    UnicodeStoryExporter goingOn(Kernel::Counted<Numberer const>(numberer), {}, {}, true, true);
    goingOn.Visit(story->Bind({5, 9}));
    EXPECT_EQ(goingOn.GetText(), "(b)\tone\n");
}

TEST(TextExport, KnowsNumbersOfStyles) {
    auto const story = MakeStory(U"one\ntwo");
    story->FormatText({0, 6}, *MakeDelta(ParagraphAtt::String::StyleName, Kernel::String("Item")));
    EXPECT_EQ(ExportText(story, MakeCounted<StyledSource>()), "1.\tone\n2.\ttwo");
    EXPECT_EQ(ExportText(story), "one\ntwo");
}

TEST(TextExport, ListsNotesBehindTheText) {
    auto const story = MakeStory(U"one two.");
    PutGlyph(story, 8, MakeEndnote(MakeStory(U"second\nlines")));
    PutGlyph(story, 3, MakeEndnote(MakeStory(U"first"), NoteGlyph::Kind::Footnote));
    EXPECT_EQ(ExportText(story), "one[1] two.[2]\n\n[1] first\n[2] second\nlines");
    EXPECT_EQ(ExportText(story, {}, true, false), "one two.");
}

TEST(RtfExport, IsOneGroupOfAscii) {
    auto const rtf = ExportRtf(MakeStory(U"Call me {Ishmael}\\."));
    EXPECT_TRUE(rtf.starts_with("{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1\n{\\fonttbl{\\f0\\fnil"));
    EXPECT_TRUE(rtf.ends_with("}\n"));
    RtfReading::Reader const reader(rtf);
    EXPECT_EQ(reader.text, U"Call me {Ishmael}\\.");
    EXPECT_EQ(RtfReading::Reader(ExportRtf(MakeStory(U""))).text, U"");
}

// From the specification's sections on Unicode text and special characters.
TEST(RtfExport, WritesLettersBeyondAsciiAsUnits) {
    auto const rtf = ExportRtf(MakeStory(U"\u00e4\u4e2d\uFF01\U0001F600\u00A0\u00AD\u2011\tx\u2028y"));
    EXPECT_NE(rtf.find("\\u228?\\u20013?\\u-255?\\u-10179?\\u-8704?\\~\\-\\_\\tab x\\line y"), rtf.npos) << rtf;
    EXPECT_EQ(RtfReading::Reader(rtf).text, U"\u00e4\u4e2d\uFF01\U0001F600\u00A0\u2011\tx\ny");
}

TEST(RtfExport, WritesAttributesOfLetters) {
    auto const story = MakeStory(U"plain Bold italic under struck caps red raised wide deutsch");
    auto const format = [&](std::u32string_view word, DeltaRef const& delta) {
        auto const at = static_cast<std::uint32_t>(story->GetText(story->GetAll()).find(word));
        story->FormatText({at, at + static_cast<std::uint32_t>(word.size())}, *delta);
    };
    format(U"Bold", MakeDelta(GlyphAtt::Double::Weight, 700));
    format(U"italic", MakeDelta(GlyphAtt::Enum::Italic, 1));
    format(U"under", MakeDelta(GlyphAtt::Enum::Underline, 1));
    format(U"struck", MakeDelta(GlyphAtt::Enum::Strikethrough, 1));
    format(U"caps", MakeDelta(GlyphAtt::Enum::SmallCaps, 1));
    format(U"red", MakeDelta(GlyphAtt::Object::Fill,
                             MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0.5F, 0))));
    format(U"raised", MakeDelta(GlyphAtt::Double::BaselineShift, 8));
    format(U"wide", MakeDelta(GlyphAtt::Double::HorizontalScale, 1.5));
    format(U"deutsch", MakeDelta(GlyphAtt::String::Language, Kernel::String("de-AT")));
    RtfReading::Reader const reader(ExportRtf(story));
    auto const has = [&](std::u32string_view word, std::string_view control) {
        return reader.FindControlsOf(word).find(control) != std::string::npos;
    };
    // 16 units are 12 points, in half points.
    EXPECT_TRUE(has(U"plain", "\\fs24"));
    EXPECT_FALSE(has(U"plain", "\\b"));
    EXPECT_TRUE(has(U"Bold", "\\b"));
    EXPECT_TRUE(has(U"italic", "\\i"));
    EXPECT_TRUE(has(U"under", "\\ul"));
    EXPECT_TRUE(has(U"struck", "\\strike"));
    EXPECT_TRUE(has(U"caps", "\\scaps"));
    EXPECT_TRUE(has(U"red", "\\cf1"));
    EXPECT_TRUE(has(U"raised", "\\up12"));
    EXPECT_TRUE(has(U"wide", "\\charscalex150"));
    EXPECT_TRUE(has(U"deutsch", "\\lang1031"));
    EXPECT_NE(ExportRtf(story).find("{\\colortbl;\\red255\\green128\\blue0;}"), std::string::npos);
    EXPECT_EQ(reader.fonts.at(1), U"Liberation Serif");
}

TEST(RtfExport, WritesAttributesOfParagraphsInTwips) {
    auto const story = MakeStory(U"first\nsecond");
    auto const format = [&](DeltaRef const& delta) { story->FormatText({0, 1}, *delta); };
    format(MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    format(MakeDelta(ParagraphAtt::Double::LeftIndent, 48));
    format(MakeDelta(ParagraphAtt::Double::RightIndent, 24));
    format(MakeDelta(ParagraphAtt::Double::FirstIndent, -24));
    format(MakeDelta(ParagraphAtt::Double::SpaceBefore, 16));
    format(MakeDelta(ParagraphAtt::Double::SpaceAfter, 8));
    format(MakeDelta(ParagraphAtt::Double::Leading, 20));
    format(MakeDelta(ParagraphAtt::Enum::LeadingMode, static_cast<int>(LeadingMode::Exact)));
    format(MakeDelta(ParagraphAtt::Enum::KeepWithNext, 1));
    format(MakeDelta(
        ParagraphAtt::Object::TabStops,
        MakeCounted<TabStops>(std::vector<TabStop>{{96, TabStop::Kind::End, U'.'}, {192, TabStop::Kind::Decimal}})));
    auto const rtf = ExportRtf(story);
    EXPECT_NE(rtf.find("\\pard\\plain\\ltrpar\\qj\\li720\\ri360\\fi-360\\sb240\\sa120\\sl-300\\keepn\\widctlpar"
                       "\\tqr\\tldot\\tx1440\\tqdec\\tx2880 "),
              rtf.npos)
        << rtf;
    EXPECT_NE(rtf.find("\\pard\\plain\\ltrpar\\ql\\widctlpar "), rtf.npos);
    // A frame that shows its text at twice the size has half the scale.
    EXPECT_NE(ExportRtf(story, {}, {}, 48.0 / 72).find("\\li1440"), std::string::npos);
    EXPECT_NE(ExportRtf(story, {}, {}, 48.0 / 72).find("\\fs48"), std::string::npos);
    for (double const bad : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_NE(ExportRtf(story, {}, {}, bad).find("\\li720"), std::string::npos);
}

TEST(RtfExport, HasTheStylesByName) {
    auto const story = MakeStory(U"one\ntwo");
    story->FormatText({0, 1}, *MakeDelta(ParagraphAtt::String::StyleName, Kernel::String("Heading 2")));
    story->FormatText({4, 7}, *MakeDelta(GlyphAtt::String::StyleName, Kernel::String("Stark; {\u00e4}")));
    auto const rtf = ExportRtf(story, MakeSheet());
    RtfReading::Reader const reader(rtf);
    EXPECT_EQ(reader.styles, (std::map<long, std::u32string>{
                                 {0, U"Normal"}, {1, U"Item"}, {2, U"Heading 2"}, {-3, U"Stark, {\u00e4}"}}));
    EXPECT_NE(rtf.find("\\sbasedon1 Heading 2;}"), rtf.npos) << rtf;
    EXPECT_NE(rtf.find("\\outlinelevel1"), rtf.npos);
    EXPECT_NE(reader.FindControlsOf(U"two").find("\\cs3"), std::string::npos);
    EXPECT_NE(reader.FindControlsOf(U"two").find("\\b"), std::string::npos);
    EXPECT_EQ(reader.text, U"1.\tone\ntwo");
    EXPECT_EQ(RtfReading::Reader(ExportRtf(story, MakeSheet(), {}, 1, false)).text, U"one\ntwo");
}

TEST(RtfExport, LinksAreFieldsThatNothingInThemEnds) {
    auto const anchor = MakeCounted<AnchorData>("a", "name with \"quotes\""), gone = MakeCounted<AnchorData>();
    auto const story = MakeStory(U"web place lost");
    SetLinkTo(story, {0, 3}, "https://example.org/a b?q=\"{x}\\\u00e4");
    story->FormatText({1, 2}, *MakeDelta(GlyphAtt::Enum::Italic, 1));
    story->FormatText({4, 9}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(anchor)));
    story->FormatText({10, 14}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(gone)));
    PutGlyph(story, 14, MakeCounted<AnchorGlyph>(anchor));
    PutGlyph(story, 15, MakeCounted<AnchorGlyph>(anchor));
    RtfReading::Reader const reader(ExportRtf(story));
    EXPECT_EQ(reader.text, U"web place lost");
    using Field = std::pair<std::string, std::u32string>;
    EXPECT_EQ(reader.fields,
              (std::vector<Field>{{"HYPERLINK \"https://example.org/a%20b?q=%22%7Bx%7D%5C%C3%A4\"", U"web"},
                                  {"HYPERLINK \\l \"anchor1\"", U"place"}}));
    EXPECT_EQ(reader.bookmarks, std::vector<std::string>{"anchor1"});
}

TEST(RtfExport, ReferencesLeadToTheirAnchors) {
    auto const anchor = MakeCounted<AnchorData>("a", "x");
    auto const story = MakeStory(U"see .");
    auto const reference = MakeCounted<CrossReferenceGlyph>(nullptr, CrossReferenceTargetType::Page, anchor, false);
    reference->SetText("page 7");
    PutGlyph(story, 4, reference);
    EXPECT_EQ(RtfReading::Reader(ExportRtf(story)).fields.size(), 0u);
    PutGlyph(story, 0, MakeCounted<AnchorGlyph>(anchor));
    // In a link, too: fields do not stand in each other.
    SetLinkTo(story, {0, 6}, "x:y");
    RtfReading::Reader const reader(ExportRtf(story));
    EXPECT_EQ(reader.text, U"see page 7.");
    ASSERT_EQ(reader.fields.size(), 2u);
    EXPECT_EQ(reader.fields[1].first, "HYPERLINK \\l \"anchor1\"");
    EXPECT_EQ(reader.fields[1].second, U"page 7");
}

// A link in front of the text that it leads to, a picture between them, and a text of another scale.
TEST(RtfExport, OfSeveralTextsIsOneDocument) {
    auto const anchor = MakeCounted<AnchorData>("a", "x");
    auto const first = MakeStory(U"go there"), second = MakeStory(U"here"), third = MakeStory(U"small");
    first->FormatText({3, 8}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(anchor)));
    PutGlyph(second, 0, MakeCounted<AnchorGlyph>(anchor));
    PutGlyph(third, 5, MakeEndnote(MakeStory(U"note")));
    std::vector<std::byte> png(24);
    png[19] = std::byte{40};
    png[23] = std::byte{10};
    double const scale = 96.0 / 72;
    RtfPart const parts[] = {{.story = first, .scaleX = scale, .scaleY = scale},
                             {.png = png, .width = 864, .height = 100, .description = "a {map}"},
                             {.story = second, .scaleX = scale, .scaleY = scale},
                             {.story = third, .scaleX = 2 * scale, .scaleY = 2 * scale}};
    auto const rtf = StoriesToRtf(parts, {}, scale, true);
    std::string const text(rtf.begin(), rtf.end());
    RtfReading::Reader const reader(text);
    EXPECT_EQ(reader.text, U"go there\n\nhere\nsmall[1]");
    ASSERT_EQ(reader.fields.size(), 1u);
    EXPECT_EQ(reader.fields[0].first, "HYPERLINK \\l \"anchor1\"");
    EXPECT_EQ(reader.bookmarks, std::vector<std::string>{"anchor1"});
    EXPECT_NE(reader.FindControlsOf(U"here").find("\\fs24"), std::string::npos);
    EXPECT_NE(reader.FindControlsOf(U"small").find("\\fs12"), std::string::npos);
    // As wide as a page, and in proportion.
    EXPECT_NE(text.find("\\pngblip\\picw40\\pich10\\picwgoal8640\\pichgoal1000\n"), std::string::npos);
    EXPECT_NE(text.find("{\\sv a \\{map\\}}"), std::string::npos);
    EXPECT_EQ(reader.words.at("aenddoc"), 1);
}

TEST(RtfExport, NotesAreFootnotes) {
    auto const story = MakeStory(U"one two.");
    PutGlyph(story, 8, MakeEndnote(MakeStory(U"")));
    PutGlyph(story, 3, MakeEndnote(MakeStory(U"first\nlines"), NoteGlyph::Kind::Footnote));
    auto const rtf = ExportRtf(story);
    RtfReading::Reader const reader(rtf);
    EXPECT_EQ(reader.text, U"one[1] two.[2]");
    EXPECT_EQ(reader.notes, (std::vector<std::u32string>{U" first\nlines", U" "}));
    EXPECT_EQ(reader.words.at("ftnalt"), 1);
    EXPECT_NE(rtf.find("\\fet2"), rtf.npos);
}

TEST(RtfExport, RunsOfEitherDirectionSaySo) {
    auto const story = MakeStory(U"\u05e9\u05dc\u05d5\u05dd (abc) 12\nlatin");
    auto const rtf = ExportRtf(story);
    EXPECT_NE(rtf.find("\\rtlpar\\qr"), rtf.npos);
    EXPECT_NE(rtf.find("\\rtlch\\af1\\afs24 \\u1513?\\u1500?\\u1493?\\u1501? (}"), rtf.npos) << rtf;
    EXPECT_NE(rtf.find("\\lang1033 abc) 12}"), rtf.npos) << rtf;
    EXPECT_EQ(RtfReading::Reader(rtf).text, U"\u05e9\u05dc\u05d5\u05dd (abc) 12\nlatin");
}

TEST(RtfExport, OfOneStoryIsTheSameEachTime) {
    auto const story = MakeStory(U"one\ntwo");
    PutGlyph(story, 2, MakeEndnote(MakeStory(U"note")));
    EXPECT_EQ(ExportRtf(story), ExportRtf(story->Clone()));
}

// Random stories: what a reader of the RTF has as text is what the plain text says.
TEST(RtfExport, HasTheTextOfThePlainExport) {
    std::mt19937 random(7);
    auto const pick = [&](std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); };
    static constexpr char32_t c_letters[] = {U'a',   U'{',   U'}',   U'\\',   U' ',     U'\n',  U'\t', 0x2028,
                                             0xAD,   0xA0,   0x2011, 0x7F,    1,        0xE4,   0x5D0, 0x645,
                                             0x4E2D, 0xFFFE, 0xFDD0, 0x1F600, 0x10FFFD, 0xFFFC, U'?',  U'-',
                                             U'9',   0x202E, 0xFEFF, 0x8000,  0x7FFF,   0xE000};
    auto const fields = MakeCounted<Fields::Source>();
    fields->values["f"] = "{v\\\n\u00e4}";
    for (int run = 0; run != 200; ++run) {
        std::u32string text;
        for (auto length = pick(60); length != 0; --length)
            text += c_letters[pick(std::size(c_letters))];
        auto const story = MakeStory(text);
        auto const anchor = MakeCounted<AnchorData>();
        for (auto objects = pick(5); objects != 0; --objects) {
            auto const at = pick(story->GetLength());
            switch (pick(3)) {
            case 0:
                PutGlyph(story, at, MakeCounted<AnchorGlyph>(anchor));
                break;
            case 1:
                PutGlyph(story, at, MakeCounted<CustomFieldGlyph>("f"));
                break;
            default:
                PutGlyph(story, at, MakeEndnote(MakeStory(U"note")));
            }
        }
        for (auto formats = pick(6); formats != 0; --formats) {
            StoryRange const range{pick(story->GetLength()), pick(story->GetLength()) + 1};
            if (pick(3) == 0)
                SetNumbering(story, range, {"", pick(3), static_cast<NumberStyle>(pick(7)), "", 1});
            else if (pick(2) == 0)
                SetLinkTo(story, range, "a\"}\\");
            else
                story->FormatText(range, *MakeDelta(GlyphAtt::Enum::Italic, 1));
        }
        UnicodeStoryExporter exporter({}, fields, {}, true, true);
        exporter.Visit(story->Bind(story->GetClientAll()));
        auto wanted = DecodeUtf8(exporter.GetText().view()).text;
        auto const noteCount = story->CountNotes(story->GetAll());
        if (noteCount != 0) {
            auto const list = wanted.rfind(U"\n[1] note");
            ASSERT_NE(list, wanted.npos);
            wanted.resize(list);
        }
        RtfReading::Reader const reader(ExportRtf(story, {}, fields));
        auto got = reader.text;
        // The plain text ends its last line where notes follow.
        if (noteCount != 0 && (got.empty() || got.back() != U'\n'))
            got += U'\n';
        ASSERT_EQ(EncodeUtf8(got), EncodeUtf8(wanted)) << run;
        ASSERT_EQ(reader.notes.size(), noteCount);
    }
}

TEST(StoryExports, TakeAHundredThousandNotes) {
    auto const story = MakeCounted<Story::Story>();
    GlyphSink sink(story);
    for (int i = 0; i != 100'000; ++i) {
        sink.Add(U'x');
        sink.Add(MakeEndnote(MakeStory(U"n")));
        if (i % 100 == 0)
            sink.Add(c_paragraphSeparator);
    }
    sink.Flush();
    auto const text = ExportText(story);
    EXPECT_NE(text.find("x[100000]"), text.npos);
    EXPECT_TRUE(text.ends_with("\n[100000] n"));
    EXPECT_EQ(RtfReading::Reader(ExportRtf(story)).notes.size(), 100'000u);
}

} // namespace
