// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <memory>
#include <typeinfo>

namespace Kernel {

namespace Detail {

// The values of one type that are alive, each with what finds it again. Does not keep them alive.
class REDRAFT_ENGINE ConsolidationTable {
public:
    // True when the two values, given by their typed address, are equal.
    using Equal = bool (*)(void const*, void const*);

    ConsolidationTable();
    ConsolidationTable(ConsolidationTable const&) = delete;
    ConsolidationTable& operator=(ConsolidationTable const&) = delete;
    ~ConsolidationTable();
    static ConsolidationTable& ForType(std::type_info const& type);

    struct Value {
        Counted<Countable const> object;
        void const* typed = nullptr;
    };
    // The value that stands for all that equal this one: an older one, or this one from now on.
    Value Intern(Value value, std::size_t hash, Equal equal);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Detail

// A reference to an immutable value of which no second equal one is referred to: equal values are one object, so that
// comparing costs a pointer. T needs `std::size_t GetHash() const` and operator==, and nothing may change a value once
// it is consolidated. Values leave when their last reference goes. Safe from any thread.
template <class T>
class Consolidated {
public:
    using element_type = T const;

    constexpr Consolidated() noexcept = default;
    constexpr Consolidated(std::nullptr_t) noexcept {}
    // An empty pointer gives an empty reference.
    explicit Consolidated(Counted<T const> const& value) : m_value(Intern(value)) {}
    // A value of a derived class is the base's value too, and is looked for among those.
    template <class U>
    requires(std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>) Consolidated(Consolidated<U> const& other)
        : m_value(Intern(other.ToCounted())) {}

    T const* get() const noexcept { return m_value.get(); }
    T const* operator->() const noexcept { return m_value.get(); }
    T const& operator*() const noexcept { return *m_value; }
    explicit operator bool() const noexcept { return static_cast<bool>(m_value); }
    Counted<T const> const& ToCounted() const noexcept { return m_value; }

    friend bool operator==(Consolidated const& a, Consolidated const& b) noexcept {
        return a.m_value.get() == b.m_value.get();
    }

private:
    static Counted<T const> Intern(Counted<T const> const& value) {
        if (!value)
            return {};
        static auto& s_table = Detail::ConsolidationTable::ForType(typeid(T));
        auto const equal = [](void const* a, void const* b) {
            return *static_cast<T const*>(a) == *static_cast<T const*>(b);
        };
        auto const found =
            s_table.Intern({Counted<Countable const>(value.get()), value.get()}, value->GetHash(), equal);
        return Counted<T const>(static_cast<T const*>(found.typed));
    }

    Counted<T const> m_value;
};

template <class T, class... Arguments>
Consolidated<T> MakeConsolidated(Arguments&&... arguments) {
    return Consolidated<T>(Counted<T const>(new T(std::forward<Arguments>(arguments)...)));
}

} // namespace Kernel

template <class T>
struct std::hash<Kernel::Consolidated<T>> {
    std::size_t operator()(Kernel::Consolidated<T> const& value) const noexcept {
        return std::hash<T const*>()(value.get());
    }
};
