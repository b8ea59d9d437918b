// SPDX-License-Identifier: Apache-2.0
#include "platform/document/update_transformed_raster_nodes_visitor.h"

#include "platform/document/damaged_bitmaps.h"
#include "platform/kernel/exception.h"

#include <cmath>

namespace {

bool IsAllFinite(float const* samples, std::size_t count) {
    return std::all_of(samples, samples + count, [](float v) { return std::isfinite(v); });
}

// Tiles of the plane that hold anything but finite numbers are given zeros in their place. True when there were some.
bool MakeFinite(Raster::RegionBase const& plane, Raster::RegionBase* target) {
    bool found = false;
    Raster::RegionBase const snapshot(plane);
    snapshot.ForEachTile([&](Raster::Tile const& tile, int tileX, int tileY) {
        int const left = tileX * Raster::c_tileSide, top = tileY * Raster::c_tileSide;
        Kernel::RectT<int> const part{left, top, left + snapshot.GetTileWidth(tileX),
                                      top + snapshot.GetTileHeight(tileY)};
        if (IsAllFinite(static_cast<float const*>(tile.GetConstBuffer()), Raster::c_tileSamples))
            return;
        found = true;
        if (target == nullptr)
            return;
        auto const width = static_cast<std::size_t>(part.GetWidth());
        std::vector<float> samples(width * static_cast<std::size_t>(part.GetHeight()));
        snapshot.ReadSamples(part, samples.data(), width * sizeof(float));
        for (float& v : samples)
            v = std::isfinite(v) ? v : 0;
        target->WriteSamples(part, samples.data(), width * sizeof(float));
    });
    return found;
}

void MakeFinite(RasterNode& layer) {
    auto const bitmap = layer.GetBitmap();
    if (!bitmap->GetBase()->GetInfo().isFloat)
        return;
    bool found = false;
    for (int c = 0; c != bitmap->GetBase()->GetInfo().channelCount; ++c)
        found = MakeFinite(bitmap->GetBase()->GetPlane(c), nullptr) || found;
    if (!found)
        return;
    auto const own = layer.GetMutableBitmap();
    for (int c = 0; c != bitmap->GetBase()->GetInfo().channelCount; ++c)
        MakeFinite(bitmap->GetBase()->GetPlane(c), &own->GetMutableBase().GetPlane(c));
    own->GetMutableBase().FinishChange(own->GetBounds());
}

// The number of halvings that a transform leaves room for.
int FindLevel(Raster::AffineTransform::Params const& t, int levels) {
    double scale = std::max(std::hypot(t.a, t.c), std::hypot(t.b, t.d));
    int level = 0;
    for (; scale > 0 && scale <= 0.5 && level < levels; scale *= 2)
        ++level;
    return level;
}

} // namespace

UpdateTransformedRasterNodesVisitor::UpdateTransformedRasterNodesVisitor(Kernel::Counted<DocumentController> const&) {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<UpdateTransformedRasterNodesVisitor, RasterNode>>());
}

UpdateTransformedRasterNodesVisitor::~UpdateTransformedRasterNodesVisitor() = default;

void UpdateTransformedRasterNodesVisitor::Receive(Kernel::NonCounted<RasterNode> layer) {
    auto const bitmap = layer->GetBitmap();
    if (!bitmap || bitmap->IsEmpty())
        return;
    try {
        bitmap->ForceDelayLoad(nullptr);
    } catch (Kernel::DamagedDataException const& damage) {
        throw Kernel::DamagedDataException(GetLayerName(*layer).ToStdString() + ": " + damage.what());
    }
    MakeFinite(*layer);
    auto const present = layer->GetBitmap();
    if (int const level = FindLevel(layer->GetRasterToDomainTransform(), present->GetBase()->GetMipmapLevels());
        level != 0)
        present->UpdateMipmaps(level, nullptr);
}
