// SPDX-License-Identifier: Apache-2.0
#include "merge/delete_data_merge_filter_command.h"

#include "merge/data_merge_lists.h"

namespace Commands {

void DeleteDataMergeFilterCommand::Apply() {
    auto& filters = m_source->GetFilters();
    if (m_direction == Direction::Do) {
        if (!IsInList(filters, m_filter))
            m_filter.reset();
        m_nextFilter = Extract(filters, m_filter);
    } else if (m_direction == Direction::Redo) {
        Extract(filters, m_filter);
    } else if (m_filter) {
        InsertBefore<DataMergeFilter>(filters, m_filter, m_nextFilter);
    }
}

} // namespace Commands
