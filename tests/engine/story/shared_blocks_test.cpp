// SPDX-License-Identifier: Apache-2.0
// Versions of a story share on file what they share in memory; forged files are brought in order.
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"
#include "tests/engine/story/composing.h"
#include "tests/engine/story/fields.h"

#include <functional>
#include <gtest/gtest.h>

namespace {

using namespace Composing;
using Kernel::Serialisable;
using Object = Kernel::Counted<Serialisable const>;

// Anything under any tag of a class.
class Forged final : public Serialisable {
public:
    Forged(Kernel::ClassUID uid, unsigned short version, std::function<void(Kernel::OutSerialiser&)> save)
        : m_properties(uid, nullptr, version, nullptr, nullptr, "Forged"), m_save(std::move(save)) {}
    void Save(Kernel::OutSerialiser& out) const override { m_save(out); }
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return false; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &m_properties; }
    void SetSave(std::function<void(Kernel::OutSerialiser&)> save) { m_save = std::move(save); }

private:
    Kernel::ClassProperties m_properties;
    std::function<void(Kernel::OutSerialiser&)> m_save;
};

std::vector<Kernel::Counted<Serialisable>> Reload(std::vector<Object> const& roots, std::size_t* size = nullptr) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    graph.Save(roots, storage);
    if (size != nullptr) {
        *size = 0;
        for (auto const id : storage.ListChunks())
            *size += storage.ReadChunk(id).size();
    }
    Kernel::ObjectGraph loaded;
    Kernel::FileStore files;
    return loaded.Load(storage, files);
}

StoryPtr ReloadStory(Object const& root) { return Kernel::Cast<Story::Story>(Reload({root}).at(0)); }

Kernel::Hash128 HashOf(Serialisable const& object) {
    Kernel::HashAccumulator hash;
    hash.AddObject(object);
    return hash.GetHash();
}

StoryPtr MakeLong(std::size_t paragraphs) {
    std::u32string text;
    for (std::size_t i = 0; i != paragraphs; ++i)
        text += DecodeUtf8("paragraph " + std::to_string(i) + "\n").text;
    text.pop_back();
    return MakeStory(text);
}

std::vector<Kernel::Counted<Paragraph const>> ParagraphsOf(Story::Story const& story) {
    std::vector<Kernel::Counted<Paragraph const>> paragraphs;
    for (std::size_t i = 0; i != story.GetParagraphCount(); ++i)
        paragraphs.push_back(story.GetParagraph(i));
    return paragraphs;
}

Object MakeOld(Story::Story const& story) {
    return Kernel::MakeCounted<Forged>(
        Kernel::ClassUID("Stry"), static_cast<unsigned short>(1),
        [all = ParagraphsOf(story)](Kernel::OutSerialiser& out) { Kernel::SaveValue(out, "Pars", all); });
}
Object MakeBlock(std::vector<Object> const& parts) {
    return Kernel::MakeCounted<Forged>(Kernel::ClassUID("TxBl"), static_cast<unsigned short>(1),
                                       [parts](Kernel::OutSerialiser& out) { Kernel::SaveValue(out, "Pars", parts); });
}
Object MakeOfBlocks(std::vector<Object> const& blocks) {
    return Kernel::MakeCounted<Forged>(
        Kernel::ClassUID("Stry"), static_cast<unsigned short>(2),
        [blocks](Kernel::OutSerialiser& out) { Kernel::SaveValue(out, "Blks", blocks); });
}

std::u32string TextOf(Story::Story const& story) { return story.GetText(story.GetAll()); }

} // namespace

TEST(SharedBlocks, AStoryOfAnyLengthComesBack) {
    for (std::size_t const count : {1u, 2u, 127u, 128u, 129u, 256u, 257u, 1000u}) {
        auto const story = MakeLong(count);
        auto const loaded = ReloadStory(story);
        ASSERT_TRUE(loaded);
        EXPECT_TRUE(*loaded == *story);
        EXPECT_EQ(HashOf(*loaded), HashOf(*story));
        EXPECT_EQ(loaded->GetParagraphCount(), count);
    }
}

TEST(SharedBlocks, AnOlderFileWithoutBlocksIsRead) {
    auto const story = MakeLong(700);
    auto const loaded = ReloadStory(MakeOld(*story));
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(*loaded == *story);
    EXPECT_EQ(HashOf(*loaded), HashOf(*story));
    // It goes out again with blocks.
    EXPECT_TRUE(*ReloadStory(loaded) == *story);
}

// The hash is of what the text says: it is the one that a text without blocks has, however it was cut by edits.
TEST(SharedBlocks, AreNoPartOfTheHash) {
    auto const story = MakeLong(700);
    EXPECT_EQ(HashOf(*story), HashOf(*MakeOld(*story)));
    auto const edited = story->Clone();
    edited->ReplaceText({500, 500}, GlyphString(U"one\ntwo\nthree\n"));
    edited->ReplaceText({500, 514}, {});
    EXPECT_EQ(TextOf(*edited), TextOf(*story));
    EXPECT_EQ(HashOf(*edited), HashOf(*story));
    EXPECT_EQ(HashOf(*ReloadStory(edited)), HashOf(*story));
}

TEST(SharedBlocks, VersionsShareThem) {
    auto story = MakeLong(5000);
    std::vector<Object> versions{story};
    std::size_t one = 0, many = 0;
    Reload(versions, &one);
    std::vector<StoryPtr> made{story};
    for (std::uint32_t i = 0; i != 100; ++i) {
        story = story->Clone();
        story->ReplaceText({i * 700, i * 700 + 3}, GlyphString(U"new"));
        versions.emplace_back(story);
        made.push_back(story);
    }
    auto const loaded = Reload(versions, &many);
    // Names of 5000 paragraphs in each version would be as much as a megabyte.
    EXPECT_LT(many - one, 100'000u);
    ASSERT_EQ(loaded.size(), 101u);
    std::size_t shared = 0;
    for (std::size_t i = 0; i != loaded.size(); ++i) {
        auto const version = Kernel::Cast<Story::Story>(loaded[i]);
        ASSERT_TRUE(*version == *made[i]) << i;
        shared += version->CountCommonPrefix(*Kernel::Cast<Story::Story>(loaded[0]));
    }
    EXPECT_EQ(loaded.size() * 5000 - shared, [&] {
        std::size_t apart = 0;
        for (auto const& version : made)
            apart += 5000 - version->CountCommonPrefix(*made[0]);
        return apart;
    }());
}

TEST(SharedBlocks, LoadedVersionsAreEditedOnTheirOwn) {
    auto const first = MakeLong(600);
    auto const second = first->Clone();
    second->ReplaceText({0, 1}, GlyphString(U"P"));
    auto const loaded = Reload({first, second});
    auto const a = Kernel::Cast<Story::Story>(loaded[0]), b = Kernel::Cast<Story::Story>(loaded[1]);
    a->ReplaceText({4000, 4010}, GlyphString(U"change"));
    EXPECT_TRUE(*b == *second);
    b->ReplaceText({4000, 4010}, GlyphString(U"change"));
    EXPECT_EQ(TextOf(*a).substr(1), TextOf(*b).substr(1));
}

TEST(SharedBlocks, ObjectsAreFoundAfterAReload) {
    auto const story = MakeLong(600);
    for (std::uint32_t const at : {0u, 3000u, 7000u})
        story->ReplaceText({at, at}, GlyphString(Fields::MakeField("f")));
    auto const loaded = ReloadStory(story);
    auto const objects = loaded->FindObjects(loaded->GetAll());
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0].index, 0u);
    EXPECT_EQ(objects[1].index, 3000u);
    EXPECT_EQ(objects[2].index, 7000u);
}

// Forged files

TEST(ForgedBlocks, NullsAndStrangersAreLeftOut) {
    auto const story = MakeLong(3);
    auto const all = ParagraphsOf(*story);
    auto const stranger = MakeStory(U"stranger");
    auto const block = MakeBlock({all[0], Object(), stranger, all[1]});
    auto const loaded =
        ReloadStory(MakeOfBlocks({Object(), block, all[2], stranger, MakeBlock({}), MakeBlock({all[2]}), block}));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(TextOf(*loaded),
              U"paragraph 0\u2029paragraph 1\u2029paragraph 2\u2029paragraph 0\u2029paragraph 1\u2029");
    loaded->ReplaceText({0, 12}, {});
    EXPECT_EQ(TextOf(*loaded), U"paragraph 1\u2029paragraph 2\u2029paragraph 0\u2029paragraph 1\u2029");
}

TEST(ForgedBlocks, ABlockDoesNotHoldItself) {
    auto const story = MakeLong(1);
    auto const block = Kernel::MakeCounted<Forged>(Kernel::ClassUID("TxBl"), static_cast<unsigned short>(1),
                                                   [](Kernel::OutSerialiser&) {});
    Object const self = block;
    block->SetSave([raw = self.get(), paragraph = Object(story->GetParagraph(0))](Kernel::OutSerialiser& out) {
        std::vector<Object> const parts{Object(raw), paragraph, Object(raw)};
        Kernel::SaveValue(out, "Pars", parts);
        Kernel::SaveValue(out, "Blks", parts);
    });
    auto const loaded = ReloadStory(MakeOfBlocks({self, self}));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(TextOf(*loaded), U"paragraph 0\u2029paragraph 0\u2029");
}

TEST(ForgedBlocks, NothingAtAllIsAnEmptyText) {
    for (auto const& root :
         {MakeOfBlocks({}), MakeOfBlocks({MakeBlock({}), Object()}), MakeOfBlocks({MakeBlock({Object()})})}) {
        auto const loaded = ReloadStory(root);
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->GetLength(), 1u);
        EXPECT_TRUE(*loaded == Story::Story());
    }
}

// A block may name more paragraphs than any that is made here, and blocks more text than a story holds.
TEST(ForgedBlocks, WhatIsTooMuchIsLeftOut) {
    auto const paragraph = Object(MakeLong(1)->GetParagraph(0));
    auto const full = ReloadStory(MakeOfBlocks({MakeBlock(std::vector<Object>(70'000, paragraph))}));
    EXPECT_EQ(full->GetParagraphCount(), 65'535u);
    full->ReplaceText({100, 100}, GlyphString(U"x\ny"));
    EXPECT_EQ(full->GetParagraphCount(), 65'536u);
    auto const longest = MakeStory(std::u32string((1u << 20) - 1, U'x'));
    auto const block = MakeBlock(std::vector<Object>(300, longest->GetParagraph(0)));
    EXPECT_EQ(ReloadStory(MakeOfBlocks({MakeBlock({paragraph}), block}))->GetLength(), 12u);
    EXPECT_EQ(
        ReloadStory(MakeOfBlocks(std::vector<Object>(5, MakeBlock(std::vector<Object>(100, longest->GetParagraph(0))))))
            ->GetLength(),
        200u << 20);
}
