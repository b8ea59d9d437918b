// SPDX-License-Identifier: Apache-2.0
#include "generative/generated_object.h"

#include "platform/document/common_property_collections.h"
#include "platform/document/generations_property.h"
#include "platform/document/node_spaces.h"

#include <cmath>

namespace Commands {

namespace {

using Params = Raster::AffineTransform::Params;
using Box = Kernel::RectT<double>;

double GetMiddle(double low, double high) { return (low + high) / 2; }

// The size of a box of the same aspect that is as large as the spread allows. Required: the order of the tests, where
// sides are 0 or no numbers.
Kernel::SizeT<double> GetFittedSize(Box const& box, Box const& spread) {
    Kernel::SizeT<double> target{spread.GetWidth(), spread.GetHeight()};
    if (box.GetHeight() == 0) {
        target.height = 0;
        return target;
    }
    constexpr double c_tolerance = 1e-6;
    double const aspect = box.GetWidth() / box.GetHeight();
    if (std::abs(aspect) <= c_tolerance) {
        target.width = 0;
    } else if (spread.GetHeight() == 0) {
        target.height = spread.GetWidth() / aspect;
    } else {
        double const ofSpread = spread.GetWidth() / spread.GetHeight();
        if (aspect > ofSpread)
            target.height = spread.GetWidth() / aspect;
        else if (ofSpread > aspect)
            target.width = aspect * spread.GetHeight();
    }
    return target;
}

} // namespace

void RememberGenerated(Kernel::Counted<DocumentController> const& document, Node const& object, Raster::Format format,
                       Raster::ICCManager::ICCProfileSet const& profiles) {
    auto const session =
        CommonPropertyCollections::MakeMutableSession(document, CommonPropertyCollections::tagCollectionGenerationsUID,
                                                      CommonPropertyCollections::pDefaultSerialisationStrategy);
    if (!session)
        return;
    auto const& collection = session.GetPropertyCollection();
    CloneContext context(CloneType::Copy);
    collection->AddLeaf(
        collection->GetRootNode(), Kernel::String(),
        Kernel::MakeCounted<GenerationsProperty>(Kernel::Counted<Node const>(object.Clone(context)), format, profiles));
}

Params GetCentring(Box const& box, Box const& spread) {
    return {1, 0, GetMiddle(spread.left, spread.right) - GetMiddle(box.left, box.right),
            0, 1, GetMiddle(spread.top, spread.bottom) - GetMiddle(box.top, box.bottom)};
}

Params GetFitting(Box const& box, Box const& spread) {
    if (!(box.GetWidth() > spread.GetWidth()) && !(box.GetHeight() > spread.GetHeight()))
        return GetCentring(box, spread);
    auto const size = GetFittedSize(box, spread);
    double const x = GetMiddle(spread.left, spread.right), y = GetMiddle(spread.top, spread.bottom);
    Box const target{x - size.width / 2, y - size.height / 2, x + size.width / 2, y + size.height / 2};
    bool const hasNoWay = (box.GetWidth() == 0 && size.width != 0) || (box.GetHeight() == 0 && size.height != 0);
    if (box == c_unsetBox || target == c_unsetBox || hasNoWay)
        return {};
    double const scaleX = box.GetWidth() == 0 ? 1 : size.width / box.GetWidth();
    double const scaleY = box.GetHeight() == 0 ? 1 : size.height / box.GetHeight();
    return {scaleX, 0, target.left - scaleX * box.left, 0, scaleY, target.top - scaleY * box.top};
}

} // namespace Commands
