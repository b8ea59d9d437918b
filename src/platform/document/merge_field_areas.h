// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/changed_areas.h"
#include "platform/document/text_commands.h"
#include "platform/kernel/notification.h"

class DataMergeSource;

// Where the fields of a merge source show: what a command that changes the records they show has to have painted again.
class REDRAFT_ENGINE MergeFieldAreas {
public:
    // For a change that comes before the one of Around: texts are looked at now.
    void Begin(DocumentNode& document, DataMergeSource const& source);
    // Runs a change, and keeps where the fields show before it and after it.
    template <class Change>
    void Around(DocumentNode& document, DataMergeSource const& source, Change const& change) {
        if (!m_hasBegun)
            Begin(document, source);
        m_hasBegun = false;
        FindPictures(document, source);
        m_pictureAreas.Around(m_pictures, [&] { m_textAreas.Around(change); });
    }
    // Appends notifications for what is to be painted again; none where no field shows.
    void Notify(Kernel::NotificationList& notifications, Kernel::Counted<DocumentController> const& controller,
                bool isPreview) const;

private:
    void FindPictures(DocumentNode& document, DataMergeSource const& source);

    ChangedTextAreas m_textAreas;
    ChangedAreas m_pictureAreas;
    Kernel::Counted<Selection const> m_texts, m_pictures;
    bool m_hasBegun = false;
};
