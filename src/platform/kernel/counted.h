// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"

#include <functional>
#include <type_traits>
#include <utility>

namespace Kernel {

template <class T>
class Counted;
template <class T>
class NonCounted;

namespace Detail {

// Deletes an object whose last strong reference has gone. Objects that hold each other in long chains are deleted in
// turn, not one inside the other, so that no length of a chain exhausts the stack.
REDRAFT_ENGINE void DeleteCountable(Countable const* object) noexcept;

template <class T>
void Acquire(T* object) noexcept {
    if (object != nullptr)
        static_cast<Countable const*>(object)->GetControlBlock()->AcquireStrong();
}

template <class T>
void Release(T* object) noexcept {
    if (object == nullptr)
        return;
    auto const* countable = static_cast<Countable const*>(object);
    if (countable->GetControlBlock()->ReleaseStrong() == 0)
        DeleteCountable(countable);
}

} // namespace Detail

// Owning pointer: copying acquires, destroying releases. May be empty; test before use.
template <class T>
class Counted {
public:
    using element_type = T;

    constexpr Counted() noexcept = default;
    constexpr Counted(std::nullptr_t) noexcept {}
    explicit Counted(T* object) noexcept : m_object(object) { Detail::Acquire(m_object); }
    Counted(Counted const& other) noexcept : m_object(other.m_object) { Detail::Acquire(m_object); }
    Counted(Counted&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> Counted(Counted<U> const& other)
    noexcept : m_object(other.get()) { Detail::Acquire(m_object); }
    template <class U>
    requires std::is_convertible_v<U*, T*> Counted(Counted<U>&& other)
    noexcept : m_object(other.Detach()) {}
    ~Counted() { Detail::Release(m_object); }

    Counted& operator=(Counted other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    void reset() noexcept { *this = Counted(); }

    // Hands the reference to the caller, who must give it back through Adopt.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(m_object, nullptr); }
    static Counted Adopt(T* object) noexcept {
        Counted result;
        result.m_object = object;
        return result;
    }

    template <class U>
    friend bool operator==(Counted const& a, Counted<U> const& b) noexcept {
        return a.get() == b.get();
    }
    friend bool operator==(Counted const& a, std::nullptr_t) noexcept { return a.m_object == nullptr; }

private:
    T* m_object = nullptr;
};

// The same owning pointer, for objects of the document tree.
template <class T>
using JailCounted = Counted<T>;

// A view that owns nothing, for the length of a call. Never kept past it.
template <class T>
class NonCounted {
public:
    constexpr NonCounted() noexcept = default;
    constexpr NonCounted(std::nullptr_t) noexcept {}
    NonCounted(T* object) noexcept : m_object(object) {}
    NonCounted(T& object) noexcept : m_object(&object) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> NonCounted(NonCounted<U> other)
    noexcept : m_object(other.get()) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> NonCounted(Counted<U> const& other)
    noexcept : m_object(other.get()) {}

    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    // A reference of the caller's own, for what must outlive the call.
    Counted<T> ToCounted() const noexcept { return Counted<T>(m_object); }

    template <class U>
    friend bool operator==(NonCounted const& a, NonCounted<U> const& b) noexcept {
        return a.get() == b.get();
    }

private:
    T* m_object = nullptr;
};

template <class T>
using JailNonCounted = NonCounted<T>;

// A reference that does not keep its object alive.
template <class T>
class Weak {
public:
    constexpr Weak() noexcept = default;
    Weak(Counted<T> const& object) noexcept : m_object(object.get()) { Acquire(); }
    Weak(Weak const& other) noexcept : m_object(other.m_object), m_block(other.m_block) {
        if (m_block != nullptr)
            m_block->AcquireWeak();
    }
    Weak(Weak&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)), m_block(std::exchange(other.m_block, nullptr)) {}
    ~Weak() {
        if (m_block != nullptr)
            m_block->ReleaseWeak();
    }
    Weak& operator=(Weak other) noexcept {
        std::swap(m_object, other.m_object);
        std::swap(m_block, other.m_block);
        return *this;
    }

    // True when there is no object, or its last Counted has gone.
    bool IsExpired() const noexcept { return m_block == nullptr || m_block->GetStrongCount() == 0; }

    // The object, or empty when its last Counted has gone.
    Counted<T> Lock() const noexcept {
        if (m_block == nullptr || !m_block->TryAcquireStrong())
            return {};
        return Counted<T>::Adopt(m_object);
    }

private:
    void Acquire() noexcept {
        if (m_object == nullptr)
            return;
        m_block = static_cast<Countable const*>(m_object)->GetControlBlock();
        m_block->AcquireWeak();
    }

    T* m_object = nullptr;
    CountedControlBlock* m_block = nullptr;
};

template <class T, class... Arguments>
Counted<T> MakeCounted(Arguments&&... arguments) {
    return Counted<T>(new T(std::forward<Arguments>(arguments)...));
}

} // namespace Kernel

template <class T>
struct std::hash<Kernel::Counted<T>> {
    std::size_t operator()(Kernel::Counted<T> const& object) const noexcept { return std::hash<T*>()(object.get()); }
};
