// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selectable.h"

#include <cstdint>
#include <iterator>
#include <unordered_set>
#include <vector>

class Node;
class SubSelectable;
class SubSelectionItem;

namespace Story {
class Selection;
}

// One thing that is selected. Kinds of items with more than the object itself derive from it.
class REDRAFT_ENGINE SelectionItem : public Kernel::Serialisable {
public:
    SelectionItem() = default;
    explicit SelectionItem(Kernel::Counted<Selectable> selectable) : m_selectable(std::move(selectable)) {}
    Kernel::Counted<Selectable> const& GetSelectable() const { return m_selectable; }
    // True when the item says no more than which object it is.
    virtual bool IsWholeObject() const { return true; }
    // The part of a text that is selected; not set for anything else. A text that is selected as an object counts with
    // all that its user can edit, where `wholeObjects` says so.
    virtual Story::Selection MakeStorySelection(bool wholeObjects) const;
    // A copy whose part can be set.
    Kernel::Counted<SubSelectionItem> CloneMutable() const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<SelectionItem>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

private:
    Kernel::Counted<Selectable> m_selectable;
};

// An immutable ordered set of items. It keeps what it names alive, also outside the tree.
class REDRAFT_ENGINE Selection : public Kernel::Serialisable {
public:
    using Items = std::vector<Kernel::Counted<SelectionItem const>>;
    using const_iterator = Items::const_iterator;
    using const_reverse_iterator = Items::const_reverse_iterator;

    Selection() = default;
    // `ordered` tells that the items stand in tree order already.
    Selection(Items items, bool ordered) : m_items(std::move(items)), m_ordered(ordered) {}
    // A selection of whole nodes, in the order given.
    explicit Selection(std::vector<Kernel::Counted<Node>> const& nodes);
    // Of a part of one object, such as spans of a text.
    Selection(Kernel::JailCounted<Selectable> object, Kernel::Counted<SubSelectable const> part);
    static Kernel::Counted<Selection const> CreateWithSingleObject(Kernel::JailCounted<Selectable> object);

    const_iterator begin() const { return m_items.begin(); }
    const_iterator end() const { return m_items.end(); }
    const_reverse_iterator rbegin() const { return m_items.rbegin(); }
    const_reverse_iterator rend() const { return m_items.rend(); }
    bool empty() const { return m_items.empty(); }
    std::size_t size() const { return m_items.size(); }
    // The objects of the items, in their order; null where an item names none. For walks that read no item. Listed when
    // first asked for, by the thread that runs commands.
    std::vector<Kernel::Countable*> const& GetObjects() const {
        if (m_objects.size() != m_items.size())
            ListObjects();
        return m_objects;
    }

    // The selected nodes, in the selection's order.
    std::vector<Kernel::Counted<Node>> GetNodes() const;
    // The same without the nodes that stand outside a document's tree. A selection is never pruned, so that it may name
    // nodes that have left; such nodes take no part in what commands do.
    std::vector<Kernel::Counted<Node>> GetNodesInDocument() const;
    // The same items in the order of use: tree order, a parent before its children, items outside the tree last in the
    // order given.
    Kernel::Counted<Selection const> GetOrdered() const;
    // These three go by the nodes in the document's tree.
    // True when an item is a child of a specialised node: one that keeps its children in a structure of its own.
    bool ContainsSpecialisedChildren() const;
    bool ContainsArtboards() const;
    // True when all nodes lie on one spread.
    bool AllSameSpread() const;
    bool Contains(Kernel::NonCounted<Selectable const> selectable) const;
    bool ContainsItem(Kernel::NonCounted<Selectable const> selectable) const { return Contains(selectable); }
    // The part of a text that is selected, of the first item that selects any; not set when there is none.
    Story::Selection MakeFirstStorySelection(bool wholeObjects) const;
    // The first item whose object is a T; empty when there is none.
    template <class T>
    Kernel::Counted<SelectionItem const> GetFirstSelectionItemOfType() const {
        for (auto const& item : m_items) {
            if (dynamic_cast<T const*>(item->GetSelectable().get()) != nullptr)
                return item;
        }
        return {};
    }
    // The same objects in the same order.
    bool IsEqualTo(Selection const& other) const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Selection>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

private:
    void ListObjects() const;

    Items m_items;
    mutable std::vector<Kernel::Countable*> m_objects;
    bool m_ordered = false;
};

// A selection under construction.
class REDRAFT_ENGINE MutableSelection : public virtual Kernel::Countable {
public:
    // Skip: an object that is in already is not added again. Allow: it is.
    enum class DuplicateStrategy : std::uint32_t { Skip = 0, Allow = 1 };

    MutableSelection() = default;
    explicit MutableSelection(DuplicateStrategy strategy) : m_strategy(strategy) {}

    // With `front` the object goes to the beginning.
    void AddSelectable(Kernel::JailCounted<Selectable> selectable, bool front);
    void AddItem(Kernel::Counted<SelectionItem const> item, bool front);
    // Behind the others. The selections that are made of this one share the item, which is not to be changed any more.
    void AppendMutableSelectionItem(Kernel::Counted<SubSelectionItem> item);
    bool empty() const { return m_items.empty(); }
    Kernel::Counted<Selection const> CloneImmutable() const;
    // The same in tree order.
    Kernel::Counted<Selection const> CloneImmutableOrdered() const;

private:
    DuplicateStrategy m_strategy = DuplicateStrategy::Skip;
    Selection::Items m_items;
    std::unordered_set<Selectable const*> m_known;
};
