// SPDX-License-Identifier: Apache-2.0
#include "formats/export.h"
#include "formats/import.h"
#include "formats/text_pattern.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "tests/formats/files.h"

namespace {

using Story::GlyphAtt;
using Story::ParagraphAtt;

class Markdown : public FilesTest {
protected:
    void Import(std::string_view text, std::string const& name = "text.md") {
        m_document = Formats::Import(Write(name, text), {}, &m_report);
    }
    FrameTextNode& GetFrame() const {
        FrameTextNode* found = nullptr;
        ForEachNode(*m_document->GetDocument(), [&](Node& node) {
            if (auto* const frame = Kernel::CastPointer<FrameTextNode>(&node); frame != nullptr && found == nullptr)
                found = frame;
        });
        return *found;
    }
    std::string GetText() const {
        auto const story = GetFrame().GetStory();
        return story->GetString(story->GetClientAll()).ToStdString();
    }
    // "style: text" for each paragraph, with its number and a tab in front of the text, and with lines parted by bars.
    std::vector<std::string> GetParagraphs() const {
        auto const story = GetFrame().GetStory();
        std::vector<std::string> lines;
        Story::Numberer numberer;
        for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
            auto const begin = story->GetParagraphBegin(i);
            auto const end = i + 1 == story->GetParagraphCount() ? story->GetLength() : story->GetParagraphBegin(i + 1);
            auto text = story->GetString({begin, end - 1}).ToStdString();
            std::replace(text.begin(), text.end(), '\n', '|');
            if (auto const number = numberer.Next(*story->GetParagraphAtts(begin)); !number.empty())
                text = number.ToStdString() + "\t" + text;
            lines.push_back(story->GetParagraphAtts(begin)->Get(ParagraphAtt::String::StyleName).ToStdString() + ": " +
                            text);
        }
        return lines;
    }
    // The attributes of the first glyph of a piece of the text.
    Story::GlyphAttsRef GetAtts(std::u32string_view piece) const {
        auto const story = GetFrame().GetStory();
        return story->GetGlyphAtts(static_cast<std::uint32_t>(story->GetText(story->GetAll()).find(piece)));
    }
    Story::ParagraphAttsRef GetParagraphAtts(std::u32string_view piece) const {
        auto const story = GetFrame().GetStory();
        return story->GetParagraphAtts(static_cast<std::uint32_t>(story->GetText(story->GetAll()).find(piece)));
    }
    std::vector<std::string> GetNotes() const {
        std::vector<std::string> notes;
        for (auto const& note : m_report.notes)
            notes.push_back(note.text);
        return notes;
    }

    Kernel::Counted<DocumentController> m_document;
    Formats::Report m_report;
};
using Lines = std::vector<std::string>;

TEST_F(Markdown, MakesHeadingsOfTheDocumentsOwnStyles) {
    Import("# One\n\nTwo\n===\n\n## Three\n\n###### Six\n\n####### none\n");
    EXPECT_EQ(GetParagraphs(), (Lines{"Heading 1: One", "Heading 1: Two", "Heading 2: Three", "Heading 6: Six",
                                      "First Paragraph: ####### none"}));
    EXPECT_EQ(m_report.headings, 4u);
    auto const styles = m_document->GetDocument()->GetTextStyleSheet();
    double above = 100;
    for (int level = 1; level <= 6; ++level) {
        auto const style = styles->GetStyle(Kernel::String("Heading " + std::to_string(level)));
        ASSERT_TRUE(style);
        auto const size = style->GetDelta()->GetValues().glyphAtts->Get(GlyphAtt::Double::Size);
        EXPECT_LE(size, above);
        above = size;
    }
    // The style says the size: the text says nothing of it itself.
    auto const resolved = styles->Resolve(GetAtts(U"One"), GetParagraphAtts(U"One"));
    EXPECT_EQ(resolved->Get(GlyphAtt::Double::Size), 28);
    EXPECT_EQ(resolved->Get(GlyphAtt::Double::Weight), 700);
}

TEST_F(Markdown, MarksWordsByStylesAndByHandWhereTwoKindsMeet) {
    Import("plain *slanted* **bold** `code` ***bold** slanted* **`both`**\n");
    EXPECT_EQ(GetText(), "plain slanted bold code bold slanted both");
    auto const styleOf = [&](std::u32string_view piece) {
        return GetAtts(piece)->Get(GlyphAtt::String::StyleName).ToStdString();
    };
    EXPECT_EQ(styleOf(U"plain"), "");
    EXPECT_EQ(styleOf(U"slanted"), "Emphasis");
    EXPECT_EQ(styleOf(U"bold"), "Strong");
    EXPECT_EQ(styleOf(U"code"), "Code");
    EXPECT_EQ(styleOf(U"bold slanted"), "Strong");
    EXPECT_EQ(GetAtts(U"bold slanted")->Get(GlyphAtt::Enum::Italic), 1);
    EXPECT_EQ(styleOf(U"both"), "Code");
    EXPECT_EQ(GetAtts(U"both")->Get(GlyphAtt::Double::Weight), 700);
    EXPECT_FALSE(GetAtts(U"plain")->IsSet(GlyphAtt::Double::Weight));
}

TEST_F(Markdown, LinksAreAttributesOfTheirWords) {
    Import("[a](http://x.org/1) *b [c](x:y \"t\")* <me@x.org> [in](#place) [r] [](/empty) [d]()\n\n[r]: /r 'title'\n");
    EXPECT_EQ(GetText(), "a b c me@x.org in r /empty d");
    auto const getUrl = [&](std::u32string_view piece) {
        auto const link = Story::HyperlinkAtt::Of(*GetAtts(piece));
        return link ? link->GetUrl().ToStdString() : "none";
    };
    EXPECT_EQ(getUrl(U"a b"), "http://x.org/1");
    EXPECT_EQ(getUrl(U"b c"), "none");
    EXPECT_EQ(getUrl(U"c me"), "x:y");
    EXPECT_EQ(getUrl(U"me@"), "mailto:me@x.org");
    EXPECT_EQ(getUrl(U"in r"), "none");
    EXPECT_EQ(getUrl(U"r /"), "/r");
    EXPECT_EQ(getUrl(U"/empty"), "/empty");
    EXPECT_EQ(getUrl(U"d"), "none");
    EXPECT_EQ(GetAtts(U"a b")->Get(GlyphAtt::String::StyleName), "Link");
    EXPECT_EQ(GetAtts(U"c me")->Get(GlyphAtt::String::StyleName), "Emphasis");
    EXPECT_EQ(GetAtts(U"c me")->Get(GlyphAtt::Enum::Underline), 1);
}

TEST_F(Markdown, LinksWithinTheTextLeadToTheirHeadings) {
    Import("see [it](#the-big-day) [no](#other)\n\n# The *Big* Day!\n\n# The Big Day\n\n# Unlinked\n");
    auto const link = Story::HyperlinkAtt::Of(*GetAtts(U"it"));
    ASSERT_TRUE(link && link->GetAnchorData());
    EXPECT_FALSE(Story::HyperlinkAtt::Of(*GetAtts(U"no")));
    auto const story = GetFrame().GetStory();
    auto const objects = story->FindObjects(story->GetAll());
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(Kernel::CastPointer<Story::AnchorGlyph const>(objects[0].glyph.get())->GetAnchorData(),
              link->GetAnchorData());
    // At the end of the first heading of that name.
    EXPECT_EQ(story->GetString({0, objects[0].index}).ToStdString(), "see it no\nThe Big Day!");
}

TEST_F(Markdown, IndentsWhatStandsInListsAndQuotations) {
    Import("- a\n- b\n\n  1. c\n  2. d\n\n     more\n\n> quote\n>\n> > inside\n\n7) e\n-\n");
    EXPECT_EQ(GetParagraphs(), (Lines{"List Item: \u2022\ta", "List Item: \u2022\tb", "List Item: 1.\tc",
                                      "List Item: 2.\td", "List Item: more", "Block Quote: quote",
                                      "Block Quote: inside", "List Item: 7)\te", "List Item: \u2022\t"}));
    using Double = ParagraphAtt::Double;
    double const item = GetParagraphAtts(U"a")->Get(Double::LeftIndent);
    EXPECT_GT(item, 0);
    // The mark hangs, and the words behind its tab stand over the next line's.
    EXPECT_EQ(GetParagraphAtts(U"a")->Get(Double::FirstIndent), -item);
    EXPECT_EQ(GetParagraphAtts(U"c")->Get(Double::LeftIndent), 2 * item);
    EXPECT_EQ(GetParagraphAtts(U"more")->Get(Double::FirstIndent), 0);
    EXPECT_EQ(GetParagraphAtts(U"inside")->Get(Double::LeftIndent),
              2 * GetParagraphAtts(U"quote")->Get(Double::LeftIndent));
    auto const stops = Kernel::Cast<Story::TabStops const>(GetParagraphAtts(U"c")->Get(ParagraphAtt::Object::TabStops));
    ASSERT_TRUE(stops);
    ASSERT_EQ(stops->GetStops().size(), 1u);
    EXPECT_EQ(stops->GetStops()[0].position, 2 * item);
}

TEST_F(Markdown, KeepsTheLinesOfCode) {
    Import("```c\nint a;\n\n  b();\n```\n\n    indented\n\nx  \ny\\\nz\n\n***\n");
    EXPECT_EQ(GetParagraphs(), (Lines{"Code Block: int a;||\u00A0\u00A0b();", "Code Block: indented",
                                      "First Paragraph: x|y|z", "Rule: *\u2003*\u2003*"}));
}

TEST_F(Markdown, IndentsAParagraphBehindAnother) {
    Import("a\n\nb\n\n# h\n\nc\n\nd\n\n- e\n\nf\n");
    EXPECT_EQ(GetParagraphs(), (Lines{"First Paragraph: a", "Body Text: b", "Heading 1: h", "First Paragraph: c",
                                      "Body Text: d", "List Item: \u2022\te", "First Paragraph: f"}));
}

TEST_F(Markdown, LeavesHtmlOutAndTellsOfIt) {
    Import("<div class='x'>\n\na <b>c</b><br>d <!-- silent -->\n\n</div>\n");
    EXPECT_EQ(GetParagraphs(), (Lines{"First Paragraph: a c|d "}));
    EXPECT_EQ(GetNotes(), (Lines{"HTML: 2 (first <div>)"}));
}

// The notes' texts by their places in the story.
std::vector<std::string> GetNoteTexts(Story::Story const& story) {
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i != story.GetLength(); ++i) {
        auto const glyph = story.GetGlyph(i);
        auto const* const note = Kernel::CastPointer<Story::NoteGlyph const>(glyph.get());
        if (note == nullptr)
            continue;
        auto const own = note->GetStory();
        texts.push_back(own->GetString(own->GetClientAll()).ToStdString());
    }
    return texts;
}

TEST_F(Markdown, TakesNotesOutOfTheTextAndPutsThemWhereTheyAreReferredTo) {
    Import("[^b]One[^a] two `[^a]` and [^none].\n\n"
           "[^a]: The *first*\nnote.\n\n    Its second paragraph.\n\nMore text.\n[^not]: lazy\n\n"
           "```\n[^b]: code\n```\n[^b]: b\n[^c]: is not used\n[^a]: comes too late\n");
    auto const story = GetFrame().GetStory();
    auto const notes = GetNoteTexts(*story);
    ASSERT_EQ(2u, notes.size());
    EXPECT_EQ("b", notes[0]);
    EXPECT_EQ("The first note.\nIts second paragraph.", notes[1]);
    auto const lines = GetParagraphs();
    ASSERT_EQ(3u, lines.size());
    EXPECT_NE(lines[0].npos, lines[0].find(" two [^a] and"));
    EXPECT_NE(lines[0].npos, lines[0].find("[^none]."));
    EXPECT_EQ("Body Text: More text.", lines[1]);
    EXPECT_EQ("Code Block: [^b]: code", lines[2]);
    EXPECT_EQ("notes that the text does not refer to: 2 (first c)", GetNotes().front());
}

TEST_F(Markdown, NotesStandInHeadingsListsAndLinksAndHaveNoneThemselves) {
    Import("# Title[^1]\n\n- item[^1]\n\n[words[^1]](http://example.org/)\n\n[^1]: see [^1] ![p](p.png)\n");
    EXPECT_EQ(std::vector<std::string>(3, "see [^1] [p]"), GetNoteTexts(*GetFrame().GetStory()));
}

TEST_F(Markdown, RefusesNotesThatWouldFillTheMemory) {
    std::string text = "[^1]: " + std::string(1 << 20, 'x') + "\n\n";
    for (int i = 0; i != 80; ++i)
        text += "[^1]\n\n";
    EXPECT_THROW(Import(text), Kernel::Exception);
}

TEST_F(Markdown, ReplacesMalformedTextAsOtherTextDoes) {
    Import("# caf\xC3\xA9 caf\xC3\xA9 na\xC3\xAFve\xFF\n\na\xC3\n");
    EXPECT_EQ(GetText(), "café café naïve\uFFFD\na\uFFFD");
    ASSERT_EQ(m_report.notes.size(), 1u);
    EXPECT_EQ(m_report.notes[0].kind, Formats::Note::Kind::MalformedText);
    EXPECT_EQ(m_report.notes[0].text, "2 malformed sequences replaced");
    // References to characters that would part paragraphs part none.
    Import("a&#10;b&#8233;c&#0;d\n");
    EXPECT_EQ(GetText(), "a b c\uFFFDd");
}

TEST_F(Markdown, PutsPicturesWhereTheyStandInTheText) {
    Formats::ExportOptions options;
    Formats::Export(*Formats::Import(Write("squares.svg", c_twoSquares)), PathOf("a b.png"), options);
    Import(
        "# h\n\nwords ![alt *text*](a%20b.png) more\n\n![](<a b.png>)\n\n![gone](gone.png) ![far](http://x.org/y.png) "
        "![out](../x.png)\n");
    EXPECT_EQ(GetParagraphs(),
              (Lines{"Heading 1: h", "First Paragraph: words ", "Figure: \u00A0", "First Paragraph: more",
                     "Figure: \u00A0", "First Paragraph: [gone] [far] [out]"}));
    EXPECT_EQ(GetNotes(), (Lines{"picture that is missing in the text's folder: 2 (first gone.png)",
                                 "picture that is not a local file: 1 (first http://x.org/y.png)"}));
    std::vector<RasterNode*> pictures;
    ForEachNode(*m_document->GetDocument(), [&](Node& node) {
        if (auto* const picture = Kernel::CastPointer<RasterNode>(&node))
            pictures.push_back(picture);
    });
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_EQ(pictures[0]->GetDescription(true).ToStdString(), "alt text");
    EXPECT_EQ(pictures[1]->GetDescription(true).ToStdString(), "a b");
    // Each below the line in front and above the one behind, which it keeps clear of.
    auto const composed = GetFrame().MakeComposedText();
    std::vector<std::pair<double, double>> lines;
    for (auto const& line : composed->GetColumn(0))
        lines.emplace_back(line.GetOrigin().y - line.GetAscent(), line.GetOrigin().y + line.GetDescent());
    ASSERT_EQ(lines.size(), 6u);
    for (std::size_t i = 0; i != pictures.size(); ++i) {
        auto const bounds = pictures[i]->GetBounds(false);
        EXPECT_NEAR(bounds.GetWidth(), 40, 0.01);
        EXPECT_NEAR(bounds.GetHeight(), 20, 0.01);
        EXPECT_GE(bounds.top, lines[2 * i + 1].second - 0.01);
        EXPECT_LE(bounds.bottom, lines[2 * i + 3].first + 0.01);
    }
}

TEST_F(Markdown, MakesLargePicturesFitTheirColumn) {
    Formats::Export(*Formats::Import(Write("large.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='2000' "
                                                        "height='1000'><rect width='10' height='10'/></svg>")),
                    PathOf("large.png"));
    Formats::Export(*Formats::Import(Write("tall.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='20' "
                                                       "height='3000'><rect width='10' height='10'/></svg>")),
                    PathOf("tall.png"));
    Import("words\n\n![](tall.png)\n\n![](large.png)\n");
    ForEachNode(*m_document->GetDocument(), [&](Node& node) {
        auto const* const picture = Kernel::CastPointer<RasterNode>(&node);
        if (picture == nullptr)
            return;
        auto const page = picture->GetSpread()->GetBaseBox(false), bounds = picture->GetBounds(false);
        EXPECT_EQ(bounds.United(page), page);
        EXPECT_LE(bounds.GetWidth(), page.GetWidth() / 2);
        EXPECT_GT(std::max(bounds.GetWidth() / page.GetWidth(), bounds.GetHeight() / page.GetHeight()), 0.3);
    });
}

TEST_F(Markdown, FillsAsManyPagesAsTheTextTakes) {
    std::string text;
    for (int i = 0; i != 800; ++i)
        text += "A paragraph of a few words, *number* " + std::to_string(i) + ".\n\n";
    Import(text);
    EXPECT_GT(m_document->GetDocument()->GetSpreads().size(), 2u);
    EXPECT_FALSE(GetFrame().MakeComposedStory({})->HasOverflow());
}

TEST_F(Markdown, ReadsWhatIsNestedDeeply) {
    constexpr int c_deep = 100'000;
    std::string quotes(c_deep, '>'), items, words;
    for (int i = 0; i != c_deep; ++i) {
        items += "- ";
        words += "*a **b ";
    }
    Import(quotes + " a\n");
    EXPECT_EQ(GetText(), "a");
    Import(items + "a\n");
    EXPECT_TRUE(GetParagraphs().back().ends_with("\ta"));
    std::string ends;
    for (int i = 0; i != c_deep; ++i)
        ends += "c** c*";
    Import(words + "x" + ends + "\n");
    EXPECT_NE(GetText().find("x"), std::string::npos);
}

TEST_F(Markdown, RefusesWhatWouldTakeTheParserHours) {
    std::string brackets, lists;
    for (int i = 0; i != 40'000; ++i)
        brackets += "![[]()";
    EXPECT_EQ(MessageOf([&] { Import(brackets); }), "has more than 10000 brackets in one paragraph");
    for (int i = 0; i != 10'000; ++i)
        lists += "- ";
    // The parser looks at each of the lists at each of the lines.
    Import(lists + "a" + std::string(1'000'000, '\n') + "b\n");
    EXPECT_TRUE(GetText().ends_with("a\nb"));
    Formats::ImportOptions options;
    options.limits.markdownBytes = 10;
    EXPECT_THROW(Formats::Import(Write("long.md", "more than ten bytes"), options), Kernel::Exception);
}

TEST_F(Markdown, JoinsADocumentWithoutChangingItsStyles) {
    Import("# One\n", "a.markdown");
    auto& root = *m_document->GetDocument();
    auto const own = Kernel::MakeCounted<Story::Style>("Heading 2", Story::StyleType::Paragraph, "", Story::DeltaRef());
    root.SetTextStyleSheet(Kernel::MakeCounted<Story::StyleSheet>(Story::StyleSheet::Styles{own}));
    Formats::Place(*m_document, Write("b.md", "## Two\n"));
    EXPECT_EQ(root.GetTextStyleSheet()->GetStyle("Heading 2"), own);
    EXPECT_TRUE(root.GetTextStyleSheet()->GetStyle("Heading 1"));
}

class Headings : public Markdown {
protected:
    void Import(std::string_view text, std::string const& headings) {
        Formats::ImportOptions options;
        options.headings = headings;
        m_document = Formats::Import(Write("text.txt", text), options, &m_report);
    }
};

TEST_F(Headings, AreParagraphsThatAnExpressionMatches) {
    Import("BOOK I\nCHAPTER 1\nIt was the best of times.\nCHAPTER 2\nIt was the worst.\n",
           "^(?P<h1>BOOK )|^(?P<h2>CHAPTER )");
    EXPECT_EQ(GetParagraphs(), (Lines{"Heading 1: BOOK I", "Heading 2: CHAPTER 1", ": It was the best of times.",
                                      "Heading 2: CHAPTER 2", ": It was the worst."}));
    EXPECT_EQ(m_report.headings, 3u);
    EXPECT_FALSE(GetAtts(U"BOOK")->IsSet(GlyphAtt::Double::Size));
    EXPECT_EQ(GetAtts(U"It")->Get(GlyphAtt::Double::Size), 14);
}

TEST_F(Headings, AreOfTheFirstLevelWhereNoGroupNamesOne) {
    Import("A\nb\nC\n", "^[A-Z]$");
    EXPECT_EQ(GetParagraphs(), (Lines{"Heading 1: A", ": b", "Heading 1: C"}));
    Import("A\n", "(?P<other>A)");
    EXPECT_EQ(GetParagraphs(), (Lines{"Heading 1: A"}));
}

// A table of contents is one paragraph of many lines, each of which would match.
TEST_F(Headings, AreNotListsOfHeadings) {
    std::string text = "CHAPTER 1\nin two lines\n\nCHAPTER 1\nCHAPTER 2\nCHAPTER 3\nCHAPTER 4\n\n";
    for (int i = 0; i != 12; ++i)
        text += "words that were broken to a width of their own again\n";
    Import(text, "^CHAPTER");
    EXPECT_EQ(m_report.headings, 1u);
    EXPECT_EQ(GetParagraphs()[0], "Heading 1: CHAPTER 1|in two lines");
}

TEST_F(Headings, LeaveTheTextAsItIsOtherwise) {
    std::string const text = "a\n\nb\r\nc\n";
    Import(text, "no such thing");
    auto const searched = GetFrame().GetStory();
    Import(text, "");
    EXPECT_EQ(*searched, *GetFrame().GetStory());
}

TEST_F(Headings, NeedAnExpression) {
    EXPECT_EQ(MessageOf([&] { Import("a", "("); }),
              "the expression for headings is no regular expression: missing ): (");
}

using Match = Formats::TextPattern::Match;

std::vector<Match> Find(std::string_view expression, std::u32string_view text) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText(story->GetClientAll(), text);
    return Formats::TextPattern(expression).FindAll(*story);
}

TEST(TextPatterns, CountCharactersThroughAllParagraphs) {
    EXPECT_EQ(Find("b+", U"ab\nbb \U0001F40Bb\n"), (std::vector<Match>{{1, 2}, {3, 5}, {7, 8}}));
    EXPECT_EQ(Find("\\p{Greek}", U"a\u03B1\u03B2"), (std::vector<Match>{{1, 2}, {2, 3}}));
    EXPECT_EQ(Find("x", U""), std::vector<Match>{});
}

TEST(TextPatterns, MatchInOneParagraphAndKnowItsLines) {
    EXPECT_EQ(Find("a.b", U"a\nb"), std::vector<Match>{});
    EXPECT_EQ(Find("^.", U"ab\u2028cd\nef"), (std::vector<Match>{{0, 1}, {3, 4}, {6, 7}}));
    EXPECT_EQ(Find(".$", U"ab\u2028cd\nef"), (std::vector<Match>{{1, 2}, {4, 5}, {7, 8}}));
}

TEST(TextPatterns, MayMatchNothingBetweenCharacters) {
    EXPECT_EQ(Find("x*", U"\U0001F40Bx"), (std::vector<Match>{{0, 0}, {1, 2}, {2, 2}}));
    EXPECT_EQ(Find("$", U"a\n"), (std::vector<Match>{{1, 1}, {2, 2}}));
}

TEST(TextPatterns, StopWhenAsked) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    bool const abort = true;
    EXPECT_THROW(Formats::TextPattern("a").FindAll(*story, &abort), Kernel::AbortException);
}

} // namespace
