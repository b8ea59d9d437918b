// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/story_visitor.h"

namespace Commands {

// Finds where texts show a field: one selection for each story, whose ranges are one glyph wide.
class REDRAFT_API CustomFieldLocator final : public StoryVisitor {
public:
    explicit CustomFieldLocator(Kernel::String guid) : StoryVisitor(false), m_guid(std::move(guid)) {}
    std::vector<Kernel::Counted<Selection const>> const& GetSelections() const { return m_selections; }

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override;

private:
    std::vector<Kernel::Counted<Selection const>> m_selections;
    Kernel::String m_guid;
};

} // namespace Commands
