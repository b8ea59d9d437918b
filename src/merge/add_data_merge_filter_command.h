// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_filter_command.h"

namespace Commands {

// Adds a filter to a merge source.
class REDRAFT_API AddDataMergeFilterCommand final : public DataMergeFilterCommand<AddDataMergeFilterCommand> {
public:
    // The filter goes in front of `before`. Without that one for chosen records goes to the front, and others go in
    // front of the first that sorts.
    AddDataMergeFilterCommand(Kernel::JailCounted<DataMergeSource> source, Kernel::Counted<DataMergeFilter> filter,
                              Kernel::Counted<DataMergeFilter const> before)
        : DataMergeFilterCommand(std::move(source)),
          m_newFilter(std::move(filter)),
          m_insertFilter(std::move(before)) {}

    static constexpr auto c_description = Kernel::Localisable("Add Data Merge Filter", "Command description");

private:
    friend struct Kernel::FieldAccess;
    friend DataMergeFilterCommand;
    AddDataMergeFilterCommand() = default;
    void Apply();
    static constexpr auto Fields() {
        using This = AddDataMergeFilterCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"nwft", &This::m_newFilter}.As<NewDataMergeObject<DataMergeFilter>>("filter",
                                                                                              "the new filter"),
            Kernel::Field{"inft", &This::m_insertFilter}.As<DataMergePlace<DataMergeFilter>>(
                "before", "the filter to put it in front of, or end, which puts it to its usual place",
                DataMergePlace<DataMergeFilter>::End()),
            Kernel::Field{"uppv", &This::m_updatePreviewCommand}};
    }

    Kernel::Counted<DataMergeFilter> m_newFilter;
    Kernel::Counted<DataMergeFilter const> m_insertFilter;
};

} // namespace Commands
