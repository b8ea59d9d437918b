// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/text_nodes.h"

#include <unordered_map>

// A command that receives one interface or, of texts that it takes as such, the selected part of the story: each story
// once, however many of the frames that show it are selected.
template <class T, class I>
class SelectionCommandWithSingleInterfaceOrStoryInterface : public SelectionCommand<T> {
public:
    explicit SelectionCommandWithSingleInterfaceOrStoryInterface(Kernel::Counted<Selection const> selection)
        : SelectionCommand<T>(std::move(selection)) {
        this->AppendTranslator(std::make_unique<TerminatingTranslatorT<T, AttributeOwner>>());
    }

    void Do() override {
        m_selectedRanges.clear();
        SelectionCommand<T>::Do();
    }
    void Undo() override {
        m_selectedRanges.clear();
        SelectionCommand<T>::Undo();
    }
    void Redo() override {
        m_selectedRanges.clear();
        SelectionCommand<T>::Redo();
    }

    // A story is kept by the first of the nodes that show it, whichever of them is selected.
    void Receive(Kernel::NonCounted<AttributeOwner> object) {
        auto* const text = Kernel::CastPointer<TextNode>(object.get());
        if (text == nullptr || !TakesStory(*text)) {
            if (auto* const taken = Kernel::CastPointer<I>(object.get()))
                ReceiveInterface(Kernel::NonCounted<I>(taken));
            return;
        }
        auto const flow = text->GetTextFlow();
        auto const head = flow->GetFirst();
        Ranges ranges;
        if (flow->size() == 1) {
            ranges = RangesOf(*this->GetSelectionItem(), *head);
        } else {
            if (m_selectedRanges.empty())
                GatherRanges();
            ranges = std::exchange(m_selectedRanges[head.get()], {});
            if (ranges.empty())
                return;
        }
        auto const owner = Kernel::NonCounted<Kernel::Countable>(head.get());
        this->PreVisitSubSelection(owner);
        ReceiveInterface(Kernel::NonCounted<TextNode>(head.get()), Story::StoryRanges(std::move(ranges)));
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
    using Ranges = std::vector<Story::StoryRange>;

    static Ranges RangesOf(SelectionItem const& item, TextNode const& text) {
        Ranges ranges;
        auto const* const sub = Kernel::CastPointer<SubSelectionItem const>(&item);
        if (auto const part = sub == nullptr ? nullptr : Kernel::Cast<TextSelection const>(sub->GetSubSelection())) {
            for (auto const& range : part->GetRanges()) {
                auto const begin = std::max(std::min(range.anchor, range.end), 0);
                auto const end = std::max(std::max(range.anchor, range.end), 0);
                ranges.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)});
            }
        }
        if (ranges.empty())
            ranges.push_back(text.GetStory()->GetAll());
        return ranges;
    }

    // Of the stories that several frames show.
    void GatherRanges() {
        bool const asks =
            this->m_direction == DomainCommand::Direction::Do || this->m_direction == DomainCommand::Direction::Redo;
        for (auto const& item : *this->GetSelection()) {
            auto const* const text = Kernel::CastPointer<TextNode const>(item->GetSelectable().get());
            if (text == nullptr || (asks && !text->IsInDocument()))
                continue;
            auto const flow = text->GetTextFlow();
            if (flow->size() == 1)
                continue;
            auto const ranges = RangesOf(*item, *text);
            auto& all = m_selectedRanges[flow->GetFirst().get()];
            all.insert(all.end(), ranges.begin(), ranges.end());
        }
    }

    // The selected ranges of each story that several frames show, by the first of them, while the visit has not come to
    // one of its frames yet. Filled when it comes to the first of all.
    std::unordered_map<TextNode const*, Ranges> m_selectedRanges;
};
