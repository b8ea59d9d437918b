// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/kernel/field_value.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

// Values by the objects that they belong to, of which I is an interface: what a command keeps of each object that it
// changed. The objects are kept alive. A list with an index: while a document is loaded the ids of its nodes are not
// known yet, so nothing can be in their order. Stored in the order of node ids, in the form of a map.
template <class I, class V>
class InterfaceMap {
public:
    struct Entry {
        Kernel::Counted<I> object;
        V value;
    };

    bool IsEmpty() const noexcept { return m_entries.empty(); }
    std::size_t GetSize() const noexcept { return m_entries.size(); }
    // In the order in which they were set first.
    auto begin() const noexcept { return m_entries.begin(); }
    auto end() const noexcept { return m_entries.end(); }
    // Null where there is none.
    V const* Find(I const& object) const {
        auto const found = m_index.find(&object);
        return found == m_index.end() ? nullptr : &m_entries[found->second].value;
    }
    void Set(Kernel::NonCounted<I> object, V value) {
        auto const [place, isNew] = m_index.emplace(object.get(), m_entries.size());
        if (isNew)
            m_entries.push_back({object.ToCounted(), std::move(value)});
        else
            m_entries[place->second].value = std::move(value);
    }
    void Erase(I const& object) {
        auto const found = m_index.find(&object);
        if (found == m_index.end())
            return;
        auto const position = found->second;
        m_index.erase(found);
        // The last entry takes the place, so that nothing has to move.
        if (position + 1 != m_entries.size()) {
            m_entries[position] = std::move(m_entries.back());
            m_index[m_entries[position].object.get()] = position;
        }
        m_entries.pop_back();
    }
    void Clear() {
        m_entries.clear();
        m_index.clear();
    }

private:
    std::vector<Entry> m_entries;
    std::unordered_map<I const*, std::size_t> m_index;
};

namespace Kernel {

template <class I, class V>
void SaveValue(OutSerialiser& out, IDTag tag, InterfaceMap<I, V> const& map) {
    using Entry = typename InterfaceMap<I, V>::Entry;
    std::vector<std::pair<NodeId, Entry const*>> ordered;
    for (auto const& entry : map) {
        auto const* const node = CastPointer<Node const>(entry.object.get());
        ordered.emplace_back(node == nullptr ? 0 : node->GetId(), &entry);
    }
    std::stable_sort(ordered.begin(), ordered.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    Detail::SaveClassArray(out, tag, "MapV", 1, ordered, [](auto const& item, OutSerialiser& nested) {
        SaveValue(nested, "Key_", item.second->object);
        SaveValue(nested, "Valu", item.second->value);
    });
}

// Entries of no object, or of one without the interface, are left out.
template <class I, class V>
bool LoadValue(InSerialiser const& in, IDTag tag, InterfaceMap<I, V>& map) {
    return Detail::LoadClassArray(
        in, tag, "MapV", [&] { map.Clear(); },
        [&](InSerialiser const& nested, unsigned short) {
            Counted<I> object;
            auto value = FieldAccess::Make<V>();
            LoadValue(nested, "Key_", object);
            LoadValue(nested, "Valu", value);
            if (object)
                map.Set(NonCounted<I>(object), std::move(value));
        });
}

} // namespace Kernel
