// SPDX-License-Identifier: Apache-2.0
#include "platform/document/selection.h"

#include "platform/document/node.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>
#include <unordered_map>

namespace {

Node* AsNode(SelectionItem const& item) { return Kernel::CastPointer<Node>(item.GetSelectable().get()); }

Node* TopOf(Node* node) {
    while (node->GetParent() != nullptr)
        node = node->GetParent();
    return node;
}

// Numbers the marked nodes of one tree in tree order. Only branches that lead to a marked node are entered.
class TreeOrder {
public:
    explicit TreeOrder(std::vector<Node*> const& nodes) {
        for (Node* node : nodes) {
            for (Node* up = node; up != nullptr && m_positions.emplace(up, 0).second;)
                up = up->GetParent();
        }
        std::unordered_set<Node*> tops;
        for (Node* node : nodes) {
            Node* const top = TopOf(node);
            if (tops.insert(top).second)
                Number(top);
        }
    }
    std::size_t GetPosition(Node* node) const { return m_positions.at(node); }

private:
    void Number(Node* top) {
        std::vector<Node*> pending{top};
        while (!pending.empty()) {
            Node* const node = pending.back();
            pending.pop_back();
            m_positions[node] = m_next++;
            for (int list = c_childListCount - 1; list >= 0; --list) {
                for (Node* child = node->GetLastChild(static_cast<NodeChildListType>(list)); child != nullptr;
                     child = child->GetPreviousSibling()) {
                    if (m_positions.contains(child))
                        pending.push_back(child);
                }
            }
        }
    }

    std::unordered_map<Node*, std::size_t> m_positions;
    std::size_t m_next = 0;
};

// Most selections are a run of siblings in their order already: one walk along the siblings tells.
bool IsRunOfSiblings(std::vector<Node*> const& nodes) {
    Node const* const parent = nodes.front()->GetParent();
    if (parent == nullptr)
        return nodes.size() == 1;
    Node const* expected = nodes.front();
    for (Node const* node : nodes) {
        while (expected != nullptr && expected != node)
            expected = expected->GetNextSibling();
        if (expected == nullptr)
            return false;
        expected = expected->GetNextSibling();
    }
    return true;
}

Selection::Items OrderItems(Selection::Items const& items) {
    std::vector<Node*> nodes;
    nodes.reserve(items.size());
    for (auto const& item : items) {
        if (Node* node = AsNode(*item); node != nullptr && node->IsInDocument())
            nodes.push_back(node);
    }
    if (nodes.size() == items.size() && (nodes.empty() || IsRunOfSiblings(nodes)))
        return items;
    TreeOrder const order(nodes);
    struct Placed {
        std::size_t position;
        Kernel::Counted<SelectionItem const> item;
    };
    std::vector<Placed> placed;
    placed.reserve(items.size());
    for (auto const& item : items) {
        Node* const node = AsNode(*item);
        bool const inTree = node != nullptr && node->IsInDocument();
        placed.push_back({inTree ? order.GetPosition(node) : SIZE_MAX, item});
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](Placed const& a, Placed const& b) { return a.position < b.position; });
    Selection::Items result;
    result.reserve(placed.size());
    for (auto& entry : placed)
        result.push_back(std::move(entry.item));
    return result;
}

constexpr Kernel::IDTag c_selectableTag{"Sble"};
constexpr Kernel::IDTag c_objectsTag{"Objs"};
constexpr Kernel::IDTag c_itemsTag{"Item"};
constexpr Kernel::IDTag c_orderedTag{"Ordr"};

} // namespace

void SelectionItem::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, c_selectableTag, m_selectable); }

bool SelectionItem::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, c_selectableTag, m_selectable);
    return true;
}

Kernel::Counted<SubSelectionItem> SelectionItem::CloneMutable() const {
    auto const* part = Kernel::CastPointer<SubSelectionItem const>(this);
    return Kernel::MakeCounted<SubSelectionItem>(m_selectable, part == nullptr ? Kernel::Counted<SubSelectable const>()
                                                                               : part->GetSubSelection());
}

Story::Selection SelectionItem::MakeStorySelection(bool wholeObjects) const {
    auto const* const text = wholeObjects ? Kernel::CastPointer<TextNode const>(m_selectable.get()) : nullptr;
    if (text == nullptr)
        return {};
    auto const story = text->GetStory();
    return {story, Story::StoryRanges({story->GetClientAll()})};
}

Story::Selection Selection::MakeFirstStorySelection(bool wholeObjects) const {
    for (auto const& item : m_items) {
        if (auto selection = item->MakeStorySelection(wholeObjects))
            return selection;
    }
    return {};
}

Selection::Selection(std::vector<Kernel::Counted<Node>> const& nodes) {
    m_items.reserve(nodes.size());
    for (auto const& node : nodes)
        m_items.push_back(Kernel::MakeCounted<SelectionItem>(node));
}

Kernel::Counted<Selection const> Selection::CreateWithSingleObject(Kernel::JailCounted<Selectable> object) {
    return Kernel::MakeCounted<Selection>(Items{Kernel::MakeCounted<SelectionItem>(std::move(object))}, true);
}

void Selection::ListObjects() const {
    m_objects.clear();
    m_objects.reserve(m_items.size());
    for (auto const& item : m_items)
        m_objects.push_back(item->GetSelectable().get());
}

std::vector<Kernel::Counted<Node>> Selection::GetNodes() const {
    std::vector<Kernel::Counted<Node>> nodes;
    nodes.reserve(m_items.size());
    for (auto const& item : m_items) {
        if (auto* node = AsNode(*item))
            nodes.emplace_back(node);
    }
    return nodes;
}

std::vector<Kernel::Counted<Node>> Selection::GetNodesInDocument() const {
    auto nodes = GetNodes();
    std::erase_if(nodes, [](auto const& node) { return !node->IsInDocument(); });
    return nodes;
}

Kernel::Counted<Selection const> Selection::GetOrdered() const {
    if (m_ordered)
        return Kernel::Counted<Selection const>(this);
    return Kernel::MakeCounted<Selection>(OrderItems(m_items), true);
}

bool Selection::ContainsSpecialisedChildren() const {
    auto const nodes = GetNodesInDocument();
    return std::any_of(nodes.begin(), nodes.end(), [](auto const& node) {
        return node->GetParent() != nullptr && node->GetParent()->HasSpecialisedChildren();
    });
}

bool Selection::ContainsArtboards() const {
    auto const nodes = GetNodesInDocument();
    return std::any_of(nodes.begin(), nodes.end(), [](auto const& node) { return node->IsArtboard(); });
}

bool Selection::AllSameSpread() const {
    auto const nodes = GetNodesInDocument();
    return std::all_of(nodes.begin(), nodes.end(),
                       [&](auto const& node) { return node->GetSpread() == nodes.front()->GetSpread(); });
}

bool Selection::Contains(Kernel::NonCounted<Selectable const> selectable) const {
    return std::any_of(m_items.begin(), m_items.end(),
                       [&](auto const& item) { return item->GetSelectable().get() == selectable.get(); });
}

bool Selection::IsEqualTo(Selection const& other) const {
    return std::equal(
        m_items.begin(), m_items.end(), other.m_items.begin(), other.m_items.end(), [](auto const& a, auto const& b) {
            return a == b || (a->IsWholeObject() && b->IsWholeObject() && a->GetSelectable() == b->GetSelectable());
        });
}

// Whole objects are written as they are; an item of its own is written only where it says more.
void Selection::Save(Kernel::OutSerialiser& out) const {
    bool const wholeObjects =
        std::all_of(m_items.begin(), m_items.end(), [](auto const& item) { return item->IsWholeObject(); });
    if (wholeObjects) {
        std::vector<Kernel::Counted<Selectable>> objects;
        objects.reserve(m_items.size());
        for (auto const& item : m_items)
            objects.push_back(item->GetSelectable());
        Kernel::SaveValue(out, c_objectsTag, objects);
    } else {
        Kernel::SaveValue(out, c_itemsTag, m_items);
    }
    out.SaveType(c_orderedTag, m_ordered);
}

bool Selection::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    std::vector<Kernel::Counted<Selectable>> objects;
    Items items;
    if (Kernel::LoadValue(in, c_objectsTag, objects)) {
        for (auto const& object : objects) {
            if (object)
                items.push_back(Kernel::MakeCounted<SelectionItem>(object));
        }
    } else if (Kernel::LoadValue(in, c_itemsTag, items)) {
        std::erase_if(items, [](auto const& item) { return !item; });
    }
    m_items = std::move(items);
    m_objects.clear();
    in.LoadType(c_orderedTag, m_ordered);
    return true;
}

void MutableSelection::AddSelectable(Kernel::JailCounted<Selectable> selectable, bool front) {
    if (selectable)
        AddItem(Kernel::MakeCounted<SelectionItem>(std::move(selectable)), front);
}

void MutableSelection::AddItem(Kernel::Counted<SelectionItem const> item, bool front) {
    if (m_strategy == DuplicateStrategy::Skip && !m_known.insert(item->GetSelectable().get()).second &&
        item->IsWholeObject())
        return;
    m_items.insert(front ? m_items.begin() : m_items.end(), std::move(item));
}

void MutableSelection::AppendMutableSelectionItem(Kernel::Counted<SubSelectionItem> item) {
    if (item)
        AddItem(Kernel::Counted<SelectionItem const>(item.get()), false);
}

Kernel::Counted<Selection const> MutableSelection::CloneImmutable() const {
    return Kernel::MakeCounted<Selection>(m_items, false);
}

Kernel::Counted<Selection const> MutableSelection::CloneImmutableOrdered() const {
    return CloneImmutable()->GetOrdered();
}
