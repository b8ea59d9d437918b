// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/graph_loader.h"

#include "engine/kernel/graph_access.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <utility>

namespace Kernel::Detail {

GraphLoader::GraphLoader(ChunkStorage const& storage, FileStore& files)
    : InContext(Mode::Load), m_storage(storage), m_files(files) {}

void GraphLoader::ReadChunks() {
    auto const numbers = m_storage.ListChunks();
    for (std::size_t i = 0; i != numbers.size(); ++i) {
        if (numbers[i] != i)
            ThrowDamaged("a chunk of objects is missing");
    }
    if (numbers.empty())
        ThrowDamaged("there are no objects");
    m_header = ReadHeader(m_storage.ReadChunk(0));
    if (numbers.size() != m_header.chunks.size() + 1)
        ThrowDamaged("a chunk of objects is missing");
    m_chunks.reserve(m_header.chunks.size());
    std::size_t size = 0;
    for (auto const& chunk : m_header.chunks)
        size += m_chunks.emplace_back(m_storage.ReadChunk(chunk.number)).size();
    m_slots.reserve(std::min<std::size_t>(m_header.nextId - 1, size / c_minRecordSize));
    for (std::size_t i = 0; i != m_chunks.size(); ++i) {
        if (m_header.chunks[i].firstId != m_slots.size() + 1)
            ThrowDamaged("an object is missing");
        ReadSlots(m_chunks[i]);
    }
    if (m_slots.size() + 1 != m_header.nextId)
        ThrowDamaged("an object is missing");
}

void GraphLoader::ReadSlots(std::span<std::byte const> bytes) {
    std::byte const* at = bytes.data();
    std::byte const* const end = at + bytes.size();
    while (at != end) {
        auto const record = ReadRecord(at, end, Checksum::Verify);
        if (record.id != m_slots.size() + 1)
            ThrowDamaged("an object is missing");
        m_slots.push_back({record.fields, static_cast<std::uint32_t>(record.fieldsEnd - record.fields), record.classTag,
                           record.version, false, nullptr});
        at = record.end;
    }
}

GraphLoader::Slot& GraphLoader::FindSlot(std::uint32_t id) {
    if (id > m_slots.size())
        ThrowDamaged("an object is referred to that does not exist");
    return m_slots[id - 1];
}

void GraphLoader::Make(std::uint32_t id, Slot& slot) {
    auto const* properties = FindClass(slot.classTag);
    if (properties != nullptr && slot.version > properties->GetVersion()) {
        throw FutureVersionException(std::string("version ") + std::to_string(slot.version) + " of " +
                                         properties->GetName() + " was written by a newer program",
                                     false);
    }
    if (properties != nullptr)
        slot.object = properties->Create();
    if (!slot.object) {
        slot.object = MakeCounted<UnknownObject>();
        slot.isUnknown = true;
    }
    m_made.push_back(id);
}

InContext::Resolved GraphLoader::Resolve(std::uint32_t id) {
    auto& slot = FindSlot(id);
    if (!slot.object)
        Make(id, slot);
    return {slot.object.get(), slot.isUnknown};
}

void GraphLoader::Keep(Slot const& slot, bool whole, std::vector<PreservedField>&& fields) {
    auto preserved = std::make_shared<PreservedFields>();
    preserved->uid = ClassUID::FromValue(slot.classTag);
    preserved->version = slot.version;
    preserved->whole = whole;
    preserved->fields = std::move(fields);
    preserved->hidden = std::exchange(hidden, {});
    SetPreservedFields(*slot.object, std::move(preserved));
    m_withPreserved.emplace_back(slot.object);
}

void GraphLoader::LoadObject(Slot& slot) {
    std::byte const* const end = slot.fields + slot.size;
    std::vector<PreservedField> fields;
    hidden.clear();
    if (!slot.isUnknown) {
        InSerialiser const in = Open(*this, slot.fields, end);
        if (slot.object->Load(in, m_files, slot.version)) [[likely]] {
            CollectUnasked(in, fields);
            if (!fields.empty() || !hidden.empty()) [[unlikely]]
                Keep(slot, false, std::move(fields));
            return;
        }
        m_unreadable.push_back(slot.object);
    }
    CollectAll(slot.fields, end, fields);
    Keep(slot, true, std::move(fields));
}

ObjectGraph::LoadedRoots GraphLoader::LoadAll() {
    ReadChunks();
    ObjectGraph::LoadedRoots roots;
    roots.reserve(m_header.roots.size());
    for (std::uint32_t const id : m_header.roots)
        roots.emplace_back(id == 0 ? nullptr : Resolve(id).object);
    for (std::size_t i = 0; i != m_made.size(); ++i)
        LoadObject(FindSlot(m_made[i]));
    return roots;
}

// Loads every object once more with no references at all, so that those that hold each other let go.
void GraphLoader::Clear() noexcept {
    mode = Mode::Clear;
    for (std::uint32_t const id : m_made) {
        auto& slot = m_slots[id - 1];
        DropPreservedFields(*slot.object);
        if (slot.isUnknown)
            continue;
        try {
            InSerialiser const in = Open(*this, slot.fields, slot.fields + slot.size);
            slot.object->Load(in, m_files, slot.version);
        } catch (...) {
            // The damage is on its way to the caller already; this object was filled as far as it was emptied now.
        }
    }
    hidden.clear();
    m_unreadable.clear();
}

ObjectGraph::LoadedRoots GraphLoader::Load(std::function<void(ObjectGraph::LoadedRoots const&)> const& accept) {
    try {
        auto roots = LoadAll();
        if (accept)
            accept(roots);
        return roots;
    } catch (...) {
        Clear();
        throw;
    }
}

void GraphLoader::Commit(ObjectGraph::State& state) {
    state.Reset();
    std::uint32_t const epoch = GraphRegistry::Begin(state.changes);
    state.SetEpoch(epoch);
    state.header = std::move(m_header);
    state.needsFullSave = false;
    state.unreadable = std::move(m_unreadable);
    state.withPreserved.insert(state.withPreserved.end(), m_withPreserved.begin(), m_withPreserved.end());
    // Millions of objects that are in no cache any more.
    constexpr std::size_t c_ahead = 16;
    for (std::size_t i = 0; i != m_made.size(); ++i) {
        if (i + c_ahead < m_made.size())
            __builtin_prefetch(m_slots[m_made[i + c_ahead] - 1].object.get(), 1);
        std::uint32_t const id = m_made[i];
        auto& object = m_slots[id - 1].object;
        auto& word = GraphAccess::Word(*object);
        auto const preserved = word.load(std::memory_order_relaxed) & GraphAccess::c_preserved;
        word.store(GraphAccess::Make(id, epoch, preserved | GraphAccess::c_clean), std::memory_order_relaxed);
        object.reset();
    }
}

} // namespace Kernel::Detail
