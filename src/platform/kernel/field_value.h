// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/cast.h"
#include "platform/kernel/consolidated.h"
#include "platform/kernel/enum_serialiser.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/kernel/serialisable.h"

#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

// SaveValue and LoadValue for each type that a persisted member can have. LoadValue answers false, and leaves the value
// alone, when the tag is missing or has another form.
namespace Kernel {

// Reaches the field list of a class that keeps it private and names this as a friend.
struct FieldAccess {
    template <class T>
    static constexpr auto Fields() {
        return T::Fields();
    }
    template <class T>
    static constexpr bool HasFields() {
        return requires { T::Fields(); };
    }
    // Whether the list is T's own and not the one that it inherits from Base.
    template <class T, class Base>
    static consteval bool HasOwnFields() {
        if constexpr (HasFields<T>() && HasFields<Base>()) {
            if constexpr (std::is_same_v<decltype(&T::Fields), decltype(&Base::Fields)>)
                return &T::Fields != &Base::Fields;
            else
                return true;
        } else {
            return HasFields<T>();
        }
    }
    template <class T>
    static constexpr T Make() {
        return T();
    }
    // For factories: the caller counts the object.
    template <class T>
    static T* New() {
        return new T;
    }
};

template <class T>
void SaveFields(T const& object, OutSerialiser& out);
template <class T>
void LoadFields(T& object, InSerialiser const& in);

namespace Detail {

template <class T>
inline constexpr bool c_isSequence = false;
template <class T>
inline constexpr bool c_isSequence<std::vector<T>> = true;
template <class T>
inline constexpr bool c_isSequence<std::deque<T>> = true;
template <class T>
inline constexpr bool c_isMap = false;
template <class K, class V, class C>
inline constexpr bool c_isMap<std::map<K, V, C>> = true;
template <class T>
inline constexpr bool c_isReference = false;
template <class T>
inline constexpr bool c_isReference<Counted<T>> = true;
template <class T>
inline constexpr bool c_isReference<Consolidated<T>> = true;

// The object of an element that refers to one, through its face that can be saved.
template <class T>
NonCounted<Serialisable const> GetFace(T* object) {
    return CastPointer<Serialisable const>(static_cast<T const*>(object));
}

// The object by its typed face, with the reference that was given; empty when it has no such face.
template <class T>
Counted<T> TakeAs(Counted<Serialisable>&& object) {
    T* const typed = CastPointer<std::remove_const_t<T>>(object.get());
    if (typed == nullptr)
        return {};
    static_cast<void>(object.Detach());
    return Counted<T>::Adopt(typed);
}

template <class T>
void AssignObject(Counted<T>& member, Counted<Serialisable> object) {
    member = TakeAs<T>(std::move(object));
}
template <class T>
void AssignObject(Consolidated<T>& member, Counted<Serialisable> object) {
    member = Consolidated<T>(TakeAs<T const>(std::move(object)));
}

} // namespace Detail

// A value class: it has a class tag, and either Save and Load of its own or a field list.
template <class T>
concept ValueClass = requires {
    { T::GetClassUID() } -> std::convertible_to<ClassUID>;
};

template <class T>
concept FieldReference = Detail::c_isReference<T>;

inline void SaveValue(OutSerialiser& out, IDTag tag, bool const& value) { out.SaveType(tag, value); }
inline bool LoadValue(InSerialiser const& in, IDTag tag, bool& value) { return in.LoadType(tag, value); }

inline void SaveValue(OutSerialiser& out, IDTag tag, String const& value) { out.SaveType(tag, value); }
inline bool LoadValue(InSerialiser const& in, IDTag tag, String& value) { return in.LoadType(tag, value); }

template <PropValue T>
requires(!std::is_same_v<T, bool>) void SaveValue(OutSerialiser& out, IDTag tag, T const& value) {
    out.SaveTypeI(tag, PropTraits<T>::c_type, &value, sizeof value);
}
template <PropValue T>
requires(!std::is_same_v<T, bool>) bool LoadValue(InSerialiser const& in, IDTag tag, T& value) {
    return in.LoadTypeI(tag, PropTraits<T>::c_type, &value, sizeof value);
}

template <FieldReference T>
void SaveValue(OutSerialiser& out, IDTag tag, T const& object) {
    out.SaveObject(tag, Detail::GetFace(object.get()), true);
}
// An object of another class makes the reference empty.
template <FieldReference T>
bool LoadValue(InSerialiser const& in, IDTag tag, T& object) {
    Counted<Serialisable> loaded;
    if (!in.LoadObjectI(tag, loaded, true))
        return false;
    Detail::AssignObject(object, std::move(loaded));
    return true;
}

namespace Detail {

template <class T>
constexpr unsigned short GetSchemaVersion() {
    if constexpr (requires { T::GetSchemaVersion(); })
        return T::GetSchemaVersion();
    else
        return 1;
}

template <class Write>
void SaveNested(OutSerialiser& out, Write const& write) {
    OutSerialiser nested(out, nullptr);
    try {
        write(nested);
        nested.Close();
    } catch (...) {
        SerialiserAccess::MarkAsHandlingException(nested);
        throw;
    }
}

template <class T>
void SaveClassMembers(T const& value, OutSerialiser& out) {
    if constexpr (FieldAccess::HasFields<T>())
        SaveFields(value, out);
    else
        value.Save(out);
}

template <class T>
void LoadClassMembers(T& value, InSerialiser const& in, ClassUID uid, unsigned short version) {
    if constexpr (FieldAccess::HasFields<T>()) {
        if (version > GetSchemaVersion<T>())
            throw FutureVersionException(true);
        LoadFields(value, in);
    } else if (!value.Load(in, uid, version)) {
        throw FutureVersionException(true);
    }
}

// An array of value classes: `write(element, nested)` writes the members of one.
template <class Sequence, class Write>
void SaveClassArray(OutSerialiser& out, IDTag tag, ClassUID uid, unsigned short version, Sequence const& elements,
                    Write const& write) {
    bool const isFull = SerialiserAccess::IsFullSave(out);
    if (isFull) {
        out.StartClassArrayTestI(tag);
        out.StartClassArrayBeginI(tag, uid, version, elements.size());
    }
    for (auto const& element : elements) {
        if (isFull)
            out.StartClassArrayClassI();
        SaveNested(out, [&](OutSerialiser& nested) { write(element, nested); });
        if (isFull)
            out.EndPropClassI();
    }
    if (isFull)
        out.EndPropClassArrayI();
}

// Calls `read(nested, version)` for each element up to the first absent one. False when the array is missing or of
// another class.
template <class Begin, class Read>
bool LoadClassArray(InSerialiser const& in, IDTag tag, ClassUID wanted, Begin const& begin, Read const& read) {
    ClassUID uid;
    unsigned short version = 0;
    auto const elements = in.LoadClassesI(tag, uid, version);
    if (uid != wanted)
        return false;
    begin();
    for (auto const* element : elements) {
        if (element == nullptr)
            break;
        read(*element, version);
    }
    return true;
}

} // namespace Detail

template <ValueClass T>
void SaveValue(OutSerialiser& out, IDTag tag, T const& value) {
    bool const isFull = SerialiserAccess::IsFullSave(out);
    if (isFull) {
        out.StartClassTestI(tag);
        out.StartClassBeginI(tag, T::GetClassUID(), Detail::GetSchemaVersion<T>());
    }
    Detail::SaveNested(out, [&](OutSerialiser& nested) { Detail::SaveClassMembers(value, nested); });
    if (isFull)
        out.EndPropClassI();
}
// Throws FutureVersionException when the value was written by a newer schema.
template <ValueClass T>
bool LoadValue(InSerialiser const& in, IDTag tag, T& value) {
    ClassUID uid;
    unsigned short version = 0;
    auto const* nested = in.LoadClassI(tag, uid, version);
    if (nested == nullptr || uid != T::GetClassUID())
        return false;
    Detail::LoadClassMembers(value, *nested, uid, version);
    return true;
}

// An absent value is written as such and clears the member.
template <ValueClass T>
void SaveValue(OutSerialiser& out, IDTag tag, std::optional<T> const& value) {
    if (value)
        SaveValue(out, tag, *value);
    else
        out.SaveNullPropClassI(tag);
}
template <ValueClass T>
bool LoadValue(InSerialiser const& in, IDTag tag, std::optional<T>& value) {
    T loaded = FieldAccess::Make<T>();
    if (!LoadValue(in, tag, loaded)) {
        if (!in.LoadNullPropClassI(tag))
            return false;
        value.reset();
        return true;
    }
    value = std::move(loaded);
    return true;
}

template <class Sequence>
requires Detail::c_isSequence<Sequence>
void SaveValue(OutSerialiser& out, IDTag tag, Sequence const& values) {
    using T = typename Sequence::value_type;
    bool const isFull = SerialiserAccess::IsFullSave(out);
    if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, String>) {
        out.SaveTypes(tag, values);
    } else if constexpr (PropValue<T>) {
        if (!isFull)
            return;
        out.StartNewPropTypeArrayTestI(tag, values.size());
        out.StartNewPropTypeArrayBeginI(tag, PropTraits<T>::c_type, values.size());
        for (auto const& value : values) {
            if (out.GetOutStream().Write(&value, sizeof value) != sizeof value) {
                SerialiserAccess::MarkAsHandlingException(out);
                throw OutSerialiser::SaveException(out.GetFilePath());
            }
        }
    } else if constexpr (FieldReference<T>) {
        if (isFull) {
            out.StartObjectArrayTestI(tag, values.size());
            out.StartObjectArrayBeginI(tag, values.size());
        }
        for (auto const& value : values) {
            if (isFull)
                out.SaveObjectI(tag, Detail::GetFace(value.get()), true);
            else
                out.SaveObjectEnumeratePathsOnlyI(Detail::GetFace(value.get()));
        }
    } else {
        static_assert(ValueClass<T>, "this type has no persisted form");
        Detail::SaveClassArray(out, tag, T::GetClassUID(), Detail::GetSchemaVersion<T>(), values,
                               [](T const& value, OutSerialiser& nested) { Detail::SaveClassMembers(value, nested); });
    }
}

// An array of value classes of another class tag counts as missing; an absent element ends the array.
template <class Sequence>
requires Detail::c_isSequence<Sequence>
bool LoadValue(InSerialiser const& in, IDTag tag, Sequence& values) {
    using T = typename Sequence::value_type;
    if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, String>) {
        return in.LoadTypes(tag, values);
    } else if constexpr (PropValue<T>) {
        std::size_t count = 0;
        auto const* bytes =
            static_cast<std::byte const*>(in.LoadTypeArrayI(tag, PropTraits<T>::c_type, sizeof(T), count));
        if (bytes == nullptr)
            return false;
        values.resize(count);
        for (auto& value : values) {
            std::memcpy(&value, bytes, sizeof value);
            bytes += sizeof value;
        }
        return true;
    } else if constexpr (FieldReference<T>) {
        auto const* objects = in.LoadObjectsI(tag, true);
        if (objects == nullptr)
            return false;
        values.clear();
        values.resize(objects->size());
        for (std::size_t i = 0; i != objects->size(); ++i)
            Detail::AssignObject(values[i], (*objects)[i]);
        return true;
    } else {
        static_assert(ValueClass<T>, "this type has no persisted form");
        return Detail::LoadClassArray(
            in, tag, T::GetClassUID(), [&] { values.clear(); },
            [&](InSerialiser const& nested, unsigned short version) {
                values.push_back(FieldAccess::Make<T>());
                Detail::LoadClassMembers(values.back(), nested, T::GetClassUID(), version);
            });
    }
}

// A map goes as an array of value classes MapV, each with a key Key_ and a value Valu, in the map's order.
template <class Map>
requires Detail::c_isMap<Map>
void SaveValue(OutSerialiser& out, IDTag tag, Map const& map) {
    Detail::SaveClassArray(out, tag, "MapV", 1, map, [](auto const& item, OutSerialiser& nested) {
        SaveValue(nested, "Key_", item.first);
        SaveValue(nested, "Valu", item.second);
    });
}
// Pairs without a key are left out; of pairs with one key the last one stands.
template <class Map>
requires Detail::c_isMap<Map>
bool LoadValue(InSerialiser const& in, IDTag tag, Map& map) {
    return Detail::LoadClassArray(
        in, tag, "MapV", [&] { map.clear(); },
        [&](InSerialiser const& nested, unsigned short) {
            auto key = FieldAccess::Make<typename Map::key_type>();
            if (!LoadValue(nested, "Key_", key))
                return;
            auto& value = map[std::move(key)];
            LoadValue(nested, "Valu", value);
        });
}

namespace Detail {

template <class E>
void SaveEnumMember(OutSerialiser& out, IDTag tag, EnumSerialiser const& serialiser, E const& value) {
    if constexpr (c_isSequence<E>) {
        std::vector<int> numbers;
        for (auto const element : value)
            numbers.push_back(static_cast<int>(element));
        out.SaveEnumsI(tag, serialiser, numbers.data(), numbers.size());
    } else {
        out.SaveEnumI(tag, serialiser, static_cast<int>(value));
    }
}

template <class E>
bool LoadEnumMember(InSerialiser const& in, IDTag tag, EnumSerialiser const& serialiser, E& value) {
    if constexpr (c_isSequence<E>) {
        std::vector<int> numbers;
        if (!in.LoadEnumI(tag, serialiser, numbers))
            return false;
        value.clear();
        for (int const number : numbers)
            value.push_back(static_cast<typename E::value_type>(number));
        return true;
    } else {
        int number = 0;
        if (!in.LoadEnumI(tag, serialiser, number))
            return false;
        value = static_cast<E>(number);
        return true;
    }
}

} // namespace Detail

} // namespace Kernel
