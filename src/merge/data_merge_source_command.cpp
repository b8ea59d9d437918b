// SPDX-License-Identifier: Apache-2.0
#include "merge/data_merge_source_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

void NotifyOfSource(DocumentCommand const& command, Kernel::Counted<DataMergeSource> const& source,
                    Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<DataMergeOptionsChangedNotification>(command.GetDocumentController(),
                                                                                     command.IsPreview(), source));
}

} // namespace Commands
