// SPDX-License-Identifier: Apache-2.0
// Values that are records, as JSON. The one source that compiles the JSON library.

#include "shell/command_form.h"
#include "shell/failure.h"

#include <nlohmann/json.hpp>

namespace Shell {

namespace {

using Json = nlohmann::json;

// Records here are flat; deeper text would only cost memory.
constexpr int c_maximumDepth = 64;

Json ParseRecord(std::string const& text) {
    try {
        auto const refuseDepth = [](int depth, Json::parse_event_t, Json&) {
            if (depth > c_maximumDepth)
                throw ValueError("needs a JSON record that is not so deep");
            return true;
        };
        auto record = Json::parse(ReadTextValue(text), refuseDepth);
        if (record.is_object())
            return record;
    } catch (Json::parse_error const& error) {
        throw ValueError("needs a JSON record: this is none from byte " + std::to_string(error.byte) + " on");
    } catch (Json::exception const&) {
        throw ValueError("needs a JSON record whose numbers can be held");
    }
    throw ValueError("needs a JSON record, as {\"name\":...}, not " + Quote(text));
}

// Checks that a record has no members but these.
void CheckMembers(Json const& record, std::initializer_list<std::string_view> names) {
    for (auto const& member : record.items()) {
        if (std::find(names.begin(), names.end(), member.key()) == names.end())
            throw ValueError("has no member " + Quote(member.key()));
    }
}

double GetNumber(Json const& value, char const* name) {
    if (!value.is_number())
        throw ValueError(std::string("needs a number as ") + name);
    return ParseNumber(FormatNumber(value.get<double>()));
}

} // namespace

ViewPointData ValueForm<ViewPointData>::Parse(std::string const& text, ValueContext const& context) {
    auto const record = ParseRecord(text);
    CheckMembers(record, {"name", "spreadIndex", "viewBox"});
    ViewPointData data;
    if (auto const name = record.find("name"); name != record.end()) {
        if (!name->is_string())
            throw ValueError("needs text as name");
        data.name = name->get<std::string>();
    }
    if (auto const index = record.find("spreadIndex"); index != record.end())
        data.spreadIndex = ValueForm<SpreadIndex>::Parse(index->dump(), context);
    auto const box = record.find("viewBox");
    if (box == record.end() || !box->is_array() || box->size() != 4)
        throw ValueError("needs viewBox as [left,top,right,bottom]");
    data.viewBox = {GetNumber((*box)[0], "viewBox"), GetNumber((*box)[1], "viewBox"), GetNumber((*box)[2], "viewBox"),
                    GetNumber((*box)[3], "viewBox")};
    return data;
}

} // namespace Shell
