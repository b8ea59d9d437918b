// SPDX-License-Identifier: Apache-2.0
#include "shell/shown_pages.h"

#include "platform/kernel/cast.h"

#include <unordered_set>

namespace Shell {

namespace {

// The nodes of a story know each other by the first of them.
Node const* GetFirstNode(TextNode const& text) {
    auto const* const frame = Kernel::CastPointer<FrameTextNode const>(&text);
    auto const master = frame == nullptr ? Kernel::Counted<TextFrameInterface>() : frame->GetMaster();
    auto const* const node = master ? Kernel::CastPointer<Node const>(master.get()) : nullptr;
    return node == nullptr ? &text : node;
}

} // namespace

std::vector<ShownStory> FindStories(DocumentNode const& document, bool withPlaces) {
    std::vector<ShownStory> stories;
    std::unordered_set<Node const*> known;
    for (auto const& spread : document.GetSpreads()) {
        ForEachNode(*spread, [&](Node& node) {
            auto const* const text = Kernel::CastPointer<TextNode>(&node);
            if (text == nullptr || !known.insert(GetFirstNode(*text)).second)
                return;
            auto& found = stories.emplace_back();
            found.story = text->GetStory();
            auto const flow = text->GetTextFlow();
            // As far as asked for: places need all of it.
            found.composed = text->MakeComposedStory(withPlaces ? Story::CompositionEndConditions()
                                                                : Story::CompositionEndConditions({0, 0}));
            if (withPlaces)
                found.overflowBegin = found.composed->GetOverflowBegin();
            for (auto const& part : *flow)
                found.parts.push_back({part, withPlaces ? found.composed->GetFrame(found.parts.size())->GetRange()
                                                        : Story::StoryRange()});
        });
    }
    return stories;
}

PagePlaces::PagePlaces(DocumentNode const& document) : m_numbers(document) {
    for (auto const& spread : document.GetSpreads())
        m_spreads.emplace(spread.get(), m_spreads.size());
}

PagePlace PagePlaces::Find(Node const& node) const {
    auto const* const spread = node.GetSpread();
    if (spread == nullptr)
        return {};
    return {m_spreads.at(spread), m_numbers.GetPageLabel(node).ToStdString()};
}

} // namespace Shell
