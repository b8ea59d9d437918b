// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/notification.h"
#include "platform/records/table.h"

class DocumentController;
class DataMergeSource;

// The warnings of a merge source's last update: those of reading its data and those of its filters. Immutable once it
// is shared.
class REDRAFT_ENGINE DataMergeWarningSink final : public virtual Kernel::Countable {
public:
    DataMergeWarningSink() = default;
    DataMergeWarningSink(Kernel::String sourceName, std::vector<Records::Warning> warnings,
                         std::uint64_t furtherWarnings)
        : m_sourceName(std::move(sourceName)), m_warnings(std::move(warnings)), m_further(furtherWarnings) {}
    std::vector<Records::Warning> const& GetWarnings() const { return m_warnings; }
    // Beyond those.
    std::uint64_t GetFurtherWarnings() const { return m_further; }
    bool IsEmpty() const { return m_warnings.empty() && m_further == 0; }
    // Appends a DataMergeWarningsNotification; nothing where there are no warnings.
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications,
                Kernel::Counted<DocumentController const> controller) const;

private:
    Kernel::String m_sourceName;
    std::vector<Records::Warning> m_warnings;
    std::uint64_t m_further = 0;
};
