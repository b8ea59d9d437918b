// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"

// Base of commands that give one thing another value, which Undo takes back. T lists the fields m_value and m_oldValue,
// and says how the value is read and written: `Value Read()` and `void Write(Value const&)`. A newer command takes this
// one's place where T has `bool HasTarget(T const& newer) const` and it is true. What is told is T's own.
template <class T, class Value, class Base = Persisted<T, DocumentCommand>>
class ValueCommand : public DirectedCommand<T, Base> {
public:
    explicit ValueCommand(Value value) : m_value(std::move(value)) {}

    bool Merge(Kernel::Counted<Command const> newer) override {
        if constexpr (requires(T const& command) { command.HasTarget(command); }) {
            auto const other = Kernel::Cast<T const>(newer);
            if (!other || !static_cast<T const&>(*this).HasTarget(*other))
                return false;
            m_value = other->m_value;
            return true;
        } else {
            return Base::Merge(std::move(newer));
        }
    }
    void Run(DomainCommand::Direction direction) {
        auto& self = static_cast<T&>(*this);
        if (direction == DomainCommand::Direction::Do)
            m_oldValue = self.Read();
        self.Write(direction == DomainCommand::Direction::Undo ? m_oldValue : m_value);
    }

protected:
    // For loading.
    ValueCommand() = default;

    Value m_value{}, m_oldValue{};
};
