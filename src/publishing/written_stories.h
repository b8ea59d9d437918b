// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/epub/anchor_registry.h"

#include <unordered_map>

namespace Commands {

// The stories that an export is going to write, each with the file that it comes to first.
class WrittenStories {
public:
    // In the order in which they are written. Texts that are pinned in a text are written with it.
    void Add(Kernel::String const& file, TextNode const& text);
    // Lines of contents lead to headings, and page numbers of indices to marks, where the export writes both.
    void RegisterGeneratedLinks(EPub::AnchorRegistry& anchors, DocumentNode& document) const;

private:
    void Add(Kernel::String const& file, Story::StoryRef const& story, std::size_t depth);

    std::unordered_map<Story::StoryRef, Kernel::String> m_files;
};

} // namespace Commands
