// SPDX-License-Identifier: Apache-2.0
#include "platform/document/pinned_node.h"

#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

PinnedNode::~PinnedNode() = default;

Kernel::JailCounted<Node> PinnedNode::GetNode() const {
    auto node = m_node.Lock();
    return node && node->IsInDocument() ? node : Kernel::JailCounted<Node>();
}

void PinnedNode::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Node", m_node.Lock()); }

bool PinnedNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::Counted<Node> node;
    Kernel::LoadValue(in, "Node", node);
    m_node = node;
    return true;
}
