// SPDX-License-Identifier: Apache-2.0
#include "articles/article_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

void NotifyOfArticles(DocumentCommand& command, Kernel::NotificationList& notifications, bool refresh) {
    notifications.push_back(
        Kernel::MakeCounted<ExportArticlesChangedNotification>(command.GetDocumentController(), refresh));
}

} // namespace Commands
