// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/export_article.h"

#include <string_view>
#include <vector>

namespace Shell {

// The number of the article that `article:NUMBER` names. Throws ValueError where there is none.
int FindArticleNumber(DocumentController& document, std::string_view text);

// The entry of the reading order that `article:NUMBER` names, or `#ID`, where the entry is a single object, or the
// object is a member of an article or in no entry yet. All frames of a text name the text. Throws ValueError for other
// texts, for objects that can have no place in the order, and where there is no such article or object.
Kernel::Counted<ExportArticleCollector> FindArticleEntry(DocumentController& document, std::string_view text);
// Several with commas between, each once.
std::vector<Kernel::Counted<ExportArticleCollector>> FindArticleEntries(DocumentController& document,
                                                                        std::string_view text);

} // namespace Shell
