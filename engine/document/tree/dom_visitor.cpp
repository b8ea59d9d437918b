// SPDX-License-Identifier: Apache-2.0
#include "platform/document/dom_visitor.h"

DOMTranslator::~DOMTranslator() = default;
DOMVisitor::~DOMVisitor() = default;

bool DOMVisitor::HasSeenEnough() const { return false; }

void DOMVisitor::Visit(Node& top) {
    std::vector<Node*> pending{&top};
    while (!pending.empty() && !IsAborted() && !HasSeenEnough()) {
        Node* const node = pending.back();
        pending.pop_back();
        for (auto const& translator : m_translators) {
            if (translator->Translate(Kernel::NonCounted<Kernel::Countable>(node), *this))
                break;
        }
        for (int list = c_childListCount - 1; list >= 0; --list) {
            for (Node* child = node->GetLastChild(static_cast<NodeChildListType>(list)); child != nullptr;
                 child = child->GetPreviousSibling())
                pending.push_back(child);
        }
    }
}
