// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_filter_command.h"
#include "merge/data_merge_lists.h"

// The commands that add a rule to a filter, and a clause to a rule.
namespace Commands {

// Base of both. T says where the new object goes, in `static DataMergeList<Part>& GetList(Target&)`.
template <class T, class Target, class Part>
class AddDataMergeFilterPartCommand : public DataMergeFilterCommand<T> {
public:
    // The object goes in front of `before`, or to the end.
    AddDataMergeFilterPartCommand(Kernel::JailCounted<DataMergeSource> source, Kernel::JailCounted<Target> target,
                                  Kernel::Counted<Part> part, Kernel::Counted<Part const> before)
        : DataMergeFilterCommand<T>(std::move(source)),
          m_target(std::move(target)),
          m_newPart(std::move(part)),
          m_insertPart(std::move(before)) {}

    Kernel::LocalisedString GetDescription() const override {
        return Kernel::LocalisedString("Add Data Merge Filter", "Command description");
    }

protected:
    AddDataMergeFilterPartCommand() = default;

    Kernel::JailCounted<Target> m_target;
    Kernel::Counted<Part> m_newPart;
    Kernel::Counted<Part const> m_insertPart;

private:
    friend DataMergeFilterCommand<T>;
    void Apply() {
        if (!m_target)
            throw Kernel::Exception("the object of the filters that is to change is missing");
        auto& list = T::GetList(*m_target);
        if (this->GetDirection() == DomainCommand::Direction::Undo)
            Extract(list, m_newPart);
        else
            InsertBefore(list, m_newPart, m_insertPart);
    }
};

// Adds a rule to a filter that compares fields.
class REDRAFT_API AddDataMergeFilterRuleCommand final
    : public AddDataMergeFilterPartCommand<AddDataMergeFilterRuleCommand, DataMergeRecordValueFilter, DataMergeRule> {
public:
    using AddDataMergeFilterPartCommand::AddDataMergeFilterPartCommand;

private:
    friend struct Kernel::FieldAccess;
    friend AddDataMergeFilterPartCommand;
    AddDataMergeFilterRuleCommand() = default;
    static DataMergeList<DataMergeRule>& GetList(DataMergeRecordValueFilter& filter) { return filter.GetRules(); }
    static constexpr auto Fields() {
        using This = AddDataMergeFilterRuleCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"tagf", &This::m_target}.As<DataMergeReference<DataMergeRecordValueFilter>>(
                "filter", "the filter that gets a rule"),
            Kernel::Field{"nwft", &This::m_newPart}.As<NewDataMergeObject<DataMergeRule>>("rule", "the new rule"),
            Kernel::Field{"inft", &This::m_insertPart}.As<DataMergePlace<DataMergeRule>>(
                "before", "the rule to put it in front of, or end", DataMergePlace<DataMergeRule>::End()),
            Kernel::Field{"uppv", &This::m_updatePreviewCommand}};
    }
};

// Adds a clause to a rule.
class REDRAFT_API AddDataMergeFilterClauseCommand final
    : public AddDataMergeFilterPartCommand<AddDataMergeFilterClauseCommand, DataMergeRule, DataMergeRuleClause> {
public:
    using AddDataMergeFilterPartCommand::AddDataMergeFilterPartCommand;

private:
    friend struct Kernel::FieldAccess;
    friend AddDataMergeFilterPartCommand;
    AddDataMergeFilterClauseCommand() = default;
    static DataMergeList<DataMergeRuleClause>& GetList(DataMergeRule& rule) { return rule.GetClauses(); }
    static constexpr auto Fields() {
        using This = AddDataMergeFilterClauseCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"tagf", &This::m_target}.As<DataMergeReference<DataMergeRule>>("rule",
                                                                                         "the rule that gets a clause"),
            Kernel::Field{"nwft", &This::m_newPart}.As<NewDataMergeObject<DataMergeRuleClause>>("clause",
                                                                                                "the new clause"),
            Kernel::Field{"inft", &This::m_insertPart}.As<DataMergePlace<DataMergeRuleClause>>(
                "before", "the clause to put it in front of, or end", DataMergePlace<DataMergeRuleClause>::End()),
            Kernel::Field{"uppv", &This::m_updatePreviewCommand}};
    }
};

} // namespace Commands
