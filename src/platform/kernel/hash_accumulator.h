// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace Kernel {

class Serialisable;

struct Hash128 {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    friend constexpr auto operator<=>(Hash128 const&, Hash128 const&) = default;
    // 32 hexadecimal digits.
    REDRAFT_ENGINE std::string ToString() const;
};

// Hashes objects by what they save: XXH3-128 over the class tag and the fields of each object, in the order in which
// the objects are first met. References count as the number of their object in that order, so that two graphs of one
// shape and content have one hash, wherever their objects lie and whatever ids a file gave them. Equal objects of
// values classes have one number: whether a value is shared does not count. Deep graphs and cycles need no stack.
class REDRAFT_ENGINE HashAccumulator {
public:
    HashAccumulator();
    HashAccumulator(HashAccumulator const&) = delete;
    HashAccumulator& operator=(HashAccumulator const&) = delete;
    ~HashAccumulator();

    // Adds an object and all that it refers to. An object that was added before counts as a reference to it.
    void AddObject(Serialisable const& object);
    void AddBytes(std::span<std::byte const> bytes);
    // The hash of all that was added; more may be added afterwards.
    Hash128 GetHash();

    // Adds what the object's Save writes. Objects that it refers to follow in their turn. For use by
    // Serialisable::AccumulateHash.
    void AddSavedFields(Serialisable const& object);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

// How Serialisable::CompareMembers takes references.
class REDRAFT_ENGINE CompareContext {
public:
    enum class References {
        SameObject, // both refer to the very same object
        // both refer to objects that save the same, all the way down, in the same shape; equal objects of classes that
        // are hashed by content count as one
        SameContent
    };
    explicit CompareContext(References references = References::SameContent) : m_references(references) {}
    References GetReferences() const { return m_references; }

private:
    References m_references;
};

} // namespace Kernel
