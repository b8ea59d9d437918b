// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Renderer::Detail {

// Of the last vector of its kind on this thread.
template <class T>
std::vector<T>& GetReusedMemory() {
    static thread_local std::vector<T> s_kept;
    return s_kept;
}

// An empty vector with the memory that the last one given back had, up to 1 MiB of it.
template <class T>
std::vector<T> TakeReusedVector() {
    return std::exchange(GetReusedMemory<T>(), {});
}

template <class T>
void GiveBack(std::vector<T>&& vector) {
    constexpr std::size_t c_mostKept = std::size_t{1} << 20;
    auto& kept = GetReusedMemory<T>();
    if (vector.capacity() <= kept.capacity() || vector.capacity() > c_mostKept / sizeof(T))
        return;
    kept = std::move(vector);
    kept.clear();
}

} // namespace Renderer::Detail
