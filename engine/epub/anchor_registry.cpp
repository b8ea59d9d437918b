// SPDX-License-Identifier: Apache-2.0
#include "platform/epub/anchor_registry.h"

#include "platform/story/cross_reference.h"

#include <algorithm>
#include <map>
#include <string>

namespace EPub {

struct AnchorRegistry::State {
    std::unordered_map<Story::AnchorData const*, Target> anchors;
    std::map<int, Page> pages;
    std::unordered_map<Story::Story const*, std::vector<Mark>> marks;
    std::map<std::pair<Story::Story const*, std::uint32_t>, Target> places;
    std::unordered_map<Story::Story const*, std::vector<Link>> links;
    // The objects that the keys above point to.
    std::vector<Kernel::Counted<Story::AnchorData const>> keptAnchors;
    std::vector<Story::StoryRef> keptStories;

    void AddMark(Story::StoryPos const& position, std::int64_t offset, Mark mark) {
        auto const& story = position.GetStory();
        auto const index = std::clamp<std::int64_t>(std::int64_t{position.GetIndex()} + offset, 0, story->GetLength());
        mark.index = static_cast<std::uint32_t>(index);
        auto const [place, isNew] = marks.try_emplace(story.get());
        if (isNew)
            keptStories.push_back(story);
        place->second.push_back(std::move(mark));
    }
};

AnchorRegistry::AnchorRegistry() : m_state(std::make_unique<State>()) {}
AnchorRegistry::~AnchorRegistry() = default;

// Ids are counted and not made of names, which may be equal, or no names of XML.
void AnchorRegistry::RegisterAnchor(Kernel::String const& file, Kernel::Counted<Story::AnchorData const> const& anchor,
                                    Story::StoryPos const& position) {
    if (!anchor || !position.IsSet())
        return;
    Target target{file, "anchor" + std::to_string(m_state->anchors.size() + 1)};
    auto const [place, isNew] = m_state->anchors.try_emplace(anchor.get(), target);
    if (!isNew)
        return;
    m_state->keptAnchors.push_back(anchor);
    m_state->AddMark(position, 0, {0, Mark::Kind::Anchor, std::move(target.id), {}});
}

AnchorRegistry::Target AnchorRegistry::RegisterPlace(Kernel::String const& file, Story::StoryPos const& position) {
    auto const [place, isNew] = m_state->places.try_emplace({position.GetStory().get(), position.GetIndex()});
    if (isNew) {
        place->second = {file, "place" + std::to_string(m_state->places.size())};
        m_state->AddMark(position, 0, {0, Mark::Kind::Place, place->second.id, {}});
    }
    return place->second;
}

void AnchorRegistry::RegisterLink(Story::StoryRef const& story, Story::StoryRange range, Target target) {
    auto const [place, isNew] = m_state->links.try_emplace(story.get());
    if (isNew)
        m_state->keptStories.push_back(story);
    place->second.push_back({range, std::move(target)});
}

void AnchorRegistry::RegisterPage(Kernel::String const& file, int page, Kernel::String const& label,
                                  Story::StoryPos const& position, int offset) {
    if (!position.IsSet())
        return;
    Target target{file, "page" + std::to_string(std::int64_t{page} + 1)};
    auto const [place, isNew] = m_state->pages.try_emplace(page, Page{target, label});
    if (isNew)
        m_state->AddMark(position, offset, {0, Mark::Kind::Page, std::move(target.id), label});
}

std::optional<AnchorRegistry::Target> AnchorRegistry::FindAnchor(Story::AnchorData const& anchor) const {
    auto const found = m_state->anchors.find(&anchor);
    return found == m_state->anchors.end() ? std::nullopt : std::optional(found->second);
}

std::vector<AnchorRegistry::Page> AnchorRegistry::GetPages() const {
    std::vector<Page> pages;
    for (auto const& [number, page] : m_state->pages)
        pages.push_back(page);
    return pages;
}

void AnchorRegistry::TakeMarks(Story::Story const& story, std::size_t& taken, std::vector<Mark>& marks) const {
    auto const found = m_state->marks.find(&story);
    if (found == m_state->marks.end() || taken == found->second.size())
        return;
    auto const& all = found->second;
    auto const old = static_cast<std::ptrdiff_t>(marks.size());
    marks.insert(marks.end(), all.begin() + static_cast<std::ptrdiff_t>(taken), all.end());
    taken = all.size();
    auto const isBefore = [](Mark const& a, Mark const& b) {
        return std::pair(a.index, a.kind) < std::pair(b.index, b.kind);
    };
    std::stable_sort(marks.begin() + old, marks.end(), isBefore);
    std::inplace_merge(marks.begin(), marks.begin() + old, marks.end(), isBefore);
}

std::vector<AnchorRegistry::Link> AnchorRegistry::GetLinks(Story::Story const& story) const {
    auto const found = m_state->links.find(&story);
    if (found == m_state->links.end())
        return {};
    auto links = found->second;
    std::ranges::stable_sort(links, {}, [](Link const& link) { return link.range.begin; });
    return links;
}

} // namespace EPub
