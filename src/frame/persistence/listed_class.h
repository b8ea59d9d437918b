// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/registered_class.h"

#include <functional>
#include <memory>

// A line of a chapter's list of classes. The library registers the lines of all chapters when it is loaded, in the
// order of class_order.h.
struct ListedClass {
    std::string_view name;
    // The class is registered while the result lives.
    std::function<std::shared_ptr<void>()> registerClass;
};

// Tag, version and registered base are the stored format's key: once they are released, a line is never changed. Base
// is void for a class that is registered without one.
template <class T, class Base>
ListedClass Listed(Kernel::ClassUID tag, unsigned short version, Coverage coverage) {
    return {Kernel::TypeName<T>(), [=]() -> std::shared_ptr<void> {
                Kernel::ClassProperties const* base = nullptr;
                if constexpr (!std::is_void_v<Base>)
                    base = Base::GetTypeClassProperties();
                return std::make_shared<RegisteredClass<T>>(tag, version, base, coverage);
            }};
}

// A command that is never stored and cannot be made from text, for the reason given.
template <class T>
ListedClass ListedWithoutForm(std::string_view reason) {
    struct Registration {
        explicit Registration(std::string_view why) {
            CommandCard card;
            card.className = std::string(Kernel::TypeName<T>());
            card.reason = why;
            CommandCard::Register(std::move(card));
        }
        ~Registration() { CommandCard::Unregister(Kernel::TypeName<T>()); }
    };
    return {Kernel::TypeName<T>(), [=]() -> std::shared_ptr<void> { return std::make_shared<Registration>(reason); }};
}
