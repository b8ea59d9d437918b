// SPDX-License-Identifier: Apache-2.0
#include "merge/delete_data_merge_filter_clause_command.h"

#include "merge/data_merge_lists.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"

namespace Commands {

void DeleteDataMergeFilterClauseCommand::Apply() {
    if (!m_rule)
        throw Kernel::Exception("the rule with the clause is missing");
    if (m_direction == Direction::Undo)
        PutBack();
    else
        Erase();
}

// Redo looks again: in another process it does not know whether the filter went.
void DeleteDataMergeFilterClauseCommand::Erase() {
    auto& clauses = m_rule->GetClauses();
    if (!IsInList(clauses, m_clause)) {
        if (m_direction == Direction::Do)
            m_clause.reset();
        return;
    }
    EditJournal::NoteValue(*this, m_nextClause);
    m_nextClause = Extract(clauses, m_clause);
    if (clauses.empty())
        EraseEmptyRule();
}

void DeleteDataMergeFilterClauseCommand::EraseEmptyRule() {
    if (auto* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter>(m_filter.get())) {
        EditJournal::NoteValue(*this, m_hasDeletedRule);
        EditJournal::NoteValue(*this, m_nextRule);
        m_hasDeletedRule = IsInList(std::as_const(*byValue).GetRules(), m_rule);
        m_nextRule = Extract(byValue->GetRules(), m_rule);
        return;
    }
    auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(m_filter.get());
    if (process == nullptr || process->GetRule() != m_rule)
        return;
    EditJournal::NoteValue(*this, m_hasDeletedFilter);
    EditJournal::NoteValue(*this, m_nextFilter);
    auto& filters = m_source->GetFilters();
    m_hasDeletedFilter = IsInList(filters, m_filter);
    m_nextFilter = Extract(filters, m_filter);
}

void DeleteDataMergeFilterClauseCommand::PutBack() {
    if (m_hasDeletedFilter)
        InsertBefore<DataMergeFilter>(m_source->GetFilters(), m_filter, m_nextFilter);
    if (auto* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter>(m_filter.get());
        byValue != nullptr && m_hasDeletedRule)
        InsertBefore<DataMergeRule>(byValue->GetRules(), m_rule, m_nextRule);
    if (m_clause)
        InsertBefore<DataMergeRuleClause>(m_rule->GetClauses(), m_clause, m_nextClause);
}

} // namespace Commands
