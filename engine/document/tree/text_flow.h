// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"

#include <atomic>
#include <mutex>

// The facts about a text that were found out, at the node that owns its story. Texts are composed on any thread that
// holds their document for reading.
struct TextNode::Cache {
    // Grow when a node of the flow has changed, and when the story has.
    std::atomic<std::uint64_t> version{1}, storyVersion{1};

    std::mutex mutex;
    Kernel::Counted<TextFlow> flow;
    // The last composition, and the flow that it was made for.
    Kernel::Counted<Story::ComposedStory> composed;
    Kernel::Counted<TextFlow> composedFlow;
    struct {
        std::uint64_t storyVersion = 0;
        Kernel::Counted<Story::StyleSheet const> styles;
        bool isRightToLeft = false;
    } direction;
    Kernel::Weak<DocumentNode const> document;
};
