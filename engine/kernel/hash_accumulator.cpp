// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/hash_accumulator.h"

#include "engine/kernel/content_queue.h"
#include "engine/kernel/out_context.h"
#include "platform/kernel/serialisable.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <xxhash.h>

namespace Kernel {

using Detail::ContentQueue;
using Detail::ObjectQueue;
using Detail::OutContext;
using Detail::Purpose;

struct HashAccumulator::State {
    State() : hash(XXH3_createState()) {
        if (hash == nullptr)
            throw std::bad_alloc();
        XXH3_128bits_reset(hash);
    }
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State() { XXH3_freeState(hash); }

    void Add(void const* bytes, std::size_t size) { XXH3_128bits_update(hash, bytes, size); }
    // The fields of the objects that have been met and not hashed, and of those that these refer to.
    void Drain(HashAccumulator& accumulator) {
        while (next != queue.GetSize()) {
            auto const index = next++;
            if (index >= hashed.size() || !hashed[index])
                queue.Get(index).AccumulateHash(accumulator);
        }
    }

    XXH3_state_t* hash;
    ContentQueue queue;
    OutContext context{queue, Purpose::Hash};
    // By number less one: true for what was hashed ahead of its turn.
    std::vector<bool> hashed;
    std::size_t next = 0;
};

HashAccumulator::HashAccumulator() : m_state(std::make_unique<State>()) {}
HashAccumulator::~HashAccumulator() = default;

void HashAccumulator::AddObject(Serialisable const& object) {
    std::uint32_t const number = m_state->queue.GetReferenceId(object);
    m_state->Add(&number, sizeof number);
    m_state->Drain(*this);
}

void HashAccumulator::AddBytes(std::span<std::byte const> bytes) { m_state->Add(bytes.data(), bytes.size()); }

void HashAccumulator::AddSavedFields(Serialisable const& object) {
    auto& state = *m_state;
    std::size_t const index = state.queue.GetReferenceId(object) - 1;
    // Of an object that was hashed once, the number says it all.
    bool const isRepeated = index < state.hashed.size() && state.hashed[index];
    if (!isRepeated) {
        if (index >= state.hashed.size())
            state.hashed.resize(index + 1);
        state.hashed[index] = true;
    }
    state.context.buffer.clear();
    state.context.buffer.AppendVarint(index);
    if (!isRepeated) {
        std::size_t const lengthAt = state.context.buffer.size();
        state.context.buffer.AppendByte(0);
        state.context.WriteCanonical(object);
        state.context.buffer.PatchLength(lengthAt, 0);
    }
    state.Add(state.context.buffer.data(), state.context.buffer.size());
}

Hash128 HashAccumulator::GetHash() {
    m_state->Drain(*this);
    auto const digest = XXH3_128bits_digest(m_state->hash);
    return {digest.high64, digest.low64};
}

std::string Hash128::ToString() const {
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(high),
                  static_cast<unsigned long long>(low));
    return text;
}

void Serialisable::AccumulateHash(HashAccumulator& hash) const { hash.AddSavedFields(*this); }

bool Serialisable::CompareMembers(Serialisable const& other, CompareContext const& context) const {
    if (this == &other)
        return true;
    if (GetObjectClassProperties() != other.GetObjectClassProperties())
        return false;
    auto const isSame = [](OutContext& own, Serialisable const& a, OutContext& others, Serialisable const& b) {
        own.buffer.clear();
        others.buffer.clear();
        own.WriteCanonical(a);
        others.WriteCanonical(b);
        return own.buffer.size() == others.buffer.size() &&
               std::memcmp(own.buffer.data(), others.buffer.data(), own.buffer.size()) == 0;
    };
    if (context.GetReferences() == CompareContext::References::SameObject) {
        ObjectQueue objects;
        OutContext own(objects, Purpose::Hash), others(objects, Purpose::Hash);
        return isSame(own, *this, others, other);
    }
    ContentQueue ownObjects, othersObjects;
    OutContext own(ownObjects, Purpose::Hash), others(othersObjects, Purpose::Hash);
    ownObjects.GetReferenceId(*this);
    othersObjects.GetReferenceId(other);
    // Both sides number in the order of meeting, so that equal bytes mean equal shape.
    for (std::size_t i = 0; i != ownObjects.GetSize(); ++i) {
        if (i == othersObjects.GetSize() || !isSame(own, ownObjects.Get(i), others, othersObjects.Get(i)))
            return false;
    }
    return ownObjects.GetSize() == othersObjects.GetSize();
}

} // namespace Kernel
