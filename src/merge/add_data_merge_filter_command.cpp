// SPDX-License-Identifier: Apache-2.0
#include "merge/add_data_merge_filter_command.h"

#include "merge/data_merge_lists.h"
#include "platform/kernel/cast.h"

namespace Commands {

namespace {

// The filter in front of which a new one stands where nobody says; empty: the end.
Kernel::Counted<DataMergeFilter const> ChoosePlace(DataMergeList<DataMergeFilter> const& filters,
                                                   DataMergeFilter const* added) {
    auto place = filters.begin();
    if (Kernel::CastPointer<DataMergeSelectedRecordsFilter const>(added) == nullptr)
        place = std::ranges::find_if(filters, [](auto const& filter) {
            return Kernel::CastPointer<DataMergeSortFilter const>(filter.get()) != nullptr;
        });
    return place == filters.end() ? Kernel::Counted<DataMergeFilter const>() : *place;
}

} // namespace

void AddDataMergeFilterCommand::Apply() {
    auto& filters = m_source->GetFilters();
    if (m_direction == Direction::Undo) {
        Extract(filters, m_newFilter);
        return;
    }
    if (m_direction == Direction::Do && !m_insertFilter)
        m_insertFilter = ChoosePlace(filters, m_newFilter.get());
    InsertBefore(filters, m_newFilter, m_insertFilter);
}

} // namespace Commands
