// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <vector>

namespace Commands {

template <class T>
using DataMergeList = std::vector<Kernel::JailCounted<T>>;

template <class T>
bool IsInList(DataMergeList<T> const& list, Kernel::Counted<T> const& object) {
    return std::ranges::find(list, object) != list.end();
}

// Puts an object in front of another one, or to the end where that is empty or not there. Throws Kernel::Exception for
// an object that is there already, and for none.
template <class T>
void InsertBefore(DataMergeList<T>& list, Kernel::Counted<T> const& object, Kernel::Counted<T const> const& before) {
    if (!object || IsInList(list, object))
        throw Kernel::Exception(object ? "the data merge has the object already" : "the object to add is missing");
    list.insert(std::ranges::find(list, before.get(), [](auto const& each) -> T const* { return each.get(); }), object);
}

// Takes an object out and gives the one that stood behind it; empty for the last one, and where the object is not
// there.
template <class T>
Kernel::Counted<T> Extract(DataMergeList<T>& list, Kernel::Counted<T> const& object) {
    auto const found = std::ranges::find(list, object);
    if (found == list.end())
        return {};
    auto const next = list.erase(found);
    return next == list.end() ? Kernel::Counted<T>() : Kernel::Counted<T>(*next);
}

} // namespace Commands
