// SPDX-License-Identifier: Apache-2.0
#include "platform/document/damaged_bitmaps.h"

#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

namespace {

using Bitmap = Kernel::Counted<Raster::DynamicBitmap const>;

void AddFill(Renderer::FillDescriptorConst const* descriptor, std::vector<Bitmap>& bitmaps) {
    if (descriptor == nullptr || !descriptor->GetFill())
        return;
    if (auto const* const fill = dynamic_cast<Renderer::BitmapFill const*>(descriptor->GetFill().get()))
        bitmaps.push_back(fill->GetBitmap());
}

std::vector<Bitmap> GetBitmaps(Node& node) {
    std::vector<Bitmap> bitmaps;
    if (auto const* const raster = Kernel::CastPointer<ConstRasterInterface>(&node))
        bitmaps.push_back(raster->GetBitmap());
    if (auto const* const image = Kernel::CastPointer<ImageResourceInterface>(&node))
        bitmaps.push_back(image->GetImage());
    if (auto const* const curves = Kernel::CastPointer<CurvesNode>(&node)) {
        AddFill(curves->GetBrushFillDescriptor(true).get(), bitmaps);
        AddFill(curves->GetPenFillDescriptor().get(), bitmaps);
    }
    return bitmaps;
}

} // namespace

std::vector<DamagedNode> FindDamagedBitmaps(Node const& top, bool const* abort) {
    std::vector<DamagedNode> found;
    ForEachNode(const_cast<Node&>(top), [&](Node& node) {
        for (auto const& bitmap : GetBitmaps(node)) {
            if (!bitmap || bitmap->IsEmpty() || (abort != nullptr && *static_cast<bool const volatile*>(abort)))
                continue;
            try {
                bitmap->ForceDelayLoad(const_cast<bool*>(abort));
                bitmap->GetProfile();
            } catch (Kernel::DamagedDataException const& damage) {
                found.push_back({Kernel::Counted<Node const>(&node), damage.GetMessage()});
                return;
            }
        }
    });
    return found;
}

Kernel::String GetLayerName(Node const& node) {
    return Kernel::String("layer " + node.GetDescription(true).ToStdString());
}
