// SPDX-License-Identifier: Apache-2.0
// What does it cost to write and read an object graph? A million small objects with an integer and two references, some
// of which share an object; with argument 1 half of them have a short text and the others a point. Against the least
// that could be done: copying the same number of bytes, and dumping a flat array of the same values without objects,
// references, tags or checksums.
#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"
#include "platform/kernel/serialisable.h"

#include <benchmark/benchmark.h>

#ifdef REDRAFT_BENCH_PROTOBUF
#include "protobuf_peer.pb.h"
#endif

#include <cstring>
#include <map>
#include <optional>
#include <vector>

namespace {

using Kernel::Counted;
using Kernel::Field;
using Kernel::FieldList;
using Kernel::Serialisable;

constexpr int c_objects = 1000000;

class Small final : public Serialisable {
public:
    static Counted<Serialisable> Create() { return Counted<Serialisable>(new Small); }
    void Save(Kernel::OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;

    int m_value = 0;
    Counted<Small> m_next, m_other;
    Kernel::String m_name;
    Kernel::PointT<double> m_point;
    static constexpr auto Fields() {
        return FieldList{Field{"Valu", &Small::m_value}, Field{"Next", &Small::m_next}, Field{"Othr", &Small::m_other},
                         Field{"Name", &Small::m_name}.OnlyWhenSet(), Field{"Poin", &Small::m_point}.OnlyWhenSet()};
    }
};
Kernel::ClassProperties const Small::s_properties("Smal", &Small::Create, 1, nullptr, nullptr, "Small");
Kernel::ClassPropertiesBase::Init const s_init(&Small::s_properties);

// A binary tree, in which every tenth leaf also holds its parent's neighbour.
Counted<Small> MakeTree(bool rich) {
    std::vector<Counted<Small>> objects(c_objects);
    for (int i = 0; i != c_objects; ++i) {
        objects[i] = Kernel::MakeCounted<Small>();
        objects[i]->m_value = i;
        if (rich && i % 2 == 0)
            objects[i]->m_name = "object " + std::to_string(i);
        else if (rich)
            objects[i]->m_point = {i * 0.5, i * 0.25};
    }
    for (int i = 0; i != c_objects; ++i) {
        if (2 * i + 1 < c_objects)
            objects[i]->m_next = objects[2 * i + 1];
        if (2 * i + 2 < c_objects)
            objects[i]->m_other = objects[2 * i + 2];
        else if (i % 10 == 0)
            objects[i]->m_other = objects[i / 2];
    }
    return objects[0];
}

Counted<Small> const& GetTree(bool rich) {
    static Counted<Small> const s_roots[] = {MakeTree(false), MakeTree(true)};
    return s_roots[rich];
}

Kernel::ObjectGraph::Roots GetRoots(bool rich) {
    static Counted<Serialisable const> const s_roots[] = {GetTree(false), GetTree(true)};
    return {&s_roots[rich], 1};
}

std::size_t GetSize(Kernel::ChunkStorage const& storage) {
    std::size_t size = 0;
    for (auto const chunk : storage.ListChunks())
        size += storage.ReadChunk(chunk).size();
    return size;
}

Kernel::MemoryChunkStorage const& GetSaved(bool rich) {
    static Kernel::MemoryChunkStorage s_storages[2];
    auto& storage = s_storages[rich];
    if (storage.ListChunks().empty())
        Kernel::ObjectGraph::SaveCopy(GetRoots(rich), storage);
    return storage;
}

void WriteGraph(benchmark::State& state) {
    bool const rich = state.range(0) != 0;
    GetTree(rich);
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    for (auto _ : state) {
        graph.RequireFullSave();
        graph.Save(GetRoots(rich), storage);
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
    state.counters["bytes/object"] = static_cast<double>(GetSize(storage)) / c_objects;
}
BENCHMARK(WriteGraph)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void ReadGraph(benchmark::State& state) {
    auto const& storage = GetSaved(state.range(0) != 0);
    for (auto _ : state) {
        std::optional<Kernel::ObjectGraph> graph(std::in_place);
        Kernel::FileStore files;
        auto roots = graph->Load(storage, files);
        state.PauseTiming();
        roots.clear();
        graph.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(ReadGraph)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// One object in a thousand has changed.
void WriteChanges(benchmark::State& state) {
    std::vector<Small*> changing;
    std::vector<Small*> waiting{GetTree(true).get()};
    while (!waiting.empty()) {
        Small* const object = waiting.back();
        waiting.pop_back();
        if (object->m_value % 1000 == 0)
            changing.push_back(object);
        for (auto const& next : {object->m_next, object->m_other}) {
            if (next)
                waiting.push_back(next.get());
        }
    }
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph;
    graph.Save(GetRoots(true), storage);
    int value = 0;
    for (auto _ : state) {
        ++value;
        for (auto* const object : changing) {
            object->m_point.x = value;
            object->MarkChanged();
        }
        graph.Save(GetRoots(true), storage);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(changing.size()));
}
BENCHMARK(WriteChanges)->Unit(benchmark::kMillisecond);

void HashGraph(benchmark::State& state) {
    for (auto _ : state) {
        Kernel::HashAccumulator hash;
        hash.AddObject(*GetTree(true));
        benchmark::DoNotOptimize(hash.GetHash());
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(HashGraph)->Unit(benchmark::kMillisecond);

#ifdef REDRAFT_BENCH_PROTOBUF
// The same objects as messages in an arena, made of the linked objects: what an editor would do that kept its objects
// and saved through protobuf. Second argument: 1 starts from finished messages, which no editor has. Without checksums.
void FillMessages(bench::Graph& graph, std::vector<Small const*> const& objects) {
    graph.mutable_objects()->Reserve(static_cast<int>(objects.size()));
    for (Small const* const object : objects) {
        auto* const message = graph.add_objects();
        message->set_value(object->m_value);
        if (object->m_next)
            message->set_next(static_cast<std::uint32_t>(object->m_next->m_value) + 1);
        if (object->m_other)
            message->set_other(static_cast<std::uint32_t>(object->m_other->m_value) + 1);
        if (!object->m_name.empty()) {
            auto const text = object->m_name.view();
            message->set_name(text.data(), text.size());
        } else if (!(object->m_point == Kernel::PointT<double>())) {
            message->mutable_point()->set_x(object->m_point.x);
            message->mutable_point()->set_y(object->m_point.y);
        }
    }
}

std::vector<Small const*> ListObjects(bool rich) {
    std::vector<Small const*> objects(c_objects);
    std::vector<Small const*> waiting{GetTree(rich).get()};
    while (!waiting.empty()) {
        auto const* const object = waiting.back();
        waiting.pop_back();
        objects[static_cast<std::size_t>(object->m_value)] = object;
        for (auto const& next : {object->m_next, object->m_other}) {
            if (next)
                waiting.push_back(next.get());
        }
    }
    return objects;
}

void PeerWrite(benchmark::State& state) {
    auto const objects = ListObjects(state.range(0) != 0);
    bool const ready = state.range(1) != 0;
    google::protobuf::Arena arena;
    auto* const finished = google::protobuf::Arena::CreateMessage<bench::Graph>(&arena);
    FillMessages(*finished, objects);
    std::string bytes;
    for (auto _ : state) {
        if (ready) {
            finished->SerializeToString(&bytes);
            continue;
        }
        google::protobuf::Arena own;
        auto* const graph = google::protobuf::Arena::CreateMessage<bench::Graph>(&own);
        FillMessages(*graph, objects);
        graph->SerializeToString(&bytes);
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
    state.counters["bytes/object"] = static_cast<double>(bytes.size()) / c_objects;
}
BENCHMARK(PeerWrite)->Args({0, 0})->Args({1, 0})->Args({0, 1})->Args({1, 1})->Unit(benchmark::kMillisecond);

void PeerRead(benchmark::State& state) {
    std::string bytes;
    {
        google::protobuf::Arena arena;
        auto* const graph = google::protobuf::Arena::CreateMessage<bench::Graph>(&arena);
        FillMessages(*graph, ListObjects(state.range(0) != 0));
        graph->SerializeToString(&bytes);
    }
    for (auto _ : state) {
        std::optional<google::protobuf::Arena> arena(std::in_place);
        auto* const graph = google::protobuf::Arena::CreateMessage<bench::Graph>(&*arena);
        if (!graph->ParseFromString(bytes) || graph->objects_size() != c_objects)
            state.SkipWithError("the messages are not what was written");
        state.PauseTiming();
        arena.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(PeerRead)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
#endif

// The floors.

void CopyBytes(benchmark::State& state) {
    std::vector<std::byte> const from(GetSize(GetSaved(true)), std::byte{1});
    std::vector<std::byte> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(CopyBytes)->Unit(benchmark::kMillisecond);

struct Flat {
    int value;
    std::uint32_t next, other;
    Kernel::PointT<double> point;
    char name[16];
};

void WriteFlatArray(benchmark::State& state) {
    std::vector<Flat> const values(c_objects);
    std::vector<std::byte> bytes;
    for (auto _ : state) {
        bytes.clear();
        for (auto const& value : values) {
            auto const* const begin = reinterpret_cast<std::byte const*>(&value);
            bytes.insert(bytes.end(), begin, begin + sizeof value);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(WriteFlatArray)->Unit(benchmark::kMillisecond);

// Making and linking the same objects, without reading anything.
void MakeObjectsOnly(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Counted<Small>> objects(c_objects);
        for (int i = 0; i != c_objects; ++i) {
            objects[i] = Kernel::MakeCounted<Small>();
            objects[i]->m_value = i;
            if (i % 2 == 0)
                objects[i]->m_name = "object 123456";
            if (i != 0)
                (i % 2 != 0 ? objects[(i - 1) / 2]->m_next : objects[(i - 1) / 2]->m_other) = objects[i];
        }
        state.PauseTiming();
        objects.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_objects);
}
BENCHMARK(MakeObjectsOnly)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
