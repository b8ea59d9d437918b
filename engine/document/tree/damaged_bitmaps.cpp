// SPDX-License-Identifier: Apache-2.0
#include "platform/document/damaged_bitmaps.h"

#include "platform/document/generative_interface.h"
#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/recorded_drawing.h"

#include <set>

namespace {

using Bitmap = Kernel::Counted<Raster::DynamicBitmap const>;

// Drawings of patterns that have been looked through.
using SeenDrawings = std::set<Renderer::RecordedDrawing const*>;
// As deep as patterns within patterns are drawn.
constexpr int c_maximumDepth = 8;

void AddFill(Renderer::FillDescriptorConst const* descriptor, std::vector<Bitmap>& bitmaps, SeenDrawings& seen,
             int depth = 0) {
    if (descriptor == nullptr || !descriptor->GetFill())
        return;
    if (auto const* const fill = dynamic_cast<Renderer::BitmapFill const*>(descriptor->GetFill().get()))
        bitmaps.push_back(fill->GetBitmap());
    auto const* const pattern = dynamic_cast<Renderer::PatternFill const*>(descriptor->GetFill().get());
    if (pattern == nullptr || !pattern->GetDrawing() || depth == c_maximumDepth ||
        !seen.insert(pattern->GetDrawing().get()).second)
        return;
    for (auto const& step : pattern->GetDrawing()->GetSteps())
        for (auto const* fill : {step.fill.get(), step.secondFill.get(), step.lineFill.get()})
            AddFill(fill, bitmaps, seen, depth + 1);
}

std::vector<Bitmap> GetBitmaps(Node& node) {
    std::vector<Bitmap> bitmaps;
    if (auto const* const raster = Kernel::CastPointer<ConstRasterInterface>(&node))
        bitmaps.push_back(raster->GetBitmap());
    if (auto const* const image = Kernel::CastPointer<ImageResourceInterface>(&node))
        bitmaps.push_back(image->GetImage());
    if (auto const* const generative = Kernel::CastPointer<GenerativeInterface>(&node)) {
        bitmaps.push_back(generative->GetGenerationMask());
        for (auto const& generation : generative->GetGenerations())
            bitmaps.push_back(generation.GetImage());
    }
    if (auto const* const curves = Kernel::CastPointer<CurvesNode>(&node)) {
        SeenDrawings seen;
        AddFill(curves->GetBrushFillDescriptor(true).get(), bitmaps, seen);
        AddFill(curves->GetPenFillDescriptor().get(), bitmaps, seen);
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
