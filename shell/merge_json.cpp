// SPDX-License-Identifier: Apache-2.0
// New filters, rules and clauses of data merges, from JSON.
#include "shell/failure.h"
#include "shell/json_values.h"
#include "shell/merge_values.h"
#include "shell/values.h"

#include <algorithm>

namespace Shell {

namespace {

using Json = nlohmann::json;

// Reads members of a record by name. A member that is there and has not been asked for is one too many.
class RecordReader {
public:
    explicit RecordReader(Json const& record) : m_record(record) {
        if (!record.is_object())
            throw ValueError("needs a JSON record, as {\"field\":...}, not " + record.dump());
    }

    Kernel::String Text(char const* name) {
        auto const* const value = Find(name);
        if (value == nullptr)
            return {};
        if (value->is_number())
            return Kernel::String(value->dump());
        if (!value->is_string())
            throw ValueError("needs a text as " + std::string(name) + ", not " + value->dump());
        return Kernel::String(value->get<std::string>());
    }
    bool Bool(char const* name, bool defaultValue) {
        auto const* const value = Find(name);
        if (value == nullptr)
            return defaultValue;
        if (!value->is_boolean())
            throw ValueError("needs true or false as " + std::string(name) + ", not " + value->dump());
        return value->get<bool>();
    }
    template <class E>
    E Name(char const* name, E defaultValue) {
        auto const* const value = Find(name);
        if (value == nullptr)
            return defaultValue;
        auto const& names = c_outsideNames<E>;
        auto const found = value->is_string() ? std::ranges::find(names, value->get<std::string>()) : names.end();
        if (found != names.end())
            return static_cast<E>(found - names.begin());
        std::string list;
        for (auto const known : names)
            list += (list.empty() ? "" : ", ") + std::string(known);
        throw ValueError("needs one of " + list + " as " + name + ", not " + value->dump());
    }
    // Empty where there is none.
    Json Array(char const* name) {
        auto const* const value = Find(name);
        if (value == nullptr)
            return Json::array();
        if (!value->is_array())
            throw ValueError("needs an array as " + std::string(name) + ", not " + value->dump());
        return *value;
    }
    Json const* Find(char const* name) {
        m_known.emplace_back(name);
        auto const found = m_record.find(name);
        return found == m_record.end() ? nullptr : &*found;
    }
    void Finish() const {
        for (auto const& item : m_record.items()) {
            if (std::ranges::find(m_known, item.key()) == m_known.end())
                throw ValueError("has no member " + Quote(item.key()));
        }
    }

private:
    Json const& m_record;
    std::vector<std::string> m_known;
};

Kernel::Counted<DataMergeRuleClause> MakeClause(Json const& record) {
    RecordReader reader(record);
    if (reader.Find("field") == nullptr)
        throw ValueError("lacks field, the column that a clause compares");
    auto const field = reader.Text("field");
    auto const comparison = reader.Name("operator", DataMergeRuleOperator::Equal);
    auto clause = Kernel::MakeCounted<DataMergeRuleClause>(field, comparison, reader.Text("value"));
    DataMergeValueSet values(reader.Bool("includeAll", true));
    for (auto const& item : reader.Array("exceptions")) {
        if (!item.is_string())
            throw ValueError("needs texts as exceptions, not " + item.dump());
        values.SetValueIncluded(Kernel::String(item.get<std::string>()), !values.GetDefaultInclude());
    }
    clause->SetMatchValues(std::move(values));
    reader.Finish();
    return clause;
}

void FillRule(DataMergeRule& rule, Json const& record) {
    RecordReader reader(record);
    rule.SetAggregateFunction(reader.Name("combine", DataMergeRuleAggregateFunction::All));
    for (auto const& item : reader.Array("clauses"))
        rule.GetClauses().push_back(MakeClause(item));
    reader.Finish();
}

Kernel::Counted<DataMergeFilter> MakeByValue(RecordReader& reader) {
    auto filter = Kernel::MakeCounted<DataMergeRecordValueFilter>();
    filter->SetAggregateFunction(reader.Name("combine", DataMergeRuleAggregateFunction::All));
    for (auto const& item : reader.Array("rules")) {
        auto const rule = Kernel::MakeCounted<DataMergeRule>();
        FillRule(*rule, item);
        filter->GetRules().push_back(rule);
    }
    return filter;
}

Kernel::Counted<DataMergeFilter> MakeProcess(RecordReader& reader) {
    auto filter = Kernel::MakeCounted<DataMergeProcessFilter>();
    filter->SetAction(reader.Name("action", DataMergeProcessFilter::Action::Warn));
    filter->SetWarningMessageValue(reader.Text("message"));
    filter->SetReplacementField(reader.Text("field"));
    filter->SetReplacementValue(reader.Text("value"));
    if (auto const* const rule = reader.Find("rule"))
        FillRule(*filter->GetRule(), *rule);
    return filter;
}

Kernel::Counted<DataMergeFilter> MakeSelected(RecordReader& reader) {
    auto filter = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    auto const rows = reader.Text("records");
    filter->SetAllowedIndexes(ParseRows(rows.empty() ? "none" : rows.view()));
    return filter;
}

Kernel::Counted<DataMergeFilter> MakeFilter(RecordReader& reader) {
    auto const type = reader.Text("type");
    if (type == "selected")
        return MakeSelected(reader);
    if (type == "records")
        return MakeByValue(reader);
    if (type == "process")
        return MakeProcess(reader);
    if (type == "script") {
        auto const name = reader.Text("name");
        return Kernel::MakeCounted<DataMergeJavaScriptFilter>(name, reader.Text("script"));
    }
    if (type == "sort") {
        auto const field = reader.Text("field");
        return Kernel::MakeCounted<DataMergeSortFilter>(field, reader.Bool("ascending", true));
    }
    throw ValueError("needs selected, records, process, script or sort as type, not " + Quote(type.view()));
}

} // namespace

Kernel::Counted<DataMergeFilter> ParseMergeFilter(std::string const& text) {
    auto const record = ParseRecord(text);
    RecordReader reader(record);
    auto filter = MakeFilter(reader);
    filter->SetIsEnabled(reader.Bool("enabled", true));
    reader.Finish();
    return filter;
}

Kernel::Counted<DataMergeRule> ParseMergeRule(std::string const& text) {
    auto rule = Kernel::MakeCounted<DataMergeRule>();
    FillRule(*rule, ParseRecord(text));
    return rule;
}

Kernel::Counted<DataMergeRuleClause> ParseMergeClause(std::string const& text) { return MakeClause(ParseRecord(text)); }

} // namespace Shell
