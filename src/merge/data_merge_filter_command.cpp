// SPDX-License-Identifier: Apache-2.0
#include "merge/data_merge_filter_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

void NotifyOfFilters(DocumentCommand const& command, Kernel::Counted<DataMergeSource> const& source,
                     Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                     Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<DataMergeFiltersChangedNotification>(command.GetDocumentController(),
                                                                                     command.IsPreview(), source));
    NotifyOfUpdatePreview(command, preview, notifications);
}

} // namespace Commands
