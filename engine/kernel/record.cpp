// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/record.h"

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/crc32c.h"
#include "platform/kernel/exception.h"

namespace Kernel::Detail {

void ThrowDamaged(char const* what) { throw DamagedDataException(what); }

std::uint32_t ReadLongVarint32(std::byte const*& at, std::byte const* end) {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift != 35; shift += 7) {
        if (at == end)
            ThrowDamaged("a number is broken off");
        auto const part = static_cast<std::uint8_t>(*at++);
        value |= static_cast<std::uint64_t>(part & 0x7F) << shift;
        if (part < 0x80) {
            if (value > 0xFFFFFFFF)
                break;
            return static_cast<std::uint32_t>(value);
        }
    }
    ThrowDamaged("a number is too large");
}

RecordView ReadRecord(std::byte const* at, std::byte const* end, Checksum checksum) {
    std::byte const* const begin = at;
    RecordView record;
    record.id = ReadVarint32(at, end);
    if (end - at < 4)
        ThrowDamaged("an object is broken off");
    record.classTag = LoadTag(at);
    at += 4;
    std::uint32_t const version = ReadVarint32(at, end);
    if (version > 0xFFFF)
        ThrowDamaged("an object has an impossible version");
    record.version = static_cast<std::uint16_t>(version);
    std::size_t const length = ReadLength(at, end);
    record.fields = at;
    record.fieldsEnd = at + length;
    if (static_cast<std::size_t>(end - record.fieldsEnd) < c_checksumSize)
        ThrowDamaged("an object is broken off");
    record.end = record.fieldsEnd + c_checksumSize;
    if (checksum == Checksum::Verify) {
        std::uint32_t stored;
        std::memcpy(&stored, record.fieldsEnd, sizeof stored);
        if (ComputeCrc32c(begin, static_cast<std::size_t>(record.fieldsEnd - begin)) != stored)
            ThrowDamaged("an object's checksum is wrong");
    }
    return record;
}

} // namespace Kernel::Detail
