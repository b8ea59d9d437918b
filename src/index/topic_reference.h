// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story_index.h"

#include <vector>

namespace Commands {

// A topic of the document's index, as programs outside the library name it: by its path, such as "Animals/Whales", or
// by its GUID.
struct TopicReference {
    Kernel::Counted<Story::IndexTopic const> topic;
    operator Kernel::Counted<Story::IndexTopic const>() const { return topic; }
};

// The same, or none.
struct OptionalTopicReference {
    Kernel::Counted<Story::IndexTopic const> topic;
    operator Kernel::Counted<Story::IndexTopic const>() const { return topic; }
};

// Several of them.
struct TopicReferences {
    std::vector<Kernel::Counted<Story::IndexTopic const>> topics;
    operator std::vector<Kernel::Counted<Story::IndexTopic const>>() const { return topics; }
};

} // namespace Commands
