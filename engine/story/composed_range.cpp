// SPDX-License-Identifier: Apache-2.0
#include "platform/story/composed_range.h"

#include "engine/story/format_text.h"

#include <algorithm>

namespace Story {

ComposedPos::ComposedPos(Kernel::Counted<ComposedStory> composed, StoryPos const& position)
    : m_composed(std::move(composed)), m_index(position.GetIndex()), m_isForward(position.IsToComposedForward()) {
    if (m_composed)
        m_index = std::min(m_index, m_composed->GetStory()->GetLength());
}

Kernel::String ComposedRange::GetString(IoFormat::Type format) const {
    auto const& composed = m_begin.GetComposed();
    if (!composed || composed != m_end.GetComposed() || m_begin.GetIndex() > m_end.GetIndex())
        return {};
    auto const& story = *composed->GetStory();
    auto const expand = [&](Glyph const& glyph, std::uint32_t index) {
        bool const isOfFrame = glyph.GetExpansionReach() == ExpansionReach::Frame;
        return ExpandGlyph(glyph, {composed->GetFields().get(), isOfFrame ? composed->FindFrame(index) : 0});
    };
    std::uint32_t const begin = m_begin.GetIndex(), end = m_end.GetIndex();
    // An object right in front of the begin shows behind it, unless the begin leads forward; one right in front of the
    // end shows behind that one.
    std::uint32_t const first = !m_begin.IsForward() && begin != 0 ? begin - 1 : begin;
    std::u32string text;
    std::uint32_t at = begin;
    story.VisitObjects({first, end}, [&](std::uint32_t index, Kernel::Counted<Glyph const> const& glyph) {
        if (index >= at) {
            text += story.GetText({at, index});
            at = index + 1;
        }
        bool const showsBehindEnd = index + 1 == end && !m_end.IsForward();
        if (!showsBehindEnd)
            text += expand(*glyph, index);
        return true;
    });
    text += story.GetText({at, end});
    return FormatStoryText(std::move(text), format);
}

} // namespace Story
