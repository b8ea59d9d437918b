// SPDX-License-Identifier: Apache-2.0
// Values that have an effect on others, or take account of them.
#include "merge/set_data_merge_filter_property_commands.h"

#include "merge/set_data_merge_value_filter_match_values_commands.h"

namespace Commands {

// Required: the old rows are clamped as well when they are put back.
void SetDataMergeFilterAllowedRecords::SetValue(Kernel::Counted<DataMergeSelectedRecordsFilter> target,
                                                Kernel::IndexRangeList const& value, Direction) {
    auto rows = value;
    if (auto const count = m_source->GetUnfilteredRecordCount(); count > 0)
        rows.Clamp(0, std::int64_t{count} - 1);
    target->SetAllowedIndexes(std::move(rows));
}

void SetDataMergeValueFilterFieldIdCommand::SetValue(Kernel::Counted<DataMergeRuleClause> target,
                                                     Kernel::String const& value, Direction direction) {
    target->SetFieldId(value);
    ReplaceMatchValues(*target, target->GetMatchValues().GetDefaultInclude(), direction);
}

bool SetDataMergeValueFilterMatchValuesCommand::GetValue(Kernel::JailCounted<DataMergeRuleClause> clause) const {
    return clause->GetMatchValues().Contains(m_valueKey);
}

void SetDataMergeValueFilterMatchValuesCommand::SetValue(Kernel::Counted<DataMergeRuleClause> clause,
                                                         bool const& include, Direction) {
    auto values = clause->GetMatchValues();
    values.SetValueIncluded(m_valueKey, include);
    clause->SetMatchValues(std::move(values));
}

bool SetDataMergeValueFilterMatchValuesIncludeAllCommand::GetValue(
    Kernel::JailCounted<DataMergeRuleClause> clause) const {
    return clause->GetMatchValues().GetDefaultInclude();
}

void SetDataMergeValueFilterMatchValuesIncludeAllCommand::SetValue(Kernel::Counted<DataMergeRuleClause> clause,
                                                                   bool const& include, Direction direction) {
    ReplaceMatchValues(*clause, include, direction);
}

} // namespace Commands
