// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"

#include <cstddef>
#include <span>

namespace Commands {

// That of a text's first letter.
Kernel::Counted<Story::Language const> FindLanguage(TextNode const& text, DocumentController const& document);

// A text in UTF-8, with numbers and notes.
Kernel::String MakePlainText(TextNode const& text);

enum class WrittenFile { Whole, NotOpened, Failed };
// A file of that name is written over. After a failure it may hold a part.
WrittenFile WriteFile(Kernel::String const& path, std::span<std::byte const> bytes);

} // namespace Commands
