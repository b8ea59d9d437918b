// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

#include <vector>

// Older programs drew an object's line behind its fill when either the object or its line said so. Now the object alone
// does: while a document is read, objects that have a line and do not say so are noted, and told when their lines have
// been read too. Of the calling thread.
class OlderLineOrder {
public:
    OlderLineOrder() noexcept;
    OlderLineOrder(OlderLineOrder const&) = delete;
    OlderLineOrder& operator=(OlderLineOrder const&) = delete;
    ~OlderLineOrder();

    // Of a node that has just been read.
    static void Note(Node& node);
    // When everything has been read.
    void Migrate();

private:
    std::vector<Kernel::Counted<Node>> m_nodes;
    OlderLineOrder* m_outer;
};
