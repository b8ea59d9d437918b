// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/text_nodes.h"

// A command that receives one interface or, of texts that it takes as such, the selected part of the story.
template <class T, class I>
class SelectionCommandWithSingleInterfaceOrStoryInterface : public SelectionCommand<T> {
public:
    explicit SelectionCommandWithSingleInterfaceOrStoryInterface(Kernel::Counted<Selection const> selection)
        : SelectionCommand<T>(std::move(selection)) {
        this->AppendTranslator(std::make_unique<TerminatingTranslatorT<T, AttributeOwner>>());
    }

    // A story is kept by the first of the nodes that show it, whichever of them is selected.
    void Receive(Kernel::NonCounted<AttributeOwner> object) {
        auto* const text = Kernel::CastPointer<TextNode>(object.get());
        if (text == nullptr || !TakesStory(*text)) {
            if (auto* const taken = Kernel::CastPointer<I>(object.get()))
                ReceiveInterface(Kernel::NonCounted<I>(taken));
            return;
        }
        auto const head = *text->GetTextFlow()->begin();
        auto const owner = Kernel::NonCounted<Kernel::Countable>(head.get());
        this->PreVisitSubSelection(owner);
        ReceiveInterface(Kernel::NonCounted<TextNode>(head.get()), GetSelectedRanges(*head));
        this->PostVisitSubSelection(owner);
    }

protected:
    bool ShouldOperateOnMasterItems() override { return false; }
    // Whether a text is taken by its story. Otherwise it is taken like any other object.
    virtual bool TakesStory(TextNode const& text) const = 0;
    virtual void ReceiveInterface(Kernel::NonCounted<I> object) = 0;
    // `ranges` is not empty; the whole story when the text is selected as an object.
    virtual void ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) = 0;

private:
    Story::StoryRanges GetSelectedRanges(TextNode const& text) const {
        std::vector<Story::StoryRange> ranges;
        auto const item = Kernel::Cast<SubSelectionItem const>(this->GetSelectionItem());
        if (auto const part = item ? Kernel::Cast<TextSelection const>(item->GetSubSelection()) : nullptr) {
            for (auto const& range : part->GetRanges()) {
                auto const begin = std::max(std::min(range.anchor, range.end), 0);
                auto const end = std::max(std::max(range.anchor, range.end), 0);
                ranges.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)});
            }
        }
        if (ranges.empty())
            ranges.push_back(text.GetStory()->GetAll());
        return Story::StoryRanges(std::move(ranges));
    }
};
