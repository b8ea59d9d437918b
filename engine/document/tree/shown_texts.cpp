// SPDX-License-Identifier: Apache-2.0
#include "platform/document/shown_texts.h"

#include "engine/document/tree/text_wrap.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <unordered_set>

namespace {

bool LiesAlike(Story::LinePart const& a, Story::LinePart const& b) {
    auto const here = a.GetRange(), there = b.GetRange();
    return a.GetOrigin() == b.GetOrigin() && here.begin == there.begin && here.end == there.end &&
           a.GetWidth() == b.GetWidth() && a.GetSpaceExtra() == b.GetSpaceExtra();
}

// Of one story in one frame.
bool LiesAlike(Story::ComposedFrame const& a, Story::ComposedFrame const& b) {
    if (&a == &b)
        return true;
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](auto const& one, auto const& other) {
        return std::equal(one->begin(), one->end(), other->begin(), other->end(),
                          [](auto const& line, auto const& peer) { return LiesAlike(line, peer); });
    });
}

} // namespace

ShownTexts::ShownTexts(std::vector<SpreadNode const*> const& spreads) {
    std::unordered_set<Node const*> known;
    for (auto const* const spread : spreads) {
        if (spread == nullptr)
            continue;
        ForEachNode(const_cast<SpreadNode&>(*spread), [&](Node& node) {
            auto const* const text = Kernel::CastPointer<FrameTextNode>(&node);
            if (text == nullptr || known.contains(&node))
                return;
            auto const flow = text->GetTextFlow();
            for (auto const& each : *flow) {
                auto const frame = Kernel::Cast<FrameTextNode>(each);
                if (frame && known.insert(frame.get()).second)
                    m_texts.push_back({frame, frame->MakeComposedText()});
            }
        });
    }
}

void ShownTexts::IncludeChanged(SpreadRects& areas) const {
    for (auto const& text : m_texts) {
        if (!LiesAlike(*text.composed, *text.frame->MakeComposedText()))
            areas.IncludeWhereShown(*text.frame);
    }
}

bool ShownTexts::AnyWraps() { return HasTextWrap(); }
