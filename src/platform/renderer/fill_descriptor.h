// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/blend_mode.h"
#include "platform/renderer/fill.h"

namespace Renderer {

// How a fill is laid over an object: a value that is cheap to copy. Empty, it paints nothing.
class REDRAFT_ENGINE FillDescriptorConst {
public:
    FillDescriptorConst() = default;
    // `transform` maps fill space to the space of the curves that are painted. `scaleWithObject` tells editing
    // operations to move the fill along with its object; drawing does not look at it. `overprint` is kept for
    // separations.
    explicit FillDescriptorConst(Kernel::Consolidated<Fill> const& fill, bool scaleWithObject = true,
                                 Raster::AffineTransform::Params const& transform = {},
                                 BlendMode blendMode = BlendMode::Normal, bool overprint = false);
    explicit FillDescriptorConst(Colour const& colour);

    // Null in an empty descriptor.
    Kernel::Counted<Fill const> const& GetFill() const { return m_fill; }
    bool GetScaleWithObject() const { return m_scaleWithObject; }
    Raster::AffineTransform::Params const& GetTransform() const { return m_transform; }
    BlendMode GetBlendMode() const { return m_blendMode; }
    bool GetOverprint() const { return m_overprint; }

    bool IsFillNone() const { return !m_fill || m_fill->GetType() == FillType::None; }
    // False where the fill's alpha is nowhere above the tolerance.
    bool IsFillVisible(double tolerance) const;

    friend REDRAFT_ENGINE bool operator==(FillDescriptorConst const& a, FillDescriptorConst const& b);
    std::size_t GetHash() const;

protected:
    Kernel::Counted<Fill const> m_fill;
    Raster::AffineTransform::Params m_transform;
    BlendMode m_blendMode = BlendMode::Normal;
    bool m_scaleWithObject = true;
    bool m_overprint = false;
};

// The same as an object that documents hold. Never changed once it is shared.
class REDRAFT_ENGINE FillDescriptor final : public Kernel::Serialisable, public FillDescriptorConst {
public:
    FillDescriptor() = default;
    FillDescriptor(Kernel::Consolidated<Fill> const& fill, bool scaleWithObject,
                   Raster::AffineTransform::Params const& transform, BlendMode blendMode, bool overprint)
        : FillDescriptorConst(fill, scaleWithObject, transform, blendMode, overprint) {}
    explicit FillDescriptor(FillDescriptorConst const& value) : FillDescriptorConst(value) {}
    explicit FillDescriptor(Colour const& colour) : FillDescriptorConst(colour) {}
    ~FillDescriptor() override;

    Kernel::Counted<FillDescriptor> Clone() const;
    Kernel::Counted<FillDescriptor> CloneWithNewScaleWithObject(bool scaleWithObject) const;
    Kernel::Counted<FillDescriptor> CloneWithNewTransform(Raster::AffineTransform::Params const& transform) const;
    Kernel::Counted<FillDescriptor> CloneWithNewFill(Kernel::Consolidated<Fill> const& fill) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

} // namespace Renderer
