// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/out_context.h"

#include "engine/kernel/crc32c.h"
#include "engine/kernel/record.h"
#include "platform/kernel/serialisable.h"

#include <typeinfo>

namespace Kernel::Detail {

// Which class and version the object is saved as; finds its preserved fields.
ClassUID OutContext::BeginObject(Serialisable const& object, unsigned short& version) {
    preserved.reset();
    recordStart = buffer.size();
    if ((GraphAccess::Load(object) & GraphAccess::c_preserved) != 0) [[unlikely]]
        preserved = FindPreservedFields(object);
    if (preserved != nullptr && preserved->whole) {
        version = preserved->version;
        return preserved->uid;
    }
    auto const* properties = object.GetObjectClassProperties();
    if (properties == nullptr)
        throw Exception(std::string("an object has no persisted class: ") + typeid(object).name());
    version = properties->GetVersion();
    return properties->GetClassUID();
}

void OutContext::WriteFields(Serialisable const& object) {
    OutSerialiser out(*this);
    // An object that could not be read holds a part of its record at most: the record itself goes out again.
    if (preserved == nullptr || !preserved->whole) [[likely]]
        object.Save(out);
    out.Close();
}

void OutContext::WriteRecord(std::uint32_t id, Serialisable const& object) {
    unsigned short version = 0;
    auto const uid = BeginObject(object, version);
    buffer.AppendVarint(id);
    buffer.AppendTag(uid.GetValue());
    buffer.AppendVarint(version);
    std::size_t const lengthAt = buffer.size();
    buffer.AppendByte(0);
    WriteFields(object);
    buffer.PatchLength(lengthAt, 0);
    std::uint32_t const checksum = ComputeCrc32c(buffer.data() + recordStart, buffer.size() - recordStart);
    buffer.Append(&checksum, sizeof checksum);
}

void OutContext::WriteCanonical(Serialisable const& object) {
    unsigned short version = 0;
    buffer.AppendTag(BeginObject(object, version).GetValue());
    WriteFields(object);
}

void OutContext::GatherPaths(Serialisable const& object) { WriteFields(object); }

void OutContext::AppendPreserved(std::uint64_t path, std::size_t scopeStart) {
    for (auto const& field : preserved->fields) {
        if (field.path != path)
            continue;
        bool isWritten = false;
        std::byte const* const end = buffer.data() + buffer.size();
        for (std::byte const* at = buffer.data() + scopeStart; at != end && !isWritten;) {
            auto const written = ReadField(at, end);
            isWritten = written.tag == field.tag;
            at = written.end;
        }
        if (!isWritten || preserved->whole)
            WritePreservedField(*this, field);
    }
}

std::size_t OutContext::Write(void const* bytes, std::size_t size) {
    // Whoever writes raw values by hand asks first whether the pass takes them.
    if (purpose == Purpose::PathsOnly)
        return 0;
    std::size_t const used = buffer.size() - recordStart;
    std::size_t const room = used < maxRecordSize ? maxRecordSize - used : 0;
    std::size_t const count = size < room ? size : room;
    buffer.Append(bytes, count);
    return count;
}

} // namespace Kernel::Detail
