// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/story/story_to_rtf.h"

#include <cstddef>
#include <span>

namespace Commands {

// That of a text's first letter.
Kernel::Counted<Story::Language const> FindLanguage(TextNode const& text, DocumentController const& document);

inline constexpr double c_unitsPerInch = 96, c_pointsPerInch = 72;

// A text with its fields and its size, for RTF.
Story::RtfPart MakeRtfPart(TextNode const& text);

// A text in UTF-8, with numbers and notes.
Kernel::String MakePlainText(TextNode const& text);

enum class WrittenFile { Whole, NotOpened, Failed };
// A file of that name is written over. After a failure it may hold a part.
WrittenFile WriteFile(Kernel::String const& path, std::span<std::byte const> bytes);

} // namespace Commands
