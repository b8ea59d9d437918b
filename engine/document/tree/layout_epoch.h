// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// A number that grows with every change outside of a text that may let it lie otherwise: what was found out about the
// frames of a text holds as long as the number stays. One for all documents, because a node outside of a tree does not
// know which document it may come to stand in.
namespace LayoutEpoch {

std::uint64_t Get() noexcept;
// After every change of a tree's structure, and of a document's pages and styles.
void Advance() noexcept;
// After every other change of a node. Counts only once places matter to some text.
void AdvanceForPlaces() noexcept;
// To be called when the places of objects begin to matter: some text runs around shapes, or shows the number of the
// page among several on its spread.
void LetPlacesMatter() noexcept;

} // namespace LayoutEpoch
