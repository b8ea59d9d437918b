// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/serialisable.h"
#include "platform/kernel/tag.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kernel::Detail {

class OutContext;

// Tells one scope of an object from the others: the object itself is 0, value classes mix in how they are reached.
std::uint64_t MixPath(std::uint64_t path, std::uint32_t tag, std::uint32_t uid, std::uint64_t index) noexcept;

// A field that no Load asked for, with its header, and the objects that it refers to in the order of its bytes.
struct PreservedField {
    std::uint64_t path;
    std::uint32_t tag;
    std::vector<std::byte> bytes;
    std::vector<Counted<Serialisable>> references;
};

// A reference to an object of an unknown class, which the field that asked for it could not hold. It stands in for an
// empty reference in the same place when the object is saved.
struct HiddenReference {
    std::uint64_t path;
    std::uint32_t tag;
    std::uint32_t index;
    Counted<Serialisable> object;
};

// Stored fields of an object that its members do not hold.
struct PreservedFields {
    ClassUID uid;
    std::uint16_t version = 0;
    // Nothing of the object could be read, so this is saved in place of its members.
    bool whole = false;
    std::vector<PreservedField> fields;
    std::vector<HiddenReference> hidden;

    Serialisable const* FindHidden(std::uint64_t path, std::uint32_t tag, std::uint32_t index) const noexcept;
};

// Writes a preserved field again, with the ids that its objects have now.
void WritePreservedField(OutContext& context, PreservedField const& field);

// Called for each reference within a field: `at` points to the varint id.
class ReferenceVisitor {
public:
    virtual void Visit(std::uint32_t id) = 0;

protected:
    ~ReferenceVisitor() = default;
};
// Throws DamagedDataException when the field's inner form is broken or nested too deeply.
void VisitReferences(std::byte const* field, std::byte const* end, ReferenceVisitor& visitor);

// The preserved fields of all objects, kept beside them. An object with some has a flag in its graph word, and drops
// them when it goes.
void SetPreservedFields(Serialisable const& object, std::shared_ptr<PreservedFields const> fields);
std::shared_ptr<PreservedFields const> FindPreservedFields(Serialisable const& object);
void DropPreservedFields(Serialisable const& object) noexcept;

// Stands for an object whose class is not registered; all of it is in its preserved fields.
class UnknownObject final : public Serialisable {
public:
    void Save(OutSerialiser&) const override {}
    bool Load(InSerialiser const&, FileStore&, unsigned short) override { return true; }
    ClassProperties const* GetObjectClassProperties() const override;
};

} // namespace Kernel::Detail
