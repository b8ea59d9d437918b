// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/transform.h"
#include "platform/kernel/consolidated.h"
#include "platform/kernel/serialisable.h"
#include "platform/renderer/colour.h"

#include <cstdint>
#include <vector>

namespace Raster {
class DynamicBitmap;
}

namespace Renderer {

class RecordedDrawing;

using Geometry::PointDbl;
using Geometry::RectDbl;
using Geometry::Transform;

enum class FillType : std::uint32_t {
    None = 0,
    Solid = 1,
    LinearGradient = 2,
    EllipticalGradient = 3,
    Bitmap = 4,
    Pattern = 5
};

// The paint of an area: an immutable value, one object for all that are equal where it is consolidated.
//
// A fill has a plane of its own, the fill space; a descriptor's transform lays it over the object.
class REDRAFT_ENGINE Fill : public Kernel::Serialisable {
public:
    ~Fill() override;
    virtual FillType GetType() const = 0;
    // The largest alpha that the fill has anywhere, 0..1.
    virtual float GetMaximumAlpha() const = 0;
    // True where alpha is 1 everywhere.
    virtual bool IsOpaque() const = 0;
    // The one colour that stands for the fill in lists and outlines.
    virtual Colour GetRepresentativeColour() const = 0;

    // None and solid fills look the same under every transform.
    bool IsTransformFree() const { return GetType() == FillType::None || GetType() == FillType::Solid; }
    virtual std::size_t GetHash() const = 0;
    friend bool operator==(Fill const& a, Fill const& b) {
        return &a == &b || (a.GetType() == b.GetType() && a.IsEqualTo(b));
    }

protected:
    // The other is of the same type.
    virtual bool IsEqualTo(Fill const& other) const = 0;
};

class REDRAFT_ENGINE NoFill final : public Fill {
public:
    FillType GetType() const override { return FillType::None; }
    float GetMaximumAlpha() const override { return 0; }
    bool IsOpaque() const override { return false; }
    Colour GetRepresentativeColour() const override;
    std::size_t GetHash() const override { return 1; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Fill const&) const override { return true; }
};

class REDRAFT_ENGINE SolidFill final : public Fill {
public:
    SolidFill() = default;
    explicit SolidFill(Colour const& colour) : m_colour(colour) {}

    Colour const& GetColour() const { return m_colour; }
    FillType GetType() const override { return FillType::Solid; }
    float GetMaximumAlpha() const override { return m_colour.GetAlpha(); }
    bool IsOpaque() const override { return m_colour.GetAlpha() == 1; }
    Colour GetRepresentativeColour() const override { return m_colour; }
    std::size_t GetHash() const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Fill const& other) const override;

private:
    Colour m_colour;
};

// A colour at a place along a gradient. Its alpha is the colour's alpha times the opacity.
struct GradientStop {
    // 0..1; stops are in ascending order, and of several at one place the first rules before it, the last after it.
    double offset = 0;
    double opacity = 1;
    Colour colour;
    friend bool operator==(GradientStop const&, GradientStop const&) = default;
};

// How a gradient goes on beyond its ends.
enum class GradientSpread : std::uint32_t { Pad = 0, Reflect = 1, Repeat = 2 };

// Colours that change along a parameter t: 0 at the first end, 1 at the last. Between stops each component and the
// opacity change linearly, before alpha is multiplied in (SVG 2, 14.2.4).
class REDRAFT_ENGINE GradientFill : public Fill {
public:
    std::vector<GradientStop> const& GetStops() const { return m_stops; }
    GradientSpread GetSpread() const { return m_spread; }
    float GetMaximumAlpha() const override;
    Colour GetRepresentativeColour() const override;

protected:
    GradientFill() = default;
    // Offsets are brought into 0..1 and ascending order as SVG 2, 14.2.4.2 says: one below its predecessor becomes
    // equal to it.
    GradientFill(std::vector<GradientStop> stops, GradientSpread spread);
    bool HasOpaqueStops() const;
    bool HasEqualStops(GradientFill const& other) const;
    std::size_t GetStopsHash() const;
    void SaveStops(Kernel::OutSerialiser& out) const;
    void LoadStops(Kernel::InSerialiser const& in);

private:
    void Normalise();

    std::vector<GradientStop> m_stops;
    GradientSpread m_spread = GradientSpread::Pad;
};

class REDRAFT_ENGINE LinearGradientFill final : public GradientFill {
public:
    LinearGradientFill() = default;
    // t is 0 on the line through `start` that is perpendicular to the axis, 1 on the one through `end`. With both
    // equal, all is the last stop's colour.
    LinearGradientFill(PointDbl start, PointDbl end, std::vector<GradientStop> stops,
                       GradientSpread spread = GradientSpread::Pad)
        : GradientFill(std::move(stops), spread), m_start(start), m_end(end) {}

    PointDbl GetStart() const { return m_start; }
    PointDbl GetEnd() const { return m_end; }
    FillType GetType() const override { return FillType::LinearGradient; }
    bool IsOpaque() const override { return HasOpaqueStops(); }
    std::size_t GetHash() const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Fill const& other) const override;

private:
    PointDbl m_start{0, 0};
    PointDbl m_end{1, 0};
};

// The plane is mapped so that the ellipse is the unit circle. Through each point runs the circle between the focal
// circle (t = 0) and the unit circle (t = 1); of two the larger t with a radius that is not negative. Points on no such
// circle are clear (HTML, "createRadialGradient"; SVG 2, 14.2.3).
class REDRAFT_ENGINE EllipticalGradientFill final : public GradientFill {
public:
    EllipticalGradientFill() = default;
    // `end1` and `end2` are the ends of two conjugate half axes, in fill space. `focus` is in fill space too;
    // `focalRadius` is 0..1 of the ellipse's.
    EllipticalGradientFill(PointDbl centre, PointDbl end1, PointDbl end2, PointDbl focus, double focalRadius,
                           std::vector<GradientStop> stops, GradientSpread spread = GradientSpread::Pad);
    // A circle with its focus in the centre.
    EllipticalGradientFill(PointDbl centre, double radius, std::vector<GradientStop> stops,
                           GradientSpread spread = GradientSpread::Pad);

    PointDbl GetCentre() const { return m_centre; }
    PointDbl GetEnd1() const { return m_end1; }
    PointDbl GetEnd2() const { return m_end2; }
    PointDbl GetFocus() const { return m_focus; }
    double GetFocalRadius() const { return m_focalRadius; }
    // From the unit circle's plane to fill space.
    Transform GetCircleTransform() const {
        return Transform({m_end1.x - m_centre.x, m_end2.x - m_centre.x, m_centre.x, m_end1.y - m_centre.y,
                          m_end2.y - m_centre.y, m_centre.y});
    }
    FillType GetType() const override { return FillType::EllipticalGradient; }
    bool IsOpaque() const override;
    std::size_t GetHash() const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Fill const& other) const override;

private:
    PointDbl m_centre{0, 0};
    PointDbl m_end1{1, 0};
    PointDbl m_end2{0, 1};
    PointDbl m_focus{0, 0};
    double m_focalRadius = 0;
};

// How a bitmap fill goes on beyond the bitmap's edges.
enum class TileMode : std::uint32_t {
    // Nothing. Edges are smoothed over one pixel of the target.
    Clear = 0,
    // The nearest pixel of the edge.
    Clamp = 1,
    Repeat = 2,
    // Repeated, every second time turned over.
    Mirror = 3,
};

enum class Resampling : std::uint32_t {
    // The pixel under the target's; of a reduced level where the bitmap is drawn smaller than an eighth.
    Nearest = 0,
    // Between four pixels; of a reduced level where the bitmap is drawn smaller.
    Bilinear = 1,
    // Cubic convolution with parameter -1/2 (R. G. Keys, "Cubic convolution interpolation for digital image
    // processing", 1981); reduced levels as Bilinear.
    Bicubic = 2,
};

// Fill space is the bitmap's pixels: (0, 0) is its top left corner, (width, height) the corner opposite.
class REDRAFT_ENGINE BitmapFill final : public Fill {
public:
    BitmapFill() = default;
    explicit BitmapFill(Kernel::Counted<Raster::DynamicBitmap const> bitmap, TileMode tileModeX = TileMode::Clear,
                        TileMode tileModeY = TileMode::Clear, Resampling resampling = Resampling::Bilinear,
                        double opacity = 1);

    // May be null: then the fill is clear.
    Kernel::Counted<Raster::DynamicBitmap const> const& GetBitmap() const { return m_bitmap; }
    TileMode GetTileModeX() const { return m_tileModeX; }
    TileMode GetTileModeY() const { return m_tileModeY; }
    Resampling GetResampling() const { return m_resampling; }
    double GetOpacity() const { return m_opacity; }
    FillType GetType() const override { return FillType::Bitmap; }
    // The bitmap's own alpha is not looked at.
    float GetMaximumAlpha() const override;
    bool IsOpaque() const override { return false; }
    Colour GetRepresentativeColour() const override;
    std::size_t GetHash() const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // Bitmaps are equal where they are one object.
    bool IsEqualTo(Fill const& other) const override;

private:
    Kernel::Counted<Raster::DynamicBitmap const> m_bitmap;
    TileMode m_tileModeX = TileMode::Clear;
    TileMode m_tileModeY = TileMode::Clear;
    Resampling m_resampling = Resampling::Bilinear;
    double m_opacity = 1;
};

// A drawing that is repeated in rows and columns. Fill space is the drawing's; its rectangle from (0, 0) to the tile's
// size is one repeat, and nothing of the drawing shows outside of it.
class REDRAFT_ENGINE PatternFill final : public Fill {
public:
    PatternFill() = default;
    explicit PatternFill(Kernel::Counted<RecordedDrawing const> drawing, Kernel::SizeT<double> const& tileSize,
                         double opacity = 1);

    // May be null: then the fill is clear.
    Kernel::Counted<RecordedDrawing const> const& GetDrawing() const { return m_drawing; }
    // Both above 0 and finite, or the fill is clear.
    Kernel::SizeT<double> const& GetTileSize() const { return m_tileSize; }
    double GetOpacity() const { return m_opacity; }
    FillType GetType() const override { return FillType::Pattern; }
    // The drawing's own alpha is not looked at.
    float GetMaximumAlpha() const override;
    bool IsOpaque() const override { return false; }
    // That of the drawing's first fill or line that is no pattern itself.
    Colour GetRepresentativeColour() const override;
    std::size_t GetHash() const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // Drawings are equal where they are one object.
    bool IsEqualTo(Fill const& other) const override;

private:
    Kernel::Counted<RecordedDrawing const> m_drawing;
    Kernel::SizeT<double> m_tileSize;
    double m_opacity = 1;
};

} // namespace Renderer

template <>
struct Kernel::PropTraits<Renderer::GradientStop> {
    static constexpr PropType c_type = static_cast<PropType>(81);
};
