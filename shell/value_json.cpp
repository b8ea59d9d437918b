// SPDX-License-Identifier: Apache-2.0
// Values that are records, as JSON.

#include "shell/command_form.h"
#include "shell/failure.h"
#include "shell/json_values.h"
#include "shell/values.h"

#include <algorithm>

namespace Shell {

namespace {

using Json = nlohmann::json;

// Records here are flat; deeper text would only cost memory.
constexpr int c_maximumDepth = 64;

} // namespace

Json ParseJson(std::string const& text) {
    try {
        auto const refuseDepth = [](int depth, Json::parse_event_t, Json&) {
            if (depth > c_maximumDepth)
                throw ValueError("needs JSON that is nested less deeply");
            return true;
        };
        return Json::parse(ReadTextValue(text), refuseDepth);
    } catch (Json::parse_error const& error) {
        throw ValueError("needs JSON: syntax error at byte " + std::to_string(error.byte) + " on");
    } catch (Json::exception const&) {
        throw ValueError("needs JSON whose numbers are in range");
    }
}

Json ParseRecord(std::string const& text) {
    auto record = ParseJson(text);
    if (!record.is_object())
        throw ValueError("needs a JSON record, as {\"name\":...}, not " + Quote(text));
    return record;
}

namespace {

// The member of a record as the text that its argument takes.
std::string ToText(Json const& value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_number_float())
        return FormatNumber(value.get<double>());
    bool const isTexts = value.is_array() && !value.empty() && value.front().is_string();
    if (!value.is_array() || isTexts)
        return value.dump();
    std::string text;
    for (auto const& item : value) {
        if (!item.is_number())
            throw ValueError("needs numbers in its array");
        text += (text.empty() ? "" : ",") + FormatNumber(item.get<double>());
    }
    return text;
}

} // namespace

std::vector<Kernel::String> ParseJsonTexts(std::string const& text) {
    std::vector<Kernel::String> texts;
    for (auto const& item : ParseJson(text)) {
        if (!item.is_string())
            throw ValueError("needs an array of texts, as [\"one\",\"two\"]");
        texts.emplace_back(item.get<std::string>());
    }
    return texts;
}

std::any ParseRecordValue(RecordCard const& card, std::string const& text, ValueContext const& context) {
    auto const record = ParseRecord(text);
    for (auto const& item : record.items()) {
        auto const isNamed = [&](ArgumentCard const& member) { return member.name == item.key(); };
        if (std::none_of(card.members.begin(), card.members.end(), isNamed))
            throw ValueError("has no member " + Quote(item.key()));
    }
    std::vector<std::any> values;
    for (auto const& member : card.members) {
        auto const found = record.find(std::string(member.name));
        if (found == record.end() && !member.defaultValue.has_value())
            throw ValueError("lacks " + std::string(member.name) + " (" + std::string(GetTypeName(member)) + ")");
        if (found == record.end()) {
            values.push_back(member.defaultValue);
            continue;
        }
        auto const type = GetTypeName(member);
        constexpr std::string_view c_textTypes[] = {
            "text", "name", "names", "colour", "size", "ratio", "picture or none", "character", "rows"};
        bool const isText = std::find(std::begin(c_textTypes), std::end(c_textTypes), type) != std::end(c_textTypes);
        if (isText != found->is_string() && !(type == "texts" && found->is_string()))
            throw ValueError("has no " + std::string(GetTypeName(member)) + " as " + std::string(member.name));
        try {
            values.push_back(ParseValue(member, ToText(*found), context));
        } catch (ValueError const& error) {
            throw ValueError(std::string(member.name) + " " + error.what());
        }
    }
    return card.make(values);
}

} // namespace Shell
