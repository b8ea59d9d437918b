// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_list.h"
#include "platform/renderer/render_target.h"

#include <cstdint>
#include <vector>

namespace Renderer {

enum class DrawingStepKind : std::uint32_t {
    Draw = 0,
    PushClip = 1,
    PopClip = 2,
    BeginMask = 3,
    EndMask = 4,
    PushLayer = 5,
    PopLayer = 6,
    PushFilter = 7,
    PopFilter = 8
};

// One call to a render target. Fields that its kind does not need keep their defaults.
struct REDRAFT_ENGINE DrawingStep {
    DrawingStepKind kind = DrawingStepKind::Draw;
    // Of Draw and PushClip. Null curves draw nothing, and as a clip show nothing.
    Kernel::Counted<Geometry::PolyCurveDbl const> curves;
    Geometry::WindingOrderMode winding = Geometry::WindingOrderMode::NonZero;
    // From the curves' space to the drawing's.
    Raster::AffineTransform::Params transform;
    // Of Draw. Null for no fill, no line.
    Kernel::Counted<FillDescriptor const> fill;
    Kernel::Counted<FillDescriptor const> secondFill;
    Kernel::Counted<FillDescriptor const> lineFill;
    Kernel::Counted<LineStyleDescriptor const> line;
    bool antialias = true;
    // Of PushLayer, and of Draw's fill and line.
    double opacity = 1;
    double lineOpacity = 1;
    // Of Draw and PushLayer.
    BlendMode blendMode = BlendMode::Normal;
    // Of PushLayer.
    bool isIsolated = true;
    // Of BeginMask.
    MaskKind maskKind = MaskKind::Alpha;
    // Of PushFilter, in the space that `transform` leads from. Null changes nothing.
    Kernel::Counted<Filter const> filter;

    Paint GetPaint() const;

    static constexpr Kernel::ClassUID GetClassUID() { return "RDSt"; }
    static constexpr auto Fields() {
        using Kernel::Field;
        return Kernel::FieldList{Field{"Kind", &DrawingStep::kind},
                                 Field{"Curv", &DrawingStep::curves}.OnlyWhenSet(),
                                 Field{"Wind", &DrawingStep::winding},
                                 Field{"Xfrm", &DrawingStep::transform},
                                 Field{"Fill", &DrawingStep::fill}.OnlyWhenSet(),
                                 Field{"Sec_", &DrawingStep::secondFill}.OnlyWhenSet(),
                                 Field{"LinF", &DrawingStep::lineFill}.OnlyWhenSet(),
                                 Field{"Line", &DrawingStep::line}.OnlyWhenSet(),
                                 Field{"AntA", &DrawingStep::antialias},
                                 Field{"Opac", &DrawingStep::opacity},
                                 Field{"OpaL", &DrawingStep::lineOpacity},
                                 Field{"Blnd", &DrawingStep::blendMode},
                                 Field{"Isol", &DrawingStep::isIsolated},
                                 Field{"Mask", &DrawingStep::maskKind},
                                 Field{"Filt", &DrawingStep::filter}.OnlyWhenSet()};
    }
};

// A list of drawing steps that can be drawn again at any size. Immutable once it is shared.
class REDRAFT_ENGINE RecordedDrawing final : public Kernel::Serialisable {
public:
    RecordedDrawing() = default;
    // Steps whose pops and pushes do not nest are replaced by none.
    explicit RecordedDrawing(std::vector<DrawingStep> steps);
    ~RecordedDrawing() override;

    std::vector<DrawingStep> const& GetSteps() const { return m_steps; }
    // Draws it once more, in the target's current space.
    void Replay(RenderTarget& target) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    void Normalise();

    std::vector<DrawingStep> m_steps;
};

// Records what is drawn into it.
class REDRAFT_ENGINE DrawingRecorder final : public RenderTarget {
public:
    // `base` maps what is drawn to the space of the recorded drawing.
    explicit DrawingRecorder(Transform const& base = {}) : RenderTarget(base) {}
    ~DrawingRecorder() override;

    // The drawing so far. Every layer, clip and mask that was begun must have been ended.
    Kernel::Counted<RecordedDrawing const> GetDrawing() const;

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, OpacityPair const& opacity,
                            BlendMode blendMode, BlendOptions const& blendOptions, FillDescriptorConst const& mainFill,
                            FillDescriptorConst const& secondFill, FillDescriptorConst const& lineFill,
                            LineStyleDescriptorConst const& lineStyle,
                            Geometry::WindingOrderMode windingOrderMode) override;
    void OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                    Geometry::WindingOrderMode windingOrderMode) override;
    void OnPopClip() override;
    void OnBeginMask(MaskKind kind) override;
    void OnEndMask() override;
    void OnPushLayer(LayerOptions const& options) override;
    void OnPopLayer() override;
    void OnPushFilter(Kernel::Counted<Filter const> filter) override;
    void OnPopFilter() override;

private:
    void Add(DrawingStepKind kind);

    std::vector<DrawingStep> m_steps;
};

} // namespace Renderer
