// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <unordered_set>

// How many bytes an object adds to a document file: its record, those of the objects that it alone brings along, and
// the large values that are not in `known` yet, which it enters there. Nodes that stand in the tree are not counted.
std::size_t MeasureStoredSize(Kernel::Serialisable const& object, std::unordered_set<Kernel::BlobKey>& known);
