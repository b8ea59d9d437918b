// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_filter_command.h"

namespace Commands {

// Takes a filter from a merge source.
class REDRAFT_API DeleteDataMergeFilterCommand final : public DataMergeFilterCommand<DeleteDataMergeFilterCommand> {
public:
    DeleteDataMergeFilterCommand(Kernel::JailCounted<DataMergeSource> source,
                                 Kernel::JailCounted<DataMergeFilter> filter)
        : DataMergeFilterCommand(std::move(source)), m_filter(std::move(filter)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Data Merge Filter", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend DataMergeFilterCommand;
    DeleteDataMergeFilterCommand() = default;
    void Apply();
    static constexpr auto Fields() {
        using This = DeleteDataMergeFilterCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"nwft", &This::m_filter}.As<DataMergeReference<DataMergeFilter>>("filter",
                                                                                           "the filter to delete"),
            Kernel::Field{"inft", &This::m_nextFilter}, Kernel::Field{"uppv", &This::m_updatePreviewCommand}};
    }

    // Empty where it was in no list, so that there is nothing to put back.
    Kernel::JailCounted<DataMergeFilter> m_filter;
    // The one that stood behind it.
    Kernel::Counted<DataMergeFilter> m_nextFilter;
};

} // namespace Commands
