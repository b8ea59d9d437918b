// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_value.h"

#include <array>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kernel {

namespace Detail {

struct NotGiven {};

// References are equal when they name one object, or two that are equal as values.
template <class T>
bool AreValuesEqual(T const& a, T const& b) {
    if constexpr (c_isReference<T>) {
        if (a == b)
            return true;
        if constexpr (requires { *a == *b; })
            return a && b && *a == *b;
        else
            return false;
    } else {
        return a == b;
    }
}

template <class T>
bool IsSet(T const& value) {
    if constexpr (requires { value.empty(); })
        return !value.empty();
    else if constexpr (requires { static_cast<bool>(value); })
        return static_cast<bool>(value);
    else
        return !(value == T());
}

template <class T>
bool IsUnset(T const& value) {
    if constexpr (requires { value.empty(); })
        return value.empty();
    else if constexpr (requires { value == T(); })
        return value == T();
    else
        return false;
}

template <class Older, class Convert>
struct OlderForm {
    IDTag tag;
    Convert convert;
};

} // namespace Detail

// One persisted member of a class: its tag, the member, and what is odd about its history.
//
//   Field{"Horz", &FlipCanvasCommand::m_horizontal}
//   Field{"RACs", &UngroupNodesCommand::m_relax}.WhenMissing(false)
//   Field{"Cont", &C::m_contentType}.EnumBy(&ContentTypeEnumSerialiser::GetInstance)
//   Field{"IPts", &C::m_points}.FromOlderTag("IPnt")
//   Field{"Size", &C::m_size}.FromOlderTag<double>("Widt", [](double width) { return Size{width, width}; })
//
// A value that programs outside may give has a name for them, and a default unless it must be given:
//
//   Field{"Horz", &FlipCanvasCommand::m_horizontal}.As("horizontal", "true mirrors left to right, false top to bottom")
//   Unstored{&C::m_enabled}.As("enabled", "puts the override in force", true)
//   Field{"Opac", &C::m_opacity}.As("opacity", "how much of what lies below is hidden", 1.0).Between(0, 1)
//   Field{"Wght", &C::m_weight}.As("weight", "the width of the line", 1.0).In("px (1/96 inch)").AtLeast(0)
template <class Class, class Member, class Missing = Detail::NotGiven, class Enum = Detail::NotGiven,
          class Older = Detail::NotGiven, bool WhenSet = false>
class Field {
public:
    using ClassType = Class;

    consteval Field(IDTag tag, Member Class::*member) : m_tag(tag), m_member(member) {}

    // The member's value after a load that did not find the tag. Without this the member is left as it was.
    template <class Value>
    consteval auto WhenMissing(Value value) const {
        return Field<Class, Member, Value, Enum, Older, WhenSet>(m_tag, m_member, value, m_enum, m_older);
    }
    // Nothing is written while the member is empty or equals a default-constructed one.
    consteval auto OnlyWhenSet() const {
        return Field<Class, Member, Missing, Enum, Older, true>(m_tag, m_member, m_missing, m_enum, m_older);
    }
    // Written by registered names. The argument is a function that gives the enumeration's serialiser, by reference or
    // pointer; the member is an enumeration or a vector of it.
    template <class GetSerialiser>
    consteval auto EnumBy(GetSerialiser serialiser) const {
        return Field<Class, Member, Missing, GetSerialiser, Older, WhenSet>(m_tag, m_member, m_missing, serialiser,
                                                                            m_older);
    }
    // Where the tag is missing, the member is read from this one, in which older programs wrote it: in the same form,
    // or as another type that the function converts.
    consteval auto FromOlderTag(IDTag tag) const { return FromOlderTag<Member>(tag, Detail::NotGiven{}); }
    template <class OlderType, class Convert>
    consteval auto FromOlderTag(IDTag tag, Convert convert) const {
        using Form = Detail::OlderForm<OlderType, Convert>;
        return Field<Class, Member, Missing, Enum, Form, WhenSet>(m_tag, m_member, m_missing, m_enum,
                                                                  Form{tag, convert});
    }

    // The value's name outside and its help, as texts that live for ever. Value is the type in which it is given, where
    // that is not the member's own. Last in the chain.
    template <class Value = Member>
    consteval auto As(std::string_view name, std::string_view help) const;
    template <class Value = Member, class Default>
    consteval auto As(std::string_view name, std::string_view help, Default defaultValue) const;

    constexpr IDTag GetTag() const { return m_tag; }
    constexpr Member Class::*GetMember() const { return m_member; }

    void Save(Class const& object, OutSerialiser& out) const {
        Member const& member = object.*m_member;
        if constexpr (WhenSet) {
            if (!Detail::IsSet(member))
                return;
        }
        if constexpr (c_isEnum)
            Detail::SaveEnumMember(out, m_tag, GetSerialiser(), member);
        else
            SaveValue(out, m_tag, member);
    }

    // True when the member has the same value in both.
    bool IsEqual(Class const& a, Class const& b) const { return Detail::AreValuesEqual(a.*m_member, b.*m_member); }

    // True when the field was found, under its tag or the older one.
    bool Load(Class& object, InSerialiser const& in) const {
        Member& member = object.*m_member;
        if (LoadMember(member, in) || LoadOlder(member, in))
            return true;
        if constexpr (!std::is_same_v<Missing, Detail::NotGiven>)
            member = m_missing;
        return false;
    }

private:
    template <class, class, class, class, class, bool>
    friend class Field;
    static constexpr bool c_isEnum = !std::is_same_v<Enum, Detail::NotGiven>;

    consteval Field(IDTag tag, Member Class::*member, Missing missing, Enum serialiser, Older older)
        : m_tag(tag), m_member(member), m_missing(missing), m_enum(serialiser), m_older(older) {}

    EnumSerialiser const& GetSerialiser() const {
        if constexpr (std::is_pointer_v<std::invoke_result_t<Enum>>)
            return *m_enum();
        else
            return m_enum();
    }

    bool LoadMember(Member& member, InSerialiser const& in) const {
        if constexpr (c_isEnum)
            return Detail::LoadEnumMember(in, m_tag, GetSerialiser(), member);
        else
            return LoadValue(in, m_tag, member);
    }

    bool LoadOlder(Member& member, InSerialiser const& in) const {
        if constexpr (std::is_same_v<Older, Detail::NotGiven>)
            return false;
        else
            return LoadOlderForm(member, in, m_older);
    }

    template <class OlderType, class Convert>
    bool LoadOlderForm(Member& member, InSerialiser const& in,
                       Detail::OlderForm<OlderType, Convert> const& form) const {
        if constexpr (std::is_same_v<Convert, Detail::NotGiven>) {
            if constexpr (c_isEnum)
                return Detail::LoadEnumMember(in, form.tag, GetSerialiser(), member);
            else
                return LoadValue(in, form.tag, member);
        } else {
            OlderType older{};
            if (!LoadValue(in, form.tag, older))
                return false;
            member = form.convert(std::move(older));
            return true;
        }
    }

    IDTag m_tag;
    Member Class::*m_member;
    [[no_unique_address]] Missing m_missing{};
    [[no_unique_address]] Enum m_enum{};
    [[no_unique_address]] Older m_older{};
};

template <class Class, class Member>
Field(IDTag, Member Class::*) -> Field<Class, Member>;

// A member that is given from outside and not stored.
template <class Class, class Member>
class Unstored {
public:
    consteval Unstored(Member Class::*member) : m_member(member) {}

    template <class Value = Member>
    consteval auto As(std::string_view name, std::string_view help) const;
    template <class Value = Member, class Default>
    consteval auto As(std::string_view name, std::string_view help, Default defaultValue) const;

    constexpr Member Class::*GetMember() const { return m_member; }
    void Save(Class const&, OutSerialiser&) const {}
    bool Load(Class&, InSerialiser const&) const { return false; }
    bool IsEqual(Class const&, Class const&) const { return true; }

private:
    Member Class::*m_member;
};

// The values that a number, or each of several, may have when it is given from outside, both ends included, and the
// unit in which it is given; no unit for counts and factors.
struct ValueRange {
    std::string_view unit = {};
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();
};

// A field with its name outside.
template <class Base, class ValueType, class Default = Detail::NotGiven>
class NamedField : public Base {
public:
    using Value = ValueType;

    consteval NamedField(Base field, std::string_view name, std::string_view help, Default defaultValue)
        : Base(field), m_name(name), m_help(help), m_default(defaultValue) {}

    // It is given without the others, as an object of its own kind.
    consteval NamedField Alone() const {
        auto changed = *this;
        changed.m_isAlone = true;
        return changed;
    }
    // The unit of a number, or of numbers, as help shows it.
    consteval NamedField In(std::string_view unit) const { return WithRange({unit, m_range.least, m_range.most}); }
    // Other numbers are refused when they are given from outside. A stored value is not looked at.
    consteval NamedField Between(double least, double most) const { return WithRange({m_range.unit, least, most}); }
    consteval NamedField AtLeast(double least) const { return WithRange({m_range.unit, least, m_range.most}); }

    constexpr std::string_view GetName() const { return m_name; }
    constexpr std::string_view GetHelp() const { return m_help; }
    constexpr bool IsAlone() const { return m_isAlone; }
    constexpr ValueRange const& GetRange() const { return m_range; }
    // Empty when the value must be given.
    std::optional<Value> GetDefault() const {
        if constexpr (std::is_same_v<Default, Detail::NotGiven>)
            return std::nullopt;
        else if constexpr (std::is_constructible_v<Value, Default>)
            return Value(m_default);
        else
            return Value(m_default.begin(), m_default.end());
    }

private:
    consteval NamedField WithRange(ValueRange range) const {
        auto changed = *this;
        changed.m_range = range;
        return changed;
    }

    std::string_view m_name, m_help;
    [[no_unique_address]] Default m_default;
    bool m_isAlone = false;
    ValueRange m_range;
};

template <class Class, class Member, class Missing, class Enum, class Older, bool WhenSet>
template <class Value>
consteval auto Field<Class, Member, Missing, Enum, Older, WhenSet>::As(std::string_view name,
                                                                       std::string_view help) const {
    return NamedField<Field, Value>(*this, name, help, {});
}
template <class Class, class Member, class Missing, class Enum, class Older, bool WhenSet>
template <class Value, class Default>
consteval auto Field<Class, Member, Missing, Enum, Older, WhenSet>::As(std::string_view name, std::string_view help,
                                                                       Default defaultValue) const {
    return NamedField<Field, Value, Default>(*this, name, help, defaultValue);
}
template <class Class, class Member>
template <class Value>
consteval auto Unstored<Class, Member>::As(std::string_view name, std::string_view help) const {
    return NamedField<Unstored, Value>(*this, name, help, {});
}
template <class Class, class Member>
template <class Value, class Default>
consteval auto Unstored<Class, Member>::As(std::string_view name, std::string_view help, Default defaultValue) const {
    return NamedField<Unstored, Value, Default>(*this, name, help, defaultValue);
}

// The persisted members of a class in the order in which they are written. Two equal tags do not compile.
//
// A class gives its list by `static constexpr auto Fields()`, which is public or has `friend struct
// Kernel::FieldAccess`.
template <class... Fields>
class FieldList {
public:
    consteval FieldList(Fields... fields) : m_fields(fields...) {
        std::array<std::optional<IDTag>, sizeof...(Fields)> const tags{TagOf(fields)...};
        for (std::size_t i = 0; i != tags.size(); ++i) {
            for (std::size_t j = 0; j != i; ++j) {
                if (tags[i] && tags[i] == tags[j])
                    throw "two fields of a list have one tag";
            }
        }
    }

    template <class Class>
    void Save(Class const& object, OutSerialiser& out) const {
        std::apply([&](auto const&... field) { (field.Save(object, out), ...); }, m_fields);
    }
    template <class Class>
    void Load(Class& object, InSerialiser const& in) const {
        std::apply([&](auto const&... field) { (field.Load(object, in), ...); }, m_fields);
    }

    template <class Class>
    bool AreEqual(Class const& a, Class const& b) const {
        return std::apply([&](auto const&... field) { return (field.IsEqual(a, b) && ...); }, m_fields);
    }

    template <class F>
    constexpr void ForEach(F const& use) const {
        std::apply([&](auto const&... field) { (use(field), ...); }, m_fields);
    }

    // Those with a name outside, as a tuple of NamedField.
    constexpr auto GetNamed() const {
        return std::apply([](auto const&... field) { return std::tuple_cat(OnlyNamed(field)...); }, m_fields);
    }

private:
    template <class F>
    static constexpr std::optional<IDTag> TagOf(F const& field) {
        if constexpr (requires { field.GetTag(); })
            return field.GetTag();
        else
            return std::nullopt;
    }
    template <class F>
    static constexpr auto OnlyNamed(F const& field) {
        if constexpr (requires { field.GetName(); })
            return std::tuple(field);
        else
            return std::tuple();
    }

    std::tuple<Fields...> m_fields;
};

// The fields of T that have a name outside, and then those of its bases: the arguments of T's constructor, in its
// order. A class between T and the base with a list of its own is T::FieldBase.
template <class T>
constexpr auto GetNamedFields() {
    if constexpr (requires { typename T::FieldBase; }) {
        if constexpr (FieldAccess::HasOwnFields<T, typename T::FieldBase>())
            return std::tuple_cat(FieldAccess::Fields<T>().GetNamed(), GetNamedFields<typename T::FieldBase>());
        else
            return GetNamedFields<typename T::FieldBase>();
    } else if constexpr (FieldAccess::HasFields<T>()) {
        return FieldAccess::Fields<T>().GetNamed();
    } else {
        return std::tuple();
    }
}

// Writes the members of T's own list; bases write theirs.
template <class T>
void SaveFields(T const& object, OutSerialiser& out) {
    static constexpr auto c_fields = FieldAccess::Fields<T>();
    c_fields.Save(object, out);
}

// True when all members of T's own list are equal in both.
template <class T>
bool FieldsEqual(T const& a, T const& b) {
    static constexpr auto c_fields = FieldAccess::Fields<T>();
    return c_fields.AreEqual(a, b);
}

// Reads them. A missing tag leaves its member alone, unless its field says otherwise.
template <class T>
void LoadFields(T& object, InSerialiser const& in) {
    static constexpr auto c_fields = FieldAccess::Fields<T>();
    c_fields.Load(object, in);
}

} // namespace Kernel
