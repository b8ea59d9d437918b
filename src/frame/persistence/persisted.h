// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/serialisable.h"

// Where a registered class finds its properties. Filled by the list of classes.
template <class T>
struct REDRAFT_API ClassHandle {
    inline static Kernel::ClassProperties const* s_properties = nullptr;
};

// Between a persisted class T and its base: what every such class has to say of itself to the registry, and how it is
// stored: the fields of T's list, if it has one, then the base. A class that is stored in another order says so itself.
// T befriends Kernel::FieldAccess, for its private default constructor and its field list.
template <class T, class Base>
class Persisted : public Base {
public:
    using Base::Base;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() {
        return Kernel::Counted<Kernel::Serialisable>(Kernel::FieldAccess::New<T>());
    }
    static Kernel::ClassProperties const* GetTypeClassProperties() { return ClassHandle<T>::s_properties; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

    void Save(Kernel::OutSerialiser& out) const override {
        if constexpr (Kernel::FieldAccess::HasFields<T>())
            Kernel::SaveFields(static_cast<T const&>(*this), out);
        Base::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        if constexpr (Kernel::FieldAccess::HasFields<T>())
            Kernel::LoadFields(static_cast<T&>(*this), in);
        return Base::Load(in, files, version);
    }

private:
    template <class>
    friend class RegisteredClass;
    // No class of this library gives values to fields whose tag is missing.
    static Kernel::ClassPropertiesBase::DefaultItem const* __GetDefaultSerialisation() {
        static Kernel::ClassPropertiesBase::DefaultItem const s_none[1]{};
        return s_none;
    }
};
