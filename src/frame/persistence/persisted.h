// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/inner_commands.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/serialisable.h"

// Where a registered class finds its properties. Filled by the list of classes.
template <class T>
struct REDRAFT_API ClassHandle {
    inline static Kernel::ClassProperties const* s_properties = nullptr;
};

// The fields of a class that hold commands.
namespace InnerCommandFields {

template <class M>
inline constexpr bool c_holdsOne = false;
template <std::derived_from<DocumentCommand> C>
inline constexpr bool c_holdsOne<Kernel::Counted<C>> = true;

template <class F>
inline constexpr bool c_isStored = requires(F const& field) {
    field.GetTag();
};
// The type of a member, from the pointer to it.
template <class C, class M>
M MemberOf(M C::*);
template <class F>
using MemberType = decltype(MemberOf(std::declval<F const&>().GetMember()));

template <class T, class Base, class Use>
void ForEachField(Use const& use) {
    if constexpr (Kernel::FieldAccess::HasOwnFields<T, Base>())
        Kernel::FieldAccess::Fields<T>().ForEach(use);
}

// Whether each command that was stored in one of T's own fields could be read. A step that lacks a part of itself could
// not be undone.
template <class T, class Base>
bool AreComplete(T const& object, Kernel::InSerialiser const& in) {
    bool complete = true;
    ForEachField<T, Base>([&]<class F>(F const& field) {
        if constexpr (c_isStored<F>) {
            if constexpr (c_holdsOne<MemberType<F>>) {
                Kernel::Counted<Kernel::Serialisable> stored;
                if (!(object.*field.GetMember()) && in.LoadObjectI(field.GetTag(), stored, true) && stored)
                    complete = false;
            } else if constexpr (std::is_same_v<MemberType<F>, InnerCommands>) {
                for (auto const& command : (object.*field.GetMember()).Get())
                    complete = complete && static_cast<bool>(command);
            }
        }
    });
    return complete;
}

// A class whose fields hold commands deeper inside has an operation AppendInnerCommands(List&) const, and looks for
// missing ones itself when it is loaded.
template <class T>
concept AppendsThem = requires(T const& object, InnerCommands::List& found) {
    object.AppendInnerCommands(found);
};

// Whether T's own fields hold commands.
template <class T, class Base>
constexpr bool HasAny() {
    bool any = false;
    if constexpr (Kernel::FieldAccess::HasOwnFields<T, Base>())
        Kernel::FieldAccess::Fields<T>().ForEach([&]<class F>(F const&) {
            any = any || c_holdsOne<MemberType<F>> || std::is_same_v<MemberType<F>, InnerCommands>;
        });
    return any;
}

// Whether fields of T or of its bases hold commands.
template <class T>
constexpr bool HasAnyInChain() {
    if constexpr (AppendsThem<T>)
        return true;
    else if constexpr (requires { typename T::FieldBase; })
        return HasAny<T, typename T::FieldBase>() || HasAnyInChain<typename T::FieldBase>();
    else
        return false;
}

// Those that fields of T and of its bases hold.
template <class T>
void Append(T const& object, InnerCommands::List& found) {
    if constexpr (AppendsThem<T>) {
        object.AppendInnerCommands(found);
    } else if constexpr (requires { typename T::FieldBase; }) {
        ForEachField<T, typename T::FieldBase>([&]<class F>(F const& field) {
            if constexpr (c_holdsOne<MemberType<F>>) {
                if (auto const& command = object.*field.GetMember())
                    found.emplace_back(command);
            } else if constexpr (std::is_same_v<MemberType<F>, InnerCommands>) {
                auto const& commands = (object.*field.GetMember()).Get();
                found.insert(found.end(), commands.begin(), commands.end());
            }
        });
        Append<typename T::FieldBase>(object, found);
    }
}

} // namespace InnerCommandFields

// Between a persisted class T and its base: what every such class has to say of itself to the registry, its
// description, how it is cloned, and how it is stored: the fields of T's list, if it has one of its own, then the base;
// the base first where T says `static constexpr bool c_storesBaseFirst = true`. T befriends Kernel::FieldAccess, for
// its private default constructor and its field list.
template <class T, class Base>
class Persisted : public Base {
public:
    using Base::Base;
    // The class whose fields are added to T's.
    using FieldBase = Base;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() {
        return Kernel::Counted<Kernel::Serialisable>(Kernel::FieldAccess::New<T>());
    }
    static Kernel::ClassProperties const* GetTypeClassProperties() { return ClassHandle<T>::s_properties; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

    // T says `static constexpr auto c_description = Kernel::Localisable("Text", "Context")`, or overrides this.
    Kernel::LocalisedString GetDescription() const override {
        if constexpr (requires { T::c_description; }) {
            return T::c_description;
        } else if constexpr (!std::is_same_v<decltype(&Base::GetDescription), Described<Command>>) {
            return Base::GetDescription();
        } else {
            static_assert(std::is_abstract_v<T> || !std::is_same_v<decltype(&T::GetDescription), Described<Persisted>>,
                          "a command has a c_description, or overrides GetDescription");
            return {};
        }
    }
    // Made from the fields that have a name outside, and from the given selection where a constructor takes one last. A
    // class or base to which that is not all, or that can't be cloned, overrides this.
    Kernel::Counted<DocumentCommand> Clone() const override {
        if constexpr (!std::is_same_v<decltype(&Base::Clone), Cloned<DocumentCommand>>) {
            return Base::Clone();
        } else if constexpr (std::is_same_v<decltype(&T::Clone), Cloned<Persisted>>) {
            return std::apply([this](auto const&... field) { return CloneFrom(Self().*field.GetMember()...); },
                              Kernel::GetNamedFields<T>());
        } else {
            return {};
        }
    }

    void Save(Kernel::OutSerialiser& out) const override {
        if constexpr (StoresBaseFirst())
            Base::Save(out);
        if constexpr (Kernel::FieldAccess::HasOwnFields<T, Base>())
            Kernel::SaveFields(static_cast<T const&>(*this), out);
        if constexpr (!StoresBaseFirst())
            Base::Save(out);
    }
    // Values are found by their tags, so that the order of loading is free.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        if constexpr (Kernel::FieldAccess::HasOwnFields<T, Base>())
            Kernel::LoadFields(static_cast<T&>(*this), in);
        if constexpr (InnerCommandFields::HasAny<T, Base>()) {
            if (!InnerCommandFields::AreComplete<T, Base>(static_cast<T const&>(*this), in))
                return false;
        }
        return Base::Load(in, files, version);
    }

private:
    template <class>
    friend class RegisteredClass;
    template <class C>
    using Described = Kernel::LocalisedString (C::*)() const;
    template <class C>
    using Cloned = Kernel::Counted<DocumentCommand> (C::*)() const;
    T const& Self() const { return static_cast<T const&>(*this); }
    template <class... Argument>
    Kernel::Counted<DocumentCommand> CloneFrom(Argument const&... argument) const {
        if constexpr (std::is_constructible_v<T, Argument const&..., Kernel::Counted<Selection const>>)
            return Kernel::MakeCounted<T>(argument..., Self().GetGivenSelection());
        else
            return Kernel::MakeCounted<T>(argument...);
    }
    static constexpr bool StoresBaseFirst() {
        if constexpr (requires { T::c_storesBaseFirst; })
            return T::c_storesBaseFirst;
        else
            return false;
    }
    // No class of this library gives values to fields whose tag is missing.
    static Kernel::ClassPropertiesBase::DefaultItem const* __GetDefaultSerialisation() {
        static Kernel::ClassPropertiesBase::DefaultItem const s_none[1]{};
        return s_none;
    }
};
