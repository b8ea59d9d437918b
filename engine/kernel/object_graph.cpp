// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/object_graph.h"

namespace Kernel {

ChunkStorage::~ChunkStorage() = default;

} // namespace Kernel
