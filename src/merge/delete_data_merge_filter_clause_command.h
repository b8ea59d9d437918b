// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_filter_command.h"

namespace Commands {

// Takes a clause from a rule. A rule that has lost its last clause goes, too, and so does the filter that was made for
// its one rule.
class REDRAFT_API DeleteDataMergeFilterClauseCommand final
    : public DataMergeFilterCommand<DeleteDataMergeFilterClauseCommand> {
public:
    // The rule is one of the filter's, and has the clause.
    DeleteDataMergeFilterClauseCommand(Kernel::JailCounted<DataMergeSource> source,
                                       Kernel::JailCounted<DataMergeFilter> filter,
                                       Kernel::JailCounted<DataMergeRule> rule,
                                       Kernel::JailCounted<DataMergeRuleClause> clause)
        : DataMergeFilterCommand(std::move(source)),
          m_filter(std::move(filter)),
          m_rule(std::move(rule)),
          m_clause(std::move(clause)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Data Merge Filter", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend DataMergeFilterCommand;
    DeleteDataMergeFilterClauseCommand() = default;
    void Apply();
    void Erase();
    void EraseEmptyRule();
    void PutBack();
    static constexpr auto Fields() {
        using This = DeleteDataMergeFilterClauseCommand;
        return Kernel::FieldList{Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>(
                                     "source", "the source of the data merge"),
                                 Kernel::Field{"nwft", &This::m_filter}.As<DataMergeReference<DataMergeFilter>>(
                                     "filter", "the filter with the rule"),
                                 Kernel::Field{"rule", &This::m_rule}.As<DataMergeReference<DataMergeRule>>(
                                     "rule", "the rule with the clause"),
                                 Kernel::Field{"clas", &This::m_clause}.As<DataMergeReference<DataMergeRuleClause>>(
                                     "clause", "the clause to delete"),
                                 Kernel::Field{"inft", &This::m_nextClause},
                                 Kernel::Field{"inrl", &This::m_nextRule},
                                 Kernel::Field{"dlrl", &This::m_hasDeletedRule},
                                 Kernel::Field{"uppv", &This::m_updatePreviewCommand}};
    }

    Kernel::JailCounted<DataMergeFilter> m_filter;
    Kernel::JailCounted<DataMergeRule> m_rule;
    // Empty where the rule did not have it, so that there is nothing to put back.
    Kernel::JailCounted<DataMergeRuleClause> m_clause;
    // Those that stood behind them.
    Kernel::Counted<DataMergeRuleClause> m_nextClause;
    Kernel::Counted<DataMergeRule> m_nextRule;
    bool m_hasDeletedRule = false;
    // Required: not stored. Undo in another process leaves the filter out.
    bool m_hasDeletedFilter = false;
    Kernel::Counted<DataMergeFilter> m_nextFilter;
};

} // namespace Commands
