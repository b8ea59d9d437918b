// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/composition.h"
#include "platform/story/story_selection.h"

namespace Story {

// A place in text as it is shown: between what objects expanded to. Behind an object's place that is before its text,
// or behind it where the position leads forward (StoryPos::SetIsToComposedForward).
class REDRAFT_ENGINE ComposedPos {
public:
    ComposedPos() = default;
    // The position counts in the composition's version of the story.
    ComposedPos(Kernel::Counted<ComposedStory> composed, StoryPos const& position);
    bool IsSet() const { return static_cast<bool>(m_composed); }
    Kernel::Counted<ComposedStory> const& GetComposed() const { return m_composed; }
    std::uint32_t GetIndex() const { return m_index; }
    bool IsForward() const { return m_isForward; }

private:
    Kernel::Counted<ComposedStory> m_composed;
    std::uint32_t m_index = 0;
    bool m_isForward = false;
};

// Text as it is shown between two places, whether or not it has found room in a frame.
class REDRAFT_ENGINE ComposedRange {
public:
    // Both in one composition. The range is empty where the end lies before the begin.
    ComposedRange(ComposedPos begin, ComposedPos end) : m_begin(std::move(begin)), m_end(std::move(end)) {}
    // Fields show as they do on their page; hyphens at line ends are not part of it. Composes up to the range's end
    // where a field shows the page.
    Kernel::String GetString(IoFormat::Type format) const;

private:
    ComposedPos m_begin, m_end;
};

} // namespace Story
