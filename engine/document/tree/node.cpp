// SPDX-License-Identifier: Apache-2.0
#include "platform/document/node.h"

#include "engine/document/tree/bounds.h"
#include "engine/document/tree/layout_epoch.h"
#include "engine/document/tree/older_line_order.h"
#include "engine/document/tree/text_wrap.h"
#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/inline_object.h"

#include <algorithm>
#include <typeinfo>
#include <unordered_map>

namespace {

constexpr Kernel::IDTag c_idTag{"NoId"};
constexpr Kernel::IDTag c_listTypeTag{"LTyp"};
constexpr Kernel::IDTag c_linkTag{"LnkS"};
constexpr Kernel::IDTag c_ownerTag{"Ownr"};

constexpr Kernel::IDTag ChildrenTag(int list) {
    return Kernel::IDTag::FromValue(Kernel::IDTag("Chl0").GetValue() + static_cast<std::uint32_t>(list));
}

// Final classes: the dynamic type itself decides.
void RequirePlaceOfKind(Node const& parent, NodeChildListType list, Node const& child) {
    auto const& type = typeid(child);
    bool const isSpreadList = list == NodeChildListType::Plain && typeid(parent) == typeid(DocumentNode);
    if (isSpreadList != (type == typeid(SpreadNode)))
        throw Kernel::Exception("spreads stand below the document, and nothing else does");
    if (type == typeid(DocumentNode))
        throw Kernel::Exception("a document cannot stand in another");
}

Kernel::Counted<Node> MakeEmptyOfSameClass(Node const& node) {
    return Kernel::Cast<Node>(node.GetObjectClassProperties()->Create());
}

} // namespace

Node::~Node() {
    if (m_rare != nullptr)
        Link({});
}

std::string_view Node::GetTypeName() const { return GetObjectClassProperties()->GetName(); }

void Node::InsertChild(NodeChildListType list, Kernel::Counted<Node> child, Node* before) {
    if (child->GetParent() != nullptr)
        throw Kernel::Exception("a node cannot stand in two places of the tree");
    if (child->Holds(*this))
        throw Kernel::Exception("a node cannot be put into itself");
    if (before != nullptr && (before->GetParent() != this || before->GetChildListType() != list))
        throw Kernel::Exception("a node cannot be put in front of one that stands elsewhere");
    RequirePlaceOfKind(*this, list, *child);
    EditJournal::NoteFor(*child, [](Node& linked) {
        if (Node* const parent = linked.GetParent()) {
            parent->MarkChanged();
            linked.MarkChanged();
            parent->UnlinkChild(&linked);
            LayoutEpoch::Advance();
        }
    });
    LinkChild(list, child.get(), before);
    if (auto* document = GetDocumentNode())
        document->AdoptIds(*child);
    MarkChanged();
    child->MarkChanged();
    LayoutEpoch::Advance();
}

Kernel::Counted<Node> Node::RemoveFromParent() {
    Node* const parent = GetParent();
    if (parent == nullptr)
        return {};
    EditJournal::NoteFor(*this, [from = Kernel::Counted<Node>(parent), next = Kernel::Counted<Node>(GetNextSibling()),
                                 list = GetChildListType()](Node& node) {
        from->LinkChild(list, &node, next.get());
        from->MarkChanged();
        node.MarkChanged();
        LayoutEpoch::Advance();
    });
    parent->MarkChanged();
    MarkChanged();
    auto reference = parent->UnlinkChild(this);
    LayoutEpoch::Advance();
    return reference;
}

TreePlace Node::GetPlace() const {
    return {Kernel::Counted<Node>(GetParent()), Kernel::Counted<Node>(GetPreviousSibling()), GetChildListType()};
}

void Node::SetPlace(TreePlace const& place) {
    Kernel::Counted<Node> const self(this);
    RemoveFromParent();
    if (!place.parent)
        return;
    bool const hasPrevious = place.previousSibling && place.previousSibling->GetParent() == place.parent.get();
    Node* const before =
        hasPrevious ? place.previousSibling->GetNextSibling() : place.parent->GetFirstChild(place.list);
    place.parent->InsertChild(place.list, self, before);
}

DocumentNode* Node::GetDocumentNode() const noexcept {
    auto const* top = this;
    while (top->GetParent() != nullptr)
        top = top->GetParent();
    return const_cast<DocumentNode*>(Kernel::CastPointer<DocumentNode const>(top));
}

SpreadNode* Node::GetSpread() const noexcept {
    for (auto const* node = this; node != nullptr; node = node->GetParent()) {
        if (auto const* spread = Kernel::CastPointer<SpreadNode const>(node))
            return const_cast<SpreadNode*>(spread);
    }
    return nullptr;
}

Raster::AffineTransform::Params Node::GetBaseToSpreadTransform() const { return {}; }

Kernel::RectT<double> Node::GetBounds(bool includeLines) const {
    return ComputeBounds(*this, GetBaseToSpreadTransform(), includeLines, true);
}

Kernel::RectT<double> Node::GetOwnBounds(Raster::AffineTransform::Params const&, bool) const { return {}; }

bool Node::IsContent() const { return true; }

Node::Rare& Node::GetRare() {
    if (m_rare == nullptr)
        m_rare = std::make_unique<Rare>();
    return *m_rare;
}

void Node::SetOwnerReference(Kernel::Counted<Node const> owner) {
    if (owner == GetOwnerReference())
        return;
    EditJournal::NoteFor(*this, [old = GetOwnerReference()](Node& node) { node.SetOwnerReference(old); });
    GetRare().owner = Kernel::Weak<Node const>(owner);
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

bool Node::IsLinked(bool direct) const {
    auto const source = GetLinkSource();
    if (!source)
        return false;
    return !direct || GetParent() == nullptr || !GetParent()->GetLinkSource();
}

std::vector<Kernel::JailCounted<Node>> Node::GetLinkedNodes() const {
    std::vector<Kernel::JailCounted<Node>> nodes;
    if (m_rare == nullptr)
        return nodes;
    for (Node* node : m_rare->linkedNodes) {
        if (node->IsInDocument())
            nodes.emplace_back(node);
    }
    std::sort(nodes.begin(), nodes.end(), [](auto const& a, auto const& b) { return a->GetId() < b->GetId(); });
    return nodes;
}

void Node::SetLinkSource(Kernel::Counted<Node> source) {
    auto const old = GetLinkSource();
    if (old == source)
        return;
    if (source && source->Holds(*this))
        throw Kernel::Exception("a node cannot be linked to one that holds it");
    EditJournal::NoteFor(*this, [old](Node& node) { node.SetLinkSource(old); });
    Link(std::move(source));
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void Node::Link(Kernel::Counted<Node> source) {
    if (auto const old = GetLinkSource())
        old->GetRare().linkedNodes.erase(this);
    if (source)
        source->GetRare().linkedNodes.insert(this);
    GetRare().linkSource = std::move(source);
}

bool Node::AddContents(Node& contents) {
    if (contents.Holds(*this) || (contents.m_rare != nullptr && contents.m_rare->container != nullptr))
        return false;
    contents.GetRare().container = this;
    GetRare();
    return true;
}

void Node::DropContents(Node& contents) noexcept {
    if (contents.m_rare != nullptr && contents.m_rare->container == this)
        contents.m_rare->container = nullptr;
}

bool Node::MayHoldOthers() const noexcept {
    if (m_rare != nullptr)
        return true;
    for (int list = 0; list != c_childListCount; ++list) {
        if (HasChildren(static_cast<NodeChildListType>(list)))
            return true;
    }
    return false;
}

// Goes from the other node up to all that hold it, which are few: most nodes are held by their parent only.
bool Node::Holds(Node const& other) const {
    if (this == &other || !MayHoldOthers())
        return this == &other;
    std::vector<Node const*> pending;
    std::unordered_set<Node const*> met;
    Node const* next = &other;
    for (;;) {
        for (Node const* node = next; node != nullptr; node = node->GetParent()) {
            if (node == this)
                return true;
            auto const* const rare = node->m_rare.get();
            bool const isHeldTwice = rare != nullptr && (!rare->linkedNodes.empty() || rare->container != nullptr);
            if (!isHeldTwice && met.empty())
                continue;
            if (!met.insert(node).second)
                break;
            if (!isHeldTwice)
                continue;
            pending.insert(pending.end(), rare->linkedNodes.begin(), rare->linkedNodes.end());
            if (rare->container != nullptr)
                pending.push_back(rare->container);
        }
        if (pending.empty())
            return false;
        next = pending.back();
        pending.pop_back();
    }
}

// Children are copied one by one and not by recursion.
Kernel::Counted<Node> Node::Clone(CloneContext& context) const {
    std::vector<std::pair<Node const*, Node*>> pending;
    auto const copyOf = [&](Node const& node) {
        auto copy = MakeEmptyOfSameClass(node);
        copy->CopyMembersFrom(node);
        if (context.GetType() == CloneType::SymbolInstance)
            copy->SetLinkSource(Kernel::Counted<Node>(const_cast<Node*>(&node)));
        pending.emplace_back(&node, copy.get());
        return copy;
    };
    auto const top = copyOf(*this);
    while (!pending.empty()) {
        auto const [node, copy] = pending.back();
        pending.pop_back();
        for (int list = 0; list != c_childListCount; ++list) {
            auto const type = static_cast<NodeChildListType>(list);
            for (Node const* child = node->GetFirstChild(type); child != nullptr; child = child->GetNextSibling())
                copy->InsertChild(type, copyOf(*child), nullptr);
        }
    }
    return top;
}

void Node::CopyMembersFrom(Node const& other) {
    CopyStatesFrom(other);
    NoteTextWrap(*this);
    SetChildListType(other.GetChildListType());
}

void Node::OnStateChanged(InterfaceId id) {
    if (id == InterfaceId::TextWrap)
        NoteTextWrap(*this);
    MarkChanged();
    // Texts themselves know when their stories matter to others.
    if (id != InterfaceId::Story)
        LayoutEpoch::AdvanceForPlaces();
}

Kernel::String Node::GetDefaultDescription() const {
    auto name = GetTypeName();
    if (name.ends_with("Node"))
        name.remove_suffix(4);
    return Kernel::String(name);
}

void Node::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, c_idTag, m_id);
    if (GetChildListType() != NodeChildListType::Plain)
        Kernel::SaveValue(out, c_listTypeTag, static_cast<std::uint32_t>(GetChildListType()));
    SaveStates(out);
    for (int list = 0; list != c_childListCount; ++list) {
        auto const type = static_cast<NodeChildListType>(list);
        if (!HasChildren(type))
            continue;
        Kernel::SaveObjectArray(out, ChildrenTag(list), CountChildren(type), [child = GetFirstChild(type)]() mutable {
            return std::exchange(child, child->GetNextSibling());
        });
    }
    if (auto const source = GetLinkSource())
        Kernel::SaveValue(out, c_linkTag, source);
    if (auto const owner = GetOwnerReference())
        Kernel::SaveValue(out, c_ownerTag, owner);
}

bool Node::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short) {
    Kernel::LoadValue(in, c_idTag, m_id);
    std::uint32_t listType = 0;
    if (Kernel::LoadValue(in, c_listTypeTag, listType) && listType < c_childListCount && GetParent() == nullptr)
        SetChildListType(static_cast<NodeChildListType>(listType));
    LoadStates(in, files);
    NoteTextWrap(*this);
    OlderLineOrder::Note(*this);
    // Most nodes are leaves without links.
    if (!in.MayHaveTag(0, 0))
        return true;
    for (int list = 0; list != c_childListCount; ++list) {
        auto const* const children = in.LoadObjectsI(ChildrenTag(list), true);
        if (children == nullptr)
            continue;
        // A clearing load empties the lists, which is what breaks the cycles of a forged document.
        while (Node* child = GetFirstChild(static_cast<NodeChildListType>(list)))
            UnlinkChild(child);
        for (auto const& object : *children) {
            auto* const child = Kernel::CastPointer<Node>(object.get());
            if (child == nullptr || child->GetParent() != nullptr)
                throw Kernel::DamagedDataException("the tree is damaged: a node stands in two places");
            // Most children hold nothing yet, since most nodes are loaded before their children are.
            if (child->Holds(*this))
                throw Kernel::DamagedDataException("the tree is damaged: a node stands in itself");
            LinkChild(static_cast<NodeChildListType>(list), child, nullptr);
        }
    }
    Kernel::Counted<Node> source;
    if (Kernel::LoadValue(in, c_linkTag, source)) {
        if (source && source->Holds(*this))
            throw Kernel::DamagedDataException("the tree is damaged: a node is linked to one that holds it");
        Link(std::move(source));
    }
    Kernel::Counted<Node const> owner;
    if (Kernel::LoadValue(in, c_ownerTag, owner) && owner)
        GetRare().owner = Kernel::Weak<Node const>(owner);
    return true;
}
