// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace Story {
class AnchorData;
}

namespace EPub {

// The places of a publication that links and lists lead to. Everything is registered before the text that it stands in
// is written, at the latest while HtmlExporter's callback `reach` runs; the file names are those under which the texts
// are written later.
class REDRAFT_ENGINE AnchorRegistry {
public:
    // A place in a file, by the id of an element.
    struct Target {
        Kernel::String file;
        std::string id;
    };
    struct Page {
        Target target;
        Kernel::String label;
    };
    // A part of a story that leads to a place.
    struct Link {
        Story::StoryRange range;
        Target target;
    };
    // Something to be marked in front of a glyph of a story.
    struct Mark {
        // In their order in one place.
        enum class Kind { Anchor, Page, Place };
        std::uint32_t index = 0;
        Kind kind = Kind::Anchor;
        std::string id;
        // The page that begins here.
        std::optional<Kernel::String> pageLabel;
    };

    AnchorRegistry();
    AnchorRegistry(AnchorRegistry const&) = delete;
    AnchorRegistry& operator=(AnchorRegistry const&) = delete;
    ~AnchorRegistry();

    // Anchors are told apart by identity: names may be equal, or hold any characters. An anchor that is registered
    // again keeps its first place.
    void RegisterAnchor(Kernel::String const& file, Kernel::Counted<Story::AnchorData const> const& anchor,
                        Story::StoryPos const& position);
    // Of any glyph. The same place has one target.
    Target RegisterPlace(Kernel::String const& file, Story::StoryPos const& position);
    // The parts of one story that are registered do not overlap. Where the text has a link of its own, that one holds.
    void RegisterLink(Story::StoryRef const& story, Story::StoryRange range, Target target);
    // A page of the document, from 0, that begins `offset` glyphs behind a position. `label`: its number as the
    // document shows it. A page that is registered again keeps its first place.
    void RegisterPage(Kernel::String const& file, int page, Kernel::String const& label,
                      Story::StoryPos const& position, int offset);

    // Nothing for an anchor that leads nowhere.
    std::optional<Target> FindAnchor(Story::AnchorData const& anchor) const;
    // In the order of their numbers.
    std::vector<Page> GetPages() const;
    // Appends the marks of a story but for the first `taken` that were registered, which becomes the number of all. The
    // marks are then in the order of the story, and in one place by their kinds, then as they were registered.
    void TakeMarks(Story::Story const& story, std::size_t& taken, std::vector<Mark>& marks) const;
    // In the order of the story.
    std::vector<Link> GetLinks(Story::Story const& story) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace EPub
