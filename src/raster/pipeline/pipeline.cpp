// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/pipeline.h"

#include "platform/kernel/exception.h"

namespace Commands {

Kernel::RectT<int> IntersectTouching(Kernel::RectT<int> const& a, Kernel::RectT<int> const& b) {
    if (a.left > b.right || b.left > a.right || a.top > b.bottom || b.top > a.bottom)
        return {};
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

Kernel::RectT<int> GetEffectRegion(DocumentController const& document, ConstRasterInterface const& layer) {
    auto const bounds = layer.GetRasterBoundingBox();
    auto const selection = document.GetRasterSelection();
    if (selection->IsSelectNone())
        return bounds;
    return IntersectTouching(bounds,
                             SnapTransformedBox(selection->GetSelectedSpreadBox(), layer.GetDomainToRasterTransform()));
}

std::optional<MaskRecord> MakeSelectionMask(DocumentController const& document, ConstRasterInterface const& layer) {
    auto const selection = document.GetRasterSelection();
    auto const bitmap = layer.GetBitmap();
    if (selection->IsSelectAllOrNone() || !bitmap || bitmap->IsEmpty())
        return std::nullopt;
    auto const mask = selection->GetBitmap();
    auto const wanted = bitmap->GetBase()->GetInfo().maskFormat;
    try {
        mask->ForceDelayLoad(nullptr);
    } catch (Kernel::DamagedDataException const& damage) {
        throw Kernel::Exception(Kernel::String(std::string("the mask of selected pixels ") + damage.what()));
    }
    MaskRecord record;
    record.transform = selection->GetTransform(true, false).GetInverse() * layer.GetRasterToDomainTransform();
    if (mask->GetFormat() == wanted)
        record.bitmap = mask->GetBase().ToCounted();
    else
        record.bitmap = Raster::ConvertBitmap(*mask->GetBase(),
                                              *Raster::PixelConverter::MakePlain(mask->GetFormat(), wanted), nullptr);
    return record;
}

} // namespace Commands
