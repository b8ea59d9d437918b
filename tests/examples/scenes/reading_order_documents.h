// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/export_article.h"
#include "platform/document/text_nodes.h"
#include "tests/examples/scenes/example_documents.h"

#include <vector>

// Documents with a reading order, for examples and tests.
namespace ExampleDocuments {

struct ReadingOrder {
    // A shape in article 0 with a text of two frames behind it; a shape as entry 1; three shapes in article 2; article
    // 3 without members; a text as entry 4.
    Kernel::Counted<ShapeNode> opening, single;
    Kernel::Counted<FrameTextNode> head, second, note;
    std::vector<Kernel::Counted<ShapeNode>> members;
    // In the order without a number, and not in it.
    Kernel::Counted<ShapeNode> included, untagged;
    Kernel::Counted<ExportArticle> first, middle, empty;
};

// The single shape and the text of article 0, by its second frame, are selected.
ReadingOrder ObjectsInReadingOrder(DocumentController& controller);

// The entry of an article or an object, as the document has it now; null for none.
Kernel::Counted<ExportArticleCollector> FindEntry(DocumentController& controller, int number);
Kernel::Counted<ExportArticleCollector> MakeEntry(Kernel::Counted<Node> node);

} // namespace ExampleDocuments
