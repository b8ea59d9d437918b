// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/story/pin.h"

// A node of the tree that belongs to a place in a text. It stays where it is in the tree: pages show it there, and text
// does not move it. The pin does not keep the node alive.
class REDRAFT_ENGINE PinnedNode final : public Kernel::Serialisable, public Story::PinInterface {
public:
    PinnedNode() = default;
    explicit PinnedNode(Kernel::Counted<Node> const& node) : m_node(node) {}
    ~PinnedNode() override;
    // Null when the node is in no document any more.
    Kernel::JailCounted<Node> GetNode() const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<PinnedNode>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Weak<Node> m_node;
};
