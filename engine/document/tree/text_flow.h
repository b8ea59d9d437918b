// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_field_data_source.h"

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
    // The values of fields that it was made with; null for none. The kinds of values hold for the flow and the story.
    Kernel::Counted<TextFieldDataSource const> fields;
    TextFieldDataSource::Shown shown;
    struct {
        std::uint64_t storyVersion = 0;
        Kernel::Counted<Story::StyleSheet const> styles;
        bool isRightToLeft = false;
    } direction;
    Kernel::Weak<DocumentNode const> document;
};

// Objects of a text stand for places in it: those of a copy of its node are others.
void TakeOwnGlyphs(TextNode& copy);
