// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/text_command_examples.h"

#include "platform/document/update_index_command.h"
#include "platform/kernel/type_name.h"
#include "platform/story/index_mark.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/text_documents.h"

namespace {

using TopicRef = Kernel::Counted<Story::IndexTopic const>;

TopicRef AddTopic(Story::Index& index, char const* name, TopicRef const& parent = {}) {
    auto const topic = Kernel::MakeCounted<Story::IndexTopic>(Kernel::String(name), parent);
    index.AddTopic(topic);
    return topic;
}

// A text about whales with marks; its topics refer to each other.
Kernel::Counted<FrameTextNode> PutMarkedText(DocumentController& controller) {
    auto const frame = ExampleDocuments::MakeTextFrame(
        {50, 50, 400, 300}, "The whale swims.\nThe sperm whale dives.\nA ship follows it.\n");
    ExampleDocuments::Append(*controller.GetCurrentSpread(), frame);
    auto& index = controller.GetDocument()->GetIndex();
    auto const whales = AddTopic(index, "Whales");
    auto const sperm = AddTopic(index, "Sperm whales", whales);
    auto const ships = AddTopic(index, "Ships");
    AddTopic(index, "Nothing");
    index.AddRelatedTo(ships, whales);
    index.AddRelatedTo(AddTopic(index, "Cetaceans"), whales);
    auto const story = frame->GetMutableStory(true);
    std::pair<std::uint32_t, TopicRef> const marks[] = {{40, ships}, {21, sperm}, {4, whales}};
    for (auto const& [place, topic] : marks)
        story->ReplaceText({place, place}, Story::GlyphString(Kernel::MakeCounted<Story::IndexMarkGlyph>(
                                               topic, Kernel::String(topic == ships ? "Bold" : ""))));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    return frame;
}

Kernel::Counted<Story::IndexAtt const> MakeAtt() {
    return Kernel::MakeCounted<Story::IndexAtt const>(Kernel::String("index-1"), Kernel::String("Index"));
}

// A caret in another frame, whose text goes on in a second one.
void CaretInAnEmptyText(DocumentController& controller) {
    PutMarkedText(controller);
    auto const frame = ExampleDocuments::MakeTextFrame({50, 400, 300, 440}, "");
    auto const second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{350, 400, 600, 600});
    std::vector const chain{frame, second};
    for (auto const& each : chain)
        ExampleDocuments::Append(*controller.GetCurrentSpread(), each);
    FrameTextNode::LinkAll(chain);
    controller.SetSelection(Kernel::MakeCounted<Selection const>(frame, Kernel::MakeCounted<TextSelection>(0, 0)),
                            false);
}

// The marked text has an index in front of what it names, of two entries that are not in the document any more.
void OldIndexInTheMarkedText(DocumentController& controller) {
    auto const frame = PutMarkedText(controller);
    auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
    atts->Set(Story::ParagraphAtt::Object::Index, Kernel::Counted<Kernel::Serialisable const>(MakeAtt().get()));
    Story::GeneratedParagraph old;
    old.text = Story::GlyphString(U"Old entry, 9");
    old.paragraphAtts = atts;
    Story::ReplaceWithParagraphs(*frame->GetMutableStory(true), {0, 0}, {old, old});
    frame->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
}

CommandExample Example(void (*prepare)(DocumentController&), Kernel::Counted<Story::IndexAtt const> const& att) {
    return {std::string(Kernel::TypeName<UpdateIndexCommand>()), prepare,
            [att](DocumentController&) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<UpdateIndexCommand>(att);
            }};
}

} // namespace

std::vector<CommandExample> IndexTextExamples() {
    return {Example(CaretInAnEmptyText, MakeAtt()), Example(OldIndexInTheMarkedText, {})};
}
