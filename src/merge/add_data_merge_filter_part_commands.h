// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_filter_command.h"
#include "merge/data_merge_lists.h"

// The commands that add a rule to a filter, and a clause to a rule.
namespace Commands {

// Base of both. T says where the new object goes, in `static DataMergeList<Part>& GetList(Target&)`, and what the
// arguments are called.
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

    static constexpr auto c_description = Kernel::Localisable("Add Data Merge Filter", "Command description");

protected:
    AddDataMergeFilterPartCommand() = default;

    Kernel::JailCounted<Target> m_target;
    Kernel::Counted<Part> m_newPart;
    Kernel::Counted<Part const> m_insertPart;

private:
    friend struct Kernel::FieldAccess;
    friend DataMergeFilterCommand<T>;
    static constexpr auto Fields() {
        using This = AddDataMergeFilterPartCommand;
        using Kernel::Field;
        return Kernel::FieldList{
            Field{"targ", &This::m_source}.template As<DataMergeSourceReference>("source",
                                                                                 "the source of the data merge"),
            Field{"tagf", &This::m_target}.template As<DataMergeReference<Target>>(T::c_target.name, T::c_target.help),
            Field{"nwft", &This::m_newPart}.template As<NewDataMergeObject<Part>>(T::c_part.name, T::c_part.help),
            Field{"inft", &This::m_insertPart}.template As<DataMergePlace<Part>>("before", T::c_before,
                                                                                 typename DataMergePlace<Part>::End()),
            Field{"uppv", &This::m_updatePreviewCommand}};
    }
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
    static DataMergeList<DataMergeRule>& GetList(DataMergeRecordValueFilter& filter) { return filter.GetRules(); }
    static constexpr DataMergeArgument c_target{"filter", "the filter that gets a rule"},
        c_part{"rule", "the new rule"};
    static constexpr std::string_view c_before = "the rule to put it in front of, or end";
};

// Adds a clause to a rule.
class REDRAFT_API AddDataMergeFilterClauseCommand final
    : public AddDataMergeFilterPartCommand<AddDataMergeFilterClauseCommand, DataMergeRule, DataMergeRuleClause> {
public:
    using AddDataMergeFilterPartCommand::AddDataMergeFilterPartCommand;
    static DataMergeList<DataMergeRuleClause>& GetList(DataMergeRule& rule) { return rule.GetClauses(); }
    static constexpr DataMergeArgument c_target{"rule", "the rule that gets a clause"},
        c_part{"clause", "the new clause"};
    static constexpr std::string_view c_before = "the clause to put it in front of, or end";
};

} // namespace Commands
