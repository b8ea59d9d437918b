// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/child_copies.h"

namespace Commands {

std::vector<ChildCopy> CopyChildren(Node const& from,
                                    std::function<bool(NodeChildListType, Node const&)> const& isWanted) {
    std::vector<ChildCopy> copies;
    CloneContext context(CloneType::Copy);
    for (int i = 0; i != c_childListCount; ++i) {
        auto const list = static_cast<NodeChildListType>(i);
        for (Node const* child = from.GetFirstChild(list); child != nullptr; child = child->GetNextSibling()) {
            if (!isWanted || isWanted(list, *child))
                copies.push_back({list, child->Clone(context)});
        }
    }
    return copies;
}

} // namespace Commands
