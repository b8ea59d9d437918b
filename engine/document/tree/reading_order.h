// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/export_article.h"

#include <cstdint>
#include <mutex>

// The reading order as a document's map of articles and the tags of its nodes give it.
namespace ReadingOrder {

using Entries = std::vector<Kernel::Counted<ExportArticleCollector>>;

// See DocumentController::GetExportArticles.
Entries Make(DocumentNode const& document);

// A number that grows when nodes come or go, and when texts take frames in or let them go.
std::uint64_t GetVersion() noexcept;
void NoteFlowChange() noexcept;

} // namespace ReadingOrder

// The order as a controller has it. It may be asked for on any thread that holds the document for reading.
struct DocumentController::ReadingOrderCache {
    std::mutex mutex;
    ReadingOrder::Entries entries;
    std::uint64_t version = 0;
    bool isCurrent = false;
};
