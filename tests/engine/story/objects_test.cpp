// SPDX-License-Identifier: Apache-2.0
// Objects in stories: finding, reading and editing them.
#include "platform/kernel/cast.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/object_graph.h"
#include "platform/story/composed_range.h"
#include "platform/story/linked_file.h"
#include "platform/story/story_visitor.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;
using namespace Fields;

using FieldPredicate = GlyphPredicateAdaptor<IsFieldGlyph>;

template <class T>
T const& As(Kernel::Counted<Glyph const> const& glyph) {
    return *Kernel::CastPointer<T const>(glyph.get());
}

std::vector<std::uint32_t> IndicesOf(std::vector<StoryPos> const& positions) {
    std::vector<std::uint32_t> indices;
    for (auto const& position : positions)
        indices.push_back(position.GetIndex());
    return indices;
}
std::vector<std::uint32_t> IndicesOf(std::vector<ObjectAt> const& objects) {
    std::vector<std::uint32_t> indices;
    for (auto const& object : objects)
        indices.push_back(object.index);
    return indices;
}
using Indices = std::vector<std::uint32_t>;

// "ab*cd" over two paragraphs, a field for each star.
StoryPtr MakeStarred(std::u32string_view text) {
    auto const story = MakeStory(U"");
    GlyphString glyphs;
    int number = 0;
    for (char32_t const c : text) {
        if (c == U'*')
            glyphs.Add(MakeField(("f" + std::to_string(number++)).c_str()));
        else
            glyphs.Add(std::u32string_view(&c, 1));
    }
    story->ReplaceText(story->GetClientAll(), glyphs);
    return story;
}

} // namespace

TEST(StoryObjects, AreFoundAtTheirPlaces) {
    auto const story = MakeStarred(U"*ab*\ncd\n**\n*");
    EXPECT_EQ(IndicesOf(story->FindObjects(story->GetAll())), (Indices{0, 3, 8, 9, 11}));
    EXPECT_EQ(IndicesOf(story->FindObjects({1, 9})), (Indices{3, 8}));
    EXPECT_EQ(IndicesOf(story->FindObjects({4, 8})), Indices());
    EXPECT_EQ(IndicesOf(story->FindObjects({9, 3})), Indices());
    EXPECT_EQ(IndicesOf(story->FindObjects({11, 99})), Indices{11});
    EXPECT_EQ(IndicesOf(story->FindObjects({99, 200})), Indices());
    EXPECT_EQ(story->FindParagraphWithObjects(0), 0u);
    EXPECT_EQ(story->FindParagraphWithObjects(1), 2u);
    EXPECT_EQ(story->FindParagraphWithObjects(4), 4u);
    EXPECT_EQ(As<CustomFieldGlyph>(story->FindObjects({9, 10})[0].glyph).GetCustomFieldGuid(), "f3");
}

TEST(StoryObjects, AVisitEndsWhenItIsToldTo) {
    auto const story = MakeStarred(U"***");
    Indices seen;
    story->VisitObjects(story->GetAll(), [&](std::uint32_t index, auto const&) {
        seen.push_back(index);
        return index != 1;
    });
    EXPECT_EQ(seen, (Indices{0, 1}));
}

// Through every edit the objects are where the text has their places.
TEST(StoryObjects, AreWhereTheTextHasThemAfterEveryEdit) {
    std::mt19937 random(3);
    auto story = MakeStarred(U"*start*");
    for (int step = 0; step != 400; ++step) {
        auto const length = story->GetLength();
        auto const at = static_cast<std::uint32_t>(random() % length);
        auto const end = std::min<std::uint32_t>(length, at + static_cast<std::uint32_t>(random() % 9));
        GlyphString glyphs;
        for (unsigned i = random() % 12; i != 0; --i) {
            if (random() % 3 == 0)
                glyphs.Add(MakeField("x"));
            else
                glyphs.Add(random() % 4 == 0 ? U"\n" : U"t");
        }
        story->ReplaceText({at, end}, glyphs);
        Indices expected;
        auto const text = story->GetText(story->GetAll());
        for (std::uint32_t i = 0; i != text.size(); ++i) {
            if (text[i] == c_objectCharacter)
                expected.push_back(i);
        }
        ASSERT_EQ(IndicesOf(story->FindObjects(story->GetAll())), expected) << step;
        std::vector<StoryPos> found;
        story->gbegin().BaseCollectIf(found, story->gend(), FieldPredicate());
        ASSERT_EQ(IndicesOf(found), expected) << step;
    }
}

namespace {

bool IsLetterE(Glyph const& glyph) { return glyph.GetCharacter() == U'e'; }
bool IsFarAway(Glyph const& glyph) { return glyph.GetCharacter() == U'\U0001F600'; }
bool IsSpace(Glyph const& glyph) { return glyph.GetCharacter() == U' '; }

} // namespace

TEST(StoryObjects, PredicatesTakeCharactersAndObjects) {
    auto const story = MakeStarred(U"e*e\U0001F600 e\n*\u2028e");
    auto const collect = [&](GlyphPredicate const& predicate, StoryRange range) {
        std::vector<StoryPos> found;
        StoryPos(story, range.begin).BaseCollectIf(found, StoryPos(story, range.end), predicate);
        return IndicesOf(found);
    };
    auto const all = story->GetAll();
    EXPECT_EQ(collect(GlyphPredicateAdaptor<IsLetterE>(), all), (Indices{0, 2, 5, 9}));
    EXPECT_EQ(collect(GlyphPredicateAdaptor<IsFarAway>(), all), Indices{3});
    EXPECT_EQ(collect(GlyphPredicateAdaptor<IsHardBreak>(), all), (Indices{6, 8, 10}));
    EXPECT_EQ(collect(FieldPredicate(), all), (Indices{1, 7}));
    EXPECT_EQ(collect(FieldPredicate(), {2, 7}), Indices());
    EXPECT_EQ(collect(FieldPredicate(), {7, 2}), Indices());
    EXPECT_EQ(collect(GlyphPredicateAdaptor<IsSpace>(), {0, 5}), Indices{4});
    EXPECT_EQ(story->gbegin().BaseFindIf(story->gend(), GlyphPredicateAdaptor<IsHardBreak>()).GetIndex(), 6u);
    EXPECT_FALSE(StoryPos(story, 8).BaseFindIf(story->gend(), FieldPredicate()).IsSet());
    EXPECT_FALSE(StoryPos().BaseFindIf(story->gend(), FieldPredicate()).IsSet());
}

TEST(StoryObjects, KnowTheirKinds) {
    EXPECT_TRUE(IsFieldGlyph(*MakeField("a")));
    EXPECT_TRUE(IsFieldGlyph(*MakeGlyph<PageNumberGlyph>()));
    EXPECT_TRUE(IsFieldGlyph(*MakeGlyph<PageCountGlyph>()));
    EXPECT_TRUE(IsFieldGlyph(*MakeGlyph<MetadataGlyph>("title")));
    EXPECT_TRUE(IsFieldGlyph(*MakeGlyph<CaptionNumberGlyph>()));
    EXPECT_TRUE(IsFieldGlyph(*CrossReferenceGlyph::GetDefault()));
    EXPECT_FALSE(IsFieldGlyph(*MakeGlyph<AnchorGlyph>()));
    EXPECT_FALSE(IsFieldGlyph(*MakeGlyph<FillerTextGlyph>(1u)));
    EXPECT_FALSE(IsFieldGlyph(*MakeGlyph<CharacterGlyph>(U'a')));
    EXPECT_TRUE(IsAnchorGlyph(*MakeGlyph<AnchorGlyph>()));
    EXPECT_TRUE(IsCrossReferenceGlyph(*CrossReferenceGlyph::GetDefault()));
    EXPECT_FALSE(IsCrossReferenceGlyph(*MakeField("a")));
}

// Editing by copy

TEST(MutableGlyph, OlderVersionsKeepTheirs) {
    auto const old = MakeStory(U"ab");
    old->ReplaceText({1, 1}, GlyphString(MakeGlyph<CrossReferenceGlyph>()));
    auto const before = old->GetGlyph(1);
    auto const next = old->Clone();
    auto const glyph = Kernel::Cast<CrossReferenceGlyph>(next->GetMutableGlyph(1));
    ASSERT_TRUE(glyph);
    glyph->SetText("seven");
    EXPECT_EQ(old->GetGlyph(1), before);
    EXPECT_EQ(old->GetGlyph(1)->Expand({}), U"");
    EXPECT_EQ(next->GetGlyph(1)->Expand({}), U"seven");
    // Once for each version.
    EXPECT_EQ(next->GetMutableGlyph(1).get(), static_cast<Glyph*>(glyph.get()));
    // A copy of the version keeps what it copied.
    auto const third = next->Clone();
    Kernel::Cast<CrossReferenceGlyph>(next->GetMutableGlyph(1))->SetText("eight");
    Kernel::Cast<CrossReferenceGlyph>(third->GetMutableGlyph(1))->SetText("nine");
    EXPECT_EQ(next->GetGlyph(1)->Expand({}), U"eight");
    EXPECT_EQ(third->GetGlyph(1)->Expand({}), U"nine");
    EXPECT_EQ(old->GetGlyph(1)->Expand({}), U"");
}

TEST(MutableGlyph, IsThereForObjectsOnly) {
    auto const story = MakeStarred(U"a*");
    EXPECT_FALSE(story->GetMutableGlyph(0));
    EXPECT_TRUE(story->GetMutableGlyph(1));
    EXPECT_FALSE(story->GetMutableGlyph(2));
    EXPECT_FALSE(story->GetMutableGlyph(3));
    EXPECT_FALSE(story->GetMutableGlyph(1u << 30));
}

TEST(MutableGlyph, KeepsTheAnchorThatItMarks) {
    auto const anchor = Kernel::MakeCounted<AnchorData>("id", "name");
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, GlyphString(MakeGlyph<AnchorGlyph>(anchor)));
    auto const next = story->Clone();
    auto const glyph = Kernel::Cast<AnchorGlyph>(next->GetMutableGlyph(0));
    EXPECT_NE(static_cast<Glyph const*>(glyph.get()), story->GetGlyph(0).get());
    EXPECT_EQ(glyph->GetAnchorData(), anchor);
}

TEST(MutableGlyph, ManyAtOnceAreTheSameAsOneByOne) {
    std::u32string text;
    for (int i = 0; i != 1000; ++i)
        text += i % 3 == 0 ? U"**x\n" : U"plain\n";
    auto const old = MakeStarred(text);
    auto const indices = IndicesOf(old->FindObjects(old->GetAll()));
    auto const together = old->Clone();
    auto const glyphs = together->GetMutableGlyphs(indices);
    ASSERT_EQ(glyphs.size(), 668u);
    for (std::size_t i = 0; i != indices.size(); ++i) {
        EXPECT_EQ(together->GetGlyph(indices[i]).get(), glyphs[i].get());
        EXPECT_NE(old->GetGlyph(indices[i]).get(), glyphs[i].get());
        EXPECT_EQ(together->GetMutableGlyph(indices[i]), glyphs[i]);
    }
    EXPECT_TRUE(*together == *old);
    EXPECT_EQ(old->CountCommonPrefix(*together), 0u);
    // One index twice is one copy.
    auto const twice = old->Clone()->GetMutableGlyphs({0, 0, 1});
    EXPECT_EQ(twice[0], twice[1]);
    EXPECT_NE(twice[1], twice[2]);
}

TEST(MutableGlyph, ReplacedObjectsStandInTheirPlaces) {
    auto const story = MakeStarred(U"a*b*\nc*");
    auto const field = MakeField("new");
    story->ReplaceObjects({{1, field}, {2, field}, {6, field}, {50, field}});
    EXPECT_EQ(story->GetGlyph(1), field);
    EXPECT_EQ(story->GetGlyph(2)->GetCharacter(), U'b');
    EXPECT_EQ(As<CustomFieldGlyph>(story->GetGlyph(3)).GetCustomFieldGuid(), "f1");
    EXPECT_EQ(story->GetGlyph(6), field);
    EXPECT_EQ(story->GetText(story->GetAll()), U"a\uFFFCb\uFFFC\u2029c\uFFFC\u2029");
}

TEST(OwnGlyphs, ACopyHasAnchorsOfItsOwnAndReferencesToThem) {
    auto const inside = Kernel::MakeCounted<AnchorData>("in", "here");
    auto const outside = Kernel::MakeCounted<AnchorData>("out", "there");
    auto const reference = [](Kernel::Counted<AnchorData> const& anchor) {
        return MakeGlyph<CrossReferenceGlyph>(Kernel::Counted<CrossReferenceAtt const>(),
                                              CrossReferenceTargetType::Page, anchor, true);
    };
    GlyphString glyphs;
    // The reference stands in front of what it leads to.
    glyphs.Add(reference(inside));
    glyphs.Add(MakeGlyph<AnchorGlyph>(inside));
    glyphs.Add(reference(outside));
    glyphs.Add(MakeGlyph<AnchorGlyph>(inside));
    glyphs.Add(MakeField("f"));
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, glyphs);
    int next = 40;
    auto const copy = story->CloneWithOwnGlyphs([&](Glyph const&) { return Kernel::String(std::to_string(next++)); });
    auto const own = As<AnchorGlyph>(copy->GetGlyph(1)).GetAnchorData();
    EXPECT_NE(own, inside);
    EXPECT_EQ(own->GetUid(), "40");
    EXPECT_EQ(own->GetName(), "here");
    EXPECT_EQ(next, 41);
    EXPECT_EQ(As<AnchorGlyph>(copy->GetGlyph(3)).GetAnchorData(), own);
    EXPECT_EQ(As<CrossReferenceGlyph>(copy->GetGlyph(0)).GetAnchorData(), own);
    EXPECT_EQ(As<CrossReferenceGlyph>(copy->GetGlyph(2)).GetAnchorData(), outside);
    EXPECT_TRUE(As<CrossReferenceGlyph>(copy->GetGlyph(0)).GetAnchorFlag());
    EXPECT_NE(copy->GetGlyph(4), story->GetGlyph(4));
    EXPECT_EQ(As<CustomFieldGlyph>(copy->GetGlyph(4)).GetCustomFieldGuid(), "f");
    // The original has what it had.
    EXPECT_EQ(As<AnchorGlyph>(story->GetGlyph(1)).GetAnchorData(), inside);
    EXPECT_EQ(As<CrossReferenceGlyph>(story->GetGlyph(0)).GetAnchorData(), inside);
    EXPECT_EQ(inside->GetUid(), "in");
    EXPECT_EQ(As<AnchorGlyph>(story->CloneWithOwnGlyphs()->GetGlyph(1)).GetAnchorData()->GetUid(), "");
}

// Ranges and selections

TEST(RangeInStory, GivesItsTextInTheFormatThatIsAskedFor) {
    auto const story = MakeStarred(U"on\u00ADe*\ttwo\u2028\U0001F600\nfo\u200Bur");
    auto const all = story->Bind(story->GetClientAll());
    EXPECT_EQ(all.GetString(0, -1), "on\u00ADe\ttwo\n\U0001F600\nfo\u200Bur");
    EXPECT_EQ(all.GetString(IoFormat::c_oneLine, -1), "on\u00ADe two \U0001F600 fo\u200Bur");
    EXPECT_EQ(all.GetString(IoFormat::c_oneLine | IoFormat::c_plain, -1), "one two \U0001F600 four");
    EXPECT_EQ(all.GetString(544, 6), "one ");
    EXPECT_EQ(all.GetString(0, 0), "");
    EXPECT_EQ(RangeInStory().GetString(0, -1), "");
    EXPECT_EQ(story->Bind({90, 80}), RangeInStory(StoryRef(story), {story->GetLength(), story->GetLength()}));
    EXPECT_EQ(story->Bind({3, 1}).GetSize(), 0u);
}

TEST(StorySelection, HasItsRangesInOrder) {
    StoryRef const story = MakeStory(U"0123456789");
    Story::Selection const selection(story, std::vector<SelectionRange>{{8, 6}, {-5, 2}, {4, 4}, {20, 9}});
    EXPECT_TRUE(selection.IsSet());
    EXPECT_EQ(selection.GetRangeCount(), 4u);
    EXPECT_EQ(selection.GetRanges(true), StoryRanges({{0, 2}, {4, 4}, {6, 8}, {9, 11}}));
    EXPECT_EQ(selection.GetRanges(false), StoryRanges({{0, 2}, {6, 8}, {9, 11}}));
    EXPECT_EQ(selection.GetMaxRange(), RangeInStory(story, {0, 11}));
    EXPECT_EQ(selection.GetMaxBegin(), StoryPos(story, 0));
    EXPECT_EQ(selection.GetSize(), 6u);
    EXPECT_FALSE(Story::Selection().IsSet());
    EXPECT_EQ(Story::Selection().GetRangeCount(), 0u);
    EXPECT_EQ(StoryChange(StoryChangeType::Glyphs, selection).GetRanges(), selection.GetRanges(true));
}

TEST(StorySelection, FindsInItsRangesOnly) {
    StoryRef const story = MakeStarred(U"*a*\nb*");
    Story::Selection const selection(story, std::vector<SelectionRange>{{1, 2}, {3, 6}});
    EXPECT_EQ(selection.BaseFindIf(FieldPredicate()).GetIndex(), 5u);
    EXPECT_EQ(selection.BaseFindIf(GlyphPredicateAdaptor<IsHardBreak>()).GetIndex(), 3u);
    EXPECT_FALSE(selection.BaseFindIf(GlyphPredicateAdaptor<IsFillerTextGlyph>()).IsSet());
    EXPECT_EQ(IndicesOf(selection.BaseCollectIf(FieldPredicate())), Indices{5});
    EXPECT_FALSE(Story::Selection().BaseFindIf(FieldPredicate()).IsSet());
}

namespace {

// Writes down what it is told.
class Scribe final : public StoryVisitor {
public:
    std::u32string told;
    std::size_t limit = 1000;

private:
    void BeginParagraph(StoryPos const& at, Paragraph const&, bool isWhole) override {
        told += U"<" + Number(at) + (isWhole ? U"" : U"~");
        ++m_paragraphs;
    }
    void ReceiveText(StoryPos const& at, std::u32string_view text, GlyphAttsRef const& atts) override {
        told += U" " + Number(at) + (atts->Get(GlyphAtt::Enum::Italic) != 0 ? U"/" : U"=") + std::u32string(text);
    }
    void ReceiveObject(StoryPos const& at, Kernel::Counted<Glyph const> const&, GlyphAttsRef const&) override {
        told += U" " + Number(at) + U"*";
    }
    void EndParagraph(StoryPos const& at, Paragraph const&, bool hasSeparator) override {
        told += U" " + Number(at) + (hasSeparator ? U">" : U"~>");
    }
    bool IsDone() const override { return m_paragraphs >= limit; }
    static std::u32string Number(StoryPos const& at) { return DecodeUtf8(std::to_string(at.GetIndex())).text; }
    std::size_t m_paragraphs = 0;
};

std::u32string Tell(Story::Selection const& selection) {
    Scribe scribe;
    scribe.Visit(selection);
    return scribe.told;
}

} // namespace

TEST(StoryVisitor, TellsRunsObjectsAndParagraphsInOrder) {
    auto const story = MakeStarred(U"abcd*\n\n*ef");
    story->FormatText({2, 5}, *MakeDelta(GlyphAtt::Enum::Italic, 1));
    StoryRef const version = story;
    auto const tell = [&](std::vector<SelectionRange> const& ranges) {
        return Tell(Story::Selection(version, ranges));
    };
    EXPECT_EQ(tell({{0, 11}}), U"<0 0=ab 2/cd 4* 6><6 7><7 7* 8=ef 11>");
    EXPECT_EQ(tell({{1, 3}}), U"<1~ 1=b 2/c 3~>");
    EXPECT_EQ(tell({{4, 8}}), U"<4~ 4* 6><6 7><7~ 7* 8~>");
    EXPECT_EQ(tell({{0, 1}, {9, 10}}), U"<0~ 0=a 1~><9~ 9=f 10~>");
    EXPECT_EQ(tell({{5, 6}}), U"<5~ 6>");
    EXPECT_EQ(tell({{4, 4}}), U"");
    EXPECT_EQ(tell({}), U"");
    Scribe scribe;
    scribe.limit = 2;
    scribe.Visit(version->Bind(version->GetAll()));
    EXPECT_EQ(scribe.told, U"<0 0=ab 2/cd 4* 6><6 7>");
}

// Values

TEST(CrossReference, ShowsTheTextThatItWasGiven) {
    CrossReferenceGlyph glyph;
    EXPECT_EQ(glyph.GetAtt(), CrossReferenceAtt::GetDefault());
    EXPECT_EQ(glyph.Expand({}), U"");
    glyph.SetText("p. 7 \U0001F600");
    EXPECT_EQ(glyph.Expand({}), U"p. 7 \U0001F600");
    glyph.SetAtt({});
    EXPECT_EQ(glyph.GetAtt(), CrossReferenceAtt::GetDefault());
}

TEST(CrossReference, PatternsNameThePartsOfTheTarget) {
    CrossReferenceAtt::Target const target{"Of {page} whales", "42", "whales", "3.1"};
    auto const format = [&](char const* pattern, CrossReferenceTargetType type = CrossReferenceTargetType::Page) {
        return CrossReferenceAtt("s", pattern).Format(type, target).ToStdString();
    };
    EXPECT_EQ(format("see {text} on page {page}"), "see Of {page} whales on page 42");
    EXPECT_EQ(format("{name}{number}"), "whales3.1");
    EXPECT_EQ(format("{}"), "42");
    EXPECT_EQ(format("{}", CrossReferenceTargetType::Text), "Of {page} whales");
    EXPECT_EQ(format("{}", CrossReferenceTargetType::AnchorName), "whales");
    EXPECT_EQ(format("{}", CrossReferenceTargetType::Number), "3.1");
    EXPECT_EQ(format("a{}b", CrossReferenceTargetType::None), "ab");
    EXPECT_EQ(format("{{page}} {pages} {"), "{42} {pages} {");
    EXPECT_EQ(format(""), "");
}

TEST(CrossReference, StylesAreToldApartByName) {
    auto const make = [](char const* name, char const* pattern) {
        return Kernel::Counted<CrossReferenceAtt const>(Kernel::MakeCounted<CrossReferenceAtt>(name, pattern));
    };
    EXPECT_TRUE(make("a", "x")->IsSameStyle(make("a", "y")));
    EXPECT_FALSE(make("a", "x")->IsSameStyle(make("b", "x")));
    EXPECT_FALSE(make("a", "x")->IsSameStyle({}));
}

TEST(LinkedFile, IsAnAttributeOfParagraphs) {
    auto const story = MakeStory(U"one\ntwo");
    auto const file = Kernel::MakeCounted<LinkedFileAtt>("/texts/one.txt");
    story->FormatText({0, 1}, *MakeDelta(ParagraphAtt::Object::LinkedFile, file));
    EXPECT_EQ(LinkedFileAtt::Of(*story->GetParagraphAtts(0))->GetPath(), "/texts/one.txt");
    EXPECT_FALSE(LinkedFileAtt::Of(*story->GetParagraphAtts(5))->IsSet());
    story->FormatText({0, 1}, *MakeDelta(ParagraphAtt::Object::LinkedFile, LinkedFileAtt::GetDefault()));
    EXPECT_FALSE(LinkedFileAtt::Of(*story->GetParagraphAtts(0))->IsSet());
}

namespace {

// Loads what it saved, from memory.
Kernel::Counted<Story::Story> Reload(Story::Story const& story) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    Kernel::Counted<Kernel::Serialisable const> const root(&story);
    graph.Save({&root, 1}, storage);
    Kernel::ObjectGraph loaded;
    Kernel::FileStore files;
    return Kernel::Cast<Story::Story>(loaded.Load(storage, files).at(0));
}

} // namespace

TEST(StoryObjects, ComeBackFromAFile) {
    auto const anchor = Kernel::MakeCounted<AnchorData>("id", "name");
    auto const reference = Kernel::MakeCounted<CrossReferenceGlyph>(
        Kernel::Counted<CrossReferenceAtt const>(Kernel::MakeCounted<CrossReferenceAtt>("style", "on {page}")),
        CrossReferenceTargetType::AnchorName, anchor, true);
    reference->SetText("on 7");
    reference->SetUiScale({2, 0, 0, 0, 3, 0});
    GlyphString glyphs;
    glyphs.Add(MakeGlyph<AnchorGlyph>(anchor));
    glyphs.Add(reference);
    glyphs.Add(MakeField("guid"));
    glyphs.Add(MakeGlyph<PageNumberGlyph>());
    glyphs.Add(MakeGlyph<PageCountGlyph>());
    glyphs.Add(MakeGlyph<MetadataGlyph>("title"));
    glyphs.Add(MakeGlyph<CaptionNumberGlyph>());
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, glyphs);
    story->FormatText({0, 1}, *MakeDelta(ParagraphAtt::Object::LinkedFile, Kernel::MakeCounted<LinkedFileAtt>("/a")));
    auto const loaded = Reload(*story);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(*loaded == *story);
    auto const& loadedAnchor = As<AnchorGlyph>(loaded->GetGlyph(0)).GetAnchorData();
    EXPECT_EQ(loadedAnchor->GetUid(), "id");
    EXPECT_EQ(loadedAnchor->GetName(), "name");
    auto const& back = As<CrossReferenceGlyph>(loaded->GetGlyph(1));
    EXPECT_EQ(back.GetAnchorData(), loadedAnchor);
    EXPECT_EQ(*back.GetAtt(), *reference->GetAtt());
    EXPECT_EQ(back.GetTargetType(), CrossReferenceTargetType::AnchorName);
    EXPECT_TRUE(back.GetAnchorFlag());
    EXPECT_EQ(back.GetUiScale(), reference->GetUiScale());
    EXPECT_EQ(back.GetText(), "on 7");
    EXPECT_EQ(As<CustomFieldGlyph>(loaded->GetGlyph(2)).GetCustomFieldGuid(), "guid");
    EXPECT_EQ(loaded->GetGlyph(3)->GetClassUID(), PageNumberGlyph::c_classUid);
    EXPECT_EQ(loaded->GetGlyph(4)->GetClassUID(), PageCountGlyph::c_classUid);
    EXPECT_EQ(As<MetadataGlyph>(loaded->GetGlyph(5)).GetKey(), "title");
    EXPECT_EQ(loaded->GetGlyph(6)->GetClassUID(), CaptionNumberGlyph::c_classUid);
    EXPECT_EQ(LinkedFileAtt::Of(*loaded->GetParagraphAtts(0))->GetPath(), "/a");
}

// Expansion

namespace {

// Shows whatever it is given.
class ShowGlyph final : public Glyph {
public:
    explicit ShowGlyph(std::u32string text) : m_text(std::move(text)) {}
    std::u32string Expand(ExpansionContext const&) const override { return m_text; }
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext) const override { return Kernel::Counted<Glyph const>(this); }
    void Save(Kernel::OutSerialiser&) const override {}
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return false; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return MakeField("")->GetObjectClassProperties();
    }

private:
    std::u32string m_text;
};

std::u32string Shown(std::u32string text) { return ExpandGlyph(ShowGlyph(std::move(text)), {}); }

} // namespace

TEST(Expansion, IsWithoutParagraphsObjectsAndWhatIsNoCharacter) {
    EXPECT_EQ(Shown(U"a\nb\rc\r\nd\u2029e\u0085f\u2028g"), U"a\u2028b\u2028c\u2028d\u2028e\u2028f\u2028g");
    EXPECT_EQ(Shown(U"\uFFFCa\uFFFC\uFFFC"), U"a");
    EXPECT_EQ(Shown({0xD800, U'a', 0xDFFF, 0x110000, 0xFFFFFFFF}), U"\uFFFDa\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(Shown(std::u32string(c_maximumExpansion + 7, U'x')).size(), c_maximumExpansion);
}

TEST(Expansion, FieldsShowWhatTheSourceSays) {
    auto const source = MakeSource({{"a", "value \U0001F600"}}, {"i", "ii", "3"});
    ExpansionContext const third{source.get(), 2};
    EXPECT_EQ(MakeField("a")->Expand(third), U"value \U0001F600");
    EXPECT_EQ(MakeField("unknown")->Expand(third), U"");
    EXPECT_EQ(MakeGlyph<PageNumberGlyph>()->Expand(third), U"3");
    EXPECT_EQ(MakeGlyph<PageNumberGlyph>()->Expand({source.get(), 1}), U"ii");
    EXPECT_EQ(MakeGlyph<PageCountGlyph>()->Expand(third), U"3");
    EXPECT_EQ(MakeGlyph<AnchorGlyph>()->Expand(third), U"");
    // A source of values knows of no object.
    EXPECT_EQ(MakeGlyph<MetadataGlyph>("a")->Expand(third), U"");
    EXPECT_EQ(MakeGlyph<CaptionNumberGlyph>()->Expand(third), U"");
    for (auto const& field : {MakeField("a"), MakeGlyph<PageNumberGlyph>(), MakeGlyph<PageCountGlyph>(),
                              MakeGlyph<MetadataGlyph>("a"), MakeGlyph<CaptionNumberGlyph>()})
        EXPECT_EQ(field->Expand({}), U"");
}

// Composed text

TEST(ComposedRange, ReadsFieldsAsTheyShow) {
    auto const story = MakeStarred(U"a*b\u00AD*\nc");
    auto const composed =
        Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{MakeFrame(300)},
                                           FieldDataSourceRef(MakeSource({{"f0", "one"}, {"f1", "t\two"}})));
    auto const read = [&](std::uint32_t begin, std::uint32_t end, bool beginForward, bool endForward,
                          IoFormat::Type format = 0) {
        StoryPos from(story, begin), to(story, end);
        from.SetIsToComposedForward(beginForward);
        to.SetIsToComposedForward(endForward);
        return ComposedRange(ComposedPos(composed, from), ComposedPos(composed, to)).GetString(format).ToStdString();
    };
    EXPECT_EQ(read(0, 7, true, true), "aoneb\u00ADt\two\nc");
    EXPECT_EQ(read(0, 7, true, true, 544), "aonebt wo c");
    EXPECT_EQ(read(1, 2, true, true), "one");
    EXPECT_EQ(read(1, 2, true, false), "");
    EXPECT_EQ(read(2, 3, true, true), "b");
    EXPECT_EQ(read(2, 3, false, true), "oneb");
    EXPECT_EQ(read(2, 2, false, true), "one");
    EXPECT_EQ(read(2, 2, true, true), "");
    EXPECT_EQ(read(2, 2, false, false), "");
    EXPECT_EQ(read(3, 1, true, true), "");
    EXPECT_EQ(read(0, 99, true, true), "aoneb\u00ADt\two\nc\n");
    EXPECT_EQ(ComposedRange(ComposedPos(), ComposedPos()).GetString(0), "");
}
