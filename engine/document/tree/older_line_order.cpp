// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/older_line_order.h"

#include "platform/kernel/cast.h"

namespace {

thread_local OlderLineOrder* s_reading = nullptr;

} // namespace

OlderLineOrder::OlderLineOrder() noexcept : m_outer(s_reading) { s_reading = this; }

OlderLineOrder::~OlderLineOrder() { s_reading = m_outer; }

void OlderLineOrder::Note(Node& node) {
    auto const& owner = static_cast<AttributeOwner const&>(node);
    if (s_reading != nullptr && owner.FindState(InterfaceId::LineStyle) != nullptr &&
        owner.FindState(InterfaceId::DrawOrder) == nullptr)
        s_reading->m_nodes.emplace_back(&node);
}

void OlderLineOrder::Migrate() {
    for (auto const& node : m_nodes) {
        auto const& line = node->GetState<LineStyleState>().line;
        if (!line || !line->GetDrawBehindFill())
            continue;
        if (auto* const order = Kernel::CastPointer<DrawOrderInterface>(node.get()))
            order->SetLineBehindFill(true);
    }
    m_nodes.clear();
}
