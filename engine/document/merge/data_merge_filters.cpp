// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_filters.h"

#include "platform/document/edit_journal.h"

#include <iterator>

namespace {

template <class Owner, class Value>
void Give(Owner& owner, Value& member, Value value) {
    EditJournal::NoteValue(owner, member);
    member = std::move(value);
    owner.MarkChanged();
}

template <class Owner, class T>
T& GiveForChange(Owner& owner, T& list) {
    EditJournal::NoteValue(owner, list);
    owner.MarkChanged();
    return list;
}

} // namespace

DataMergeRuleOperatorEnumSerialiser const& DataMergeRuleOperatorEnumSerialiser::GetInstance() {
    static DataMergeRuleOperatorEnumSerialiser const s_instance;
    return s_instance;
}

DataMergeRuleOperatorEnumSerialiser::DataMergeRuleOperatorEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {
        {0, "Equal"},    {1, "NotEqual"},    {2, "Contains"},    {3, "DoesNotContain"}, {4, "BeginsWith"},
        {5, "EndsWith"}, {6, "Less"},        {7, "LessOrEqual"}, {8, "Greater"},        {9, "GreaterOrEqual"},
        {10, "IsEmpty"}, {11, "IsNotEmpty"}, {12, "IsIncluded"}};
    static_assert(std::size(c_entries) == std::size_t(DataMergeRuleOperator::IsIncluded) + 1);
    RegisterEnumSet(c_entries, std::size(c_entries));
}

DataMergeRuleAggregateFunctionEnumSerialiser const& DataMergeRuleAggregateFunctionEnumSerialiser::GetInstance() {
    static DataMergeRuleAggregateFunctionEnumSerialiser const s_instance;
    return s_instance;
}

DataMergeRuleAggregateFunctionEnumSerialiser::DataMergeRuleAggregateFunctionEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {{0, "All"}, {1, "Any"}, {2, "None"}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

DataMergeProcessFilterActionEnumSerialiser const& DataMergeProcessFilterActionEnumSerialiser::GetInstance() {
    static DataMergeProcessFilterActionEnumSerialiser const s_instance;
    return s_instance;
}

DataMergeProcessFilterActionEnumSerialiser::DataMergeProcessFilterActionEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {{0, "Warn"}, {1, "Replace"}, {2, "Skip"}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

// DataMergeValueSet

void DataMergeValueSet::SetValueIncluded(Kernel::String const& value, bool include) {
    if (include == m_defaultInclude)
        m_exceptions.erase(value);
    else
        m_exceptions.insert(value);
}

void DataMergeValueSet::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Dflt", m_defaultInclude);
    Kernel::SaveValue(out, "Excp", std::vector<Kernel::String>(m_exceptions.begin(), m_exceptions.end()));
}

bool DataMergeValueSet::Load(Kernel::InSerialiser const& in, Kernel::ClassUID, unsigned short version) {
    if (version > GetSchemaVersion())
        return false;
    Kernel::LoadValue(in, "Dflt", m_defaultInclude);
    if (std::vector<Kernel::String> values; Kernel::LoadValue(in, "Excp", values))
        m_exceptions = std::set<Kernel::String>(values.begin(), values.end());
    return true;
}

// DataMergeRuleClause

void DataMergeRuleClause::SetFieldId(Kernel::String fieldId) { Give(*this, m_fieldId, std::move(fieldId)); }
void DataMergeRuleClause::SetOperator(DataMergeRuleOperator comparison) { Give(*this, m_operator, comparison); }
void DataMergeRuleClause::SetMatchValue(Kernel::String value) { Give(*this, m_matchValue, std::move(value)); }
void DataMergeRuleClause::SetMatchValues(DataMergeValueSet values) { Give(*this, m_matchValues, std::move(values)); }

Records::Clause DataMergeRuleClause::ToClause() const {
    return {m_fieldId, m_operator, m_matchValue, m_matchValues.GetDefaultInclude(), m_matchValues.GetExceptions()};
}

Kernel::Counted<DataMergeRuleClause> DataMergeRuleClause::Copy() const {
    auto copy = Kernel::MakeCounted<DataMergeRuleClause>(m_fieldId, m_operator, m_matchValue);
    copy->m_matchValues = m_matchValues;
    return copy;
}

// DataMergeRule

DataMergeRule::Clauses& DataMergeRule::GetClauses() { return GiveForChange(*this, m_clauses); }

void DataMergeRule::SetAggregateFunction(DataMergeRuleAggregateFunction function) {
    Give(*this, m_aggregateFunction, function);
}

Records::Rule DataMergeRule::ToRule() const {
    Records::Rule rule;
    rule.combine = m_aggregateFunction;
    for (auto const& clause : m_clauses)
        rule.clauses.push_back(clause->ToClause());
    return rule;
}

Kernel::Counted<DataMergeRule> DataMergeRule::Copy() const {
    auto copy = Kernel::MakeCounted<DataMergeRule>();
    copy->m_aggregateFunction = m_aggregateFunction;
    for (auto const& clause : m_clauses)
        copy->m_clauses.push_back(clause->Copy());
    return copy;
}

bool DataMergeRule::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = StoredClass::Load(in, files, version);
    std::erase(m_clauses, nullptr);
    return loaded;
}

// DataMergeFilter

DataMergeFilter::~DataMergeFilter() = default;

void DataMergeFilter::SetIsEnabled(bool enabled) { Give(*this, m_isEnabled, enabled); }

void DataMergeFilter::AppendSteps(std::vector<Records::Step>& steps) const {
    if (m_isEnabled)
        steps.push_back(MakeStep());
}

void DataMergeFilter::Save(Kernel::OutSerialiser& out) const { Kernel::SaveFields(*this, out); }

bool DataMergeFilter::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadFields(*this, in);
    return true;
}

// DataMergeSelectedRecordsFilter

void DataMergeSelectedRecordsFilter::SetAllowedIndexes(Kernel::IndexRangeList indexes) {
    Give(*this, m_allowedIndexes, std::move(indexes));
}

Kernel::Counted<DataMergeFilter> DataMergeSelectedRecordsFilter::Copy() const {
    return Kernel::MakeCounted<DataMergeSelectedRecordsFilter>(*this);
}

Records::Step DataMergeSelectedRecordsFilter::MakeStep() const { return Records::SelectRecords{m_allowedIndexes}; }

// DataMergeRecordValueFilter

DataMergeRecordValueFilter::Rules& DataMergeRecordValueFilter::GetRules() { return GiveForChange(*this, m_rules); }

void DataMergeRecordValueFilter::SetAggregateFunction(DataMergeRuleAggregateFunction function) {
    Give(*this, m_aggregateFunction, function);
}

Kernel::Counted<DataMergeFilter> DataMergeRecordValueFilter::Copy() const {
    auto copy = Kernel::MakeCounted<DataMergeRecordValueFilter>(*this);
    for (auto& rule : copy->m_rules)
        rule = rule->Copy();
    return copy;
}

Records::Step DataMergeRecordValueFilter::MakeStep() const {
    Records::MatchRecords step;
    step.combine = m_aggregateFunction;
    for (auto const& rule : m_rules)
        step.rules.push_back(rule->ToRule());
    return step;
}

bool DataMergeRecordValueFilter::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                      unsigned short version) {
    bool const loaded = StoredClass::Load(in, files, version);
    std::erase(m_rules, nullptr);
    return loaded;
}

// DataMergeProcessFilter

DataMergeProcessFilter::DataMergeProcessFilter() : m_rule(Kernel::MakeCounted<DataMergeRule>()) {}

void DataMergeProcessFilter::SetAction(Action action) { Give(*this, m_action, action); }

void DataMergeProcessFilter::SetWarningMessageValue(Kernel::String message) {
    Give(*this, m_warningMessage, std::move(message));
}

void DataMergeProcessFilter::SetReplacementField(Kernel::String field) {
    Give(*this, m_replacementField, std::move(field));
}

void DataMergeProcessFilter::SetReplacementValue(Kernel::String value) {
    Give(*this, m_replacementValue, std::move(value));
}

Kernel::Counted<DataMergeFilter> DataMergeProcessFilter::Copy() const {
    auto copy = Kernel::MakeCounted<DataMergeProcessFilter>(*this);
    copy->m_rule = m_rule->Copy();
    return copy;
}

Records::Step DataMergeProcessFilter::MakeStep() const {
    return Records::ProcessRecords{m_rule->ToRule(), m_action, m_warningMessage, m_replacementField,
                                   m_replacementValue};
}

bool DataMergeProcessFilter::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = StoredClass::Load(in, files, version);
    if (!m_rule)
        m_rule = Kernel::MakeCounted<DataMergeRule>();
    return loaded;
}

// DataMergeJavaScriptFilter

void DataMergeJavaScriptFilter::SetName(Kernel::String name) { Give(*this, m_name, std::move(name)); }
void DataMergeJavaScriptFilter::SetScript(Kernel::String script) { Give(*this, m_script, std::move(script)); }

Kernel::Counted<DataMergeFilter> DataMergeJavaScriptFilter::Copy() const {
    return Kernel::MakeCounted<DataMergeJavaScriptFilter>(*this);
}

Records::Step DataMergeJavaScriptFilter::MakeStep() const { return Records::RunScript{m_name, m_script}; }

// DataMergeSortFilter

void DataMergeSortFilter::SetFieldId(Kernel::String fieldId) { Give(*this, m_fieldId, std::move(fieldId)); }
void DataMergeSortFilter::SetAscending(bool ascending) { Give(*this, m_ascending, ascending); }

Kernel::Counted<DataMergeFilter> DataMergeSortFilter::Copy() const {
    return Kernel::MakeCounted<DataMergeSortFilter>(*this);
}

Records::Step DataMergeSortFilter::MakeStep() const { return Records::SortRecords{m_fieldId, m_ascending}; }
