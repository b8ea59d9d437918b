// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/byte_buffer.h"
#include "platform/kernel/prop_type.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// The bytes of one object:
//
//   varint id, 4 bytes class tag, varint version, varint length of the fields, fields,
//   4 bytes CRC-32C of all before it
//
// and of one field:
//
//   4 bytes tag, 1 byte form, value
//
// The form is a PropType, or one with c_arrayBit for an array. Values of fixed-size types stand alone; a reference is
// the varint id of its object, 0 for none; everything else is a varint length and so many bytes. The bytes of a value
// class are 4 bytes class tag, varint version, fields; of an array of them 4 bytes class tag, varint version, and for
// each element varint length + 1 and fields, or 0 for an absent one. Other arrays are their elements, packed; strings
// and enumeration names in arrays have a varint length each, and length 0 of a name says that 4 bytes with the number
// follow.
namespace Kernel::Detail {

static_assert(std::endian::native == std::endian::little, "values are stored as they lie in memory");

inline constexpr std::uint8_t c_arrayBit = 0x80;
// Value classes within value classes, at most.
inline constexpr unsigned c_maxClassDepth = 64;
inline constexpr std::size_t c_fieldHeaderSize = 5;
inline constexpr std::size_t c_checksumSize = 4;
// Id, class tag, version, length, checksum.
inline constexpr std::size_t c_minRecordSize = 1 + 4 + 1 + 1 + c_checksumSize;

[[noreturn]] void ThrowDamaged(char const* what);

inline constexpr std::uint8_t c_lengthGiven = 0xFF;
inline constexpr std::uint8_t c_varintValue = 0xFE;
inline constexpr std::uint8_t c_badForm = 0xFD;

// For each form the size of its value, or how it is found.
inline constexpr auto c_formSizes = [] {
    std::array<std::uint8_t, 256> sizes{};
    sizes.fill(c_badForm);
    auto const set = [&](PropType type, std::uint8_t size) { sizes[static_cast<std::uint8_t>(type)] = size; };
    set(PropType::Bool, 1);
    set(PropType::Text, c_lengthGiven);
    set(PropType::EnumName, c_lengthGiven);
    set(PropType::UInt64, 8);
    set(PropType::Float, 4);
    set(PropType::Double, 8);
    set(PropType::Int32, 4);
    set(PropType::Object, c_varintValue);
    set(PropType::Class, c_lengthGiven);
    set(PropType::Int64, 8);
    set(PropType::NullClass, 0);
    set(PropType::Byte, 1);
    set(PropType::Int16, 2);
    set(PropType::Pair, 16);
    set(PropType::Rect, 32);
    set(PropType::Affine, 48);
    for (unsigned form = 64; form != 128; ++form)
        sizes[form] = c_lengthGiven;
    for (unsigned form = 0; form != 128; ++form) {
        if (sizes[form] != c_badForm)
            sizes[form | c_arrayBit] = c_lengthGiven;
    }
    return sizes;
}();

constexpr std::uint8_t GetForm(PropType type) { return static_cast<std::uint8_t>(type); }
constexpr std::uint8_t GetArrayForm(PropType type) { return static_cast<std::uint8_t>(type) | c_arrayBit; }

std::uint32_t ReadLongVarint32(std::byte const*& at, std::byte const* end);

// Throws DamagedDataException when the bytes end or the value has more than 32 bits.
inline std::uint32_t ReadVarint32(std::byte const*& at, std::byte const* end) {
    if (end - at >= 4) [[likely]] {
        // The first three bytes at once: ids and lengths seldom have more.
        std::uint32_t bytes;
        std::memcpy(&bytes, at, sizeof bytes);
        if ((bytes & 0x80) == 0) {
            at += 1;
            return bytes & 0x7F;
        }
        if ((bytes & 0x8000) == 0) {
            at += 2;
            return (bytes & 0x7F) | (bytes >> 1 & 0x3F80);
        }
        if ((bytes & 0x800000) == 0) {
            at += 3;
            return (bytes & 0x7F) | (bytes >> 1 & 0x3F80) | (bytes >> 2 & 0x1FC000);
        }
    }
    return ReadLongVarint32(at, end);
}

// A varint length and the check that so many bytes follow.
inline std::size_t ReadLength(std::byte const*& at, std::byte const* end) {
    std::size_t const length = ReadVarint32(at, end);
    if (length > static_cast<std::size_t>(end - at)) [[unlikely]]
        ThrowDamaged("a length goes beyond the end");
    return length;
}

struct FieldView {
    std::uint32_t tag;
    std::uint8_t form;
    // The value without its length.
    std::byte const* value;
    std::byte const* end;
};

// The end of a field's value, which begins at `value`; steps over the length before it.
inline std::byte const* FindValueEnd(std::uint8_t form, std::byte const*& value, std::byte const* end) {
    std::size_t size = c_formSizes[form];
    if (size >= c_badForm) {
        if (size == c_lengthGiven) {
            size = ReadLength(value, end);
            return value + size;
        }
        if (size == c_badForm)
            ThrowDamaged("a field has a form that does not exist");
        std::byte const* valueEnd = value;
        ReadVarint32(valueEnd, end);
        return valueEnd;
    }
    if (size > static_cast<std::size_t>(end - value))
        ThrowDamaged("a field is broken off");
    return value + size;
}

// Reads the field at `at`, which is not the end.
inline FieldView ReadField(std::byte const* at, std::byte const* end) {
    if (static_cast<std::size_t>(end - at) < c_fieldHeaderSize)
        ThrowDamaged("a field is broken off");
    FieldView field{LoadTag(at), static_cast<std::uint8_t>(at[4]), at + c_fieldHeaderSize, nullptr};
    field.end = FindValueEnd(field.form, field.value, end);
    return field;
}

struct RecordView {
    std::uint32_t id;
    std::uint32_t classTag;
    std::uint16_t version;
    std::byte const* fields;
    std::byte const* fieldsEnd;
    std::byte const* end;
};

enum class Checksum { Verify, Trust };

// Reads the record at `at`, which is not the end.
RecordView ReadRecord(std::byte const* at, std::byte const* end, Checksum checksum);

} // namespace Kernel::Detail
