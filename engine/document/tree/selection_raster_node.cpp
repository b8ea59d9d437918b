// SPDX-License-Identifier: Apache-2.0
#include "platform/document/selection_raster_node.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <cmath>

namespace {

// Sides of a box beyond every spread that still leaves room for sums of two.
constexpr int c_far = 1 << 30;

int ToInt(double v) {
    if (std::isnan(v))
        return 0;
    return static_cast<int>(std::clamp(v, -double(c_far), double(c_far)));
}

double Snap(double v, bool up) {
    double const nearest = std::nearbyint(v);
    if (std::abs(v - nearest) <= 1e-6)
        return nearest;
    return up ? std::ceil(v) : std::floor(v);
}

// Around the samples above 0 of the part of a tile that lies inside the plane, in its own pixels.
template <class Sample>
Kernel::RectT<int> FindBox(Raster::Tile const& tile, int width, int height) {
    auto const* const samples = static_cast<Sample const*>(tile.GetConstBuffer());
    Kernel::RectT<int> box;
    for (int y = 0; y != height; ++y) {
        auto const* const row = samples + static_cast<std::ptrdiff_t>(y) * Raster::c_tileSide;
        auto const selected = [](Sample sample) { return sample > 0; };
        auto const* const first = std::find_if(row, row + width, selected);
        if (first == row + width)
            continue;
        int last = width - 1;
        while (!selected(row[last]))
            --last;
        box = box.United({static_cast<int>(first - row), y, last + 1, y + 1});
    }
    return box;
}

Kernel::RectT<int> FindBox(Raster::BitmapBase const& mask) {
    Raster::RegionBase const plane(mask.GetPlane(0));
    Kernel::RectT<int> box;
    plane.ForEachTile([&](Raster::Tile const& tile, int tileX, int tileY) {
        int const width = plane.GetTileWidth(tileX), height = plane.GetTileHeight(tileY);
        Kernel::RectT<int> part;
        if (auto const constant = tile.GetConstant())
            part = *constant == 0 ? part : Kernel::RectT<int>{0, 0, width, height};
        else if (plane.GetSampleBytes() == 1)
            part = FindBox<std::uint8_t>(tile, width, height);
        else if (plane.GetSampleBytes() == 2)
            part = FindBox<std::uint16_t>(tile, width, height);
        else
            part = FindBox<float>(tile, width, height);
        int const x = tileX * Raster::c_tileSide, y = tileY * Raster::c_tileSide;
        if (!part.IsEmpty())
            box = box.United({part.left + x, part.top + y, part.right + x, part.bottom + y});
    });
    return box;
}

bool IsMaskFormat(Raster::Format format) {
    auto const info = Raster::GetFormatInfo(format);
    return info.channelCount == 1;
}

} // namespace

Kernel::RectT<int> SnapTransformedBox(Kernel::RectT<int> const& box, Raster::AffineTransform::Params const& transform) {
    if (box == c_noBox)
        return box;
    auto const corner = [&](int x, int y) { return transform.Apply(Kernel::PointT<double>{double(x), double(y)}); };
    Kernel::PointT<double> const corners[] = {corner(box.left, box.top), corner(box.right, box.top),
                                              corner(box.left, box.bottom), corner(box.right, box.bottom)};
    Kernel::RectT<double> extent{corners[0].x, corners[0].y, corners[0].x, corners[0].y};
    for (auto const& p : corners)
        extent = {std::min(extent.left, p.x), std::min(extent.top, p.y), std::max(extent.right, p.x),
                  std::max(extent.bottom, p.y)};
    return {ToInt(Snap(extent.left, false)), ToInt(Snap(extent.top, false)), ToInt(Snap(extent.right, true)),
            ToInt(Snap(extent.bottom, true))};
}

Kernel::Counted<SelectionRasterNode> SelectionRasterNode::CreateAll() {
    auto node = Kernel::MakeCounted<SelectionRasterNode>();
    node->m_extent = Extent::All;
    return node;
}

Kernel::Counted<SelectionRasterNode> SelectionRasterNode::CreateMask(Kernel::Counted<Raster::DynamicBitmap const> mask,
                                                                     Raster::AffineTransform::Params const& toSpread) {
    if (!mask || !IsMaskFormat(mask->GetFormat()))
        throw Kernel::Exception("a mask of selected pixels has an alpha channel and no other");
    auto node = Kernel::MakeCounted<SelectionRasterNode>();
    node->m_extent = Extent::Mask;
    node->m_maskBox = FindBox(*mask->GetBase());
    node->EditState<RasterState>([&](auto& state) { state.bitmap = mask; });
    node->SetTransform(toSpread, false);
    return node;
}

Kernel::RectT<int> SelectionRasterNode::GetSelectedSpreadBox() const {
    if (m_extent == Extent::All)
        return {-c_far, -c_far, c_far, c_far};
    if (m_extent == Extent::None || m_maskBox.IsEmpty())
        return c_noBox;
    return SnapTransformedBox(m_maskBox, GetRasterToDomainTransform());
}

bool SelectionRasterNode::IsUsable() const {
    return m_extent != Extent::Mask || (GetBitmap() && IsMaskFormat(GetBitmap()->GetFormat()));
}

void SelectionRasterNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "SlEx", m_extent);
    Kernel::SaveValue(out, "SlBx",
                      Kernel::RectT<double>{double(m_maskBox.left), double(m_maskBox.top), double(m_maskBox.right),
                                            double(m_maskBox.bottom)});
    SceneNode::Save(out);
}

bool SelectionRasterNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::RectT<double> box;
    Kernel::LoadValue(in, "SlEx", m_extent);
    Kernel::LoadValue(in, "SlBx", box);
    m_maskBox = {ToInt(box.left), ToInt(box.top), ToInt(box.right), ToInt(box.bottom)};
    return SceneNode::Load(in, files, version) && m_extent <= Extent::Mask;
}
