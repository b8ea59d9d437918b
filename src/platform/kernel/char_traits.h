// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"

namespace Kernel {

template <class Encoding>
struct CharTraits;

template <>
struct REDRAFT_ENGINE CharTraits<TEncUtf8> {
    // Below, equal to or above 0, without regard to case as Unicode folds it.
    static int CompareNoCase(String const& a, String const& b);
    // Equal for texts that differ in case alone.
    static String FoldCase(String const& text);
};

} // namespace Kernel
