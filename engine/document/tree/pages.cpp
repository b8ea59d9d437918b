// SPDX-License-Identifier: Apache-2.0
// Pages by their numbers, counted through all spreads.
#include "platform/document/page_numbers.h"

#include "platform/kernel/cast.h"

#include <algorithm>
#include <limits>

namespace {

// Squared; 0 inside.
double GetDistance(Kernel::PointT<double> const& point, Kernel::RectT<double> const& area) {
    auto const x = std::max({area.left - point.x, point.x - area.right, 0.0});
    auto const y = std::max({area.top - point.y, point.y - area.bottom, 0.0});
    return x * x + y * y;
}

} // namespace

int SpreadNode::GetPageIndexOfBox(Kernel::RectT<double> const& box) const {
    Kernel::PointT<double> const middle{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
    int nearest = 0;
    auto least = std::numeric_limits<double>::infinity();
    int index = 0;
    for (Node const* page = GetFirstChild(NodeChildListType::Pages); page != nullptr;
         page = page->GetNextSibling(), ++index) {
        auto const* const area = Kernel::CastPointer<BaseBoxInterface const>(page);
        if (area == nullptr)
            continue;
        // Pages side by side share an edge, which belongs to the first one.
        if (auto const distance = GetDistance(middle, area->GetBaseBox(false)); distance < least) {
            least = distance;
            nearest = index;
        }
    }
    return nearest;
}

int SpreadNode::GetFirstPageIndex() const {
    if (GetDocumentNode() == nullptr)
        return 0;
    std::size_t count = 0;
    for (Node const* before = GetPreviousSibling(); before != nullptr; before = before->GetPreviousSibling()) {
        if (Kernel::CastPointer<SpreadNode const>(before) != nullptr)
            count += before->CountChildren(NodeChildListType::Pages);
    }
    return static_cast<int>(count);
}

int DocumentNode::GetPageCount() const { return static_cast<int>(PageNumbers(*this).GetPageCount()); }

Kernel::String DocumentNode::GetFormattedPageNumber(unsigned pageIndex) const {
    return PageNumbers::GetLabel(std::size_t{pageIndex} + 1);
}
