// SPDX-License-Identifier: Apache-2.0
// The canonical hash is of what a story says, not of which objects say it.
#include "platform/kernel/field_list.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/story/story.h"

#include <functional>
#include <gtest/gtest.h>
#include <typeinfo>

namespace {

using namespace Story;
using Kernel::MakeCounted;

GlyphAttsRef MakeGlyphAtts(double size) {
    auto atts = MakeCounted<GlyphAtts>();
    atts->Set(GlyphAtt::Double::Size, size);
    return atts;
}

ParagraphAttsRef MakeParagraphAtts(double stop) {
    auto atts = MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::Object::TabStops, MakeCounted<TabStops>(std::vector<TabStop>{{stop, TabStop::Kind::End}}));
    return atts;
}

// Two paragraphs of equal text and looks, which ask for their attributes by themselves.
Kernel::Counted<::Story::Story> MakeStory(std::function<GlyphAttsRef()> const& glyphAtts,
                                          std::function<ParagraphAttsRef()> const& paragraphAtts) {
    auto story = MakeCounted<::Story::Story>();
    GlyphSink sink(story);
    for (int i = 0; i != 2; ++i) {
        sink.SetGlyphAtts(glyphAtts());
        sink.SetParagraphAtts(paragraphAtts());
        sink.Add(U"the same\n");
    }
    sink.Flush();
    return story;
}

Kernel::Hash128 HashOf(Kernel::Serialisable const& object) {
    Kernel::HashAccumulator hash;
    hash.AddObject(object);
    return hash.GetHash();
}

// Refers to two objects.
class Pair final : public Kernel::Serialisable {
public:
    Pair(Kernel::Counted<Kernel::Serialisable const> a, Kernel::Counted<Kernel::Serialisable const> b)
        : m_a(std::move(a)), m_b(std::move(b)) {}
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveValue(out, "ObjA", m_a);
        Kernel::SaveValue(out, "ObjB", m_b);
    }
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return false; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        static Kernel::ClassProperties const s_properties("TPai", nullptr, 1, nullptr, nullptr, "Pair");
        return &s_properties;
    }

private:
    Kernel::Counted<Kernel::Serialisable const> m_a, m_b;
};

template <class T, class... Arguments>
void ExpectValue(Arguments const&... arguments) {
    auto const shared = MakeCounted<T const>(arguments...);
    EXPECT_EQ(HashOf(*MakeCounted<Pair>(shared, shared)),
              HashOf(*MakeCounted<Pair>(shared, MakeCounted<T const>(arguments...))))
        << typeid(T).name();
}

} // namespace

TEST(StoryHash, DoesNotTellSharedAttributesFromEqualOnes) {
    auto const glyphAtts = MakeGlyphAtts(12);
    auto const paragraphAtts = MakeParagraphAtts(30);
    auto const shared = HashOf(*MakeStory([&] { return glyphAtts; }, [&] { return paragraphAtts; }));
    EXPECT_EQ(HashOf(*MakeStory([] { return MakeGlyphAtts(12); }, [] { return MakeParagraphAtts(30); })), shared);
    EXPECT_NE(HashOf(*MakeStory([] { return MakeGlyphAtts(13); }, [] { return MakeParagraphAtts(30); })), shared);
    EXPECT_NE(HashOf(*MakeStory([] { return MakeGlyphAtts(12); }, [] { return MakeParagraphAtts(31); })), shared);
}

TEST(StoryHash, TakesAttributesStopsChangesAndParagraphsForValues) {
    ExpectValue<GlyphAtts>();
    ExpectValue<ParagraphAtts>();
    ExpectValue<TabStops>(std::vector<TabStop>{{30, TabStop::Kind::Centre}});
    ExpectValue<Delta>(Delta::Values{MakeGlyphAtts(9), MakeParagraphAtts(20), true, 2, 1});
    ExpectValue<Paragraph>(std::u32string(U"text\u2029"), std::vector<GlyphRun>{{5, MakeGlyphAtts(9)}},
                           std::vector<ObjectAt>{}, MakeParagraphAtts(20));
}

TEST(StoryHash, OneParagraphTwiceIsTwoEqualOnes) {
    auto const make = [](std::u32string_view text) {
        auto story = MakeCounted<::Story::Story>();
        story->ReplaceText(story->GetClientAll(), GlyphString(text));
        return story;
    };
    auto const both = make(U"first\nsecond");
    auto const copy = both->Clone();
    EXPECT_EQ(HashOf(*MakeCounted<Pair>(both, copy)), HashOf(*MakeCounted<Pair>(both, make(U"first\nsecond"))));
    EXPECT_NE(HashOf(*MakeCounted<Pair>(both, copy)), HashOf(*MakeCounted<Pair>(both, make(U"first\nthird"))));
}
