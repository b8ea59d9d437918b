// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/geometry/winding_order_mode.h"
#include "platform/raster/icc_manager.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/filter.h"
#include "platform/renderer/line_style.h"

#include <vector>

namespace Renderer {

// How much of an object shows, 0..1 each: of what lies inside its outline and of its line.
struct OpacityPair {
    double fill = 1;
    double line = 1;
    friend bool operator==(OpacityPair const&, OpacityPair const&) = default;
};

struct BlendOptions {
    // False: a pixel is painted wholly when at least half of it is covered, and else not at all.
    bool antialias = true;
    friend bool operator==(BlendOptions const&, BlendOptions const&) = default;
};

// Everything that one outline is drawn with.
struct Paint {
    OpacityPair opacity;
    BlendMode blendMode = BlendMode::Normal;
    BlendOptions blendOptions;
    FillDescriptorConst mainFill;
    // Its alpha multiplies that of the other two; its colour does not count. Empty: opaque.
    FillDescriptorConst secondFill;
    FillDescriptorConst lineFill;
    LineStyleDescriptorConst lineStyle;
    friend bool operator==(Paint const&, Paint const&) = default;
};

// A group is drawn apart and composited as one object (W3C Compositing and Blending Level 1, section 3).
struct LayerOptions {
    double opacity = 1;
    BlendMode blendMode = BlendMode::Normal;
    // False: blend modes inside see what lies below the group.
    bool isolated = true;
    friend bool operator==(LayerOptions const&, LayerOptions const&) = default;
};

// Luminance is that of colours as they are mixed, or of the light that they stand for.
enum class MaskKind { Alpha, Luminance, LinearLuminance };

// A target of drawing. Coordinates go through the stack of current transforms to the target's own space, which is
// pixels where the target has pixels.
//
// Pushes and pops nest; a pop without its push throws Kernel::Exception. Coordinates and numbers may be any double:
// what is not finite is not drawn.
class REDRAFT_ENGINE RenderTarget : public virtual Kernel::Countable {
public:
    // How text is drawn: as its glyphs.
    enum class BlockTextMode : int { None = 0 };

    ~RenderTarget() override;
    // Tells what object the drawing from here on belongs to; null for none. Targets that need not know ignore it.
    virtual void SetDrawnObject(Kernel::Counted<Kernel::Countable const> object);

    // Null or empty curves draw nothing. The curves must not change afterwards.
    void DrawCurves(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Paint const& paint,
                    Geometry::WindingOrderMode windingOrderMode);
    // The line of closed polygons; they are not filled.
    void DrawPolygons(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons, Paint const& paint);
    // A bitmap whose pixels are laid over the plane by `pixelsToObject`.
    void DrawBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap, Transform const& pixelsToObject,
                    double opacity = 1, BlendMode blendMode = BlendMode::Normal,
                    Resampling resampling = Resampling::Bilinear);

    // The colour space of later drawing: the document's format and profiles. Without it, the plain rules
    // of Colour and the default profiles hold.
    void SetColourFormatAndProfiles(Raster::Format format, Raster::ICCProfileSet const& profiles);
    Raster::Format GetColourFormat() const { return m_colourFormat; }
    Raster::ICCProfileSet const& GetColourProfiles() const { return m_colourProfiles; }

    void PushTransform(Transform const& transform);
    void PopTransform();
    // From the space of what is drawn to the target's space.
    Transform const& GetTransform() const { return m_transforms.back(); }
    // The uniform scale from document space to the target's space, whatever transforms have been pushed since.
    double GetScalarTransform() const { return m_scalarTransform; }

    // Until it is popped, drawing shows inside the curves only. Clips within clips show where all of them do; edges
    // are smooth, and the coverages of several are multiplied. Null or empty curves show nothing.
    void PushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Geometry::WindingOrderMode windingOrderMode);
    void PushClipRectangle(RectDbl const& rectangle);
    // Drawing until EndMask becomes a clip: where it is opaque, or light, later drawing shows. PopClip ends it.
    void BeginMask(MaskKind kind);
    void EndMask();
    void PopClip();

    void PushLayer(LayerOptions const& options);
    void PopLayer();

    // Drawing until PopFilter is shown as the filter makes it. The filter's lengths are in the current space; it
    // must not need a box. Null shows it as it is. Targets that have no filters do too.
    void PushFilter(Kernel::Counted<Filter const> filter);
    void PopFilter();

protected:
    // `base` maps document space to the target's space.
    explicit RenderTarget(Transform const& base = {});

    // The two ways that all outlines take to a target. Counted arguments are the callee's own. Polygons are drawn as
    // curves without a fill where a target has no way of its own for them.
    virtual void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, OpacityPair const& opacity,
                                    BlendMode blendMode, BlendOptions const& blendOptions,
                                    FillDescriptorConst const& mainFill, FillDescriptorConst const& secondFill,
                                    FillDescriptorConst const& lineFill, LineStyleDescriptorConst const& lineStyle,
                                    Geometry::WindingOrderMode windingOrderMode) = 0;
    virtual void DrawPolygonsWithLine(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons,
                                      OpacityPair const& opacity, BlendMode blendMode, BlendOptions const& blendOptions,
                                      FillDescriptorConst const& lineFill, FillDescriptorConst const& secondFill,
                                      LineStyleDescriptorConst const& lineStyle);

    virtual void OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                            Geometry::WindingOrderMode windingOrderMode) = 0;
    virtual void OnPopClip() = 0;
    virtual void OnBeginMask(MaskKind kind) = 0;
    virtual void OnEndMask() = 0;
    virtual void OnPushLayer(LayerOptions const& options) = 0;
    virtual void OnPopLayer() = 0;
    virtual void OnPushFilter(Kernel::Counted<Filter const> filter);
    virtual void OnPopFilter();

    // True when nothing is open that a pop or EndMask must still end; transforms do not count.
    bool IsBalanced() const { return m_open.empty(); }

private:
    enum class Scope : unsigned char { Clip, Mask, Layer, Filter };
    void Close(Scope scope);

    Raster::Format m_colourFormat = Raster::FormatRGBA8;
    Raster::ICCProfileSet m_colourProfiles;
    std::vector<Transform> m_transforms;
    double m_scalarTransform;
    std::vector<Scope> m_open;
};

// Draws nothing. The base of targets that look at what passes.
class REDRAFT_ENGINE NullRenderTarget : public RenderTarget {
public:
    // `wantsHiddenContent` is told to those who draw: true asks them to send also what cannot be seen.
    explicit NullRenderTarget(bool wantsHiddenContent = false) : m_wantsHiddenContent(wantsHiddenContent) {}
    ~NullRenderTarget() override;
    bool WantsHiddenContent() const { return m_wantsHiddenContent; }

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const>, OpacityPair const&, BlendMode,
                            BlendOptions const&, FillDescriptorConst const&, FillDescriptorConst const&,
                            FillDescriptorConst const&, LineStyleDescriptorConst const&,
                            Geometry::WindingOrderMode) override {}
    void DrawPolygonsWithLine(Kernel::Counted<Geometry::PolyPolygonType<double> const>, OpacityPair const&, BlendMode,
                              BlendOptions const&, FillDescriptorConst const&, FillDescriptorConst const&,
                              LineStyleDescriptorConst const&) override {}
    void OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const>, Geometry::WindingOrderMode) override {}
    void OnPopClip() override {}
    void OnBeginMask(MaskKind) override {}
    void OnEndMask() override {}
    void OnPushLayer(LayerOptions const&) override {}
    void OnPopLayer() override {}

private:
    bool m_wantsHiddenContent;
};

} // namespace Renderer
