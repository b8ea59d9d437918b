// SPDX-License-Identifier: Apache-2.0
#include "shell/json_writer.h"
#include "shell/merge_values.h"

#include "platform/kernel/cast.h"

namespace Shell {

namespace {

template <class E>
std::string_view NameOf(E value) {
    return c_outsideNames<E>[static_cast<std::size_t>(value)];
}

void WriteClause(JsonWriter& json, DataMergeRuleClause const& clause) {
    json.BeginObject();
    json.Member("field", clause.GetFieldId().view());
    json.Member("operator", NameOf(clause.GetOperator()));
    json.Member("value", clause.GetMatchValue().view());
    auto const& values = clause.GetMatchValues();
    if (values != DataMergeValueSet()) {
        json.Member("includeAll", values.GetDefaultInclude());
        json.Key("exceptions").BeginArray();
        for (auto const& value : values.GetExceptions())
            json.Value(value.view());
        json.EndArray();
    }
    json.EndObject();
}

void WriteRule(JsonWriter& json, DataMergeRule const& rule) {
    json.BeginObject();
    json.Member("combine", NameOf(rule.GetAggregateFunction()));
    json.Key("clauses").BeginArray();
    for (auto const& clause : rule.GetClauses())
        WriteClause(json, *clause);
    json.EndArray();
    json.EndObject();
}

} // namespace

void WriteMergeFilter(JsonWriter& json, DataMergeFilter const& filter) {
    json.Member("type", GetMergeFilterType(filter));
    json.Member("enabled", filter.IsEnabled());
    if (auto const* const selected = Kernel::CastPointer<DataMergeSelectedRecordsFilter const>(&filter)) {
        json.Member("records", FormatRows(selected->GetAllowedIndexes()));
    } else if (auto const* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter)) {
        json.Member("combine", NameOf(byValue->GetAggregateFunction()));
        json.Key("rules").BeginArray();
        for (auto const& rule : byValue->GetRules())
            WriteRule(json, *rule);
        json.EndArray();
    } else if (auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(&filter)) {
        json.Key("rule");
        WriteRule(json, *process->GetRule());
        json.Member("action", NameOf(process->GetAction()));
        json.Member("message", process->GetWarningMessageValue().view());
        json.Member("field", process->GetReplacementField().view());
        json.Member("value", process->GetReplacementValue().view());
    } else if (auto const* const script = Kernel::CastPointer<DataMergeJavaScriptFilter const>(&filter)) {
        json.Member("name", script->GetName().view());
        json.Member("script", script->GetScript().view());
    } else if (auto const* const sort = Kernel::CastPointer<DataMergeSortFilter const>(&filter)) {
        json.Member("field", sort->GetFieldId().view());
        json.Member("ascending", sort->GetAscending());
    }
}

} // namespace Shell
