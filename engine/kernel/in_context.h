// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/preserved_fields.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/serialisable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace Kernel::Detail {

// Data that a reader needs only now and then.
struct InExtra {
    // Fields that were asked for out of their order.
    std::vector<std::byte const*> asked;
    // Objects that were given out must not move.
    std::deque<InSerialiser> nested;
    std::deque<std::vector<Counted<Serialisable>>> arrays;
};

// The state that the serialisers of one load share: who knows the objects.
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
    // Whether nothing of this scope, or of those in it, is left to be collected.
    static bool IsAllAsked(InSerialiser const& in);
    // The tags of the fields between the two, a bit of 64 for each: what is not among them is missing.
    std::uint64_t GetTagBits(std::byte const* begin, std::byte const* end, unsigned depth);
    static std::uint64_t GetTagBit(std::uint32_t tag) { return std::uint64_t{1} << (tag * 0x9E3779B1u >> 26); }
    // Extras are used again: most objects with value classes in them need one.
    std::unique_ptr<InExtra> TakeExtra();
    void GiveExtra(std::unique_ptr<InExtra> extra) noexcept;
    // Where the object is remembered that was read of equal bytes, or will be.
    struct SharedValue {
        std::byte const* begin = nullptr;
        std::byte const* end = nullptr;
        Counted<Serialisable> object;
    };
    // Null when the class is not registered.
    ClassProperties const* FindClass(std::uint32_t tag) {
        auto& cached = m_classes[(tag * 0x9E3779B1u) >> 24];
        if (cached.properties == nullptr || cached.tag != tag)
            cached = {tag, ClassRegistry::Find(ClassUID::FromValue(tag))};
        return cached.properties;
    }
    SharedValue& FindSharedValue(std::byte const* begin, std::byte const* end);
    Counted<Serialisable> ResolveFor(std::uint64_t path, IDTag tag, std::uint32_t index, std::uint32_t id);

    Mode mode;
    // References of the object that is being loaded to unknown objects.
    std::vector<HiddenReference> hidden;

protected:
    ~InContext() = default;

private:
    struct TagsOfScope {
        std::byte const* begin = nullptr;
        std::byte const* end = nullptr;
        std::uint64_t bits = 0;
    };
    struct CachedClass {
        std::uint32_t tag = 0;
        ClassProperties const* properties = nullptr;
    };
    std::array<CachedClass, 256> m_classes{};
    // By depth, of the scope that was asked last.
    std::array<TagsOfScope, 4> m_tags{};
    std::vector<std::unique_ptr<InExtra>> m_extras;
    std::vector<SharedValue> m_sharedValues;

    void Collect(std::uint64_t path, std::byte const* begin, std::byte const* end, std::vector<PreservedField>& fields);
};

} // namespace Kernel::Detail
