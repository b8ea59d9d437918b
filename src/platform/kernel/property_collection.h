// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"
#include "platform/kernel/string.h"
#include "platform/kernel/tag.h"

#include <cstdint>
#include <vector>

namespace Kernel {

// Which properties of a collection are written when it is saved. Lives as long as the program.
class REDRAFT_ENGINE PropertySerialisationStrategy {
public:
    virtual bool IsStored(Serialisable const& property) const = 0;

protected:
    ~PropertySerialisationStrategy() = default;
};

// A tree of names. Its root is always there; its leaves hold properties, which are objects of any stored class. Nodes
// are never taken out again, but for those of a step that failed.
class REDRAFT_ENGINE PropertyCollectionBase : public Serialisable {
public:
    // Names a node of one collection.
    enum class PropertyNode : std::uint32_t { Root = 0 };

    ~PropertyCollectionBase() override;
    PropertyNode GetRootNode() const { return PropertyNode::Root; }
    // Adds behind the children of `parent`. Names may be empty, and need not differ. Kernel::Exception for a parent
    // that is not in the collection or is a leaf itself.
    virtual PropertyNode AddNode(PropertyNode parent, String name) = 0;
    // `property` is not null: Kernel::Exception.
    virtual PropertyNode AddLeaf(PropertyNode parent, String name, Counted<Serialisable const> property) = 0;

    // In the order in which they were added. For the operations below Kernel::Exception when the node is not in the
    // collection.
    virtual std::vector<PropertyNode> GetChildren(PropertyNode node) const = 0;
    // The root's is empty.
    virtual String GetName(PropertyNode node) const = 0;
    // Null for a node that is no leaf.
    virtual Counted<Serialisable const> GetProperty(PropertyNode node) const = 0;
};

// A while in which a collection may be changed. An empty session stands for a collection that is not to be had.
class REDRAFT_ENGINE MutablePropertyCollectionSession {
public:
    MutablePropertyCollectionSession() = default;
    explicit MutablePropertyCollectionSession(Counted<PropertyCollectionBase> collection)
        : m_collection(std::move(collection)) {}
    explicit operator bool() const { return static_cast<bool>(m_collection); }
    Counted<PropertyCollectionBase> const& GetPropertyCollection() const { return m_collection; }

private:
    Counted<PropertyCollectionBase> m_collection;
};

} // namespace Kernel
