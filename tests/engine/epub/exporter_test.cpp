// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/link_address.h"
#include "engine/epub/markup_writer.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"
#include "platform/story/cross_reference.h"
#include "platform/story/drop_cap.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "platform/story/pin.h"
#include "tests/engine/epub/exported_book.h"

namespace {

using namespace Story;
using EPub::ExportSettings;
using EPub::FlowingEPubExporter;
using EPub::HtmlExporter;

ParagraphAttsRef Styled(char const* style) {
    auto const atts = Kernel::MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::String::StyleName, style);
    return atts;
}

struct StyledText {
    StyledText(char const* styleName, char32_t const* characters) : style(styleName), text(characters) {}
    StyledText(char const* styleName, std::u32string const& characters) : style(styleName), text(characters) {}
    StyledText(char const* styleName, GlyphString glyphs) : style(styleName), text(std::move(glyphs)) {}
    char const* style;
    GlyphString text;
};

StoryRef MakeStory(std::vector<StyledText> const& paragraphs) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    GlyphSink sink(story);
    for (auto const& [style, text] : paragraphs) {
        sink.SetParagraphAtts(Styled(style));
        auto const& objects = text.GetObjects();
        auto object = objects.begin();
        for (std::uint32_t i = 0; i != text.GetLength(); ++i) {
            if (object != objects.end() && object->index == i)
                sink.Add((object++)->glyph);
            else
                sink.Add(text.GetText()[i]);
        }
        sink.Add(c_paragraphSeparator);
    }
    sink.Flush();
    return story;
}

Kernel::Counted<StyleSheet const> MakeStyles() {
    StyleSheet::Styles styles;
    for (char const* name : {"Heading 1", "Heading 2", "Heading 3", "Body Text"})
        styles.push_back(
            Kernel::MakeCounted<Style>(name, StyleType::Paragraph, "", MakeDelta(GlyphAtt::Double::Size, 14)));
    return Kernel::MakeCounted<StyleSheet>(std::move(styles));
}

Kernel::Counted<ExportSettings> MakeSettings(bool isEPub = true) {
    auto const settings = Kernel::MakeCounted<ExportSettings>();
    settings->isEPub = isEPub;
    settings->title = "A Book";
    settings->identifier = "urn:uuid:00000000-0000-8000-8000-000000000000";
    settings->modified = "2000-01-01T00:00:00Z";
    settings->language = Language::Make("en");
    settings->styles = MakeStyles();
    return settings;
}

template <class Exporter>
void Write(Exporter& exporter, std::string const& path, std::vector<StoryRef> const& stories) {
    exporter.Start(path, {});
    int number = 0;
    for (auto const& story : stories)
        EXPECT_TRUE(exporter.ExportStory(story, story->gend(), "Story" + std::to_string(++number) + ".xhtml", {}));
    EXPECT_TRUE(exporter.Finish());
}

Book WriteBook(Kernel::Counted<ExportSettings> const& settings, std::vector<StoryRef> const& stories) {
    BookPath const path(".epub");
    FlowingEPubExporter exporter(settings, {});
    Write(exporter, path.Get(), stories);
    auto book = ReadBook(path.Get());
    ExpectSound(book);
    return book;
}

std::size_t Count(std::string const& text, std::string_view part) {
    std::size_t count = 0;
    for (auto place = text.find(part); place != text.npos; place = text.find(part, place + 1))
        ++count;
    return count;
}

GlyphString AnchorNamed(Kernel::Counted<AnchorData> const& anchor) {
    return GlyphString(Kernel::Counted<Glyph const>(new AnchorGlyph(anchor)));
}

Kernel::Counted<Glyph const> Reference(Kernel::Counted<AnchorData> const& anchor, char const* text) {
    auto const glyph = Kernel::MakeCounted<CrossReferenceGlyph>(CrossReferenceAtt::GetDefault(),
                                                                CrossReferenceTargetType::Text, anchor, false);
    glyph->SetText(text);
    return glyph;
}

TEST(EPubExporter, PutsTheTypeFirstAndNamesEveryPart) {
    auto const book = WriteBook(MakeSettings(), {MakeStory({{"Body Text", U"Call me Ishmael."}})});
    ASSERT_FALSE(book.names.empty());
    EXPECT_EQ(book.names.front(), "mimetype");
    EXPECT_TRUE(book.isFirstStored);
    EXPECT_EQ(book.files.at("mimetype"), "application/epub+zip");
    pugi::xml_document package;
    ASSERT_TRUE(package.load_string(book.Get("Package.opf").c_str()));
    std::set<std::string> listed;
    for (auto const& item : package.select_nodes("//item"))
        listed.insert(std::string("EPUB/") + item.node().attribute("href").value());
    for (auto const& name : book.names) {
        if (name.starts_with("EPUB/") && name != "EPUB/Package.opf") {
            EXPECT_TRUE(listed.contains(name)) << name;
        }
    }
    EXPECT_STREQ(package.select_node("//dc:title").node().text().get(), "A Book");
    EXPECT_NE(book.Get("Story1.xhtml").find("Call me Ishmael."), std::string::npos);
}

TEST(EPubExporter, WritesTheSameBytesTwice) {
    auto const story = MakeStory({{"Heading 1", U"One"}, {"Body Text", U"Text"}});
    BookPath const one("-1.epub"), other("-2.epub");
    for (auto const* path : {&one, &other}) {
        FlowingEPubExporter exporter(MakeSettings(), {});
        Write(exporter, path->Get(), {story});
    }
    EXPECT_EQ(ReadText(one.Get()), ReadText(other.Get()));
}

TEST(EPubExporter, ListsHeadingsInsideEachOther) {
    auto const book = WriteBook(MakeSettings(), {MakeStory({{"Heading 2", U"First"},
                                                            {"Heading 1", U"Second"},
                                                            {"Heading 3", U"Third & last"},
                                                            {"Heading 2", U"Fourth"},
                                                            {"Heading 1", U"Fifth"},
                                                            {"Body Text", U"not listed"}})});
    pugi::xml_document navigation;
    ASSERT_TRUE(navigation.load_string(book.Get("Navigation.xhtml").c_str()));
    auto const toc = navigation.select_node("//nav[@epub:type='toc']").node();
    EXPECT_EQ(toc.select_nodes("ol/li").size(), 3u);
    EXPECT_EQ(toc.select_nodes("ol/li/ol/li").size(), 2u);
    EXPECT_STREQ(toc.select_node("ol/li[2]/ol/li[1]/a").node().text().get(), "Third & last");
    EXPECT_EQ(Count(book.Get("Story1.xhtml"), "<h1"), 2u);
    EXPECT_EQ(Count(book.Get("Story1.xhtml"), "<h3"), 1u);
}

TEST(EPubExporter, LeadsReferencesToAnchorsOfEqualNames) {
    auto const one = Kernel::MakeCounted<AnchorData>("1", "Same \"name\" <&>");
    auto const other = Kernel::MakeCounted<AnchorData>("2", "Same \"name\" <&>");
    GlyphString first(U"Here: ");
    first.Add(Reference(other, "there"));
    first.Add(Kernel::Counted<Glyph const>(new AnchorGlyph(one)));
    GlyphString second(U"Back: ");
    second.Add(Kernel::Counted<Glyph const>(new AnchorGlyph(other)));
    second.Add(Reference(one, "here"));
    auto const a = MakeStory({{"Body Text", first}}), b = MakeStory({{"Body Text", second}});
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    exporter.GetCallbacks().expandField = [](auto const& glyph, auto const&) {
        return Kernel::String(EncodeUtf8(glyph->Expand({})));
    };
    exporter.GetAnchorRegistry().RegisterAnchor("Story1.xhtml", one, {a, 7});
    exporter.GetAnchorRegistry().RegisterAnchor("Story2.xhtml", other, {b, 6});
    Write(exporter, path.Get(), {a, b});
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    EXPECT_NE(book.Get("Story1.xhtml").find("<a href=\"Story2.xhtml#anchor2\">there</a>"), std::string::npos);
    EXPECT_NE(book.Get("Story2.xhtml").find("<a href=\"Story1.xhtml#anchor1\">here</a>"), std::string::npos);
    EXPECT_NE(book.Get("Story2.xhtml").find("id=\"anchor2\""), std::string::npos);
}

TEST(EPubExporter, KeepsTheWordsOfReferencesThatLeadNowhere) {
    auto const gone = Kernel::MakeCounted<AnchorData>("1", "gone");
    GlyphString text(U"See ");
    text.Add(Reference(gone, "page 7"));
    text.Add(Reference({}, "or nothing"));
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    exporter.GetCallbacks().expandField = [](auto const& glyph, auto const&) {
        return Kernel::String(EncodeUtf8(glyph->Expand({})));
    };
    Write(exporter, path.Get(), {MakeStory({{"Body Text", text}})});
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    EXPECT_NE(book.Get("Story1.xhtml").find("See page 7or nothing"), std::string::npos);
    EXPECT_EQ(Count(book.Get("Story1.xhtml"), "<a "), 0u);
}

TEST(EPubExporter, ReplacesCharactersThatXmlForbids) {
    auto const settings = MakeSettings();
    settings->title = "A <b>\"bad\"</b> & \x01 title ]]>";
    settings->creator = "\x1B[0m & Sons";
    settings->identifier = "urn:<x>&\x02";
    EPub::AccessibilityMetadata::Values values;
    values.summary = "Reads <well>\x07";
    values.features = {"a & b"};
    settings->accessibility = Kernel::MakeCounted<EPub::AccessibilityMetadata>(values);
    std::u32string text = U"a<b>&\"'";
    for (char32_t const c : {0x1u, 0x8u, 0xBu, 0x1Fu, 0x7Fu, 0x86u, 0xFFFEu, 0xFFFFu, 0x1FFFFu})
        text += c;
    text += U"z";
    auto const book = WriteBook(settings, {MakeStory({{"Heading 1", text}, {"Body Text", text}})});
    pugi::xml_document page;
    ASSERT_TRUE(page.load_string(book.Get("Story1.xhtml").c_str()));
    std::string const shown = page.select_node("//p").node().text().get();
    EXPECT_TRUE(shown.starts_with("a<b>&\"'\xEF\xBF\xBD"));
    EXPECT_TRUE(shown.ends_with("\xEF\xBF\xBDz"));
    pugi::xml_document package;
    ASSERT_TRUE(package.load_string(book.Get("Package.opf").c_str()));
    EXPECT_STREQ(package.select_node("//dc:title").node().text().get(), "A <b>\"bad\"</b> & \xEF\xBF\xBD title ]]>");
}

TEST(MarkupWriter, ReplacesLoneSurrogates) {
    std::string out;
    char32_t const text[] = {U'a', 0xD800, 0xDFFF, 0x110000, U'b'};
    EPub::AppendEscaped(out, std::u32string_view(text, 5));
    EXPECT_EQ(out, "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
                   "b");
}

TEST(EPubExporter, LinksNotesToTheirTextsAndBack) {
    std::vector<StyledText> paragraphs;
    for (int i = 0; i != 300; ++i) {
        GlyphString text(U"Word");
        text.Add(Kernel::Counted<Glyph const>(new NoteGlyph(
            i % 2 == 0 ? NoteGlyph::Kind::Footnote : NoteGlyph::Kind::Endnote, MakeStory({{"", U"A note."}}))));
        paragraphs.emplace_back("Body Text", text);
    }
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    int count = 0;
    exporter.GetCallbacks().getNoteNumber = [&](auto const&, auto const&) { return ++count; };
    Write(exporter, path.Get(), {MakeStory(paragraphs)});
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_EQ(Count(page, "epub:type=\"noteref\""), 300u);
    EXPECT_EQ(Count(page, "<aside "), 300u);
    EXPECT_NE(page.find("href=\"#note300\" epub:type=\"noteref\" role=\"doc-noteref\">300</a>"), std::string::npos);
    EXPECT_NE(page.find("<a href=\"#reference300\">300</a>"), std::string::npos);
}

TEST(EPubExporter, MarksPagesAndListsThem) {
    auto const story = MakeStory({{"Body Text", U"One two"}, {"Body Text", U"three"}});
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    auto& anchors = exporter.GetAnchorRegistry();
    anchors.RegisterPage("Story1.xhtml", 1, "v", {story, 4}, 0);
    anchors.RegisterPage("Story1.xhtml", 0, "iv", {story, 0}, 0);
    // Behind the end, and a page again.
    anchors.RegisterPage("Story1.xhtml", 2, "vi", {story, 13}, 1000);
    anchors.RegisterPage("Story1.xhtml", 1, "again", {story, 9}, 0);
    Write(exporter, path.Get(), {story});
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(
        page.find("One <span id=\"page2\" epub:type=\"pagebreak\" role=\"doc-pagebreak\" aria-label=\"v\"></span>two"),
        std::string::npos);
    EXPECT_EQ(Count(page, "epub:type=\"pagebreak\""), 3u);
    auto const& navigation = book.Get("Navigation.xhtml");
    EXPECT_LT(navigation.find(">iv<"), navigation.find(">v<"));
    EXPECT_LT(navigation.find(">v<"), navigation.find(">vi<"));
}

class TestPin final : public PinInterface {
public:
    explicit TestPin(bool asPicture) : isPicture(asPicture) {}
    bool isPicture;
    StoryRef story;
};

TEST(EPubExporter, PutsPinnedPicturesIntoLinesAndPinnedTextsBehindThem) {
    auto const picture = Kernel::MakeCounted<TestPin>(true), text = Kernel::MakeCounted<TestPin>(false);
    GlyphString outer(U"before");
    outer.Add(Kernel::Counted<Glyph const>(new PinGlyph(text)));
    outer.Add(Kernel::Counted<Glyph const>(new PinGlyph(picture)));
    outer.Add(U"after");
    // Pinned to itself.
    GlyphString inner(U"inner");
    inner.Add(Kernel::Counted<Glyph const>(new PinGlyph(text)));
    text->story = MakeStory({{"Body Text", inner}});
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    exporter.GetCallbacks().writesPinAsImage = [](auto const& pin) { return static_cast<TestPin&>(*pin).isPicture; };
    exporter.GetCallbacks().handlePin = [&](auto const& pin) {
        auto const& pinned = static_cast<TestPin&>(*pin);
        if (pinned.isPicture)
            exporter.WritePicture({std::vector<std::byte>(10), "A \"whale\"", false, 20, 10});
        else
            exporter.WriteStory(pinned.story);
    };
    Write(exporter, path.Get(), {MakeStory({{"Body Text", outer}})});
    // Or the two would keep each other for ever.
    text->story = {};
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("before<img src=\"Images/picture1.png\" alt=\"A &quot;whale&quot;\""), std::string::npos);
    EXPECT_EQ(Count(page, "inner"), 1u);
    EXPECT_LT(page.find("after"), page.find("inner"));
}

TEST(EPubExporter, SaysThatDecorationsTellNothingAndKeepsEqualPicturesOnce) {
    BookPath const path(".epub");
    FlowingEPubExporter exporter(MakeSettings(), {});
    exporter.Start(path.Get(), {});
    EPub::Picture picture{std::vector<std::byte>(10), "A rule", true, 20, 10};
    EXPECT_TRUE(exporter.ExportPicture(picture, "Story1.xhtml", "Pictures"));
    picture.isDecoration = false;
    EXPECT_TRUE(exporter.ExportPicture(picture, "Story1.xhtml", "Pictures"));
    EXPECT_TRUE(exporter.Finish());
    auto const book = ReadBook(path.Get());
    ExpectSound(book);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_EQ(Count(page, "alt=\"\" role=\"presentation\""), 1u);
    EXPECT_EQ(Count(page, "alt=\"A rule\""), 1u);
    EXPECT_EQ(book.files.count("EPUB/Images/picture2.png"), 0u);
    EXPECT_NE(book.Get("Navigation.xhtml").find("Pictures"), std::string::npos);
}

TEST(EPubExporter, WritesStylesByTheirNamesAndOwnAttributesOnTopOfThem) {
    auto const story = MakeStory({{"Body Text", U"plain bold"}});
    auto const mutable_ = story->Clone();
    mutable_->FormatText({6, 10}, *MakeDelta(GlyphAtt::Double::Weight, 700));
    auto const book = WriteBook(MakeSettings(), {mutable_});
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("<p class=\"body-text\">plain <b class=\"c1\">bold</b></p>"), std::string::npos) << page;
    auto const& css = book.Get("Styles.css");
    EXPECT_NE(css.find(".body-text { font-size: 1rem; }"), std::string::npos) << css;
    EXPECT_NE(css.find(".c1 { font-weight: 700; }"), std::string::npos) << css;
}

TEST(EPubExporter, WritesDropCapsAsInitialLetters) {
    auto const story = MakeStory({{"Body Text", U"Once upon a time"}, {"Body Text", U"and then"}})->Clone();
    story->FormatText(
        {0, 1}, *MakeDelta(ParagraphAtt::Object::DropCap,
                           Kernel::MakeCounted<DropCapAtt>(DropCapAtt::Values{.lines = 3, .characters = 1, .gap = 8})));
    auto const book = WriteBook(MakeSettings(), {story});
    auto const& css = book.Get("Styles.css");
    EXPECT_NE(book.Get("Story1.xhtml").find("<p class=\"body-text p1\">Once"), std::string::npos);
    EXPECT_NE(css.find(".p1::first-letter { float: left; font-size: 4."), std::string::npos) << css;
    EXPECT_NE(css.find("@supports (initial-letter: 3) { .p1::first-letter { float: none;"), std::string::npos) << css;
}

TEST(EPubExporter, WritesLinesFromTopToBottom) {
    auto const story = MakeStory({{"Body Text", U"\u6F22\u5B57"}})->Clone();
    auto const across = WriteBook(MakeSettings(), {story});
    EXPECT_EQ(across.Get("Styles.css").find("writing-mode"), std::string::npos);
    EXPECT_EQ(across.Get("Package.opf").find("page-progression-direction"), std::string::npos);
    story->SetWritingMode(WritingMode::Vertical);
    auto const down = WriteBook(MakeSettings(), {story});
    EXPECT_NE(down.Get("Styles.css").find("html { -epub-writing-mode: vertical-rl;"), std::string::npos);
    EXPECT_NE(down.Get("Package.opf").find("page-progression-direction=\"rtl\""), std::string::npos);
}

TEST(EPubExporter, TurnsBooksRound) {
    auto const settings = MakeSettings();
    settings->isRightToLeft = true;
    settings->language = Language::Make("he");
    auto const book =
        WriteBook(settings, {MakeStory({{"Body Text", U"\u05E9\u05DC\u05D5\u05DD"}, {"Body Text", U"Latin"}})});
    EXPECT_NE(book.Get("Package.opf").find("page-progression-direction=\"rtl\""), std::string::npos);
    auto const& page = book.Get("Story1.xhtml");
    EXPECT_NE(page.find("xml:lang=\"he\" dir=\"rtl\""), std::string::npos);
    EXPECT_EQ(Count(page, "dir=\"ltr\""), 1u);
}

TEST(EPubExporter, HasACoverAndTheDocumentsStyleSheets) {
    auto const settings = MakeSettings();
    settings->cover.emplace();
    settings->cover->png = std::vector<std::byte>(20);
    settings->cover->alternativeText = "A whale";
    settings->cssFiles = {Kernel::MakeCounted<EPub::CSSFile>("../evil name.css", "p { color: red }"),
                          Kernel::MakeCounted<EPub::CSSFile>("../evil name.css", "")};
    auto const book = WriteBook(settings, {MakeStory({{"Body Text", U"Text"}})});
    EXPECT_EQ(book.Get("Images/cover.png").size(), 20u);
    EXPECT_NE(book.Get("Cover.xhtml").find("alt=\"A whale\""), std::string::npos);
    EXPECT_NE(book.Get("Package.opf").find("properties=\"cover-image\""), std::string::npos);
    EXPECT_EQ(Count(book.Get("Story1.xhtml"), "rel=\"stylesheet\""), 3u);
    for (auto const& name : book.names)
        EXPECT_EQ(name.find(".."), name.npos) << name;
}

TEST(EPubExporter, SaysThatItsFileCannotBeWritten) {
    auto const story = MakeStory({{"Body Text", U"Text"}});
    FlowingEPubExporter nowhere(MakeSettings(), {});
    nowhere.Start("/nonexistent/folder/x.epub", {});
    EXPECT_FALSE(nowhere.ExportStory(story, story->gend(), "Story1.xhtml", {}));
    EXPECT_FALSE(nowhere.Finish());
    for (bool const isEPub : {true, false}) {
        FlowingEPubExporter book(MakeSettings(), {});
        HtmlExporter page(MakeSettings(false), {});
        HtmlExporter& exporter = isEPub ? book : page;
        exporter.Start("/dev/full", {});
        EXPECT_TRUE(exporter.ExportStory(story, story->gend(), "Story1.xhtml", {}));
        EXPECT_FALSE(exporter.Finish());
    }
}

TEST(HtmlExporter, WritesOneFileWithItsStylesAndPictures) {
    auto const settings = MakeSettings(false);
    settings->cssFiles = {Kernel::MakeCounted<EPub::CSSFile>("x.css", "/* </style><script>alert(1)</script> */")};
    auto const anchor = Kernel::MakeCounted<AnchorData>("1", "a");
    GlyphString text(U"To ");
    text.Add(Reference(anchor, "it"));
    auto const story = MakeStory({{"Heading 1", U"Head"}, {"Body Text", text}, {"Body Text", AnchorNamed(anchor)}});
    BookPath const path(".htm");
    HtmlExporter exporter(settings, {});
    exporter.GetCallbacks().expandField = [](auto const& glyph, auto const&) {
        return Kernel::String(EncodeUtf8(glyph->Expand({})));
    };
    exporter.GetAnchorRegistry().RegisterAnchor("Story1.xhtml", anchor, {story, 10});
    exporter.Start(path.Get(), {});
    EXPECT_TRUE(exporter.ExportStory(story, story->gend(), "Story1.xhtml", {}));
    EXPECT_TRUE(exporter.ExportPicture({std::vector<std::byte>(3), "Dots", false, 1, 1}, "Story2.xhtml", {}));
    EXPECT_TRUE(exporter.Finish());
    auto const page = ReadText(path.Get());
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>\n<html lang=\"en\">"));
    EXPECT_NE(page.find("<a href=\"#anchor1\">it</a>"), std::string::npos);
    EXPECT_NE(page.find("id=\"anchor1\""), std::string::npos);
    EXPECT_NE(page.find("src=\"data:image/png;base64,AAAA\""), std::string::npos);
    EXPECT_EQ(Count(page, "</style>"), 1u);
    EXPECT_EQ(Count(page, "epub:type"), 0u);
}

TEST(EPubExporter, WritesAnEmptyStory) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    auto const book = WriteBook(MakeSettings(), {story});
    EXPECT_NE(book.Get("Story1.xhtml").find("<p><br/></p>"), std::string::npos);
    EXPECT_NE(book.Get("Navigation.xhtml").find("A Book"), std::string::npos);
}

TEST(LinkAddress, TakesWhatLeadsOutAndNothingElse) {
    EXPECT_EQ(EPub::MakeLinkAddress("https://example.org/a b?c=\"d\"&e#f"), "https://example.org/a%20b?c=%22d%22&e#f");
    EXPECT_EQ(EPub::MakeLinkAddress("HTTP://example.org/%41%zz"), "http://example.org/%41%25zz");
    EXPECT_EQ(EPub::MakeLinkAddress("mailto:a@b.example"), "mailto:a@b.example");
    for (char const* refused : {"javascript:alert(1)", "file:///etc/passwd", "data:text/html,x", "other.html", "",
                                "http://", "http:///x", "http://a b/", "https:x", "//example.org", "vbscript:x"})
        EXPECT_EQ(EPub::MakeLinkAddress(refused), "") << refused;
}

} // namespace
