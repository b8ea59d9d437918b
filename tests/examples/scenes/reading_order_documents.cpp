// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/reading_order_documents.h"

#include "tests/examples/scenes/text_documents.h"

namespace ExampleDocuments {

namespace {

void Tag(ExportTaggingInterface& object, int article, int sequence) {
    object.SetArticleIndex(article);
    object.SetSequenceIndex(sequence);
}

Kernel::Counted<ExportArticle> AddArticle(DocumentController& controller, int number, char const* name) {
    auto article = Kernel::MakeCounted<ExportArticle>();
    article->SetName(name);
    controller.GetDocument()->SetArticle(number, article);
    return article;
}

} // namespace

ReadingOrder ObjectsInReadingOrder(DocumentController& controller) {
    ReadingOrder order;
    double left = 20;
    auto const addShape = [&](char const* name) {
        auto shape = MakeRectangle({left, 20, left + 40, 60}, 0.2, 0.4, 0.6);
        left += 50;
        shape->SetUserDescription(name);
        Append(*controller.GetCurrentSpread(), shape);
        return shape;
    };
    order.opening = addShape("opening");
    order.single = addShape("single");
    for (char const* const name : {"first", "second", "third"})
        order.members.push_back(addShape(name));
    order.included = addShape("included");
    order.untagged = addShape("untagged");
    order.head = MakeTextFrame({20, 80, 200, 120}, "A text that goes on from one frame to the next one.");
    order.second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{220, 80, 400, 120});
    order.note = MakeTextFrame({20, 140, 200, 180}, "A note.");
    for (auto const& frame : {order.head, order.second, order.note})
        Append(*controller.GetCurrentSpread(), frame);
    order.second->LinkBehind(*order.head);
    order.first = AddArticle(controller, 0, "Beginning");
    order.middle = AddArticle(controller, 2, "Middle");
    order.empty = AddArticle(controller, 3, "Nothing yet");
    Tag(*order.opening, 0, 0);
    Tag(*order.second, 0, 1);
    Tag(*order.single, 1, -1);
    for (std::size_t i = 0; i != order.members.size(); ++i)
        Tag(*order.members[i], 2, static_cast<int>(i));
    Tag(*order.note, 4, -1);
    order.included->SetIncludeUntagged(true);
    bool flag = false;
    controller.UpdateExportArticles(flag);
    Select(controller, {order.single, order.second});
    return order;
}

Kernel::Counted<ExportArticleCollector> FindEntry(DocumentController& controller, int number) {
    for (auto const& entry : controller.GetExportArticles()) {
        if (entry->GetArticleIndex(Kernel::Counted<DocumentController const>(&controller), true) == number)
            return entry;
    }
    return {};
}

Kernel::Counted<ExportArticleCollector> MakeEntry(Kernel::Counted<Node> node) {
    return Kernel::MakeCounted<ExportArticleCollector>(std::move(node));
}

} // namespace ExampleDocuments
