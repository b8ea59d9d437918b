// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "platform/kernel/counted.h"

#include <atomic>
#include <cstdint>

namespace Kernel {

namespace Detail {
struct GraphAccess;
}

class CompareContext;
class FileStore;
class HashAccumulator;
class InSerialiser;
class OutSerialiser;

// The face of an object that can be saved and loaded by its class tag.
class REDRAFT_ENGINE Serialisable : public virtual Countable {
public:
    // Writes the fields under their tags. Changes nothing; may run more than once, and in a pass that only gathers
    // file paths.
    virtual void Save(OutSerialiser& out) const = 0;
    // Reads the same tags; a missing tag leaves its field. False: the object cannot be read. Objects that are referred
    // to may not be loaded yet: keep them, ask them nothing.
    //
    // When the load of a graph fails, every object is loaded once more with all references empty, so that cycles come
    // apart: what is read replaces what was there.
    virtual bool Load(InSerialiser const& in, FileStore& files, unsigned short version) = 0;
    // Feeds everything that Save writes into a hash; objects that are referred to count with their content.
    virtual void AccumulateHash(HashAccumulator& hash) const;
    virtual ClassProperties const* GetObjectClassProperties() const = 0;
    // True when the other object is of the same class and Save writes the same for both.
    virtual bool CompareMembers(Serialisable const& other, CompareContext const& context) const;

    ~Serialisable() override;

    // To be called by whoever changes what Save writes: the next save of the object's document writes it again. Costs
    // one test for an object that is new or already marked.
    void MarkChanged() const {
        if ((m_graphWord.load(std::memory_order_relaxed) & c_cleanInGraph) != 0) [[unlikely]]
            MarkChangedInGraph();
    }

protected:
    Serialisable() = default;
    Serialisable(Serialisable const&) : Countable() {}
    Serialisable& operator=(Serialisable const&) { return *this; }

private:
    friend struct Detail::GraphAccess;
    static constexpr std::uint64_t c_cleanInGraph = 1;
    void MarkChangedInGraph() const;

    // The object graph's notes on this object: its id there, which graph that is, and whether it has changed.
    mutable std::atomic<std::uint64_t> m_graphWord{0};
};

} // namespace Kernel
