// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"
#include "platform/story/style_sheet.h"

class DocumentController;

// Words that the program puts around a document's texts, such as the titles of lists in an e-book, in the language of
// the text rather than in the user's.
class REDRAFT_ENGINE LocalisableStringManager {
public:
    // The words of a key: those that the document's user has set for the language, or for all, else the program's own,
    // which do not tell countries of one language apart. Empty where there are none. `document` may be null.
    static void LookupString(Kernel::Counted<DocumentController const> const& document,
                             Kernel::Counted<Story::Language const> const& language, Kernel::String const& key,
                             Story::GlyphString& words);
};
