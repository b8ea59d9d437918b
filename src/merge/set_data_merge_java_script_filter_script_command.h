// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/set_data_merge_filter_property_command.h"

namespace Commands {

// Gives a filter that is a script another script. It is told as another state of the source, too.
class REDRAFT_API SetDataMergeJavaScriptFilterScriptCommand final
    : public DataMergePropertyCommand<SetDataMergeJavaScriptFilterScriptCommand, DataMergeJavaScriptFilter,
                                      Kernel::String> {
public:
    using DataMergePropertyCommand::DataMergePropertyCommand;
    static constexpr DataMergeProperty c_property{
        "script", "the body of a JavaScript function of record, which says whether to keep it",
        &DataMergeJavaScriptFilter::GetScript, &DataMergeJavaScriptFilter::SetScript};
    static constexpr auto c_description = Kernel::Localisable("Set Filter Script", "Command description");
    void Notify(Kernel::NotificationList& notifications) override {
        DataMergePropertyCommand::Notify(notifications);
        notifications.push_back(
            Kernel::MakeCounted<DataMergeSourceUpdatedNotification>(GetDocumentController(), m_preview, m_source));
    }

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeJavaScriptFilterScriptCommand() = default;
};

} // namespace Commands
