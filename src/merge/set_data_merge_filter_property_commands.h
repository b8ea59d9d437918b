// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/set_data_merge_filter_property_command.h"

// The commands that set one property of a filter, of a rule or of a clause of a merge source.
namespace Commands {

// Has records go through a filter, or past it.
class REDRAFT_API SetDataMergeFilterEnabledCommand final
    : public DataMergePropertyCommand<SetDataMergeFilterEnabledCommand, DataMergeFilter, bool> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"enabled", "whether records go through the filter",
                                                  &DataMergeFilter::IsEnabled, &DataMergeFilter::SetIsEnabled};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Enabled", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeFilterEnabledCommand() = default;
};

// Chooses the records that a filter keeps. Those that the data do not have are left out.
class REDRAFT_API SetDataMergeFilterAllowedRecords final
    : public DataMergePropertyCommand<SetDataMergeFilterAllowedRecords, DataMergeSelectedRecordsFilter,
                                      Kernel::IndexRangeList> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"records", "rows of the data, counted from 0",
                                                  &DataMergeSelectedRecordsFilter::GetAllowedIndexes,
                                                  &DataMergeSelectedRecordsFilter::SetAllowedIndexes};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Enabled", "Command description");

protected:
    void SetValue(Kernel::Counted<DataMergeSelectedRecordsFilter> target, Kernel::IndexRangeList const& value,
                  Direction direction) override;

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeFilterAllowedRecords() = default;
};

// Says how the clauses of a rule make one answer.
class REDRAFT_API SetDataMergeValueFilterClauseCombineCommand final
    : public DataMergePropertyCommand<SetDataMergeValueFilterClauseCombineCommand, DataMergeRule,
                                      DataMergeRuleAggregateFunction> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"combine", "which of the rule's clauses must hold",
                                                  &DataMergeRule::GetAggregateFunction,
                                                  &DataMergeRule::SetAggregateFunction};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Combine", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterClauseCombineCommand() = default;
};

// Says how the rules of a filter make one answer.
class REDRAFT_API SetDataMergeValueFilterRuleCombineCommand final
    : public DataMergePropertyCommand<SetDataMergeValueFilterRuleCombineCommand, DataMergeRecordValueFilter,
                                      DataMergeRuleAggregateFunction> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"combine", "which of the filter's rules must hold",
                                                  &DataMergeRecordValueFilter::GetAggregateFunction,
                                                  &DataMergeRecordValueFilter::SetAggregateFunction};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Combine", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterRuleCombineCommand() = default;
};

// Has a clause compare another field. Its set of values, which are those of the old field, becomes empty.
class REDRAFT_API SetDataMergeValueFilterFieldIdCommand final
    : public DataMergeClauseCommand<SetDataMergeValueFilterFieldIdCommand, Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"field", "the field to compare, by its column",
                                                  &DataMergeRuleClause::GetFieldId, &DataMergeRuleClause::SetFieldId};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Field", "Command description");

protected:
    void SetValue(Kernel::Counted<DataMergeRuleClause> target, Kernel::String const& value,
                  Direction direction) override;

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterFieldIdCommand() = default;
};

// Has a clause compare in another way.
class REDRAFT_API SetDataMergeValueFilterOperatorCommand final
    : public DataMergeClauseCommand<SetDataMergeValueFilterOperatorCommand, DataMergeRuleOperator> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"operator", "how the field is compared",
                                                  &DataMergeRuleClause::GetOperator, &DataMergeRuleClause::SetOperator};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Operator Value", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterOperatorCommand() = default;
};

// Gives a clause another value to compare with.
class REDRAFT_API SetDataMergeValueFilterMatchValueCommand final
    : public DataMergeClauseCommand<SetDataMergeValueFilterMatchValueCommand, Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"value", "the value to compare the field with",
                                                  &DataMergeRuleClause::GetMatchValue,
                                                  &DataMergeRuleClause::SetMatchValue};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Match Value", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterMatchValueCommand() = default;
};

// Renames a filter that is a script.
class REDRAFT_API SetDataMergeJavaScriptFilterNameCommand final
    : public DataMergePropertyCommand<SetDataMergeJavaScriptFilterNameCommand, DataMergeJavaScriptFilter,
                                      Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"name", "the filter's new name", &DataMergeJavaScriptFilter::GetName,
                                                  &DataMergeJavaScriptFilter::SetName};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Name", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeJavaScriptFilterNameCommand() = default;
};

// Says what a filter does with the records that its rule is true of.
class REDRAFT_API SetDataMergeProcessFilterActionCommand final
    : public DataMergePropertyCommand<SetDataMergeProcessFilterActionCommand, DataMergeProcessFilter,
                                      DataMergeProcessFilter::Action> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"action", "what happens to records that the filter's rule is true of",
                                                  &DataMergeProcessFilter::GetAction,
                                                  &DataMergeProcessFilter::SetAction};
    static constexpr auto c_description = Kernel::Localisable("Set Process Action", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeProcessFilterActionCommand() = default;
};

// Sets the text by which a filter warns of records.
class REDRAFT_API SetDataMergeProcessFilterWarningMessageCommand final
    : public DataMergePropertyCommand<SetDataMergeProcessFilterWarningMessageCommand, DataMergeProcessFilter,
                                      Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"message", "the text of the warnings",
                                                  &DataMergeProcessFilter::GetWarningMessageValue,
                                                  &DataMergeProcessFilter::SetWarningMessageValue};
    static constexpr auto c_description = Kernel::Localisable("Set Process Warning Message", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeProcessFilterWarningMessageCommand() = default;
};

// Names the field that a filter replaces.
class REDRAFT_API SetDataMergeProcessFilterReplacementFieldCommand final
    : public DataMergePropertyCommand<SetDataMergeProcessFilterReplacementFieldCommand, DataMergeProcessFilter,
                                      Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"field", "the field that gets another value, by its column",
                                                  &DataMergeProcessFilter::GetReplacementField,
                                                  &DataMergeProcessFilter::SetReplacementField};
    static constexpr auto c_description = Kernel::Localisable("Set Process Replacement Field", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeProcessFilterReplacementFieldCommand() = default;
};

// Sets the value that a filter gives to a field.
class REDRAFT_API SetDataMergeProcessFilterReplacementValueCommand final
    : public DataMergePropertyCommand<SetDataMergeProcessFilterReplacementValueCommand, DataMergeProcessFilter,
                                      Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"value", "the value that the field gets",
                                                  &DataMergeProcessFilter::GetReplacementValue,
                                                  &DataMergeProcessFilter::SetReplacementValue};
    static constexpr auto c_description = Kernel::Localisable("Set Process Replacement Value", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeProcessFilterReplacementValueCommand() = default;
};

// Names the field by which a filter sorts.
class REDRAFT_API SetDataMergeSortFilterFieldIdCommand final
    : public DataMergePropertyCommand<SetDataMergeSortFilterFieldIdCommand, DataMergeSortFilter, Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{"field", "the field to sort by, by its column",
                                                  &DataMergeSortFilter::GetFieldId, &DataMergeSortFilter::SetFieldId};
    static constexpr auto c_description = Kernel::Localisable("Set Sort Field", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeSortFilterFieldIdCommand() = default;
};

// Turns the order of a filter that sorts.
class REDRAFT_API SetDataMergeSortFilterAscendingCommand final
    : public DataMergePropertyCommand<SetDataMergeSortFilterAscendingCommand, DataMergeSortFilter, bool> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{
        "ascending", "true sorts from the smallest to the greatest, false the other way round",
        &DataMergeSortFilter::GetAscending, &DataMergeSortFilter::SetAscending};
    static constexpr auto c_description = Kernel::Localisable("Set Sort Direction", "Command description");

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeSortFilterAscendingCommand() = default;
};

} // namespace Commands
