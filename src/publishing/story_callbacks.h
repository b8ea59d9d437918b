// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/epub/html_exporter.h"

#include <unordered_map>

namespace Commands {

// The stories that an export has met, with what it needs to know of each.
class ExportedStories {
public:
    struct Entry {
        Kernel::Counted<Story::ComposedStory> composed;
        Kernel::Counted<Story::FieldDataSource> fields;
    };
    // Unless the node's story is known already.
    void Meet(Kernel::JailCounted<TextNode> const& node);
    // Null for a position in a story that was not met.
    Entry const* Find(Story::StoryPos const& position) const;

private:
    // References keep the keys alive.
    std::unordered_map<Kernel::Counted<Story::Story const>, Entry> m_entries;
};

// An exporter's ways back into the document. Stories that turn up inside pins join `stories`, which outlives the
// exporter's last call. `fields`: for the fields of all stories; null: each story has its own.
EPub::HtmlExporter::Callbacks MakeStoryCallbacks(EPub::HtmlExporter& exporter, ExportedStories& stories,
                                                 Kernel::Counted<Story::FieldDataSource> const& fields,
                                                 Kernel::Counted<DocumentController const> const& controller);

// Registers each page with the first frame of a flow that stands on it, unless the page is registered already. Frames
// are composed when it comes to them.
class PageRegistrar {
public:
    // `isRegistered` has one bit for each page of the document. Everything that is given outlives this object.
    PageRegistrar(EPub::AnchorRegistry& anchors, Kernel::String file, DocumentNode const& document,
                  Kernel::Counted<TextFlow const> flow, std::vector<bool>& isRegistered);
    // The pages that begin before a glyph of the flow's story.
    void Reach(std::uint32_t index);
    void ReachEnd();

private:
    void RegisterNext();

    EPub::AnchorRegistry& m_anchors;
    Kernel::String m_file;
    DocumentNode const& m_document;
    Kernel::Counted<TextFlow const> m_flow;
    std::vector<bool>& m_isRegistered;
    std::size_t m_next = 0;
    // Where the last frame that was looked at begins.
    std::uint32_t m_reached = 0;
};

} // namespace Commands
