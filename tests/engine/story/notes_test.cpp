// SPDX-License-Identifier: Apache-2.0
// Notes, numbers of paragraphs and links: what stories hold, keep on file and copy.
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "tests/engine/story/composing.h"
#include "tests/support/stored_graph.h"

#include <gtest/gtest.h>

namespace {

using namespace Composing;
using Kernel::MakeCounted;

using GlyphRef = Kernel::Counted<Glyph const>;

Kernel::Counted<NoteGlyph> MakeNote(std::u32string_view text, NoteGlyph::Kind kind = NoteGlyph::Kind::Endnote) {
    return MakeCounted<NoteGlyph>(kind, MakeStory(text));
}

void InsertGlyph(StoryPtr const& story, std::uint32_t index, GlyphRef const& glyph) {
    story->ReplaceText({index, index}, GlyphString(glyph));
}

NoteGlyph const& GetNote(Story::Story const& story, std::uint32_t index) {
    return *Kernel::CastPointer<NoteGlyph const>(story.GetGlyph(index).get());
}

void SaveNotes(Kernel::MemoryChunkStorage& storage, Story::Story const& story) {
    Kernel::ObjectGraph graph;
    Kernel::Counted<Kernel::Serialisable const> const root(&story);
    graph.Save({&root, 1}, storage);
}
StoryPtr LoadNotes(Kernel::MemoryChunkStorage const& storage) {
    Kernel::ObjectGraph graph;
    Kernel::FileStore files;
    return Kernel::Cast<Story::Story>(graph.Load(storage, files).at(0));
}
StoryPtr ReloadNotes(Story::Story const& story) {
    Kernel::MemoryChunkStorage storage;
    SaveNotes(storage, story);
    return LoadNotes(storage);
}

Kernel::Hash128 HashOfNotes(Story::Story const& story) {
    Kernel::HashAccumulator hash;
    hash.AddObject(story);
    return hash.GetHash();
}

ParagraphAttsRef MakeNumbered(NumberingAtt::Values values) {
    auto atts = MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>(std::move(values)));
    return atts;
}

TEST(Note, HasAStoryOfItsOwnAndAPlaceInTheText) {
    auto const story = MakeStory(U"Call me Ishmael.");
    InsertGlyph(story, 7, MakeNote(U"A name from Genesis."));
    EXPECT_EQ(story->GetString(story->GetClientAll()), "Call me Ishmael.");
    EXPECT_EQ(story->GetLength(), 18u);
    auto const& note = GetNote(*story, 7);
    EXPECT_EQ(note.GetKind(), NoteGlyph::Kind::Endnote);
    EXPECT_EQ(note.GetStory()->GetString(note.GetStory()->GetClientAll()), "A name from Genesis.");
    EXPECT_TRUE(MakeCounted<NoteGlyph>()->GetStory()->empty());
    EXPECT_TRUE(MakeCounted<NoteGlyph>(NoteGlyph::Kind::Footnote, nullptr)->GetStory()->empty());
}

TEST(Note, ShowsTheNumberOfItsContext) {
    ExpansionContext context;
    EXPECT_EQ(MakeNote(U"x")->Expand(context), U"");
    context.note = 12;
    EXPECT_EQ(MakeNote(U"x")->Expand(context), U"12");
}

TEST(Note, HoldsNoNote) {
    auto const text = MakeStory(U"outer");
    InsertGlyph(text, 2, MakeNote(U"inner"));
    EXPECT_THROW(MakeCounted<NoteGlyph>(NoteGlyph::Kind::Endnote, text), Kernel::Exception);
    auto const note = MakeNote(U"kept");
    EXPECT_THROW(note->SetStory(text), Kernel::Exception);
    EXPECT_EQ(note->GetStory()->GetString(note->GetStory()->GetClientAll()), "kept");
}

TEST(Note, IsLoadedAsItWasSaved) {
    auto const story = MakeStory(U"one\ntwo");
    auto const text = MakeStory(U"first\nsecond\n");
    text->FormatText({1, 4}, *MakeDelta(GlyphAtt::Enum::Italic, 1));
    text->FormatText({6, 7}, *MakeDelta(ParagraphAtt::Double::LeftIndent, 20));
    InsertGlyph(text, 8, MakeCounted<AnchorGlyph>(MakeCounted<AnchorData>("a1", "place")));
    InsertGlyph(story, 5, MakeCounted<NoteGlyph>(NoteGlyph::Kind::Footnote, text));
    auto const loaded = ReloadNotes(*story);
    EXPECT_EQ(HashOfNotes(*loaded), HashOfNotes(*story));
    EXPECT_TRUE(*loaded == *story);
    auto const& note = GetNote(*loaded, 5);
    EXPECT_EQ(note.GetKind(), NoteGlyph::Kind::Footnote);
    EXPECT_TRUE(*note.GetStory() == *text);
    EXPECT_EQ(note.GetStory(), note.GetStory());
    EXPECT_EQ(HashOfNotes(*ReloadNotes(*loaded)), HashOfNotes(*story));
}

// Nothing that a forged file says of a note is believed: it may hold itself.
TEST(Note, AForgedNoteWithinItselfIsLeftOut) {
    auto const story = MakeStory(U"text");
    auto const text = MakeStory(U"note");
    InsertGlyph(text, 2, MakeCounted<AnchorGlyph>());
    InsertGlyph(story, 1, MakeCounted<NoteGlyph>(NoteGlyph::Kind::Endnote, text));
    Kernel::MemoryChunkStorage storage;
    SaveNotes(storage, *story);
    auto graph = Support::ReadGraph(storage);
    std::uint32_t noteId = 0;
    for (auto const& object : graph.objects)
        noteId = object.classTag == "TxNo" ? object.id : noteId;
    ASSERT_NE(noteId, 0u);
    for (auto& field : graph.objects[noteId - 1].fields) {
        if (field.tag == "ObjG")
            field.objects = {noteId};
        if (field.tag == "RunE")
            field.objects.clear();
    }
    Support::WriteGraph(graph, storage);
    auto const loaded = LoadNotes(storage);
    ASSERT_TRUE(loaded);
    auto const& note = GetNote(*loaded, 1);
    EXPECT_EQ(note.GetStory()->GetString(note.GetStory()->GetClientAll()), "note");
    EXPECT_EQ(note.GetStory()->FindObjects(note.GetStory()->GetAll()).size(), 0u);
    EXPECT_EQ(HashOfNotes(*loaded), HashOfNotes(*ReloadNotes(*loaded)));
}

TEST(Note, AMutableCopyHasTheSameTextAndLeavesOlderVersionsAlone) {
    auto const story = MakeStory(U"text");
    InsertGlyph(story, 1, MakeNote(U"old"));
    auto const older = story->Clone();
    auto const copy = Kernel::Cast<NoteGlyph>(story->GetMutableGlyph(1));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->GetStory(), GetNote(*older, 1).GetStory());
    copy->SetStory(MakeStory(U"new"));
    EXPECT_EQ(GetNote(*older, 1).GetStory()->GetString({0, 3}), "old");
    EXPECT_EQ(GetNote(*story, 1).GetStory()->GetString({0, 3}), "new");
}

TEST(Note, CountsAreThoseOfALoop) {
    auto const story = MakeStory(std::u32string(300, U'\n'));
    std::vector<std::uint32_t> places;
    for (std::uint32_t i = 0; i < 300; i += 7) {
        InsertGlyph(story, i, i % 2 == 0 ? GlyphRef(MakeNote(U"n")) : GlyphRef(MakeCounted<AnchorGlyph>()));
        if (i % 2 == 0)
            places.push_back(i);
    }
    for (std::uint32_t begin = 0; begin < story->GetLength(); begin += 13) {
        for (std::uint32_t end = begin; end <= story->GetLength() + 3; end += 29) {
            auto const wanted = std::count_if(places.begin(), places.end(),
                                              [&](std::uint32_t place) { return place >= begin && place < end; });
            EXPECT_EQ(story->CountNotes({begin, end}), static_cast<std::uint32_t>(wanted)) << begin << " " << end;
        }
    }
}

TEST(Note, ReferencesAndLinksInACopyLeadToTheCopysAnchors) {
    auto const anchor = MakeCounted<AnchorData>("a1", "place");
    auto const other = MakeCounted<AnchorData>("b1", "elsewhere");
    auto const text = MakeStory(U"see here");
    InsertGlyph(text, 0, MakeCounted<CrossReferenceGlyph>(nullptr, CrossReferenceTargetType::Page, anchor, false));
    text->FormatText({1, 4}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(other)));
    auto const story = MakeStory(U"link and text");
    story->FormatText({0, 4}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(anchor)));
    InsertGlyph(story, 9, MakeCounted<AnchorGlyph>(anchor));
    InsertGlyph(story, 10, MakeCounted<NoteGlyph>(NoteGlyph::Kind::Endnote, text));
    auto const copy = story->CloneWithOwnGlyphs([](Glyph const&) { return Kernel::String("a2"); });
    auto const copied = Kernel::CastPointer<AnchorGlyph const>(copy->GetGlyph(9).get())->GetAnchorData();
    EXPECT_NE(copied, anchor);
    EXPECT_EQ(copied->GetUid(), "a2");
    EXPECT_EQ(HyperlinkAtt::Of(*copy->GetGlyphAtts(0))->GetAnchorData(), copied);
    EXPECT_FALSE(HyperlinkAtt::Of(*copy->GetGlyphAtts(5)));
    auto const note = GetNote(*copy, 10).GetStory();
    EXPECT_EQ(Kernel::CastPointer<CrossReferenceGlyph const>(note->GetGlyph(0).get())->GetAnchorData(), copied);
    EXPECT_EQ(HyperlinkAtt::Of(*note->GetGlyphAtts(2))->GetAnchorData(), other);
    // The source stays what it was.
    EXPECT_EQ(HyperlinkAtt::Of(*story->GetGlyphAtts(0))->GetAnchorData(), anchor);
}

TEST(Hyperlink, IsAnAttributeOfGlyphsAndIsKept) {
    auto const anchor = MakeCounted<AnchorData>("a1", "place");
    auto const story = MakeStory(U"one two three");
    story->FormatText({0, 3}, *MakeDelta(GlyphAtt::Object::Hyperlink,
                                         MakeCounted<HyperlinkAtt>(Kernel::String("https://example.org/?q=\"{}\""))));
    story->FormatText({4, 7}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(anchor)));
    InsertGlyph(story, 10, MakeCounted<AnchorGlyph>(anchor));
    auto const loaded = ReloadNotes(*story);
    EXPECT_EQ(HashOfNotes(*loaded), HashOfNotes(*story));
    EXPECT_EQ(HyperlinkAtt::Of(*loaded->GetGlyphAtts(0))->GetUrl(), "https://example.org/?q=\"{}\"");
    EXPECT_EQ(HyperlinkAtt::Of(*loaded->GetGlyphAtts(4))->GetAnchorData(),
              Kernel::CastPointer<AnchorGlyph const>(loaded->GetGlyph(10).get())->GetAnchorData());
    EXPECT_FALSE(HyperlinkAtt::Of(*loaded->GetGlyphAtts(9)));
    story->FormatText({0, 3}, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>()));
    EXPECT_FALSE(HyperlinkAtt::Of(*story->GetGlyphAtts(0)));
}

// Anchors are told apart by identity: two of one name are two, and one that is renamed stays the same link.
TEST(Hyperlink, LinksToAnchorsAreToldApartByIdentity) {
    auto const one = MakeCounted<AnchorData>("", "same"), two = MakeCounted<AnchorData>("", "same");
    auto const story = MakeStory(U"one two");
    auto const link = [&](StoryRange range, Kernel::Counted<AnchorData> const& anchor) {
        story->FormatText(range, *MakeDelta(GlyphAtt::Object::Hyperlink, MakeCounted<HyperlinkAtt>(anchor)));
    };
    link({0, 3}, one);
    link({4, 7}, two);
    EXPECT_EQ(HyperlinkAtt::Of(*story->GetGlyphAtts(4))->GetAnchorData(), two);
    one->SetName("other");
    link({4, 7}, one);
    EXPECT_EQ(story->GetGlyphAtts(0), story->GetGlyphAtts(4));
}

TEST(Numbering, CountsByListAndLevel) {
    Numberer numberer;
    auto const next = [&](std::uint32_t level, char const* list = "a", char const* format = "") {
        return numberer.Next(*MakeNumbered({list, level, NumberStyle::Decimal, format, 1})).ToStdString();
    };
    EXPECT_EQ(next(0), "1.");
    EXPECT_EQ(next(0), "2.");
    EXPECT_EQ(next(1, "a", "{1}.{2}"), "2.1");
    EXPECT_EQ(next(1, "a", "{1}.{2}"), "2.2");
    EXPECT_EQ(next(0, "b"), "1.");
    EXPECT_EQ(numberer.Next(*ParagraphAtts::GetDefault()), "");
    EXPECT_EQ(next(0), "3.");
    EXPECT_EQ(next(1, "a", "{1}.{2}"), "3.1");
    EXPECT_EQ(next(2, "a", "({3}) {1}{"), "(1) 3{");
    // A level that has not begun counts as one that has.
    EXPECT_EQ(next(2, "c", "{1}.{2}.{3}"), "1.1.1");
    EXPECT_EQ(next(8, "c", "{9}{0}"), "1{0}");
}

TEST(Numbering, WritesNumbersInItsStyle) {
    auto const write = [](NumberStyle style, std::int32_t start) {
        return Numberer().Next(*MakeNumbered({"", 0, style, "{1}", start})).ToStdString();
    };
    EXPECT_EQ(write(NumberStyle::Decimal, 0), "0");
    EXPECT_EQ(write(NumberStyle::LowerLetter, 1), "a");
    EXPECT_EQ(write(NumberStyle::UpperLetter, 26), "Z");
    EXPECT_EQ(write(NumberStyle::LowerLetter, 27), "aa");
    EXPECT_EQ(write(NumberStyle::LowerLetter, 55), "ccc");
    EXPECT_EQ(write(NumberStyle::LowerLetter, 0), "0");
    EXPECT_EQ(write(NumberStyle::UpperRoman, 1994), "MCMXCIV");
    EXPECT_EQ(write(NumberStyle::LowerRoman, 3999), "mmmcmxcix");
    EXPECT_EQ(write(NumberStyle::LowerRoman, 4000), "4000");
    EXPECT_EQ(write(NumberStyle::LowerLetter, 1'000'000), "1000000");
    EXPECT_EQ(write(NumberStyle::None, 1), "");
    EXPECT_EQ(Numberer().Next(*MakeNumbered({"", 0, NumberStyle::Bullet, "", 1})), "\u2022");
    EXPECT_EQ(Numberer().Next(*MakeNumbered({"", 0, NumberStyle::Bullet, "*", 1})), "*");
}

TEST(Numbering, AClonedNumbererGoesOnByItself) {
    Numberer numberer;
    auto const atts = MakeNumbered({});
    numberer.Next(*atts);
    auto const clone = numberer.Clone();
    EXPECT_EQ(clone->Next(*atts), "2.");
    EXPECT_EQ(clone->Next(*atts), "3.");
    EXPECT_EQ(numberer.Next(*atts), "2.");
}

TEST(Numbering, IsKeptAndBroughtIntoItsRange) {
    auto const story = MakeStory(U"one\ntwo");
    NumberingAtt::Values const values{"list", 3, NumberStyle::UpperRoman, "{1}-{4}", 7};
    story->FormatText({0, 1}, *MakeDelta(ParagraphAtt::Object::Numbering, MakeCounted<NumberingAtt>(values)));
    auto const loaded = ReloadNotes(*story);
    EXPECT_EQ(HashOfNotes(*loaded), HashOfNotes(*story));
    EXPECT_EQ(NumberingAtt::Of(*loaded->GetParagraphAtts(0))->GetValues(), values);
    EXPECT_FALSE(NumberingAtt::Of(*loaded->GetParagraphAtts(5)));
    NumberingAtt const wild({"", 77, static_cast<NumberStyle>(99), "", -4});
    EXPECT_EQ(wild.GetValues().level, 8u);
    EXPECT_EQ(wild.GetValues().style, NumberStyle::Decimal);
    EXPECT_EQ(wild.GetValues().start, 0);
}

TEST(Note, ACompositionTellsItsNumber) {
    auto const story = MakeStory(U"one\ntwo\nthree");
    for (std::uint32_t const place : {9u, 5u, 0u})
        InsertGlyph(story, place, MakeNote(U"n"));
    auto const composed = MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{MakeFrame(100)});
    EXPECT_EQ(composed->GetNoteNumber(GetNote(*story, 0)), 1);
    EXPECT_EQ(composed->GetNoteNumber(GetNote(*story, 6)), 2);
    EXPECT_EQ(composed->GetNoteNumber(GetNote(*story, 11)), 3);
    EXPECT_EQ(composed->GetNoteNumber(*MakeNote(U"n")), 0);
}

TEST(Numbering, ACompositionGivesANumbererForAnyPlace) {
    auto const story = MakeStory(U"head\n" + std::u32string(1000, U'\n'));
    auto const numbering = MakeCounted<NumberingAtt>(NumberingAtt::Values{});
    story->FormatText({5, 1005}, *MakeDelta(ParagraphAtt::Object::Numbering, numbering));
    auto const composed = MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{MakeFrame(100)});
    auto const next = [&](ComposedStory& of, std::uint32_t index) {
        auto const& styles = *of.GetStyleSheet();
        auto const position = StoryPos(of.GetStory(), index);
        return of.MakeNumberer(position)->Next(*styles.Resolve(position.GetParagraphAtts())).ToStdString();
    };
    EXPECT_EQ(next(*composed, 2), "");
    EXPECT_EQ(next(*composed, 5), "1.");
    EXPECT_EQ(next(*composed, 6), "2.");
    EXPECT_EQ(next(*composed, 1000), "996.");
    // A version that was edited in the middle counts on from what the earlier one knew.
    auto const edited = story->Clone();
    edited->ReplaceText({600, 602}, GlyphString(U""));
    auto const later = MakeCounted<ComposedStory>(StoryRef(edited), nullptr, std::vector{MakeFrame(100)},
                                                  FieldDataSourceRef(), composed);
    EXPECT_EQ(next(*later, 5), "1.");
    EXPECT_EQ(next(*later, 998), "994.");
    EXPECT_EQ(next(*later, 601), "597.");
}

} // namespace
