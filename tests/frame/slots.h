// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>

// Where virtual operations stand in their class's table. The order of an interface is a contract between libraries that
// are built apart.

// A pointer to a virtual member holds the place in the table: plus one in its first word on most machines, as it is
// where the second word's lowest bit says so (Itanium C++ ABI, 2.3; ABI for the Arm 64-bit architecture, C++).
template <class Member>
std::ptrdiff_t Slot(Member member) {
    std::ptrdiff_t words[2] = {};
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#if defined(__aarch64__) || defined(__arm__)
    bool const isVirtual = (words[1] & 1) != 0;
    auto const offset = words[0];
#else
    bool const isVirtual = (words[0] & 1) != 0;
    auto const offset = words[0] - 1;
#endif
    EXPECT_TRUE(isVirtual);
    return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// Each stands behind the one before it.
inline void ExpectSlotsInOrder(std::initializer_list<std::ptrdiff_t> slots) {
    std::size_t index = 0;
    std::ptrdiff_t last = -1;
    for (auto const slot : slots) {
        EXPECT_LT(last, slot) << "operation " << index;
        last = slot;
        ++index;
    }
}
