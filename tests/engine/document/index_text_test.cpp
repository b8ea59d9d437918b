// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_controller.h"
#include "platform/story/index_text.h"

#include <gtest/gtest.h>

namespace {

using TopicRef = Kernel::Counted<Story::IndexTopic const>;

class IndexText : public testing::Test {
protected:
    TopicRef Add(char const* name, TopicRef const& parent = {}, char const* sort = "") {
        auto const topic = Kernel::MakeCounted<Story::IndexTopic>(Kernel::String(name), parent, Kernel::String(),
                                                                  Kernel::String(sort));
        index.AddTopic(topic);
        return topic;
    }
    void Mark(TopicRef const& topic, std::vector<int> const& numbers, char const* style = "") {
        for (int const number : numbers)
            pages[topic.get()].push_back(
                {static_cast<std::size_t>(number), Kernel::String(std::to_string(number)), Kernel::String(style)});
    }
    std::vector<Story::GeneratedParagraph> Make() {
        auto const att = Kernel::MakeCounted<Story::IndexAtt const>(Kernel::String("i"), Kernel::String("Index"));
        return MakeIndexText(index, pages, separators, att, *Story::StyleSheet::GetEmpty());
    }
    // The lines, with a step of two spaces for each level and headings in brackets.
    std::string Lines() {
        std::string lines;
        for (auto const& paragraph : Make()) {
            Story::Story story;
            story.ReplaceText({0, 0}, paragraph.text);
            std::string const text(story.GetString(story.GetClientAll()).view());
            auto const& atts = *paragraph.paragraphAtts;
            std::string const style(atts.Get(Story::ParagraphAtt::String::StyleName).view());
            EXPECT_EQ("i", Story::IndexAtt::Of(atts)->GetId());
            if (style == "Index Heading")
                lines += "[" + text + "]\n";
            else
                lines += std::string(2 * (std::stoul(style.substr(6)) - 1), ' ') + text + "\n";
        }
        return lines;
    }

    Kernel::Counted<DocumentController> const controller =
        DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    Story::Index& index = controller->GetDocument()->GetIndex();
    Story::IndexedPages pages;
    Story::IndexSeparators separators;
};

TEST_F(IndexText, NamesEachPageOnceAndThreeInARowAsARange) {
    index.SetShouldIncludeSectionHeadings(false);
    Mark(Add("Whale"), {9, 3, 4, 4, 5, 12, 13, 9});
    EXPECT_EQ("Whale, 3\u20135, 9, 12, 13\n", Lines());
    index.SetShouldGroupPageRanges(false);
    EXPECT_EQ("Whale, 3, 4, 5, 9, 12, 13\n", Lines());
}

TEST_F(IndexText, KeepsPagesOfOtherStylesOutOfRanges) {
    index.SetShouldIncludeSectionHeadings(false);
    auto const whale = Add("Whale");
    Mark(whale, {3, 5, 6, 7});
    Mark(whale, {4}, "Bold");
    EXPECT_EQ("Whale, 3, 4, 5\u20137\n", Lines());
    auto const runs = Make()[0].runs;
    ASSERT_EQ(1u, runs.size());
    EXPECT_EQ(10u, runs[0].begin);
    EXPECT_EQ(11u, runs[0].end);
    EXPECT_EQ("Bold", runs[0].atts->Get(Story::GlyphAtt::String::StyleName));
}

TEST_F(IndexText, StandsInTheOrderAndTheSectionsOfItsLanguage) {
    for (char const* const name : {"Zebra", "Öl", "Ofen", "Österreich", "ofen", "Ähre", "7 Weltmeere", "Anker"})
        Mark(Add(name), {1});
    index.SetIndexLangauge(Story::Language::Make("de"));
    EXPECT_EQ(
        "[#]\n7 Weltmeere, 1\n[A]\nÄhre, 1\nAnker, 1\n[O]\nofen, 1\nOfen, 1\nÖl, 1\nÖsterreich, 1\n[Z]\nZebra, 1\n",
        Lines());
    index.SetIndexLangauge(Story::Language::Make("sv"));
    EXPECT_EQ("[#]\n7 Weltmeere, 1\n[A]\nAnker, 1\n[O]\nofen, 1\nOfen, 1\n[Z]\nZebra, 1\n[Ä]\nÄhre, 1\n[Ö]\nÖl, 1\n"
              "Österreich, 1\n",
              Lines());
}

TEST_F(IndexText, SortsByReadingsWhereTheyAreGiven) {
    Mark(Add("鯨", {}, "くじら"), {1});
    Mark(Add("海", {}, "うみ"), {2});
    Mark(Add("船", {}, "ふね"), {3});
    index.SetIndexLangauge(Story::Language::Make("ja"));
    EXPECT_EQ("[あ]\n海, 2\n[か]\n鯨, 1\n[は]\n船, 3\n", Lines());
}

TEST_F(IndexText, ShowsTopicsAboveAndLeavesOutThoseWithoutAnything) {
    index.SetShouldIncludeSectionHeadings(false);
    auto const animals = Add("Animals");
    auto const whales = Add("Whales", animals);
    Mark(Add("Sperm whales", whales), {4});
    Add("Fish", animals);
    Add("Plants");
    EXPECT_EQ("Animals\n  Whales\n    Sperm whales, 4\n", Lines());
}

TEST_F(IndexText, RefersToOtherTopicsByTheirFullNames) {
    index.SetShouldIncludeSectionHeadings(false);
    auto const animals = Add("Animals");
    auto const whales = Add("Whales", animals);
    Mark(whales, {4, 8});
    auto const cetaceans = Add("Cetaceans"), ships = Add("Ships");
    Mark(ships, {2});
    index.AddRelatedTo(cetaceans, whales);
    index.AddRelatedTo(ships, whales);
    index.AddRelatedTo(ships, animals);
    EXPECT_EQ("Animals\n  Whales, 4, 8\nCetaceans. See Animals/Whales\n"
              "Ships, 2. See also Animals, Animals/Whales\n",
              Lines());
    index.SetShouldExpandCrossReferences(true);
    EXPECT_EQ("Animals\n  Whales, 4, 8\nCetaceans, 4, 8\nShips, 2. See also Animals, Animals/Whales\n", Lines());
    separators.afterTopic = Story::GlyphString(U" \u2014 ");
    separators.betweenListItems = Story::GlyphString(U"; ");
    separators.beforeCrossReferences = Story::GlyphString(U" (");
    separators.seeAlso = Story::GlyphString(U"cf. ");
    separators.afterCrossReferences = Story::GlyphString(U")");
    EXPECT_EQ("Animals\n  Whales \u2014 4; 8\nCetaceans \u2014 4; 8\nShips \u2014 2 (cf. Animals; Animals/Whales)\n",
              Lines());
}

TEST_F(IndexText, LeavesOutPlacesThatAreOnNoPage) {
    auto const whale = Add("Whale");
    pages[whale.get()].push_back({0, Kernel::String(), Kernel::String()});
    EXPECT_EQ("", Lines());
}

// A file may nest topics as deep as it likes.
TEST_F(IndexText, GoesThroughManyLevels) {
    index.SetShouldIncludeSectionHeadings(false);
    TopicRef topic;
    for (int i = 0; i != 3000; ++i)
        topic = Add("t", topic);
    Mark(topic, {1});
    EXPECT_EQ(3000u, Make().size());
}

} // namespace
