// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/story/cross_reference.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

// The things that texts of the scenes below refer to.
inline constexpr char c_titleField[] = "field-title", c_authorField[] = "field-author";

// The document has the fields of a title and of an author. A chain of two frames shows the title three times, in a
// text that is longer than its first frame, and the author once; a frame shows the title; another one shows no field.
struct FieldTexts {
    Kernel::Counted<FrameTextNode> head, second, other, plain;
};
FieldTexts TextsWithFields(DocumentController& controller);

// A chain of three frames with an anchor in its last paragraph, and references to it, of two styles, in the first; the
// second frame is selected. Another text has an anchor, too.
struct ReferenceTexts {
    Kernel::Counted<FrameTextNode> head, second, third, other;
    Kernel::Counted<Story::AnchorData> anchor, otherAnchor;
};
ReferenceTexts TextsWithReferences(DocumentController& controller);
Kernel::Counted<Story::CrossReferenceAtt const> MakeReferenceStyle(char const* name, char const* pattern);
// The references of a story, in its order.
std::vector<Kernel::Counted<Story::CrossReferenceGlyph const>> ReferencesIn(Story::Story const& story);

// A frame whose first and last paragraphs were taken from files, another one between them was not. The whole frame is
// selected.
Kernel::Counted<FrameTextNode> LinkedText(DocumentController& controller);

// A turned rectangle, an ellipse and a group; they are selected. The document has the paragraph style "Caption", whose
// letters are large.
std::vector<Kernel::Counted<Node>> ObjectsToCaption(DocumentController& controller);

} // namespace ExampleDocuments
