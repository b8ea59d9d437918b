// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/prop_type.h"
#include "platform/kernel/string.h"
#include "platform/kernel/tag.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kernel {

class EnumSerialiser;
class FileStore;
class Serialisable;

namespace Detail {
class InContext;
struct InExtra;
} // namespace Detail

// Reads the fields of one object, or of a value class within it, by tag and in any order; the order in which they were
// written is the fastest.
//
// A tag that is missing, or that has a value of another form, answers false or empty and leaves the argument alone.
// Operations throw DamagedDataException when the bytes make no sense. Pointers that are given out stay valid while the
// object is loaded.
class REDRAFT_ENGINE InSerialiser {
public:
    InSerialiser(InSerialiser&&) noexcept;
    InSerialiser(InSerialiser const&) = delete;
    InSerialiser& operator=(InSerialiser const&) = delete;
    ~InSerialiser();

    bool LoadType(IDTag tag, bool& value) const;
    bool LoadType(IDTag tag, String& value) const;
    bool LoadTypes(IDTag tag, std::vector<bool>& values) const;
    bool LoadTypes(IDTag tag, std::vector<String>& values) const;
    bool LoadTypeI(IDTag tag, PropType type, void* value, std::size_t size) const;
    // The packed elements, which need not be aligned: copy them out.
    void const* LoadTypeArrayI(IDTag tag, PropType type, std::size_t elementSize, std::size_t& count) const;
    // A name or number that is not registered counts as missing.
    bool LoadEnumI(IDTag tag, EnumSerialiser const& serialiser, int& value) const;
    bool LoadEnumI(IDTag tag, EnumSerialiser const& serialiser, std::vector<int>& values) const;

    // The object exists already and may not have been loaded yet: keep it, ask it nothing. The flag has no effect here.
    bool LoadObjectI(IDTag tag, Counted<Serialisable>& object, bool polymorphic) const;
    std::vector<Counted<Serialisable>> const* LoadObjectsI(IDTag tag, bool polymorphic) const;
    // A value class; an absent one answers null, as a missing tag does.
    InSerialiser const* LoadClassI(IDTag tag, ClassUID& uid, unsigned short& version) const;
    // True when an absent value class stands under the tag.
    bool LoadNullPropClassI(IDTag tag) const;
    // Absent elements are null. When the tag is missing, `uid` and `version` are left alone.
    std::vector<InSerialiser const*> LoadClassesI(IDTag tag, ClassUID& uid, unsigned short& version) const;

    // A value class as an object of its own, see inline_object.h. What is read is never changed, so that equal bytes
    // may give one object.
    Counted<Serialisable> LoadInlineObjectI(IDTag tag, FileStore& files) const;
    // The tag of the field that LoadType and the others would find fastest; the empty tag behind the last field.
    IDTag GetNextTag() const;
    // False: no field that has not been asked for has a tag that is `value` under the mask.
    bool MayHaveTag(std::uint32_t mask, std::uint32_t value) const;

private:
    friend class Detail::InContext;
    struct Field {
        std::byte const* payload;
        std::byte const* end;
    };

    InSerialiser(Detail::InContext& context, std::byte const* begin, std::byte const* end, std::uint64_t path,
                 unsigned depth);
    bool Find(IDTag tag, std::uint8_t type, Field& field) const;
    bool FindElsewhere(IDTag tag, std::uint8_t type, Field& field) const;
    void NoteAsked(IDTag tag, std::byte const* field, std::byte const* next) const;
    Detail::InExtra& GetExtra() const;
    std::vector<Counted<Serialisable>>& AddArray() const;
    InSerialiser const* OpenNested(Field const& field, std::uint64_t path) const;

    Detail::InContext* m_context;
    std::byte const* m_begin;
    std::byte const* m_end;
    // The field after the one that was found last.
    mutable std::byte const* m_cursor;
    // All fields before this one have been asked for; later ones that have are noted aside.
    mutable std::byte const* m_askedEnd;
    // A bit for each tag that was found, which other tags may share.
    mutable std::uint64_t m_askedTags = 0;
    std::uint64_t m_path;
    unsigned m_depth;
    mutable std::unique_ptr<Detail::InExtra> m_extra;
};

} // namespace Kernel
