// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/enum_serialiser.h"
#include "platform/kernel/stored_class.h"
#include "platform/records/pipeline.h"

#include <set>
#include <vector>

// The filters of a data merge: which records of a source are taken, in which order, and how they are changed on the
// way. They are objects of the document; all their operations that change something can be taken back by an
// EditJournal. Fields are named as the columns of the table. Lists hold no empty references.

class REDRAFT_ENGINE DataMergeRuleOperatorEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static DataMergeRuleOperatorEnumSerialiser const& GetInstance();

private:
    DataMergeRuleOperatorEnumSerialiser();
};

class REDRAFT_ENGINE DataMergeRuleAggregateFunctionEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static DataMergeRuleAggregateFunctionEnumSerialiser const& GetInstance();

private:
    DataMergeRuleAggregateFunctionEnumSerialiser();
};

class REDRAFT_ENGINE DataMergeProcessFilterActionEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static DataMergeProcessFilterActionEnumSerialiser const& GetInstance();

private:
    DataMergeProcessFilterActionEnumSerialiser();
};

// Which of all thinkable values are included: all or none by default, and the exceptions. A value that is as the
// default is no exception, so that equal sets have equal members.
class REDRAFT_ENGINE DataMergeValueSet {
public:
    explicit DataMergeValueSet(bool defaultInclude = true) : m_defaultInclude(defaultInclude) {}

    bool GetDefaultInclude() const { return m_defaultInclude; }
    std::set<Kernel::String> const& GetExceptions() const { return m_exceptions; }
    bool Contains(Kernel::String const& value) const { return m_exceptions.contains(value) != m_defaultInclude; }
    void SetValueIncluded(Kernel::String const& value, bool include);

    friend bool operator==(DataMergeValueSet const&, DataMergeValueSet const&) = default;

    static constexpr Kernel::ClassUID GetClassUID() { return "DMVS"; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    void Save(Kernel::OutSerialiser& out) const;
    // False when the schema is newer.
    bool Load(Kernel::InSerialiser const& in, Kernel::ClassUID uid, unsigned short version);

private:
    bool m_defaultInclude;
    std::set<Kernel::String> m_exceptions;
};

// One comparison of a field.
class REDRAFT_ENGINE DataMergeRuleClause final : public Kernel::StoredClass<DataMergeRuleClause, Kernel::Serialisable> {
public:
    DataMergeRuleClause() = default;
    DataMergeRuleClause(Kernel::String fieldId, DataMergeRuleOperator comparison, Kernel::String matchValue)
        : m_fieldId(std::move(fieldId)), m_operator(comparison), m_matchValue(std::move(matchValue)) {}

    Kernel::String const& GetFieldId() const { return m_fieldId; }
    void SetFieldId(Kernel::String fieldId);
    DataMergeRuleOperator GetOperator() const { return m_operator; }
    void SetOperator(DataMergeRuleOperator comparison);
    // The value to compare with.
    Kernel::String const& GetMatchValue() const { return m_matchValue; }
    void SetMatchValue(Kernel::String value);
    // The values that count for DataMergeRuleOperator::IsIncluded.
    DataMergeValueSet const& GetMatchValues() const { return m_matchValues; }
    void SetMatchValues(DataMergeValueSet values);

    Records::Clause ToClause() const;
    Kernel::Counted<DataMergeRuleClause> Copy() const;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeRuleClause;
        return Kernel::FieldList{
            Kernel::Field{"Fiel", &This::m_fieldId},
            Kernel::Field{"Oper", &This::m_operator}.EnumBy(&DataMergeRuleOperatorEnumSerialiser::GetInstance),
            Kernel::Field{"Valu", &This::m_matchValue}, Kernel::Field{"Vals", &This::m_matchValues}};
    }

    Kernel::String m_fieldId;
    DataMergeRuleOperator m_operator = DataMergeRuleOperator::Equal;
    Kernel::String m_matchValue;
    DataMergeValueSet m_matchValues;
};

// Clauses, and how their answers make one.
class REDRAFT_ENGINE DataMergeRule final : public Kernel::StoredClass<DataMergeRule, Kernel::Serialisable> {
public:
    using Clauses = std::vector<Kernel::JailCounted<DataMergeRuleClause>>;
    DataMergeRule() = default;

    Clauses const& GetClauses() const { return m_clauses; }
    // For a change of the list: it counts as changed from now on, and is noted in the journal as it is before the call.
    Clauses& GetClauses();
    DataMergeRuleAggregateFunction GetAggregateFunction() const { return m_aggregateFunction; }
    void SetAggregateFunction(DataMergeRuleAggregateFunction function);

    Records::Rule ToRule() const;
    // With copies of its clauses.
    Kernel::Counted<DataMergeRule> Copy() const;

    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeRule;
        return Kernel::FieldList{Kernel::Field{"Clau", &This::m_clauses},
                                 Kernel::Field{"Aggr", &This::m_aggregateFunction}.EnumBy(
                                     &DataMergeRuleAggregateFunctionEnumSerialiser::GetInstance)};
    }

    Clauses m_clauses;
    DataMergeRuleAggregateFunction m_aggregateFunction = DataMergeRuleAggregateFunction::All;
};

// One of the filters of a source, which its records go through in their order.
class REDRAFT_ENGINE DataMergeFilter : public Kernel::Serialisable {
public:
    ~DataMergeFilter() override;
    bool IsEnabled() const { return m_isEnabled; }
    void SetIsEnabled(bool enabled);
    // Appends the steps that the filter stands for; none while it is not enabled.
    void AppendSteps(std::vector<Records::Step>& steps) const;
    // Deep: no object of the filter is shared.
    virtual Kernel::Counted<DataMergeFilter> Copy() const = 0;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    DataMergeFilter() = default;
    DataMergeFilter(DataMergeFilter const&) = default;
    virtual Records::Step MakeStep() const = 0;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Enab", &DataMergeFilter::m_isEnabled}}; }

    bool m_isEnabled = true;
};

// Keeps chosen rows of the table.
class REDRAFT_ENGINE DataMergeSelectedRecordsFilter final
    : public Kernel::StoredClass<DataMergeSelectedRecordsFilter, DataMergeFilter> {
public:
    DataMergeSelectedRecordsFilter() = default;

    // Rows, counted from 0.
    Kernel::IndexRangeList const& GetAllowedIndexes() const { return m_allowedIndexes; }
    void SetAllowedIndexes(Kernel::IndexRangeList indexes);
    Kernel::Counted<DataMergeFilter> Copy() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Indx", &DataMergeSelectedRecordsFilter::m_allowedIndexes}};
    }
    Records::Step MakeStep() const override;

    Kernel::IndexRangeList m_allowedIndexes;
};

// Keeps the records of which the rules say so.
class REDRAFT_ENGINE DataMergeRecordValueFilter final
    : public Kernel::StoredClass<DataMergeRecordValueFilter, DataMergeFilter> {
public:
    using Rules = std::vector<Kernel::JailCounted<DataMergeRule>>;
    DataMergeRecordValueFilter() = default;

    Rules const& GetRules() const { return m_rules; }
    // As DataMergeRule::GetClauses.
    Rules& GetRules();
    DataMergeRuleAggregateFunction GetAggregateFunction() const { return m_aggregateFunction; }
    void SetAggregateFunction(DataMergeRuleAggregateFunction function);
    Kernel::Counted<DataMergeFilter> Copy() const override;

    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeRecordValueFilter;
        return Kernel::FieldList{Kernel::Field{"Rule", &This::m_rules},
                                 Kernel::Field{"Aggr", &This::m_aggregateFunction}.EnumBy(
                                     &DataMergeRuleAggregateFunctionEnumSerialiser::GetInstance)};
    }
    Records::Step MakeStep() const override;

    Rules m_rules;
    DataMergeRuleAggregateFunction m_aggregateFunction = DataMergeRuleAggregateFunction::All;
};

// Does something with the records that its one rule is true of.
class REDRAFT_ENGINE DataMergeProcessFilter final
    : public Kernel::StoredClass<DataMergeProcessFilter, DataMergeFilter> {
public:
    using Action = Records::ProcessRecords::Action;
    // With a rule without clauses, which is true of every record.
    DataMergeProcessFilter();

    // Never empty.
    Kernel::Counted<DataMergeRule> const& GetRule() const { return m_rule; }
    Action GetAction() const { return m_action; }
    void SetAction(Action action);
    // Of Action::Warn.
    Kernel::String const& GetWarningMessageValue() const { return m_warningMessage; }
    void SetWarningMessageValue(Kernel::String message);
    // Of Action::Replace: the field that gets another value, and the value.
    Kernel::String const& GetReplacementField() const { return m_replacementField; }
    void SetReplacementField(Kernel::String field);
    Kernel::String const& GetReplacementValue() const { return m_replacementValue; }
    void SetReplacementValue(Kernel::String value);
    Kernel::Counted<DataMergeFilter> Copy() const override;

    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeProcessFilter;
        return Kernel::FieldList{
            Kernel::Field{"Rule", &This::m_rule},
            Kernel::Field{"Actn", &This::m_action}.EnumBy(&DataMergeProcessFilterActionEnumSerialiser::GetInstance),
            Kernel::Field{"Mess", &This::m_warningMessage}, Kernel::Field{"RepF", &This::m_replacementField},
            Kernel::Field{"RepV", &This::m_replacementValue}};
    }
    Records::Step MakeStep() const override;

    Kernel::Counted<DataMergeRule> m_rule;
    Action m_action = Action::Warn;
    Kernel::String m_warningMessage, m_replacementField, m_replacementValue;
};

// Keeps the records of which a script says so: Records::RunScript.
class REDRAFT_ENGINE DataMergeJavaScriptFilter final
    : public Kernel::StoredClass<DataMergeJavaScriptFilter, DataMergeFilter> {
public:
    DataMergeJavaScriptFilter() = default;
    DataMergeJavaScriptFilter(Kernel::String name, Kernel::String script)
        : m_name(std::move(name)), m_script(std::move(script)) {}

    Kernel::String const& GetName() const { return m_name; }
    void SetName(Kernel::String name);
    Kernel::String const& GetScript() const { return m_script; }
    void SetScript(Kernel::String script);
    Kernel::Counted<DataMergeFilter> Copy() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeJavaScriptFilter;
        return Kernel::FieldList{Kernel::Field{"Name", &This::m_name}, Kernel::Field{"Scri", &This::m_script}};
    }
    Records::Step MakeStep() const override;

    Kernel::String m_name, m_script;
};

// Sorts the records by a field; equal ones stay in their order.
class REDRAFT_ENGINE DataMergeSortFilter final : public Kernel::StoredClass<DataMergeSortFilter, DataMergeFilter> {
public:
    DataMergeSortFilter() = default;
    DataMergeSortFilter(Kernel::String fieldId, bool ascending)
        : m_fieldId(std::move(fieldId)), m_ascending(ascending) {}

    Kernel::String const& GetFieldId() const { return m_fieldId; }
    void SetFieldId(Kernel::String fieldId);
    bool GetAscending() const { return m_ascending; }
    void SetAscending(bool ascending);
    Kernel::Counted<DataMergeFilter> Copy() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergeSortFilter;
        return Kernel::FieldList{Kernel::Field{"Fiel", &This::m_fieldId}, Kernel::Field{"Asce", &This::m_ascending}};
    }
    Records::Step MakeStep() const override;

    Kernel::String m_fieldId;
    bool m_ascending = true;
};
