// SPDX-License-Identifier: Apache-2.0
#pragma once

// A spread by its number in its document, from 0.
struct SpreadIndex {
    int index = 0;
    constexpr operator int() const { return index; }
};
