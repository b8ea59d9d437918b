// SPDX-License-Identifier: Apache-2.0
#include "shell/text_objects.h"

#include "platform/document/custom_field_source.h"
#include "platform/kernel/cast.h"
#include "shell/failure.h"
#include "shell/values.h"

#include <algorithm>
#include <charconv>

namespace Shell {

std::string TextPlace::GetSelector() const {
    return "#" + std::to_string(node->GetId()) + "[" + std::to_string(index) + ":" + std::to_string(index + 1) + "]";
}

std::vector<PlacedAnchor> FindAnchors(DocumentController& document) {
    std::vector<PlacedAnchor> anchors;
    for (auto const& shown : FindStories(*document.GetDocument(), false)) {
        for (auto const& object : shown.story->FindObjects(shown.story->GetAll())) {
            if (auto const* const glyph = Kernel::CastPointer<Story::AnchorGlyph const>(object.glyph.get()))
                anchors.push_back({glyph->GetAnchorData(), {shown.parts.front().node, object.index}});
        }
    }
    return anchors;
}

Kernel::Counted<Story::AnchorData> FindAnchor(DocumentController& document, std::string_view name) {
    auto const anchors = FindAnchors(document);
    auto const hasId = [&](PlacedAnchor const& placed) {
        return !placed.anchor->GetUid().empty() && placed.anchor->GetUid().view() == name;
    };
    if (auto const found = std::find_if(anchors.begin(), anchors.end(), hasId); found != anchors.end())
        return found->anchor;
    auto const hasName = [&](PlacedAnchor const& placed) { return placed.anchor->GetName().view() == name; };
    auto const count = std::count_if(anchors.begin(), anchors.end(), hasName);
    if (count == 0)
        throw ValueError("names no anchor of the document: " + Quote(name) + "; `redraft anchors` lists them");
    if (count > 1)
        throw ValueError("names " + std::to_string(count) + " anchors of the document: " + Quote(name) +
                         "; give one by its id");
    return std::find_if(anchors.begin(), anchors.end(), hasName)->anchor;
}

Kernel::String FindField(DocumentController& document, std::string_view name) {
    auto const& fields = document.GetDocument()->GetCustomFieldSource();
    Kernel::String const text{name};
    if (fields.Has(text))
        return text;
    std::vector<Kernel::String> found;
    for (auto const& guid : fields.GetGuids()) {
        if (fields.GetFieldName(guid) == text)
            found.push_back(guid);
    }
    if (found.empty())
        throw ValueError("names no field of the document: " + Quote(name) + "; `redraft fields` lists them");
    if (found.size() > 1)
        throw ValueError("names " + std::to_string(found.size()) + " fields of the document: " + Quote(name) +
                         "; give one by its GUID");
    return found.front();
}

namespace {

using Topics = std::vector<Kernel::Counted<Story::IndexTopic const>>;

template <class Get>
Topics FindTopics(DocumentController& document, std::string_view name, Get const& getName) {
    Topics found;
    for (auto const& topic : document.GetDocument()->GetIndex()) {
        // A full name ends in the topic's own.
        if (name.ends_with(topic->GetName().view()) && getName(*topic) == Kernel::String(name))
            found.emplace_back(topic);
    }
    return found;
}

Topics FindTopicsByPath(DocumentController& document, std::string_view path) {
    return FindTopics(document, path, [](Story::IndexTopic const& topic) { return topic.GetNameWithParents(); });
}

} // namespace

Kernel::Counted<Story::IndexTopic const> FindKnownTopic(DocumentController& document, std::string_view name) {
    if (auto const byGuid = document.GetDocument()->GetIndex().FindTopicByGUID(Kernel::String(name)))
        return byGuid;
    auto const found = FindTopicsByPath(document, name);
    return found.empty() ? Kernel::Counted<Story::IndexTopic const>() : found.front();
}

Kernel::Counted<Story::IndexTopic const> FindTopic(DocumentController& document, std::string_view name) {
    if (auto const byGuid = document.GetDocument()->GetIndex().FindTopicByGUID(Kernel::String(name)))
        return byGuid;
    auto found = FindTopicsByPath(document, name);
    if (found.empty())
        found = FindTopics(document, name, [](Story::IndexTopic const& topic) { return topic.GetName(); });
    if (found.empty())
        throw ValueError("names no topic of the index: " + Quote(name) + "; `redraft topics` lists them");
    if (found.size() > 1)
        throw ValueError("names " + std::to_string(found.size()) + " topics of the index: " + Quote(name) +
                         "; give one by its path or GUID");
    return found.front();
}

Kernel::String MakeAnchorId(DocumentController& document) {
    constexpr std::string_view c_prefix = "anchor-";
    std::uint64_t last = 0;
    for (auto const& placed : FindAnchors(document)) {
        auto const id = placed.anchor->GetUid().view();
        std::uint64_t number = 0;
        if (id.starts_with(c_prefix) && id.size() < c_prefix.size() + 18)
            std::from_chars(id.data() + c_prefix.size(), id.data() + id.size(), number);
        last = std::max(last, number);
    }
    return {std::string(c_prefix) + std::to_string(last + 1)};
}

} // namespace Shell
