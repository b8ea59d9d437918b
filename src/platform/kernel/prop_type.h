// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Kernel {

// How a field's value is stored. Numbers are part of the file format.
//
// Below 64 the number alone tells how long a value is. From 64 to 127 a value carries its length, so that types of
// higher rooms can be stored, and skipped by programs that do not know them. All values are little-endian and packed.
enum class PropType : std::uint8_t {
    Bool = 1,     // 1 byte, 0 or 1
    Text = 2,     // UTF-8
    EnumName = 3, // the registered name of an enumeration's value
    UInt64 = 4,   // also a mask of changes
    Float = 5,
    Double = 6,
    Int32 = 7,      // signed or unsigned, a plain enumeration, a symbol index
    Object = 8,     // a reference to an object of the graph
    Class = 9,      // a value class with fields of its own
    Int64 = 10,     // also an offset
    NullClass = 11, // an absent value class
    Byte = 12,
    Int16 = 13,
    Pair = 36,   // two doubles, or an id of 16 bytes
    Rect = 38,   // four doubles: left, top, right, bottom
    Affine = 40, // six doubles: a, b, tx, c, d, ty
    FirstExtension = 64,
    LastExtension = 127,
};

// Tells the serialisers in which form a type is stored. Specialise it with `static constexpr PropType c_type` for a
// trivially copyable type without padding; types that are not the kernel's take numbers from 64 on, each number for
// one type only.
template <class T>
struct PropTraits {};

template <>
struct PropTraits<float> {
    static constexpr PropType c_type = PropType::Float;
};
template <>
struct PropTraits<double> {
    static constexpr PropType c_type = PropType::Double;
};
template <>
struct PropTraits<std::byte> {
    static constexpr PropType c_type = PropType::Byte;
};
template <class T>
requires(std::integral<T> && !std::same_as<T, bool>) struct PropTraits<T> {
    static constexpr PropType c_type = sizeof(T) == 1        ? PropType::Byte
                                       : sizeof(T) == 2      ? PropType::Int16
                                       : sizeof(T) == 4      ? PropType::Int32
                                       : std::is_signed_v<T> ? PropType::Int64
                                                             : PropType::UInt64;
};
template <class T>
requires(std::is_enum_v<T> && sizeof(T) == 4) struct PropTraits<T> {
    static constexpr PropType c_type = PropType::Int32;
};
template <>
struct PropTraits<PointT<double>> {
    static constexpr PropType c_type = PropType::Pair;
};
template <>
struct PropTraits<SizeT<double>> {
    static constexpr PropType c_type = PropType::Pair;
};
template <>
struct PropTraits<BlobKey> {
    static constexpr PropType c_type = PropType::Pair;
};
template <>
struct PropTraits<RectT<double>> {
    static constexpr PropType c_type = PropType::Rect;
};
template <>
struct PropTraits<Raster::AffineTransform::Params> {
    static constexpr PropType c_type = PropType::Affine;
};

// A type that is stored as its bytes.
template <class T>
concept PropValue = std::is_trivially_copyable_v<T> && requires {
    { PropTraits<T>::c_type } -> std::convertible_to<PropType>;
};

} // namespace Kernel
