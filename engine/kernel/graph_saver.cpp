// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/graph_saver.h"

#include "engine/kernel/object_queue.h"
#include "engine/kernel/record.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <utility>

namespace Kernel::Detail {

namespace {

// Writes objects 1, 2, ... and removes the chunks that then stand for nothing. `get(id)` gives the object, or null
// after the last one.
template <class Get>
std::vector<ChunkEntry> WriteAll(OutContext& context, ChunkStorage& storage, Get const& get,
                                 ObjectGraph::SaveResult& result) {
    ChunkCutter cutter(storage, 1, 2, {});
    std::uint32_t id = 0;
    while (Serialisable const* const object = get(++id)) {
        context.buffer.clear();
        context.WriteRecord(id, *object);
        cutter.Add(id, context.buffer.bytes());
    }
    cutter.Finish();
    for (std::uint32_t const chunk : storage.ListChunks()) {
        if (chunk > cutter.GetChunks().size())
            storage.RemoveChunk(chunk);
    }
    result.full = true;
    result.objectsWritten += id - 1;
    result.chunksWritten += cutter.GetWrittenCount();
    return cutter.GetChunks();
}

} // namespace

GraphSaver::GraphSaver(ObjectGraph::State& state, ChunkStorage& storage, BlobSink* blobs, String const& filePath)
    : m_state(state), m_storage(storage), m_context(*this, Purpose::Full) {
    m_context.blobs = blobs;
    m_context.filePath = filePath;
}

// An id of a numbering that has ended, or of the one that this save replaces, is free to be replaced.
bool GraphSaver::BelongsToOther(std::uint32_t epoch) {
    if (epoch == 0 || epoch == m_oldEpoch)
        return false;
    if (epoch != m_lookedUp) {
        m_lookedUpAlive = GraphRegistry::IsAlive(epoch);
        m_lookedUp = epoch;
    }
    return m_lookedUpAlive;
}

std::uint32_t GraphSaver::Take(Serialisable const& object) {
    if (m_header.nextId > c_maxId)
        throw Exception("more objects than a document can hold");
    m_new.emplace_back(&object);
    return m_header.nextId++;
}

std::uint32_t GraphSaver::GetReferenceId(Serialisable const& object) {
    auto& word = GraphAccess::Word(object);
    auto old = word.load(std::memory_order_relaxed);
    if (GraphAccess::GetEpoch(old) == m_epoch)
        return GraphAccess::GetId(old);
    if (!m_state.foreign.empty()) {
        auto const found = m_state.foreign.find(&object);
        if (found != m_state.foreign.end() && !found->second.object.IsExpired())
            return found->second.id;
    }
    // Another graph may take the object at the same time; one of the two wins.
    while (!BelongsToOther(GraphAccess::GetEpoch(old))) {
        auto const taken =
            GraphAccess::Make(m_header.nextId, m_epoch, (old & GraphAccess::c_preserved) | GraphAccess::c_clean);
        if (word.compare_exchange_weak(old, taken))
            return Take(object);
    }
    std::uint32_t const id = Take(object);
    m_state.foreign.insert_or_assign(&object, ObjectGraph::State::Foreign{id, m_new.back()});
    return id;
}

void GraphSaver::NumberRoots(ObjectGraph::Roots roots) {
    m_header.roots.clear();
    for (auto const& root : roots)
        m_header.roots.push_back(root ? m_context.GetId(*root) : 0);
}

void GraphSaver::WriteHeaderChunk() {
    m_storage.WriteChunk(0, WriteHeader(m_header));
    ++m_result.chunksWritten;
}

ObjectGraph::SaveResult GraphSaver::SaveFull(ObjectGraph::Roots roots) {
    m_state.changes.Take();
    m_state.foreign.clear();
    m_oldEpoch = m_state.epoch;
    m_epoch = GraphRegistry::Begin(m_state.changes);
    m_context.epoch = m_epoch;
    try {
        NumberRoots(roots);
        auto const get = [&](std::uint32_t id) { return id > m_new.size() ? nullptr : m_new[id - 1].get(); };
        m_header.chunks = WriteAll(m_context, m_storage, get, m_result);
        m_header.fullSaveIds = m_header.nextId - 1;
        WriteHeaderChunk();
    } catch (...) {
        GraphRegistry::End(m_epoch);
        throw;
    }
    m_state.SetEpoch(m_epoch);
    m_state.header = std::move(m_header);
    return m_result;
}

// The changed objects that are still referred to, with those that other graphs keep the marks of, by id.
std::vector<Counted<Serialisable const>> GraphSaver::TakeChanges() {
    auto objects = m_state.changes.Take();
    // Nobody but the list holds the object: it is gone from the document.
    std::erase_if(objects, [&](Counted<Serialisable const> const& object) {
        return object->GetControlBlock()->GetStrongCount() == 1 ||
               GraphAccess::GetEpoch(GraphAccess::Load(*object)) != m_epoch;
    });
    for (auto const& object : objects) {
        auto& word = GraphAccess::Word(*object);
        word.fetch_and(~GraphAccess::c_changed);
        word.fetch_or(GraphAccess::c_clean);
    }
    std::erase_if(m_state.foreign, [](auto const& entry) { return entry.second.object.IsExpired(); });
    for (auto const& [key, foreign] : m_state.foreign) {
        if (auto object = foreign.object.Lock())
            objects.push_back(std::move(object));
    }
    return objects;
}

void GraphSaver::AddRecord(std::uint32_t id, Serialisable const& object) {
    std::size_t const begin = m_context.buffer.size();
    m_context.WriteRecord(id, object);
    m_records.push_back({id, begin, m_context.buffer.size()});
    ++m_result.objectsWritten;
}

ObjectGraph::SaveResult GraphSaver::SaveChanges(ObjectGraph::Roots roots) {
    m_epoch = m_state.epoch;
    m_context.epoch = m_epoch;
    m_header = m_state.header;
    std::uint32_t const firstNewId = m_header.nextId;
    auto const changed = TakeChanges();
    NumberRoots(roots);
    for (auto const& object : changed)
        AddRecord(m_context.GetId(*object), *object);
    for (std::size_t i = 0; i != m_new.size(); ++i) {
        auto const object = m_new[i];
        AddRecord(firstNewId + static_cast<std::uint32_t>(i), *object);
    }
    std::ranges::sort(m_records, {}, &Record::id);
    SpliceAll();
    if (m_header != m_state.header)
        WriteHeaderChunk();
    m_state.header = std::move(m_header);
    return m_result;
}

// Puts the records into their chunks, those of new objects behind all others.
void GraphSaver::SpliceAll() {
    auto const oldChunks = std::exchange(m_header.chunks, {});
    auto nextNumber = static_cast<std::uint32_t>(oldChunks.size() + 1);
    std::span<Record const> records = m_records;
    for (std::size_t i = 0; i != oldChunks.size(); ++i) {
        bool const isLast = i + 1 == oldChunks.size();
        std::size_t count = records.size();
        if (!isLast)
            count = std::ranges::lower_bound(records, oldChunks[i + 1].firstId, {}, &Record::id) - records.begin();
        if (count == 0) {
            m_header.chunks.push_back(oldChunks[i]);
            continue;
        }
        auto const old = m_storage.ReadChunk(oldChunks[i].number);
        ChunkCutter cutter(m_storage, oldChunks[i].number, nextNumber, old);
        Splice(old, oldChunks[i].firstId, records.first(count), cutter);
        AddChunks(cutter, nextNumber);
        records = records.subspan(count);
    }
    if (!records.empty()) {
        ChunkCutter cutter(m_storage, nextNumber, nextNumber + 1, {});
        Splice({}, records.front().id, records, cutter);
        AddChunks(cutter, nextNumber);
    }
}

void GraphSaver::AddChunks(ChunkCutter const& cutter, std::uint32_t& nextNumber) {
    for (auto const& chunk : cutter.GetChunks()) {
        nextNumber = std::max(nextNumber, chunk.number + 1);
        m_header.chunks.push_back(chunk);
    }
    m_result.chunksWritten += cutter.GetWrittenCount();
}

// Replaces and adds records of one chunk; the chunk's other records are copied unread.
void GraphSaver::Splice(std::span<std::byte const> old, std::uint32_t firstId, std::span<Record const> records,
                        ChunkCutter& cutter) {
    std::byte const* at = old.data();
    std::byte const* const end = at + old.size();
    std::uint32_t id = firstId;
    auto next = records.begin();
    auto const addNext = [&] {
        cutter.Add(next->id, m_context.buffer.bytes().subspan(next->begin, next->end - next->begin));
        ++next;
    };
    for (; at != end; ++id) {
        auto const record = ReadRecord(at, end, Checksum::Trust);
        if (record.id != id)
            ThrowDamaged("the objects of a chunk are out of order");
        if (next != records.end() && next->id == id)
            addNext();
        else
            cutter.Add(id, {at, record.end});
        at = record.end;
    }
    for (; next != records.end(); ++id) {
        if (next->id != id)
            ThrowDamaged("the objects of a chunk are out of order");
        addNext();
    }
    cutter.Finish();
}

ObjectGraph::SaveResult SaveUnmarked(ObjectGraph::Roots roots, ChunkStorage& storage, BlobSink* blobs,
                                     String const& filePath) {
    ObjectQueue queue;
    OutContext context(queue, Purpose::Full);
    context.blobs = blobs;
    context.filePath = filePath;
    GraphHeader header;
    for (auto const& root : roots)
        header.roots.push_back(root ? queue.GetReferenceId(*root) : 0);
    ObjectGraph::SaveResult result;
    auto const get = [&](std::uint32_t id) { return id > queue.GetSize() ? nullptr : &queue.Get(id - 1); };
    header.chunks = WriteAll(context, storage, get, result);
    header.fullSaveIds = static_cast<std::uint32_t>(queue.GetSize());
    header.nextId = header.fullSaveIds + 1;
    storage.WriteChunk(0, WriteHeader(header));
    ++result.chunksWritten;
    return result;
}

} // namespace Kernel::Detail
