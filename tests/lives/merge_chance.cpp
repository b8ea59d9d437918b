// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/merge_chance.h"

#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"
#include "shell/merge_values.h"

#include <optional>
#include <stdexcept>

namespace Lives {

namespace {

std::string Number(Random& random, std::size_t below) { return std::to_string(random.Below(below)); }

std::string Field(Random& random) { return random.Of<std::string>({"name", "city", "age", "joined", "nothing"}); }

std::string Rows(Random& random) { return random.Of<std::string>({"none", "0-4", "2,5-7", "1,3,5"}); }

std::string Clause(Random& random) {
    auto const text = "{\"field\":\"" + Field(random) + "\",\"operator\":\"" +
                      std::string(random.Of(std::vector<std::string_view>(std::begin(c_dataMergeRuleOperatorNames),
                                                                          std::end(c_dataMergeRuleOperatorNames)))) +
                      "\",\"value\":\"" + random.Of<std::string>({"Oslo", "30", "2010-01-01", ""}) + "\"";
    return text + (random.Chance(30) ? ",\"includeAll\":false,\"exceptions\":[\"Oslo\",\"Ghent\"]}" : "}");
}

std::string Rule(Random& random) {
    auto text = "{\"combine\":\"" + random.Of<std::string>({"all", "any", "none"}) + "\",\"clauses\":[";
    for (auto count = random.Below(3); count != 0; --count)
        text += Clause(random) + (count == 1 ? "" : ",");
    return text + "]}";
}

std::string Filter(Random& random) {
    switch (random.Below(5)) {
    case 0:
        return "{\"type\":\"selected\",\"records\":\"" + Rows(random) + "\"}";
    case 1:
        return "{\"type\":\"records\",\"rules\":[" + Rule(random) + "]}";
    case 2:
        return "{\"type\":\"process\",\"action\":\"" + random.Of<std::string>({"warn", "replace", "skip"}) +
               "\",\"message\":\"see\",\"field\":\"" + Field(random) +
               "\",\"value\":\"other\",\"rule\":" + Rule(random) + "}";
    case 3:
        return "{\"type\":\"sort\",\"field\":\"" + Field(random) + "\",\"ascending\":false}";
    default:
        return "{\"type\":\"script\",\"name\":\"chance\",\"script\":\"return record.age > 30;\",\"enabled\":false}";
    }
}

std::string Fetcher(Random& random) {
    if (random.Chance(30))
        return "{\"path\":\"nowhere.csv\"}";
    std::string rows;
    for (int i = 0; i != 12; ++i)
        rows += "\\nperson " + Number(random, 20) + ",Oslo," + Number(random, 90);
    return "{\"path\":\"chance.csv\",\"content\":\"name,city,age" + rows + "\"}";
}

std::string Parser(Random& random) {
    return random.Of<std::string>({"{}", "{\"header\":\"absent\"}", "{\"format\":\"json\"}",
                                   "{\"delimiter\":\";\",\"locale\":\"sv_SE\"}", "{\"decimalMark\":\",\"}"});
}

// The type of the filter that a command changes; empty: any.
std::string_view WantedType(std::string const& className) {
    constexpr std::pair<std::string_view, std::string_view> c_types[] = {{"AllowedRecords", "selected"},
                                                                         {"SortFilter", "sort"},
                                                                         {"JavaScript", "script"},
                                                                         {"ProcessFilter", "process"},
                                                                         {"RuleCombine", "records"},
                                                                         {"AddDataMergeFilterRule", "records"},
                                                                         {"DeleteDataMergeFilterClause", "records"}};
    for (auto const& [part, type] : c_types) {
        if (className.find(part) != className.npos)
            return type;
    }
    return {};
}

// The places of one object, from its source on.
struct Path {
    std::string source, filter, rule, clause;
};

// An object down to the level that the command needs; empty where chance finds none.
std::optional<Path> ChoosePath(Random& random, DocumentController& document, std::string_view type,
                               Shell::MergeLevel level) {
    auto const& sources = std::as_const(*document.GetDocument()).GetDataMergeSettings();
    if (sources.empty())
        return {};
    Path path;
    auto const pick = [&](std::string& address, std::string const& before, std::size_t count) {
        auto const place = random.Below(count);
        address = before + "/" + std::to_string(place);
        return place;
    };
    auto const place = random.Below(sources.size());
    path.source = std::to_string(place);
    auto const& filters = std::as_const(*sources[place]).GetFilters();
    if (level == Shell::MergeLevel::Source)
        return path;
    if (filters.empty())
        return {};
    auto const& filter = *filters[pick(path.filter, path.source, filters.size())];
    if (!type.empty() && Shell::GetMergeFilterType(filter) != type)
        return {};
    if (level == Shell::MergeLevel::Filter)
        return path;
    Kernel::Counted<DataMergeRule> rule;
    if (auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(&filter)) {
        path.rule = path.filter + "/0";
        rule = process->GetRule();
    } else if (auto const* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter);
               byValue != nullptr && !byValue->GetRules().empty()) {
        rule = byValue->GetRules()[pick(path.rule, path.filter, byValue->GetRules().size())];
    }
    if (!rule || level == Shell::MergeLevel::Rule)
        return rule ? path : std::optional<Path>();
    auto const& clauses = std::as_const(*rule).GetClauses();
    if (clauses.empty())
        return {};
    pick(path.clause, path.rule, clauses.size());
    return path;
}

Shell::MergeLevel LevelOf(Shell::CommandForm const& form) {
    auto level = Shell::MergeLevel::Source;
    for (auto const& info : form.parameters) {
        if (info.defaultValue)
            continue;
        if (info.type == "merge filter")
            level = std::max(level, Shell::MergeLevel::Filter);
        else if (info.type == "merge rule")
            level = std::max(level, Shell::MergeLevel::Rule);
        else if (info.type == "merge clause")
            level = std::max(level, Shell::MergeLevel::Clause);
    }
    return level;
}

std::string Value(Random& random, Path const& path, Shell::ParameterInfo const& info) {
    if (info.type == "merge source")
        return path.source;
    if (info.type == "merge filter")
        return path.filter;
    if (info.type == "merge rule")
        return path.rule;
    if (info.type == "merge clause")
        return path.clause;
    if (info.type == "new merge filter")
        return "'" + Filter(random) + "'";
    if (info.type == "new merge rule")
        return "'" + Rule(random) + "'";
    if (info.type == "new merge clause")
        return "'" + Clause(random) + "'";
    if (info.type == "rows")
        return Rows(random);
    if (info.type == "record")
        return "'" + (info.help.starts_with("where") ? Fetcher(random) : Parser(random)) + "'";
    if (info.type == "boolean")
        return info.name == "wholeDocument" || random.Chance(50) ? "false" : "true";
    if (info.type == "integer")
        return Number(random, 4);
    if (info.name == "script")
        return random.Of<std::string>({"'return true;'", "'return record.age > 30;'", "'return nonsense'"});
    if (info.type == "text")
        return random.Chance(60) ? Field(random) : random.Of<std::string>({"Oslo", "30", "words"});
    if (info.type == "name") {
        auto const notation = info.notation;
        return notation.substr(0, notation.find_first_of(", "));
    }
    throw std::runtime_error("no values are known for parameters of type " + std::string(info.type));
}

} // namespace

bool IsOfDataMerge(std::string const& className) { return className.find("DataMerge") != className.npos; }

std::string MergeArguments(Random& random, DocumentController& document, Shell::CommandEntry const& entry) {
    auto const& form = entry.forms.front();
    std::optional<Path> path;
    for (int i = 0; i != 20 && !path; ++i)
        path = ChoosePath(random, document, WantedType(entry.className), LevelOf(form));
    std::string line;
    for (auto const& info : form.parameters) {
        if (info.defaultValue && info.type != "boolean" && info.type != "integer")
            continue;
        line += " " + std::string(info.name) + "=" + (path ? Value(random, *path, info) : "missing");
    }
    return line;
}

} // namespace Lives
