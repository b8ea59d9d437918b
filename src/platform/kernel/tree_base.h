// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <array>
#include <cstdint>
#include <memory>

namespace Kernel {

// The tree links of a node with ListCount ordered lists of children. A parent owns its children; a node knows its
// parent, its neighbours and the list it stands in, which it remembers after it has left. Links are made and cut in
// constant time, and a tree of any depth is destroyed without recursion.
//
// N derives from TreeBaseNDJailCounted<N, ListCount, List>; List is an enumeration of the values 0 to ListCount - 1.
template <class N, int ListCount, class List>
class TreeBaseNDJailCounted {
public:
    TreeBaseNDJailCounted(TreeBaseNDJailCounted const&) = delete;
    TreeBaseNDJailCounted& operator=(TreeBaseNDJailCounted const&) = delete;

    N* GetParent() const noexcept { return m_parent; }
    N* GetNextSibling() const noexcept { return m_next; }
    N* GetPreviousSibling() const noexcept { return m_previous; }
    List GetChildListType() const noexcept { return m_listType; }
    N* GetFirstChild(List list) const noexcept {
        Ends const* ends = FindEnds(list);
        return ends == nullptr ? nullptr : ends->first;
    }
    N* GetLastChild(List list) const noexcept {
        Ends const* ends = FindEnds(list);
        return ends == nullptr ? nullptr : ends->last;
    }
    bool HasChildren(List list) const noexcept { return GetFirstChild(list) != nullptr; }
    std::size_t CountChildren(List list) const noexcept {
        Ends const* ends = FindEnds(list);
        return ends == nullptr ? 0 : ends->count;
    }

    // True for the node itself and all below it.
    bool IsSelfOrAncestorOf(N const* node) const noexcept {
        for (; node != nullptr; node = Base(node).m_parent) {
            if (&Base(node) == this)
                return true;
        }
        return false;
    }

protected:
    TreeBaseNDJailCounted() = default;
    ~TreeBaseNDJailCounted() { ReleaseChildren(); }

    // Links a parentless child in front of `before`, or at the end when `before` is null. Takes a reference.
    void LinkChild(List list, N* child, N* before) {
        Ends& ends = MakeEnds(list);
        auto& links = Base(child);
        Detail::Acquire(child);
        links.m_parent = static_cast<N*>(this);
        links.m_listType = list;
        links.m_next = before;
        links.m_previous = before == nullptr ? ends.last : Base(before).m_previous;
        (links.m_previous == nullptr ? ends.first : Base(links.m_previous).m_next) = child;
        (before == nullptr ? ends.last : Base(before).m_previous) = child;
        ++ends.count;
    }

    // Cuts a child out and hands the parent's reference to the caller.
    Counted<N> UnlinkChild(N* child) noexcept {
        auto& links = Base(child);
        Ends& ends = MakeEnds(links.m_listType);
        (links.m_previous == nullptr ? ends.first : Base(links.m_previous).m_next) = links.m_next;
        (links.m_next == nullptr ? ends.last : Base(links.m_next).m_previous) = links.m_previous;
        --ends.count;
        links.m_parent = links.m_next = links.m_previous = nullptr;
        return Counted<N>::Adopt(child);
    }

    void SetChildListType(List list) noexcept { m_listType = list; }

private:
    struct Ends {
        N* first = nullptr;
        N* last = nullptr;
        std::size_t count = 0;
    };
    using FurtherLists = std::array<Ends, ListCount - 1>;

    static TreeBaseNDJailCounted& Base(N* node) noexcept { return *node; }
    static TreeBaseNDJailCounted const& Base(N const* node) noexcept { return *node; }

    Ends const* FindEnds(List list) const noexcept {
        auto const index = static_cast<std::size_t>(list);
        if (index == 0)
            return &m_plain;
        return m_further == nullptr ? nullptr : &(*m_further)[index - 1];
    }
    Ends& MakeEnds(List list) {
        auto const index = static_cast<std::size_t>(list);
        if (index == 0)
            return m_plain;
        if (m_further == nullptr)
            m_further = std::make_unique<FurtherLists>();
        return (*m_further)[index - 1];
    }

    // Children that lose their last reference here would release theirs inside their own destructors. The outermost
    // call of a thread collects them instead and works them off one by one.
    void ReleaseChildren() noexcept {
        static thread_local N** s_pending = nullptr;
        N* own = nullptr;
        bool const outermost = s_pending == nullptr;
        if (outermost)
            s_pending = &own;
        auto const collect = [](Ends& ends) {
            for (N* child = ends.first; child != nullptr;) {
                auto& links = Base(child);
                N* const next = links.m_next;
                links.m_parent = links.m_previous = nullptr;
                links.m_next = *s_pending;
                *s_pending = child;
                child = next;
            }
            ends = {};
        };
        collect(m_plain);
        if (m_further != nullptr) {
            for (Ends& ends : *m_further)
                collect(ends);
        }
        if (!outermost)
            return;
        while (own != nullptr) {
            N* const child = own;
            own = Base(child).m_next;
            Base(child).m_next = nullptr;
            Detail::Release(child);
        }
        s_pending = nullptr;
    }

    N* m_parent = nullptr;
    N* m_next = nullptr;
    N* m_previous = nullptr;
    Ends m_plain;
    std::unique_ptr<FurtherLists> m_further;
    List m_listType{};
};

} // namespace Kernel
