// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

class DocumentNode;
class FrameTextNode;
class Node;

// The numbers of a document's captions that count by a name, from 1 on for each name: in the order of the pages that
// they stand on, those of one page as the tree has them, and those beside the pages behind all others of their spread.
class CaptionNumbers final : public virtual Kernel::Countable {
public:
    // As the document is now. Computed anew only after something in some document has moved, come or gone. The captions
    // that it lists live as long as nothing changes.
    static Kernel::Counted<CaptionNumbers const> Get(DocumentNode const& document);
    explicit CaptionNumbers(DocumentNode const& document);

    // 0 for a node that is no such caption of the document.
    std::size_t Find(Node const& caption) const;
    // In the order of the tree.
    std::vector<FrameTextNode*> const& GetCaptions() const { return m_captions; }

private:
    std::vector<FrameTextNode*> m_captions;
    std::unordered_map<Node const*, std::size_t> m_numbers;
};
