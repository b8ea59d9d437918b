// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/kernel/property_collection.h"

// The collections of properties that documents have beside their tree. They are saved with the document and count in
// its hash. Undo takes nothing out of them again.
namespace CommonPropertyCollections {

// Everything that was generated for the document: leaves of GenerationsProperty below the root.
inline constexpr Kernel::IDTag tagCollectionGenerationsUID{"GNRT"};

// Stores all properties.
REDRAFT_ENGINE extern Kernel::PropertySerialisationStrategy const* const pDefaultSerialisationStrategy;

// The document's collection of a name, made where it has none; a new one is stored by the strategy. The session is
// empty without a document. Called with the document's writer lock.
REDRAFT_ENGINE Kernel::MutablePropertyCollectionSession
MakeMutableSession(Kernel::Counted<DocumentController> const& document, Kernel::IDTag uid,
                   Kernel::PropertySerialisationStrategy const* strategy = pDefaultSerialisationStrategy);
// The same to be read; null where the document has none.
REDRAFT_ENGINE Kernel::Counted<Kernel::PropertyCollectionBase const> Find(DocumentController const& document,
                                                                          Kernel::IDTag uid);

} // namespace CommonPropertyCollections
