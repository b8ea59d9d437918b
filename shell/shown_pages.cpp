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

PageNumbers::PageNumbers(DocumentNode const& document) {
    std::size_t page = 1;
    for (auto const& spread : document.GetSpreads()) {
        m_spreads.emplace(spread.get(), m_firstPages.size());
        m_firstPages.push_back(page);
        page += spread->CountChildren(NodeChildListType::Pages);
    }
}

PagePlace PageNumbers::Find(Node const& node) const {
    auto const* const spread = node.GetSpread();
    PagePlace place;
    if (spread == nullptr)
        return place;
    place.spread = m_spreads.at(spread);
    auto const bounds = node.GetBounds(false);
    double const x = (bounds.left + bounds.right) / 2, y = (bounds.top + bounds.bottom) / 2;
    auto number = m_firstPages[place.spread];
    for (Node const* page = spread->GetFirstChild(NodeChildListType::Pages); page != nullptr;
         page = page->GetNextSibling(), ++number) {
        auto const* const box = Kernel::CastPointer<BaseBoxInterface const>(page);
        auto const area = box == nullptr ? Kernel::RectT<double>() : box->GetBaseBox(false);
        if (x >= area.left && x < area.right && y >= area.top && y < area.bottom) {
            place.page = std::to_string(number);
            break;
        }
    }
    return place;
}

} // namespace Shell
