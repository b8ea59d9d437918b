// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interfaces.h"
#include "platform/document/selectable.h"
#include "platform/kernel/tree_base.h"

#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

class DocumentNode;
class SpreadNode;

// The lists that a node's children stand in.
enum class NodeChildListType : std::uint8_t {
    Plain = 0,
    // The shapes that the node is clipped to.
    Clipping = 1,
    // Adjustments and effects that are nodes.
    Adjustments = 2,
    // The shape that text is wrapped around.
    WrapShape = 3,
    // Masks, of which those that are mask nodes are drawn with.
    Masks = 4,
    // A document's symbols, beside its spreads.
    Symbols = 5,
    // The pages of a spread.
    Pages = 6,
    // Of any other node its captions, which are drawn in front of it, outside of its clips and masks.
    Captions = 6
};
inline constexpr int c_childListCount = 7;
using NodeId = std::uint64_t;

// Remembers, while a tree is cloned, which copy stands for which node.
enum class CloneType : std::uint32_t { Copy = 0, SymbolInstance = 1 };

class REDRAFT_ENGINE CloneContext {
public:
    explicit CloneContext(CloneType type) : m_type(type) {}
    CloneType GetType() const { return m_type; }

private:
    CloneType m_type;
};

// Where a node stands in the tree, or stood.
struct TreePlace {
    Kernel::Counted<Node> parent;
    Kernel::Counted<Node> previousSibling;
    NodeChildListType list = NodeChildListType::Plain;
};

// The interface of tree edits: a place as a state that undo can keep.
class REDRAFT_ENGINE StructureInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Structure;
    virtual TreePlace GetPlace() const = 0;
    // Takes the node out of where it stands and puts it there; an empty parent only takes it out.
    virtual void SetPlace(TreePlace const& place) = 0;
};

// A node of the document tree. It owns its children, in seven lists. It is created outside the tree; its id is given
// when it enters a document for the first time and is kept for its life.
class REDRAFT_ENGINE Node : public Selectable,
                            public Kernel::TreeBaseNDJailCounted<Node, c_childListCount, NodeChildListType>,
                            public StructureInterface,
                            public GUIDInterface,
                            public TagInterface,
                            public DescriptionInterface {
public:
    // How a rendering engine draws nodes.
    struct NodeRenderOptions;

    ~Node() override;

    // 0 until the node has entered a document.
    NodeId GetId() const noexcept { return m_id; }
    // The class's plain name, as in "GroupNode".
    std::string_view GetTypeName() const;

    // Links `child`, which has no parent, in front of `before`; at the end of the list when that is null. Throws
    // Kernel::Exception when the child holds this node or stands in a tree already.
    void InsertChild(NodeChildListType list, Kernel::Counted<Node> child, Node* before);
    // Takes the node out of its parent's list; nothing happens when it has none. Returns the tree's reference.
    Kernel::Counted<Node> RemoveFromParent();
    TreePlace GetPlace() const override;
    void SetPlace(TreePlace const& place) override;

    DocumentNode* GetDocumentNode() const noexcept;
    SpreadNode* GetSpread() const noexcept;
    bool IsInDocument() const noexcept { return GetDocumentNode() != nullptr; }

    // From node space to the spread's.
    virtual Raster::AffineTransform::Params GetBaseToSpreadTransform() const;
    Raster::AffineTransform::Params GetSpreadToBaseTransform() const { return GetBaseToSpreadTransform().GetInverse(); }
    // Of everything that the node draws, lines counted with `includeLines`, in spread space; an empty rectangle when
    // it draws nothing.
    Kernel::RectT<double> GetBounds(bool includeLines) const;
    // The box of what the node itself is, without lines and children, in spread space.
    Kernel::RectT<double> GetSpreadBaseBox() const { return GetOwnBounds(GetBaseToSpreadTransform(), false); }
    // True for a child that commands work on: visible and no helper of the engine.
    virtual bool IsContent() const;
    // Set for a node that belongs to an object which keeps it in its group.
    Kernel::Counted<Node const> GetOwnerReference() const noexcept {
        return m_rare == nullptr ? nullptr : m_rare->owner.Lock();
    }
    void SetOwnerReference(Kernel::Counted<Node const> owner);
    // True when the node keeps its children in a structure of its own, which plain edits must leave alone.
    virtual bool HasSpecialisedChildren() const { return false; }
    virtual bool IsArtboard() const { return false; }
    // False for a node that draws something else in place of its plain children.
    virtual bool DrawsChildren() const { return true; }
    // Of what the node itself draws, without children and clips, in the space that `toSpread` leads to.
    virtual Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                               bool includeLines) const;

    // Links to a symbol. A linked node shows the content of its source, the symbol's root or a node in it, as its own.
    // With `direct` only the top node of an instance answers true.
    bool IsLinked(bool direct) const;
    // The instances linked to this node, in node-id order.
    std::vector<Kernel::JailCounted<Node>> GetLinkedNodes() const;
    Kernel::Counted<Node> GetLinkSource() const { return m_rare == nullptr ? nullptr : m_rare->linkSource; }
    // An empty source ends the link. The top node of an instance is the one whose source is a symbol's root. Throws
    // Kernel::Exception when the source holds this node.
    void SetLinkSource(Kernel::Counted<Node> source);
    // True for the node itself and for all that it keeps alive: what is below it, what that is linked to, and what
    // boxes there contain. No node may come to hold one that holds it: neither would ever be let go of.
    bool Holds(Node const& other) const;

    // A deep copy without id and parent.
    Kernel::Counted<Node> Clone(CloneContext& context) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    Node() = default;
    Node(Node const&) = delete;

    void OnStateChanged(InterfaceId id) override;
    // Tells a node that this one, which need not be its parent, contains it. False, with nothing changed, when it holds
    // this node or is contained in another.
    bool AddContents(Node& contents);
    void DropContents(Node& contents) noexcept;
    // Fills a copy: everything but id, place, children and link.
    virtual void CopyMembersFrom(Node const& other);
    Kernel::String GetDefaultDescription() const override;

private:
    friend class DocumentNode;

    // Data that few nodes have.
    struct Rare {
        Kernel::Weak<Node const> owner;
        Kernel::Counted<Node> linkSource;
        // Nodes whose link source this is, wherever they are.
        std::unordered_set<Node*> linkedNodes;
        // See AddContents.
        Node* container = nullptr;
    };
    Rare& GetRare();
    void Link(Kernel::Counted<Node> source);
    // Leaves hold nothing but themselves.
    bool MayHoldOthers() const noexcept;

    NodeId m_id = 0;
    std::unique_ptr<Rare> m_rare;
};

// Calls visit(Node&) for a node and everything below it, parents before children, lists in order. Without recursion.
template <class F>
void ForEachNode(Node& top, F const& visit) {
    std::vector<Node*> pending{&top};
    while (!pending.empty()) {
        Node* const node = pending.back();
        pending.pop_back();
        visit(*node);
        for (int list = c_childListCount - 1; list >= 0; --list) {
            for (Node* child = node->GetLastChild(static_cast<NodeChildListType>(list)); child != nullptr;
                 child = child->GetPreviousSibling())
                pending.push_back(child);
        }
    }
}
