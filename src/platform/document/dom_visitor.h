// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/cast.h"

#include <memory>
#include <vector>

class DOMVisitor;

// Finds in a node what a visitor wants.
class REDRAFT_ENGINE DOMTranslator {
public:
    // True when the node was taken: no other translator is asked.
    virtual bool Translate(Kernel::NonCounted<Kernel::Countable> object, DOMVisitor& visitor) = 0;
    virtual ~DOMTranslator();
};

// Walks a tree: offers each node to its translators in order, then goes through the node's seven child lists, each in
// tree order. Without recursion. Ends early when it is aborted or says that it has seen enough.
class REDRAFT_ENGINE DOMVisitor : public Kernel::Abortable {
public:
    ~DOMVisitor() override;
    void Visit(Node& top);
    void AppendTranslator(std::unique_ptr<DOMTranslator> translator) { m_translators.push_back(std::move(translator)); }

protected:
    virtual bool HasSeenEnough() const;

private:
    std::vector<std::unique_ptr<DOMTranslator>> m_translators;
};

template <class V>
class DOMVisitorT : public DOMVisitor {};

// Hands nodes of class N to the visitor's Receive.
template <class V, class N>
class DOMTerminatingTranslatorT final : public DOMTranslator {
public:
    bool Translate(Kernel::NonCounted<Kernel::Countable> object, DOMVisitor& visitor) override {
        auto* const node = Kernel::CastPointer<N, Kernel::Countable, DOMTerminatingTranslatorT>(object.get());
        if (node == nullptr)
            return false;
        auto* const receiver = dynamic_cast<V*>(&visitor);
        if (receiver == nullptr)
            return false;
        receiver->Receive(Kernel::NonCounted<N>(node));
        return true;
    }
};
