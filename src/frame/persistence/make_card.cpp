// SPDX-License-Identifier: Apache-2.0
#include "frame/persistence/make_card.h"

#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"

#include <algorithm>

namespace CardMaking {

bool HasLayers(Kernel::Counted<Selection const> selection) {
    auto const nodes = selection->GetNodes();
    return std::any_of(nodes.begin(), nodes.end(), [](Kernel::Counted<Node> const& node) {
        return Kernel::CastPointer<MutableRasterInterface>(node.get()) != nullptr;
    });
}

} // namespace CardMaking
