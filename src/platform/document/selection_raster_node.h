// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"

// All four fields of a box of whole numbers that holds nothing: it stays as it is under every transform.
inline constexpr int c_noBoxCoordinate = -2147483647;
inline constexpr Kernel::RectT<int> c_noBox{c_noBoxCoordinate, c_noBoxCoordinate, c_noBoxCoordinate, c_noBoxCoordinate};

// Which pixels of a document are selected. A selection is nothing, everything, or a soft mask: an alpha bitmap with a
// transform to the spread, full scale being wholly selected and what lies outside the bitmap not at all. It stands
// beside the tree and belongs to no undo step.
class REDRAFT_ENGINE SelectionRasterNode final : public SceneNode, public ConstRasterInterface {
public:
    // Nothing is selected, which lets commands work on whole bitmaps.
    SelectionRasterNode() = default;
    static Kernel::Counted<SelectionRasterNode> CreateAll();
    // Exception unless the bitmap has an alpha channel and no other. The bitmap is not changed from now on.
    static Kernel::Counted<SelectionRasterNode> CreateMask(Kernel::Counted<Raster::DynamicBitmap const> mask,
                                                           Raster::AffineTransform::Params const& toSpread);

    bool IsSelectNone() const { return m_extent == Extent::None; }
    bool IsSelectAllOrNone() const { return m_extent != Extent::Mask; }
    // The selection's area in spread units, rounded outwards: a box around the mask's samples above 0, c_noBox
    // when there are none or nothing is selected, and for everything a box beyond all others.
    Kernel::RectT<int> GetSelectedSpreadBox() const;
    Raster::AffineTransform::Params GetRasterToDomainTransform() const override { return GetBaseToSpreadTransform(); }
    // False for a mask that lacks its bitmap or has one of another kind, as a damaged file may give it.
    bool IsUsable() const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    enum class Extent : std::uint32_t { None = 0, All = 1, Mask = 2 };

    Extent m_extent = Extent::None;
    // Around the mask's samples above 0, in its pixels.
    Kernel::RectT<int> m_maskBox;
};

// The box of whole numbers around a transformed box. Each side is rounded to the nearest whole number, or outwards
// when it lies further than 1e-6 from it. c_noBox stays as it is; what is beyond the numbers comes to rest at their
// ends.
REDRAFT_ENGINE Kernel::RectT<int> SnapTransformedBox(Kernel::RectT<int> const& box,
                                                     Raster::AffineTransform::Params const& transform);
