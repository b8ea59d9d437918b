// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/set_data_merge_filter_property_command.h"

#include <tuple>

// The commands on the set of values that a clause of a rule includes.
namespace Commands {

// Takes one value into the set, or out of it.
class REDRAFT_API SetDataMergeValueFilterMatchValuesCommand final
    : public Persisted<SetDataMergeValueFilterMatchValuesCommand, SetDataMergeFilterClausePropertyCommand<bool>> {
public:
    SetDataMergeValueFilterMatchValuesCommand(Kernel::JailCounted<DataMergeSource> source,
                                              Kernel::JailCounted<DataMergeRuleClause> clause, Kernel::String value,
                                              bool include)
        : Persisted(std::move(source), std::move(clause), include), m_valueKey(std::move(value)) {}

    static constexpr auto c_description = Kernel::Localisable("Set Filter Match Value", "Command description");
    // Those of two values stay two steps.
    static constexpr auto MergeTargets() {
        using This = SetDataMergeValueFilterMatchValuesCommand;
        return std::tuple(&This::m_target, &This::m_valueKey);
    }

protected:
    bool GetValue(Kernel::JailCounted<DataMergeRuleClause> clause) const override;
    void SetValue(Kernel::Counted<DataMergeRuleClause> clause, bool const& include, Direction direction) override;

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterMatchValuesCommand() = default;
    static constexpr auto Fields() {
        using This = SetDataMergeValueFilterMatchValuesCommand;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::m_source}.As<DataMergeSourceReference>("source", "the source of the data merge"),
            Unstored{&This::m_target}.As<DataMergeReference<DataMergeRuleClause>>("clause", "the clause to change"),
            Kernel::Field{"vlky", &This::m_valueKey}.As("value", "a value of the clause's field"),
            Unstored{&This::m_newValue}.As("include", "whether records with the value are kept")};
    }

    Kernel::String m_valueKey;
};

// Includes all values, or none; values that were taken in or out one by one are forgotten.
class REDRAFT_API SetDataMergeValueFilterMatchValuesIncludeAllCommand final
    : public Persisted<SetDataMergeValueFilterMatchValuesIncludeAllCommand,
                       SetDataMergeFilterClausePropertyCommand<bool>> {
public:
    SetDataMergeValueFilterMatchValuesIncludeAllCommand(Kernel::JailCounted<DataMergeSource> source,
                                                        Kernel::JailCounted<DataMergeRuleClause> clause, bool include)
        : Persisted(std::move(source), std::move(clause), include) {}

    static constexpr auto c_description = Kernel::Localisable("Set Filter Include", "Command description");

protected:
    bool GetValue(Kernel::JailCounted<DataMergeRuleClause> clause) const override;
    void SetValue(Kernel::Counted<DataMergeRuleClause> clause, bool const& include, Direction direction) override;

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeValueFilterMatchValuesIncludeAllCommand() = default;
    static constexpr auto Fields() {
        using This = SetDataMergeValueFilterMatchValuesIncludeAllCommand;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::m_source}.As<DataMergeSourceReference>("source", "the source of the data merge"),
            Unstored{&This::m_target}.As<DataMergeReference<DataMergeRuleClause>>("clause", "the clause to change"),
            Unstored{&This::m_newValue}.As("include", "whether records with any value are kept")};
    }
};

} // namespace Commands
