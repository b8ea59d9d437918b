// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/serialisable.h"

#include "platform/kernel/exception.h"

namespace Kernel {

Serialisable::~Serialisable() = default;

void Serialisable::MarkChangedInGraph() const { m_graphState = GraphState::Changed; }

void Serialisable::AccumulateHash(HashAccumulator&) const { throw Exception("hashing is not linked in"); }

bool Serialisable::CompareMembers(Serialisable const&, CompareContext const&) const {
    throw Exception("comparing is not linked in");
}

} // namespace Kernel
