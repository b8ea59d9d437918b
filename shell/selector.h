// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// The texts between commas; a backslash takes the next character literally.
std::vector<std::string> SplitTerms(std::string_view text);

// The nodes that a selector names: comma-separated terms `#ID`, `type:GroupNode`, `name:TEXT`, `all` (the children of
// the current spread), `none`; a backslash takes a comma in a TEXT literally. In the order of the terms, those of one
// term in tree order, each node once. Throws ValueError for a text that is no selector and for a class that there is
// not, NoMatch for an id that the document does not have and where no node is found.
std::vector<Kernel::Counted<Node>> FindNodes(DocumentController& document, std::string_view selector);
// The same, and parts of texts: `#ID[from:to]`, characters from 0, both may be missing; `#ID[/regex/]`, each match of a
// regular expression in one of the text's paragraphs. A text of which several parts are named is one item with all of
// them; one that is named as a whole, too, is selected as a whole.
Kernel::Counted<Selection const> MakeSelection(DocumentController& document, std::string_view selector);

// The one symbol that `#ID` or `name:TEXT` names. Throws ValueError where there is none or more than one.
Kernel::Counted<Node> FindSymbol(DocumentController& document, std::string_view selector);

// A spread by its number, from 0. Throws ValueError.
Kernel::Counted<SpreadNode> FindSpread(DocumentController& document, std::string_view number);

} // namespace Shell
