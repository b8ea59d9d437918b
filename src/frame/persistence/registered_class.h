// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/command_coverage.h"
#include "frame/persistence/make_card.h"
#include "frame/persistence/persisted.h"
#include "platform/document/merge_targets.h"
#include "platform/kernel/type_name.h"

#include <tuple>

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
        if constexpr (requires { T::MergeTargets(); })
            RegisterMergeTargets(m_properties, [](DocumentCommand const& older, DocumentCommand const& newer) {
                auto const areSame = [&](auto const... member) {
                    return ((static_cast<T const&>(older).*member == static_cast<T const&>(newer).*member) && ...);
                };
                return std::apply(areSame, T::MergeTargets());
            });
    }
    RegisteredClass(RegisteredClass const&) = delete;
    RegisteredClass& operator=(RegisteredClass const&) = delete;
    ~RegisteredClass() {
        UnregisterInnerCommands(m_properties);
        UnregisterMergeTargets(m_properties);
        CommandCard::Unregister(Kernel::TypeName<T>());
    }

private:
    Kernel::ClassProperties m_properties;
    Kernel::ClassPropertiesBase::Init m_registration;
};
