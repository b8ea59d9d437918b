// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/order_of_return.h"

#include <algorithm>
#include <unordered_map>

namespace Commands {

std::vector<std::size_t> FindOrderOfReturn(std::vector<Kernel::Counted<Node>> const& nodes,
                                           std::vector<Kernel::Counted<Node>> const& parents,
                                           std::vector<Kernel::Counted<Node>> const& previousSiblings) {
    std::size_t const count = std::min({nodes.size(), parents.size(), previousSiblings.size()});
    std::unordered_map<Node const*, std::size_t> waiting;
    for (std::size_t i = 0; i != count; ++i) {
        if (nodes[i] && parents[i])
            waiting.emplace(nodes[i].get(), i);
    }
    std::vector<std::size_t> order;
    order.reserve(waiting.size());
    for (std::size_t i = 0; i != count; ++i) {
        auto const chain = static_cast<std::ptrdiff_t>(order.size());
        for (auto next = waiting.find(nodes[i].get()); next != waiting.end();) {
            order.push_back(next->second);
            waiting.erase(next);
            next = waiting.find(previousSiblings[order.back()].get());
        }
        std::reverse(order.begin() + chain, order.end());
    }
    return order;
}

} // namespace Commands
