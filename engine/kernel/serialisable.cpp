// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/serialisable.h"

#include "engine/kernel/graph_access.h"
#include "engine/kernel/graph_registry.h"
#include "engine/kernel/preserved_fields.h"

namespace Kernel {

Serialisable::~Serialisable() {
    if ((Detail::GraphAccess::Load(*this) & Detail::GraphAccess::c_preserved) != 0) [[unlikely]]
        Detail::DropPreservedFields(*this);
}

void Serialisable::MarkChangedInGraph() const { Detail::GraphRegistry::MarkChanged(*this); }

} // namespace Kernel
