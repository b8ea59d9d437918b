// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/preserved_fields.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kernel::Detail {

// What a reader needs only now and then.
struct InExtra {
    // Fields that were asked for out of their order.
    std::vector<std::byte const*> asked;
    // What was given out must not move.
    std::vector<std::unique_ptr<InSerialiser>> nested;
    std::vector<std::unique_ptr<std::vector<Counted<Serialisable>>>> arrays;
};

// What the serialisers of one load share: who knows the objects.
class InContext {
public:
    // Clear answers every reference with none: it takes back what a failed load has built.
    enum class Mode : std::uint8_t { Load, Clear };
    struct Resolved {
        Serialisable* object;
        // True for a stand-in, which fields of a class's own type cannot hold.
        bool isUnknown;
    };

    explicit InContext(Mode readMode) : mode(readMode) {}
    InContext(InContext const&) = delete;
    InContext& operator=(InContext const&) = delete;

    // The object of this id, which is not 0. Throws DamagedDataException when there is none.
    virtual Resolved Resolve(std::uint32_t id) = 0;

    static InSerialiser Open(InContext& context, std::byte const* begin, std::byte const* end) {
        return InSerialiser(context, begin, end, 0, 0);
    }
    // Adds the fields of this scope and the nested ones that have not been asked for.
    void CollectUnasked(InSerialiser const& in, std::vector<PreservedField>& fields);
    // Adds all of the fields.
    void CollectAll(std::byte const* begin, std::byte const* end, std::vector<PreservedField>& fields);
    Counted<Serialisable> ResolveFor(std::uint64_t path, IDTag tag, std::uint32_t index, std::uint32_t id);

    Mode mode;
    // References of the object that is being loaded to unknown objects.
    std::vector<HiddenReference> hidden;

protected:
    ~InContext() = default;

private:
    void Collect(std::uint64_t path, std::byte const* begin, std::byte const* end, std::vector<PreservedField>& fields);
};

} // namespace Kernel::Detail
