// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"

#include <unordered_map>

// The numbers of a document's pages, as they were when it was made: pages count from 1, through all spreads.
class REDRAFT_ENGINE PageNumbers {
public:
    explicit PageNumbers(DocumentNode const& document);
    std::size_t GetPageCount() const { return m_pageCount; }
    // Of the page that the node's middle is on; 0 beside all pages of its spread.
    std::size_t GetPageNumber(Node const& node) const;
    // The same as it is shown; empty beside all pages.
    Kernel::String GetPageLabel(Node const& node) const { return GetLabel(GetPageNumber(node)); }
    static Kernel::String GetLabel(std::size_t number) {
        return number == 0 ? Kernel::String() : Kernel::String(std::to_string(number));
    }

private:
    // The number of the spread's first page.
    std::unordered_map<Node const*, std::size_t> m_firstPages;
    std::size_t m_pageCount = 0;
};
