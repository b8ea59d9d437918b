// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/index_documents.h"

#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"

namespace ExampleDocuments {

Kernel::Counted<Story::IndexTopic> AddTopic(DocumentController& controller, char const* name,
                                            Kernel::Counted<Story::IndexTopic const> const& parent) {
    auto topic = Kernel::MakeCounted<Story::IndexTopic>(name, parent);
    controller.GetDocument()->GetIndex().AddTopic(topic);
    return topic;
}

Kernel::Counted<Story::IndexTopic const> FindTopic(DocumentController& controller, char const* name) {
    return controller.GetDocument()->GetIndex().FindTopicByName(name, false);
}

void InsertMark(TextNode& text, std::uint32_t index, Kernel::Counted<Story::IndexTopic const> const& topic,
                char const* styleName) {
    auto const story = text.GetMutableStory(true);
    story->ReplaceText({index, index},
                       Story::GlyphString(Kernel::Counted<Story::Glyph const>(
                           Kernel::MakeCounted<Story::IndexMarkGlyph>(topic, Kernel::String(styleName)))));
    text.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
}

IndexTexts TextsWithIndexMarks(DocumentController& controller) {
    IndexTexts texts;
    texts.animals = AddTopic(controller, "Animals");
    texts.whales = AddTopic(controller, "Whales", texts.animals);
    texts.spermWhale = AddTopic(controller, "Sperm whale", texts.whales);
    texts.ships = AddTopic(controller, "Ships");
    texts.sea = AddTopic(controller, "Sea");
    controller.GetDocument()->GetIndex().AddRelatedTo(texts.ships, texts.sea);
    std::string text = "Call the whale by its name.\n";
    for (int i = 0; i != 8; ++i)
        text += "The ship goes on over the sea, and the whale goes on below it. ";
    texts.head = MakeTextFrame({50, 50, 250, 110}, text.c_str());
    texts.second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 130, 250, 400});
    texts.other = MakeTextFrame({300, 50, 500, 110}, "A sperm whale is large.");
    for (auto const& frame : {texts.head, texts.second, texts.other})
        Append(*controller.GetCurrentSpread(), frame);
    texts.second->LinkBehind(*texts.head);
    InsertMark(*texts.head, 400, texts.whales);
    InsertMark(*texts.head, 32, texts.ships, "Bold");
    InsertMark(*texts.head, 9, texts.whales);
    InsertMark(*texts.other, 2, texts.spermWhale);
    Select(controller, {texts.other});
    return texts;
}

} // namespace ExampleDocuments
