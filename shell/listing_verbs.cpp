// SPDX-License-Identifier: Apache-2.0
// Lists what a document has besides nodes, with addresses that commands take.
#include "shell/text_objects.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/custom_field_source.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

#include <map>

namespace Shell {

ExitStatus RunFields(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    std::map<Kernel::String, std::vector<TextPlace>> places;
    for (auto const& shown : FindStories(*document.GetDocument(), false)) {
        for (auto const& object : shown.story->FindObjects(shown.story->GetAll())) {
            if (auto const* const glyph = Kernel::CastPointer<Story::CustomFieldGlyph const>(object.glyph.get()))
                places[glyph->GetCustomFieldGuid()].push_back({shown.parts.front().node, object.index});
        }
    }
    auto const& fields = document.GetDocument()->GetCustomFieldSource();
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& guid : fields.GetGuids()) {
        auto const& shownAt = places[guid];
        if (!session.IsJson()) {
            session.Print(OneLine(fields.GetFieldName(guid).view()) + "  " + OneLine(guid.view()) + "  " +
                          Quote(fields.GetFieldValue(guid).view()) + "  in " +
                          Count(shownAt.size(), "place", "places") + "\n");
            continue;
        }
        json.BeginObject();
        json.Member("name", fields.GetFieldName(guid).view());
        json.Member("guid", guid.view());
        json.Member("value", fields.GetFieldValue(guid).view());
        json.Key("places").BeginArray();
        for (auto const& place : shownAt) {
            json.BeginObject();
            json.Member("node", place.node->GetId());
            json.Member("place", place.index);
            json.Member("select", place.GetSelector());
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

ExitStatus RunAnchors(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto const anchors = FindAnchors(document);
    // Pages are counted only where there is something to tell.
    auto const stories = anchors.empty() ? std::vector<ShownStory>() : FindStories(*document.GetDocument(), true);
    PagePlaces const numbers(*document.GetDocument());
    auto const findPage = [&](TextPlace const& place) {
        for (auto const& shown : stories) {
            if (shown.parts.front().node != place.node)
                continue;
            for (auto const& part : shown.parts) {
                if (place.index >= part.range.begin && place.index < part.range.end)
                    return numbers.Find(*part.node).page;
            }
        }
        return std::string();
    };
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& [anchor, place] : anchors) {
        auto const page = findPage(place);
        if (!session.IsJson()) {
            session.Print(OneLine(anchor->GetName().view()) + "  " + OneLine(anchor->GetUid().view()) + "  " +
                          place.GetSelector() + "  page " + (page.empty() ? "-" : page) + "\n");
            continue;
        }
        json.BeginObject();
        json.Member("name", anchor->GetName().view());
        json.Member("id", anchor->GetUid().view());
        json.Member("node", place.node->GetId());
        json.Member("place", place.index);
        json.Member("select", place.GetSelector());
        if (page.empty())
            json.Member("page", nullptr);
        else
            json.Member("page", page);
        json.EndObject();
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

} // namespace Shell
