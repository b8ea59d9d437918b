// SPDX-License-Identifier: Apache-2.0
#include "platform/document/story_visitor.h"

bool VisitedStories::HasVisitedStory(Kernel::NonCounted<StoryInterface const> story) {
    AttributeOwner const* const owner = story.get();
    auto* const text = const_cast<TextNode*>(Kernel::CastPointer<TextNode const>(owner));
    return !m_owners.insert(text == nullptr ? owner : &text->GetStoryOwner()).second;
}

StoryVisitor::StoryVisitor(bool visibleOnly) : m_visibleOnly(visibleOnly) {
    AppendTranslator(std::make_unique<DOMTerminatingTranslatorT<StoryVisitor, TextNode>>());
}

StoryVisitor::~StoryVisitor() = default;

void StoryVisitor::Visit(Kernel::JailCounted<Node> top, Kernel::Counted<Selection const> selection) {
    m_visited.clear();
    m_selected.clear();
    m_hasSelection = static_cast<bool>(selection);
    if (selection) {
        for (auto const& node : selection->GetNodes())
            m_selected.insert(node.get());
    }
    if (top)
        DOMVisitor::Visit(*top);
    m_text.reset();
}

void StoryVisitor::ReceiveTextNode(Kernel::NonCounted<TextNode> text) {
    if (m_visibleOnly && !text->IsVisibleWithAncestors())
        return;
    if (m_hasSelection) {
        Node const* node = text.get();
        while (node != nullptr && !m_selected.contains(node))
            node = node->GetParent();
        if (node == nullptr)
            return;
    }
    if (m_visited.HasVisitedStory(text))
        return;
    m_text = text.ToCounted();
    auto const story = text->GetStory();
    ReceiveStory(Kernel::NonCounted<Story::Story const>(story));
}

namespace {

class ObjectFinder final : public StoryVisitor {
public:
    explicit ObjectFinder(std::function<bool(Story::Glyph const& object)> const& isWanted)
        : StoryVisitor(false), m_isWanted(isWanted) {}
    std::vector<Kernel::Counted<Node>> texts;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        bool isFound = false;
        story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
            isFound = m_isWanted(*glyph);
            return !isFound;
        });
        if (isFound)
            texts.emplace_back(GetTextNode());
    }

private:
    std::function<bool(Story::Glyph const& object)> const& m_isWanted;
};

} // namespace

std::vector<Kernel::Counted<Node>>
FindTextsWithObject(Node& top, std::function<bool(Story::Glyph const& object)> const& isWanted) {
    ObjectFinder finder(isWanted);
    finder.Visit(Kernel::JailCounted<Node>(&top), {});
    return std::move(finder.texts);
}
