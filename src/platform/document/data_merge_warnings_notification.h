// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_warning_sink.h"
#include "platform/document/document_notification.h"

// An update of a merge source had warnings.
class REDRAFT_ENGINE DataMergeWarningsNotification final : public DocumentNotification {
public:
    DataMergeWarningsNotification(Kernel::Counted<DocumentController const> const& controller,
                                  Kernel::Counted<DataMergeWarningSink const> warnings, Kernel::String sourceName)
        : DocumentNotification(controller, false),
          m_warnings(std::move(warnings)),
          m_sourceName(std::move(sourceName)) {}
    ~DataMergeWarningsNotification() override;
    Kernel::Counted<DataMergeWarningSink const> const& GetWarnings() const { return m_warnings; }
    Kernel::String const& GetSourceName() const { return m_sourceName; }

private:
    Kernel::Counted<DataMergeWarningSink const> m_warnings;
    Kernel::String m_sourceName;
};
