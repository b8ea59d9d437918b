// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/everything.h"
#include "tests/engine/kernel/record_surgery.h"

#include "engine/kernel/graph_chunks.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace KernelTest;
using Kernel::MemoryChunkStorage;
using Kernel::ObjectGraph;

// A small graph with every form of field, and a cycle.
MemoryChunkStorage SaveSmallGraph() {
    auto const everything = MakeEverything();
    auto const& node = everything->m_node;
    node->m_left = node;
    node->m_right = MakeCounted<Node>(3);
    node->m_right->m_children = {node, node->m_right};
    MemoryChunkStorage storage;
    ObjectGraph graph;
    SaveOne(graph, everything, storage);
    node->m_right->m_children.clear();
    node->m_left.reset();
    return storage;
}

enum class Outcome { Loaded, Refused };

// Loads what may be damaged in any way. What was loaded is saved again, and nothing may stay alive.
Outcome Try(MemoryChunkStorage const& storage) {
    auto outcome = Outcome::Refused;
    {
        ObjectGraph graph;
        Kernel::FileStore files;
        try {
            // Refusing in the end takes loaded cycles apart.
            graph.Load(storage, files, [&](ObjectGraph::LoadedRoots const& roots) {
                std::vector<Counted<Serialisable const>> const again(roots.begin(), roots.end());
                MemoryChunkStorage copy;
                ObjectGraph::SaveCopy(again, copy);
                outcome = Outcome::Loaded;
                throw Kernel::Exception("enough seen");
            });
        } catch (Kernel::Exception const&) {
        }
    }
    EXPECT_EQ(s_alive, 0);
    return outcome;
}

// The bytes where each record begins and where its checksum stands.
struct Place {
    std::size_t begin;
    std::size_t checksum;
};
std::vector<Place> FindRecords(Bytes const& chunk) {
    std::vector<Place> places;
    for (std::byte const* at = chunk.data(); at != chunk.data() + chunk.size();) {
        auto const record =
            Kernel::Detail::ReadRecord(at, chunk.data() + chunk.size(), Kernel::Detail::Checksum::Verify);
        places.push_back(
            {static_cast<std::size_t>(at - chunk.data()), static_cast<std::size_t>(record.fieldsEnd - chunk.data())});
        at = record.end;
    }
    return places;
}

void MakeChecksumRight(Bytes& chunk, Place const& place) {
    auto const checksum = Kernel::Detail::ComputeCrc32c(chunk.data() + place.begin, place.checksum - place.begin);
    std::memcpy(chunk.data() + place.checksum, &checksum, sizeof checksum);
}

TEST(Damage, EveryTruncationIsRefused) {
    Classes const classes;
    auto const storage = SaveSmallGraph();
    ASSERT_EQ(Try(storage), Outcome::Loaded);
    for (std::uint32_t const chunk : storage.ListChunks()) {
        auto const bytes = storage.ReadChunk(chunk);
        for (std::size_t size = 0; size != bytes.size(); ++size) {
            auto damaged = storage;
            damaged.WriteChunk(chunk, std::span(bytes).first(size));
            EXPECT_EQ(Try(damaged), Outcome::Refused) << chunk << " " << size;
        }
        auto damaged = storage;
        damaged.RemoveChunk(chunk);
        EXPECT_EQ(Try(damaged), Outcome::Refused);
    }
}

TEST(Damage, EveryFlippedBitIsRefused) {
    Classes const classes;
    auto const storage = SaveSmallGraph();
    for (std::uint32_t const chunk : storage.ListChunks()) {
        auto const bytes = storage.ReadChunk(chunk);
        for (std::size_t bit = 0; bit != bytes.size() * 8; ++bit) {
            auto flipped = bytes;
            flipped[bit / 8] ^= std::byte{1} << (bit % 8);
            auto damaged = storage;
            damaged.WriteChunk(chunk, flipped);
            EXPECT_EQ(Try(damaged), Outcome::Refused) << chunk << " " << bit;
        }
    }
}

TEST(Damage, EveryFlippedBitUnderARightChecksumIsRefusedOrLoads) {
    Classes const classes;
    auto const storage = SaveSmallGraph();
    auto const bytes = storage.ReadChunk(1);
    std::size_t loaded = 0, refused = 0;
    for (auto const& place : FindRecords(bytes)) {
        for (std::size_t bit = place.begin * 8; bit != place.checksum * 8; ++bit) {
            auto flipped = bytes;
            flipped[bit / 8] ^= std::byte{1} << (bit % 8);
            MakeChecksumRight(flipped, place);
            auto damaged = storage;
            damaged.WriteChunk(1, flipped);
            ++(Try(damaged) == Outcome::Loaded ? loaded : refused);
        }
    }
    EXPECT_GT(loaded, 0u);
    EXPECT_GT(refused, 0u);
}

TEST(Damage, RandomForgeriesAreRefusedOrLoad) {
    Classes const classes;
    auto const storage = SaveSmallGraph();
    std::mt19937 random(7);
    for (int round = 0; round != 20000; ++round) {
        auto bytes = storage.ReadChunk(1);
        auto const places = FindRecords(bytes);
        auto const& place = places[random() % places.size()];
        for (unsigned edits = 1 + random() % 4; edits != 0; --edits) {
            std::size_t const at = place.begin + random() % (place.checksum - place.begin);
            std::byte const values[] = {std::byte(random()), std::byte{0}, std::byte{0xFF}, std::byte{0x80}};
            std::size_t const length = std::min<std::size_t>(random() % 6, place.checksum - at);
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), length, values[random() % 4]);
        }
        MakeChecksumRight(bytes, place);
        auto damaged = storage;
        damaged.WriteChunk(1, bytes);
        Try(damaged);
    }
}

TEST(Damage, ForgedHeadersAreRefusedOrLoad) {
    Classes const classes;
    auto const storage = SaveSmallGraph();
    auto const bytes = storage.ReadChunk(0);
    Place const whole{0, bytes.size() - 4};
    for (std::size_t bit = 0; bit != whole.checksum * 8; ++bit) {
        auto flipped = bytes;
        flipped[bit / 8] ^= std::byte{1} << (bit % 8);
        MakeChecksumRight(flipped, whole);
        auto damaged = storage;
        damaged.WriteChunk(0, flipped);
        Try(damaged);
    }
    std::mt19937 random(8);
    for (int round = 0; round != 20000; ++round) {
        Bytes forged(1 + random() % 40);
        for (auto& byte : forged)
            byte = std::byte(random() % 3 == 0 ? 0xFF : random() % 8);
        forged[0] = std::byte{1};
        forged.resize(forged.size() + 4);
        MakeChecksumRight(forged, {0, forged.size() - 4});
        auto damaged = storage;
        damaged.WriteChunk(0, forged);
        Try(damaged);
    }
}

TEST(Damage, AForgedCountTakesNoMemory) {
    Classes const classes;
    Kernel::Detail::GraphHeader header;
    header.nextId = Kernel::Detail::c_maxId;
    header.fullSaveIds = header.nextId - 1;
    header.roots = {Kernel::Detail::c_maxId - 1};
    header.chunks = {{1, 1}};
    auto storage = SaveSmallGraph();
    storage.WriteChunk(0, Kernel::Detail::WriteHeader(header));
    EXPECT_EQ(Try(storage), Outcome::Refused);
    // A count of roots that the bytes cannot hold.
    Bytes forged{std::byte{1},    std::byte{2},    std::byte{1},   std::byte{0xFF},
                 std::byte{0xFF}, std::byte{0xFF}, std::byte{0x7F}};
    forged.resize(forged.size() + 4);
    MakeChecksumRight(forged, {0, forged.size() - 4});
    storage.WriteChunk(0, forged);
    EXPECT_EQ(Try(storage), Outcome::Refused);
}

// A value class that holds values of its own class, as deep as the bytes say.
struct Nest {
    static Kernel::ClassUID GetClassUID() { return "Nest"; }
    std::vector<Nest> m_inner;
    static constexpr auto Fields() { return FieldList{Field{"Innr", &Nest::m_inner}}; }
};
class NestHolder final : public Serialisable {
public:
    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
    Nest m_nest;
    static constexpr auto Fields() { return FieldList{Field{"Nest", &NestHolder::m_nest}}; }
};
Kernel::ClassProperties const NestHolder::s_properties("NstH", &Create<NestHolder>, 1, nullptr, nullptr, "NestHolder");

// A field of so many arrays of value classes, each the only element of the one around it.
Bytes MakeDeepField(std::size_t depth) {
    Kernel::Detail::ByteBuffer buffer;
    Bytes inner;
    for (std::size_t i = 0; i != depth; ++i) {
        buffer.clear();
        buffer.AppendTag(Kernel::IDTag("Innr").GetValue());
        buffer.AppendByte(Kernel::Detail::GetArrayForm(Kernel::PropType::Class));
        std::size_t const lengthAt = buffer.size();
        buffer.AppendByte(0);
        buffer.AppendTag(Kernel::IDTag("Nest").GetValue());
        buffer.AppendVarint(1);
        buffer.AppendVarint(inner.size() + 1);
        buffer.Append(inner.data(), inner.size());
        buffer.PatchLength(lengthAt, 0);
        inner.assign(buffer.data(), buffer.data() + buffer.size());
    }
    return inner;
}

TEST(Damage, ValueClassesNestedTooDeeplyAreRefusedWhetherKnownOrNot) {
    Registered const holder(NestHolder::s_properties);
    MemoryChunkStorage storage;
    ObjectGraph graph;
    auto const root = MakeCounted<NestHolder>();
    root->m_nest.m_inner.resize(1);
    SaveOne(graph, root, storage);
    for (auto const& [depth, outcome] : {std::pair{30, Outcome::Loaded}, std::pair{5000, Outcome::Refused}}) {
        auto const deep = MakeDeepField(static_cast<std::size_t>(depth));
        auto known = storage, unknown = storage;
        Operate(known, [&](auto& records) {
            auto& field = records[0].fields[0];
            Kernel::Detail::ByteBuffer buffer;
            buffer.AppendTag(Kernel::IDTag("Nest").GetValue());
            buffer.AppendByte(Kernel::Detail::GetForm(Kernel::PropType::Class));
            buffer.AppendVarint(deep.size() + 5);
            buffer.AppendTag(Kernel::IDTag("Nest").GetValue());
            buffer.AppendVarint(1);
            buffer.Append(deep.data(), deep.size());
            field.assign(buffer.data(), buffer.data() + buffer.size());
        });
        EXPECT_EQ(Try(known), outcome);
        Operate(unknown, [&](auto& records) { records[0].fields.push_back(deep); });
        EXPECT_EQ(Try(unknown), outcome);
    }
    Nest nest;
    for (int i = 0; i != 100; ++i) {
        Nest outer;
        outer.m_inner.push_back(std::move(nest));
        nest = std::move(outer);
    }
    root->m_nest = std::move(nest);
    graph.RequireFullSave();
    EXPECT_THROW(SaveOne(graph, root, storage), Kernel::Exception);
}

TEST(Damage, ACycleThroughFieldsThatNobodyKnowsLeavesNothing) {
    Classes const classes;
    auto storage = SaveSmallGraph();
    Operate(storage, [](auto& records) {
        for (auto& record : records) {
            Kernel::Detail::ByteBuffer buffer;
            buffer.AppendTag(Kernel::IDTag("Unkn").GetValue());
            buffer.AppendByte(Kernel::Detail::GetArrayForm(Kernel::PropType::Object));
            buffer.AppendVarint(2);
            buffer.AppendVarint(1);
            buffer.AppendVarint(2);
            record.fields.emplace_back(buffer.data(), buffer.data() + buffer.size());
        }
    });
    EXPECT_EQ(Try(storage), Outcome::Loaded);
}

TEST(Damage, SplicingRefusesAChunkThatIsOutOfOrder) {
    Registered const node(Node::s_properties);
    MemoryChunkStorage storage;
    ObjectGraph graph;
    auto const root = MakeCounted<Node>(1);
    root->m_left = MakeCounted<Node>(2);
    SaveOne(graph, root, storage);
    Operate(storage, [](auto& records) { records.erase(records.begin()); });
    root->m_value = 3;
    root->MarkChanged();
    EXPECT_THROW(SaveOne(graph, root, storage), Kernel::DamagedDataException);
    EXPECT_TRUE(graph.IsNextSaveFull());
}

} // namespace
