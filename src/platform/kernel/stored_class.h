// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/serialisable.h"

namespace Kernel {

// Between a persisted class T of an engine and its base: how objects of T are made by name and stored, which is the
// fields of T's list, if it has one of its own, and then the base. T declares `GetTypeClassProperties`, which is
// defined where the engine lists its classes, and befriends FieldAccess for its private default constructor and its
// list.
template <class T, class Base>
class StoredClass : public Base {
public:
    using Base::Base;

    static Counted<Serialisable> CreateObject() { return Counted<Serialisable>(FieldAccess::New<T>()); }
    ClassProperties const* GetObjectClassProperties() const override { return T::GetTypeClassProperties(); }

    void Save(OutSerialiser& out) const override {
        if constexpr (FieldAccess::HasOwnFields<T, Base>())
            SaveFields(static_cast<T const&>(*this), out);
        if constexpr (!std::is_same_v<Base, Serialisable>)
            Base::Save(out);
    }
    bool Load(InSerialiser const& in, FileStore& files, unsigned short version) override {
        if constexpr (FieldAccess::HasOwnFields<T, Base>())
            LoadFields(static_cast<T&>(*this), in);
        if constexpr (std::is_same_v<Base, Serialisable>)
            return true;
        else
            return Base::Load(in, files, version);
    }
};

} // namespace Kernel
