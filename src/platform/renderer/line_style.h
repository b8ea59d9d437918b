// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/renderer/fill_descriptor.h"

#include <optional>
#include <vector>

namespace Renderer {

// Values are part of the stored format.
enum class LineType : std::uint32_t { None = 0, Solid = 1, Dashed = 2 };
enum class LineCap : std::uint32_t { Butt = 0, Square = 1, Round = 2 };
enum class LineJoin : std::uint32_t { Mitre = 0, Round = 1, Bevel = 2 };
enum class StrokeAlignment : std::uint32_t { Centre = 0, Inside = 1, Outside = 2 };

// The nib of a broad pen: an ellipse as long as the line's weight. A line drawn with it is all that the nib passes
// over, so that it has neither caps nor joins of its own.
struct REDRAFT_ENGINE LineBrush {
    // The nib's width as a part of its length, above 0; from 1 on it is the round point of a plain line, which has caps
    // and joins. Below 0.01 it is drawn as 0.01.
    double roundness = 1;
    // Of its long axis, in radians from the x axis to the y axis; the nib turns with the object where the line scales
    // with it.
    double angle = 0;

    // Whether there is a nib. Values that are not finite, and a roundness of 0 or less, give none.
    bool IsBroad() const;
    // Maps a circle to the nib.
    Geometry::Transform GetShape() const;
    friend bool operator==(LineBrush const&, LineBrush const&) = default;
};

// The shape of a line, without its paint. Immutable once it is consolidated.
class REDRAFT_ENGINE LineStyle final : public Kernel::Serialisable {
public:
    // A solid line without a weight, which is a weight of 0.
    LineStyle() = default;
    explicit LineStyle(double weight) : m_weight(weight), m_hasWeight(true) {}
    ~LineStyle() override;
    Kernel::Counted<LineStyle> Clone() const;

    LineType GetType() const { return m_type; }
    void SetType(LineType type) { m_type = type; }
    // Full width of the line.
    std::optional<double> GetWeight() const { return m_hasWeight ? std::optional(m_weight) : std::nullopt; }
    double GetWeightOrZero() const { return m_hasWeight ? m_weight : 0.0; }
    void SetWeight(std::optional<double> weight);
    LineCap GetCap() const { return m_cap; }
    void SetCap(LineCap cap) { m_cap = cap; }
    LineJoin GetJoin() const { return m_join; }
    void SetJoin(LineJoin join) { m_join = join; }
    LineBrush const& GetBrush() const { return m_brush; }
    void SetBrush(LineBrush const& brush) { m_brush = brush; }
    // As they are drawn: under a broad nib both are round ones of the nib.
    LineCap GetDrawnCap() const { return m_brush.IsBroad() ? LineCap::Round : m_cap; }
    LineJoin GetDrawnJoin() const { return m_brush.IsBroad() ? LineJoin::Round : m_join; }
    // The largest ratio of a mitre's length to the weight; sharper corners are bevelled (SVG 2, 13.5.5).
    double GetMitreLimit() const { return m_mitreLimit; }
    void SetMitreLimit(double limit) { m_mitreLimit = limit; }
    // Lengths of dashes and gaps in turn, in multiples of the weight; an odd count is walked twice. A list with a value
    // that is negative or not finite, or without a value above 0, is a solid line.
    std::vector<double> const& GetDashPattern() const { return m_dashPattern; }
    void SetDashPattern(std::vector<double> pattern) { m_dashPattern = std::move(pattern); }
    // How far into the pattern the line starts, in multiples of the weight.
    double GetDashPhase() const { return m_dashPhase; }
    void SetDashPhase(double phase) { m_dashPhase = phase; }

    std::size_t GetHash() const;
    friend REDRAFT_ENGINE bool operator==(LineStyle const& a, LineStyle const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    LineType m_type = LineType::Solid;
    LineCap m_cap = LineCap::Butt;
    LineJoin m_join = LineJoin::Mitre;
    double m_weight = 0;
    bool m_hasWeight = false;
    double m_mitreLimit = 4;
    double m_dashPhase = 0;
    std::vector<double> m_dashPattern;
    LineBrush m_brush;
};

// A filled shape at the end of a line. Immutable once it is shared.
class REDRAFT_ENGINE LineStyleArrowHead final : public Kernel::Serialisable {
public:
    LineStyleArrowHead() = default;
    // One unit of the shape is one weight of the line; x runs along the line and out of it, the line ends at (0, 0).
    LineStyleArrowHead(Kernel::Counted<Geometry::PolyCurveDbl const> shape, double scaleX, double scaleY)
        : m_shape(std::move(shape)), m_scaleX(scaleX), m_scaleY(scaleY) {}
    ~LineStyleArrowHead() override;

    // May be null: no head.
    Kernel::Counted<Geometry::PolyCurveDbl const> const& GetShape() const { return m_shape; }
    double GetScaleX() const { return m_scaleX; }
    double GetScaleY() const { return m_scaleY; }
    Kernel::Counted<LineStyleArrowHead> CloneWithNewScale(double scaleX, double scaleY) const;

    std::size_t GetHash() const;
    friend REDRAFT_ENGINE bool operator==(LineStyleArrowHead const& a, LineStyleArrowHead const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Counted<Geometry::PolyCurveDbl const> m_shape;
    double m_scaleX = 1;
    double m_scaleY = 1;
};

// How a line style is laid along an object's curves: a value that is cheap to copy. Empty, it draws nothing.
class REDRAFT_ENGINE LineStyleDescriptorConst {
public:
    LineStyleDescriptorConst() = default;
    explicit LineStyleDescriptorConst(Kernel::Consolidated<LineStyle> const& style) : m_style(style.ToCounted()) {}

    // Null in an empty descriptor.
    Kernel::Counted<LineStyle const> const& GetLineStyle() const { return m_style; }
    // The line's width along each contour, as a factor of its weight: x is 0..1 of the contour's length, y the factor.
    // Null: 1 everywhere.
    Kernel::Counted<Geometry::CurveDbl const> const& GetPressure() const { return m_pressure; }
    bool GetDrawBehindFill() const { return m_drawBehindFill; }
    bool GetScaleWithObject() const { return m_scaleWithObject; }
    // Inside and outside hold for closed curves; open ones are always centred.
    StrokeAlignment GetStrokeAlignment() const { return m_alignment; }
    // True: heads lie beyond the ends of the line. False: their tips lie on its ends.
    bool GetArrowHeadsBeyondEnds() const { return m_arrowHeadsBeyondEnds; }
    // The heads at the start and at the end of open curves; null for none.
    Kernel::Counted<LineStyleArrowHead const> const& GetFrontArrowHead() const { return m_frontArrowHead; }
    Kernel::Counted<LineStyleArrowHead const> const& GetBackArrowHead() const { return m_backArrowHead; }

    // No style, or the type None.
    bool IsLineStyleNone() const { return !m_style || m_style->GetType() == LineType::None; }
    // True when a line of a weight above 0 is drawn and its paint can be seen.
    bool IsLineStyleVisible(FillDescriptorConst const& lineFill) const;
    // The weight in the space that `transform` leads to. A line that scales with its object takes the transform's
    // uniform scale, another the scale of the target alone, `scalar`. 0 without a style.
    double GetEffectiveWeight(Raster::AffineTransform::Params const& transform, double scalar) const;

    friend REDRAFT_ENGINE bool operator==(LineStyleDescriptorConst const& a, LineStyleDescriptorConst const& b);

protected:
    Kernel::Counted<LineStyle const> m_style;
    Kernel::Counted<Geometry::CurveDbl const> m_pressure;
    Kernel::Counted<LineStyleArrowHead const> m_frontArrowHead;
    Kernel::Counted<LineStyleArrowHead const> m_backArrowHead;
    StrokeAlignment m_alignment = StrokeAlignment::Centre;
    bool m_drawBehindFill = false;
    bool m_scaleWithObject = true;
    bool m_arrowHeadsBeyondEnds = false;
};

// The same as an object that documents hold. Never changed once it is shared.
class REDRAFT_ENGINE LineStyleDescriptor final : public Kernel::Serialisable, public LineStyleDescriptorConst {
public:
    LineStyleDescriptor() = default;
    explicit LineStyleDescriptor(Kernel::Consolidated<LineStyle> const& style) : LineStyleDescriptorConst(style) {}
    explicit LineStyleDescriptor(LineStyleDescriptorConst const& value) : LineStyleDescriptorConst(value) {}
    ~LineStyleDescriptor() override;
    Kernel::Counted<LineStyleDescriptor> Clone() const;

    void SetLineStyle(Kernel::Consolidated<LineStyle> const& style) { m_style = style.ToCounted(); }
    // Equal profiles and equal heads become one object, like equal styles: lines that are values of text are shared by
    // all that are equal, and what they refer to must not depend on which of them was there first.
    void SetPressure(Kernel::Counted<Geometry::CurveDbl const> const& pressure);
    void SetDrawBehindFill(bool behind) { m_drawBehindFill = behind; }
    void SetScaleWithObject(bool scale) { m_scaleWithObject = scale; }
    void SetStrokeAlignment(StrokeAlignment alignment) { m_alignment = alignment; }
    void SetArrowHeadsBeyondEnds(bool beyond) { m_arrowHeadsBeyondEnds = beyond; }
    void SetFrontArrowHead(Kernel::Counted<LineStyleArrowHead const> const& head);
    void SetBackArrowHead(Kernel::Counted<LineStyleArrowHead const> const& head);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

} // namespace Renderer
