// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"

#include "platform/document/data_merge_source.h"
#include "platform/document/export_article.h"
#include "platform/kernel/cast.h"

Kernel::Counted<Kernel::Notification> GuidesChangedNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    if (!Kernel::Cast<GuidesChangedNotification>(other))
        return {};
    return DocumentNotification::Merge(std::move(other));
}

DataMergeNotification::DataMergeNotification(Kernel::Counted<DocumentController const> const& controller, bool preview,
                                             Kernel::Counted<DataMergeSource> source)
    : DocumentNotification(controller, preview), m_source(std::move(source)) {}

DataMergeNotification::~DataMergeNotification() = default;

Kernel::Counted<Kernel::Notification>
DataMergeOptionsChangedNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    auto const newer = Kernel::Cast<DataMergeOptionsChangedNotification>(other);
    if (!newer || newer->GetSource() != GetSource())
        return {};
    return DataMergeNotification::Merge(std::move(other));
}

Kernel::Counted<Kernel::Notification>
InvalidateDocumentAllNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    if (!Kernel::Cast<InvalidateDocumentAllNotification>(other))
        return {};
    return InvalidateDocumentNotification::Merge(std::move(other));
}

ExportArticlesChangedNotification::ExportArticlesChangedNotification(
    Kernel::Counted<DocumentController const> const& controller, bool isRenaming)
    : ExportArticlesChangedNotification(controller, isRenaming, {}) {}

ExportArticlesChangedNotification::ExportArticlesChangedNotification(
    Kernel::Counted<DocumentController const> const& controller, bool isRenaming,
    Kernel::Counted<ExportArticleCollector> collector)
    : DocumentNotification(controller, false), m_isRenaming(isRenaming), m_collector(std::move(collector)) {}

ExportArticlesChangedNotification::~ExportArticlesChangedNotification() = default;
