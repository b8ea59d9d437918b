// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/shown_pages.h"

#include "platform/document/document_controller.h"
#include "platform/story/cross_reference.h"
#include "platform/story/story_index.h"

#include <string>
#include <vector>

// The objects in a document's texts that commands can be told by name.
namespace Shell {

// Where an object stands.
struct TextPlace {
    Kernel::Counted<TextNode> node;
    std::uint32_t index = 0;
    // As --select takes it.
    std::string GetSelector() const;
};

struct PlacedAnchor {
    Kernel::Counted<Story::AnchorData> anchor;
    TextPlace place;
};

// In the order of the texts.
std::vector<PlacedAnchor> FindAnchors(DocumentController& document);
// The one anchor of this id or name. Throws ValueError where there is none or more than one.
Kernel::Counted<Story::AnchorData> FindAnchor(DocumentController& document, std::string_view name);
// The GUID of the one custom field that has this GUID or name. Throws ValueError where there is none or more than one.
Kernel::String FindField(DocumentController& document, std::string_view name);
// The one topic of the index that has this GUID, this full name, such as "Animals/Whales", or this name. Throws
// ValueError where there is none or more than one.
Kernel::Counted<Story::IndexTopic const> FindTopic(DocumentController& document, std::string_view name);
// The topic of this GUID or full name; null where there is none.
Kernel::Counted<Story::IndexTopic const> FindKnownTopic(DocumentController& document, std::string_view name);
// An id that no anchor of the document's texts has.
Kernel::String MakeAnchorId(DocumentController& document);

} // namespace Shell
