// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/export_article.h"

#include <vector>

namespace Commands {

// The number of an article of the reading order, as programs outside the library name it: as "article:2".
struct ArticleNumber {
    int number = -1;
    operator int() const { return number; }
};

// An entry of the reading order: an article, or an object by its node.
struct ArticleEntry {
    Kernel::Counted<ExportArticleCollector> collector;
    operator Kernel::Counted<ExportArticleCollector>() const { return collector; }
};

// Several of them.
struct ArticleEntries {
    std::vector<Kernel::Counted<ExportArticleCollector>> collectors;
    operator std::vector<Kernel::Counted<ExportArticleCollector>>() const { return collectors; }
};

// The entry that others go behind, by its number; -1: none, they come first.
struct ArticlePlace {
    // Stands for none.
    struct Start {};

    ArticlePlace() = default;
    ArticlePlace(Start) {}
    explicit ArticlePlace(int entry) : number(entry) {}

    int number = -1;
    operator int() const { return number; }
};

} // namespace Commands
