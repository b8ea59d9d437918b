// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/session.h"

#include "platform/document/data_merge_warning_sink.h"

namespace Shell {

// The part of `info` on the merge sources of a document; nothing where it has none.
void WriteMergeSources(JsonWriter& json, DocumentController& document);
void PrintMergeSources(Session& session, DocumentController& document);

void TellMergeWarnings(std::string const& subject, std::vector<Records::Warning> const& warnings,
                       std::uint64_t furtherWarnings);

// Tells, at the end of its life, the warnings of sources that were updated meanwhile.
class UpdateWarnings {
public:
    explicit UpdateWarnings(DocumentController& document);
    UpdateWarnings(UpdateWarnings const&) = delete;
    UpdateWarnings& operator=(UpdateWarnings const&) = delete;
    ~UpdateWarnings();

private:
    DocumentController& m_document;
    std::vector<Kernel::Counted<DataMergeWarningSink const>> m_known;
};

} // namespace Shell
