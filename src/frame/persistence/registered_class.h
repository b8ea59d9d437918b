// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/command_coverage.h"
#include "frame/persistence/make_card.h"
#include "frame/persistence/persisted.h"
#include "platform/kernel/type_name.h"

// Whether a class takes part in the count of commands that tests ran.
enum class Coverage { No, Yes };

// One class's properties and its entry in the registry, for the life of the library that defines the object. A library
// of further commands lists its own classes this way.
template <class T>
class RegisteredClass {
public:
    RegisteredClass(Kernel::ClassUID tag, unsigned short version, Kernel::ClassProperties const* base,
                    Coverage coverage)
        : m_properties(tag, &T::CreateObject, version, T::__GetDefaultSerialisation(), base,
                       Kernel::TypeName<T>().data()),
          m_registration(&m_properties) {
        ClassHandle<T>::s_properties = &m_properties;
        if (coverage == Coverage::Yes)
            CommandCoverage::Instance().Register(typeid(T), Kernel::TypeName<T>().data());
        CommandCard::Register(CardMaking::MakeCard<T>());
        if constexpr (InnerCommandFields::HasAnyInChain<T>())
            RegisterInnerCommands(m_properties, [](DocumentCommand const& command, InnerCommands::List& found) {
                InnerCommandFields::Append<T>(static_cast<T const&>(command), found);
            });
    }
    RegisteredClass(RegisteredClass const&) = delete;
    RegisteredClass& operator=(RegisteredClass const&) = delete;
    ~RegisteredClass() {
        UnregisterInnerCommands(m_properties);
        CommandCard::Unregister(Kernel::TypeName<T>());
    }

private:
    Kernel::ClassProperties m_properties;
    Kernel::ClassPropertiesBase::Init m_registration;
};
