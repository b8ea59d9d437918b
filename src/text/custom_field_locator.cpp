// SPDX-License-Identifier: Apache-2.0
#include "text/custom_field_locator.h"

#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/glyph_predicates.h"

namespace Commands {

void CustomFieldLocator::ReceiveStory(Kernel::NonCounted<Story::Story const> story) {
    std::vector<Story::StoryPos> fields;
    story->gbegin().BaseCollectIf(fields, story->gend(), Story::GlyphPredicateAdaptor<Story::IsFieldGlyph>());
    std::vector<Story::SelectionRange> ranges;
    for (auto const& position : fields) {
        auto const field = Kernel::Cast<Story::CustomFieldGlyph const>(position.GetGlyph());
        if (!field || field->GetCustomFieldGuid() != m_guid)
            continue;
        int const index = static_cast<int>(position.GetIndex());
        ranges.push_back({index, index + 1});
    }
    if (!ranges.empty())
        m_selections.push_back(
            Kernel::MakeCounted<Selection const>(GetTextNode(), Kernel::MakeCounted<TextSelection>(std::move(ranges))));
}

} // namespace Commands
