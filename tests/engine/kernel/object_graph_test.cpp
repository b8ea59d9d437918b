// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/record_surgery.h"
#include "tests/engine/kernel/test_classes.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"

#include <gtest/gtest.h>
#include <random>
#include <unordered_set>

namespace {

using namespace KernelTest;
using Kernel::MemoryChunkStorage;
using Kernel::ObjectGraph;

Kernel::Hash128 HashOf(Serialisable const& object) {
    Kernel::HashAccumulator hash;
    hash.AddObject(object);
    return hash.GetHash();
}

// Takes all references out of a graph, so that cycles do not keep it alive.
void TakeApart(Counted<Node> const& root) {
    std::vector<Counted<Node>> waiting{root};
    while (!waiting.empty()) {
        auto const node = waiting.back();
        waiting.pop_back();
        for (auto* const member : {&node->m_left, &node->m_right}) {
            if (*member)
                waiting.push_back(std::exchange(*member, {}));
        }
        for (auto& child : std::exchange(node->m_children, {})) {
            if (child)
                waiting.push_back(std::move(child));
        }
    }
}

std::vector<Counted<Node>> GetReachable(Counted<Node> const& root) {
    std::vector<Counted<Node>> nodes{root};
    std::unordered_set<Node const*> seen{root.get()};
    auto const add = [&](Counted<Node> const& node) {
        if (node && seen.insert(node.get()).second)
            nodes.push_back(node);
    };
    for (std::size_t i = 0; i != nodes.size(); ++i) {
        auto const node = nodes[i];
        add(node->m_left);
        add(node->m_right);
        for (auto const& child : node->m_children)
            add(child);
    }
    return nodes;
}

// A chain of nodes by their left members.
Counted<Node> MakeChain(int length) {
    Counted<Node> first;
    for (int i = length; i != 0; --i) {
        auto node = MakeCounted<Node>(i);
        node->m_left = std::move(first);
        first = std::move(node);
    }
    return first;
}

// Passes calls on, counts them, and fails when it is told to.
class WatchedStorage final : public Kernel::ChunkStorage {
public:
    std::vector<std::uint32_t> ListChunks() const override { return m_storage.ListChunks(); }
    std::vector<std::byte> ReadChunk(std::uint32_t id) const override { return m_storage.ReadChunk(id); }
    void WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) override {
        if (m_failAt >= 0 && m_failAt-- == 0)
            throw Kernel::Exception("no space");
        m_storage.WriteChunk(id, bytes);
        m_written.push_back(id);
    }
    void RemoveChunk(std::uint32_t id) override { m_storage.RemoveChunk(id); }

    MemoryChunkStorage m_storage;
    std::vector<std::uint32_t> m_written;
    int m_failAt = -1;
};

struct Nodes {
    Registered node{Node::s_properties};
    ~Nodes() { EXPECT_EQ(s_alive, 0); }
};

TEST(ObjectGraph, AnObjectThatIsReferredToTwiceIsOneObjectAgain) {
    Nodes const nodes;
    auto const root = MakeCounted<Node>(1);
    root->m_left = root->m_right = MakeCounted<Node>(2);
    root->m_children = {root->m_left, nullptr, root->m_left};
    root->m_name = "root";
    MemoryChunkStorage storage;
    ObjectGraph graph, second;
    auto const result = SaveOne(graph, root, storage);
    EXPECT_TRUE(result.full);
    EXPECT_EQ(result.objectsWritten, 2u);
    auto const loaded = LoadOne<Node>(second, storage);
    EXPECT_EQ(loaded->m_name, String("root"));
    EXPECT_EQ(loaded->m_left, loaded->m_right);
    EXPECT_EQ(loaded->m_left->m_value, 2);
    ASSERT_EQ(loaded->m_children.size(), 3u);
    EXPECT_EQ(loaded->m_children[2], loaded->m_left);
    EXPECT_FALSE(loaded->m_children[1]);
}

TEST(ObjectGraph, SeveralRootsAndEmptyOnesComeBackInOrder) {
    Nodes const nodes;
    auto const shared = MakeCounted<Node>(3);
    std::vector<Counted<Serialisable const>> const roots{MakeCounted<Node>(1), nullptr, shared, shared};
    MemoryChunkStorage storage;
    ObjectGraph graph, second;
    graph.Save(roots, storage);
    Kernel::FileStore files;
    auto const loaded = second.Load(storage, files);
    ASSERT_EQ(loaded.size(), 4u);
    EXPECT_FALSE(loaded[1]);
    EXPECT_EQ(loaded[2], loaded[3]);
    graph.RequireFullSave();
    graph.Save({}, storage);
    EXPECT_TRUE(second.Load(storage, files).empty());
}

TEST(ObjectGraph, CyclesComeBack) {
    Nodes const nodes;
    auto const root = MakeCounted<Node>(1);
    root->m_left = MakeCounted<Node>(2);
    root->m_left->m_right = root;
    root->m_left->m_left = root->m_left;
    MemoryChunkStorage storage;
    ObjectGraph graph, second;
    SaveOne(graph, root, storage);
    auto const loaded = LoadOne<Node>(second, storage);
    EXPECT_EQ(loaded->m_left->m_right, loaded);
    EXPECT_EQ(loaded->m_left->m_left, loaded->m_left);
    EXPECT_EQ(HashOf(*loaded), HashOf(*root));
    TakeApart(root);
    TakeApart(loaded);
}

TEST(ObjectGraph, AMillionObjectsInOneChainNeedNoStack) {
    Nodes const nodes;
    constexpr int c_length = 1000000;
    auto const root = MakeChain(c_length);
    MemoryChunkStorage storage;
    ObjectGraph graph, second;
    EXPECT_EQ(SaveOne(graph, root, storage).objectsWritten, static_cast<std::size_t>(c_length));
    auto const loaded = LoadOne<Node>(second, storage);
    int length = 0;
    for (Node const* node = loaded.get(); node != nullptr; node = node->m_left.get())
        EXPECT_EQ(node->m_value, ++length);
    EXPECT_EQ(length, c_length);
    EXPECT_EQ(HashOf(*loaded), HashOf(*root));
}

TEST(ObjectGraph, TwoFullSavesOfOneStateGiveTheSameBytes) {
    Nodes const nodes;
    auto const root = MakeChain(5000);
    root->m_children = {root->m_left->m_left, root};
    MemoryChunkStorage first, second, copied;
    ObjectGraph graph, other;
    SaveOne(graph, root, first);
    graph.RequireFullSave();
    SaveOne(graph, root, second);
    EXPECT_EQ(first, second);
    Counted<Serialisable const> const face = root;
    ObjectGraph::SaveCopy({&face, 1}, copied);
    EXPECT_EQ(first, copied);
    // The loaded graph is saved as the same bytes too.
    MemoryChunkStorage again;
    auto const loaded = LoadOne<Node>(other, first);
    other.RequireFullSave();
    SaveOne(other, loaded, again);
    EXPECT_EQ(first, again);
    TakeApart(root);
    TakeApart(loaded);
}

TEST(ObjectGraph, OnlyMarkedAndNewObjectsAreWrittenAgain) {
    Nodes const nodes;
    auto const root = MakeChain(10000);
    WatchedStorage storage;
    ObjectGraph graph;
    EXPECT_TRUE(graph.HasChanges());
    SaveOne(graph, root, storage);
    EXPECT_FALSE(graph.HasChanges());
    storage.m_written.clear();
    auto result = SaveOne(graph, root, storage);
    EXPECT_FALSE(result.full);
    EXPECT_EQ(result.objectsWritten, 0u);
    EXPECT_TRUE(storage.m_written.empty());

    auto const& third = root->m_left->m_left;
    third->m_value = 77;
    third->MarkChanged();
    third->MarkChanged();
    EXPECT_TRUE(graph.HasChanges());
    result = SaveOne(graph, root, storage);
    EXPECT_EQ(result.objectsWritten, 1u);
    EXPECT_EQ(storage.m_written, (std::vector<std::uint32_t>{1}));

    storage.m_written.clear();
    third->m_right = MakeCounted<Node>(100);
    third->m_right->m_right = MakeCounted<Node>(101);
    third->MarkChanged();
    result = SaveOne(graph, root, storage);
    EXPECT_EQ(result.objectsWritten, 3u);
    EXPECT_EQ(storage.m_written.size(), 3u);

    ObjectGraph second;
    auto const loaded = LoadOne<Node>(second, storage);
    EXPECT_EQ(loaded->m_left->m_left->m_value, 77);
    EXPECT_EQ(loaded->m_left->m_left->m_right->m_right->m_value, 101);
    EXPECT_EQ(HashOf(*loaded), HashOf(*root));
}

TEST(ObjectGraph, AMarkThatChangesNothingTouchesNoChunk) {
    Nodes const nodes;
    auto const root = MakeChain(10);
    WatchedStorage storage;
    ObjectGraph graph;
    SaveOne(graph, root, storage);
    storage.m_written.clear();
    root->MarkChanged();
    EXPECT_EQ(SaveOne(graph, root, storage).objectsWritten, 1u);
    EXPECT_TRUE(storage.m_written.empty());
}

TEST(ObjectGraph, ALoadedGraphIsSavedByItsChanges) {
    Nodes const nodes;
    WatchedStorage storage;
    {
        ObjectGraph graph;
        SaveOne(graph, MakeChain(10000), storage);
    }
    ObjectGraph graph;
    auto const root = LoadOne<Node>(graph, storage);
    storage.m_written.clear();
    EXPECT_FALSE(graph.HasChanges());
    root->m_value = -1;
    root->MarkChanged();
    auto const result = SaveOne(graph, root, storage);
    EXPECT_FALSE(result.full);
    EXPECT_EQ(result.objectsWritten, 1u);
    EXPECT_EQ(storage.m_written, (std::vector<std::uint32_t>{1}));
    ObjectGraph third;
    EXPECT_EQ(LoadOne<Node>(third, storage)->m_value, -1);
}

TEST(ObjectGraph, AnObjectThatLeftTheGraphIsNotWritten) {
    Nodes const nodes;
    auto const root = MakeChain(3);
    MemoryChunkStorage storage;
    ObjectGraph graph;
    SaveOne(graph, root, storage);
    auto left = std::exchange(root->m_left, {});
    root->MarkChanged();
    left->MarkChanged();
    left.reset();
    EXPECT_EQ(s_alive, 3);
    EXPECT_EQ(SaveOne(graph, root, storage).objectsWritten, 1u);
    EXPECT_EQ(s_alive, 1);
}

TEST(ObjectGraph, RecordsOfObjectsThatAreGoneAreDroppedInTheEnd) {
    Nodes const nodes;
    auto const root = MakeChain(100);
    MemoryChunkStorage storage;
    ObjectGraph graph;
    SaveOne(graph, root, storage);
    std::size_t fullSaves = 0, largest = 0;
    for (int round = 0; round != 1000; ++round) {
        root->m_right = MakeChain(7);
        root->MarkChanged();
        fullSaves += SaveOne(graph, root, storage).full ? 1 : 0;
        std::size_t size = 0;
        for (auto const chunk : storage.ListChunks())
            size += storage.ReadChunk(chunk).size();
        largest = std::max(largest, size);
    }
    EXPECT_GT(fullSaves, 10u);
    EXPECT_LT(fullSaves, 100u);
    EXPECT_LT(largest, 300u * 60);
    ObjectGraph second;
    EXPECT_EQ(HashOf(*LoadOne<Node>(second, storage)), HashOf(*root));
}

TEST(ObjectGraph, AfterAFailedSaveTheNextOneIsFullAndRight) {
    Nodes const nodes;
    auto const root = MakeChain(5000);
    WatchedStorage storage;
    ObjectGraph graph;
    for (int failAt = 0; failAt != 4; ++failAt) {
        storage.m_failAt = failAt;
        EXPECT_THROW(SaveOne(graph, root, storage), Kernel::Exception);
    }
    storage.m_failAt = -1;
    EXPECT_TRUE(SaveOne(graph, root, storage).full);
    root->m_left->m_value = 50;
    root->m_left->MarkChanged();
    storage.m_failAt = 0;
    EXPECT_THROW(SaveOne(graph, root, storage), Kernel::Exception);
    EXPECT_TRUE(graph.HasChanges());
    EXPECT_TRUE(SaveOne(graph, root, storage).full);
    ObjectGraph second;
    EXPECT_EQ(LoadOne<Node>(second, storage)->m_left->m_value, 50);
}

TEST(ObjectGraph, TwoGraphsShareObjectsWithoutHarm) {
    Nodes const nodes;
    auto const shared = MakeChain(5);
    auto const one = MakeCounted<Node>(1), two = MakeCounted<Node>(2);
    one->m_left = two->m_left = shared;
    MemoryChunkStorage storageOne, storageTwo;
    ObjectGraph graphOne;
    SaveOne(graphOne, one, storageOne);
    {
        ObjectGraph graphTwo, check;
        SaveOne(graphTwo, two, storageTwo);
        shared->m_value = 9;
        shared->MarkChanged();
        shared->m_right = MakeCounted<Node>(10);
        EXPECT_FALSE(SaveOne(graphTwo, two, storageTwo).full);
        EXPECT_FALSE(SaveOne(graphOne, one, storageOne).full);
        EXPECT_EQ(HashOf(*LoadOne<Node>(check, storageTwo)), HashOf(*two));
        ObjectGraph checkOne;
        EXPECT_EQ(HashOf(*LoadOne<Node>(checkOne, storageOne)), HashOf(*one));
    }
    // Objects of a graph that is gone are free for the next one.
    ObjectGraph third, check;
    SaveOne(third, two, storageTwo);
    two->m_value = 3;
    two->MarkChanged();
    EXPECT_FALSE(SaveOne(third, two, storageTwo).full);
    EXPECT_EQ(LoadOne<Node>(check, storageTwo)->m_value, 3);
}

TEST(ObjectGraph, LargeObjectsMakeChunksOfTheirOwn) {
    Nodes const nodes;
    auto const root = MakeCounted<Node>(0);
    for (int i = 0; i != 10; ++i) {
        auto& child = root->m_children.emplace_back(MakeCounted<Node>(i));
        child->m_name = std::string(3 << 20, static_cast<char>('a' + i));
    }
    WatchedStorage storage;
    ObjectGraph graph;
    EXPECT_GE(SaveOne(graph, root, storage).chunksWritten, 10u);
    storage.m_written.clear();
    // It grows within a chunk and is cut out of it.
    root->m_name = std::string(6 << 20, 'x');
    root->MarkChanged();
    SaveOne(graph, root, storage);
    EXPECT_LE(storage.m_written.size(), 3u);
    ObjectGraph second;
    EXPECT_EQ(HashOf(*LoadOne<Node>(second, storage)), HashOf(*root));
}

// Random edits of a random graph, saved by changes, against a hash of the living graph after each save.
TEST(ObjectGraph, SavesByChangesEqualTheLivingGraph) {
    Nodes const nodes;
    for (unsigned seed = 1; seed != 20; ++seed) {
        std::mt19937 random(seed);
        auto const pick = [&](std::size_t count) { return random() % count; };
        std::vector<Counted<Node>> pool{MakeCounted<Node>(0)};
        MemoryChunkStorage storage;
        auto graph = std::make_unique<ObjectGraph>();
        std::size_t byChanges = 0;
        for (int round = 0; round != 60; ++round) {
            for (std::size_t edits = pick(30); edits != 0; --edits) {
                if (pick(3) == 0)
                    pool.push_back(MakeCounted<Node>(static_cast<int>(random())));
                auto& node = pool[pick(pool.size())];
                auto const other = pool[pick(pool.size())];
                switch (pick(5)) {
                case 0:
                    node->m_left = other;
                    break;
                case 1:
                    node->m_right = pick(4) == 0 ? nullptr : other;
                    break;
                case 2:
                    node->m_children.push_back(other);
                    break;
                case 3:
                    node->m_name = std::string(pick(300), 'n');
                    break;
                default:
                    node->m_children.clear();
                }
                node->MarkChanged();
            }
            byChanges += SaveOne(*graph, pool[0], storage).full ? 0 : 1;
            auto second = std::make_unique<ObjectGraph>();
            auto const loaded = LoadOne<Node>(*second, storage);
            ASSERT_EQ(HashOf(*loaded), HashOf(*pool[0])) << seed << " " << round;
            if (round == 30) {
                // Goes on with what was loaded, by changes of the loaded objects.
                for (auto const& node : pool)
                    TakeApart(node);
                pool = GetReachable(loaded);
                graph = std::move(second);
            } else {
                TakeApart(loaded);
            }
        }
        EXPECT_GT(byChanges, 10u);
        for (auto const& node : pool)
            TakeApart(node);
    }
}

TEST(ObjectGraph, AcceptMayRefuseWhatWasLoaded) {
    Nodes const nodes;
    auto const root = MakeCounted<Node>(1);
    root->m_left = root;
    MemoryChunkStorage storage;
    ObjectGraph graph, second;
    SaveOne(graph, root, storage);
    TakeApart(root);
    Kernel::FileStore files;
    auto const refuse = [](ObjectGraph::LoadedRoots const&) { throw Kernel::Exception("not a document"); };
    EXPECT_THROW(second.Load(storage, files, refuse), Kernel::Exception);
    EXPECT_EQ(s_alive, 1);
}

TEST(ObjectGraph, AnObjectOfANewerVersionIsRefusedByName) {
    MemoryChunkStorage storage;
    {
        Nodes const nodes;
        ObjectGraph graph;
        SaveOne(graph, MakeChain(3), storage);
    }
    Nodes const nodes;
    Operate(storage, [](auto& records) { records[2].version = 2; });
    ObjectGraph second;
    Kernel::FileStore files;
    try {
        second.Load(storage, files);
        ADD_FAILURE();
    } catch (Kernel::FutureVersionException const& exception) {
        EXPECT_FALSE(exception.IsRecoverable());
        EXPECT_NE(exception.GetMessage().view().find("Node"), std::string_view::npos);
    }
}

} // namespace
