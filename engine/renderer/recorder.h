// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/display_list.h"
#include "engine/renderer/pattern_painter.h"

#include <map>

namespace Renderer::Detail {

class FilterRecording;

// Turns drawing calls into a display list. What cannot be seen is left out; the extents of layers follow from what is
// drawn in them.
class Recorder {
public:
    Recorder(RasterOptions const& options, WorkingSpace const& space);
    // For a part of a picture. `scalar` is the scale of lines that do not scale with their objects; `patterns` is what
    // the picture's patterns share.
    Recorder(RectInt const& area, double scalar, WorkingSpace const& space, PatternScope const& patterns);
    ~Recorder();

    struct Outline {
        Kernel::Counted<Geometry::PolyCurveDbl const> curves;
        Transform toPixels;
        Geometry::WindingOrderMode winding = Geometry::WindingOrderMode::NonZero;
    };

    void Draw(Outline const& outline, Paint const& paint, Raster::ICCProfileSet const& profiles);
    void PushClip(Outline const& outline);
    void PopClip();
    void BeginMask(MaskKind kind);
    void EndMask();
    void PushLayer(LayerOptions const& options);
    void PopLayer();
    // Drawing until PopFilter is recorded apart, and painted as the filter makes it. A null filter, and one too
    // deep in others, changes nothing.
    void PushFilter(Kernel::Counted<Filter const> const& filter, Transform const& toPixels,
                    Raster::ICCProfileSet const& profiles);
    void PopFilter();

    DisplayList const& GetList() const { return m_list; }

private:
    // A layer or mask that is being recorded.
    struct Open {
        std::uint32_t command = 0;
        RectInt content;
        bool blends = false;
    };

    // `bounds` are the pixels that may be painted.
    std::shared_ptr<FillSource const> GetSource(FillDescriptorConst const& fill, Transform const& toPixels,
                                                double opacity, Raster::ICCProfileSet const& profiles,
                                                RectInt const& bounds);
    std::shared_ptr<LineStyleDescriptorConst const> Share(LineStyleDescriptorConst const& line);
    std::uint32_t AddCommand(CommandKind kind, std::size_t index, RectInt const& bounds);
    void AddDraw(DrawItem&& item, RectInt const& bounds);
    Open CloseLast(CommandKind kind);

    WorkingSpace const& m_space;
    PatternScope m_patterns;
    DisplayList m_list;
    std::vector<Open> m_open;
    // The filter that is open here, and how many change nothing.
    std::unique_ptr<FilterRecording> m_filtered;
    std::size_t m_plainFilters = 0;
    // Solid fills come again and again; each keeps its fill alive, so that its address names it.
    struct SolidKey {
        Kernel::Counted<Fill const> fill;
        double opacity = 1;
        bool operator<(SolidKey const& other) const {
            return fill.get() != other.fill.get() ? std::less<>()(fill.get(), other.fill.get())
                                                  : opacity < other.opacity;
        }
    };
    std::map<SolidKey, std::shared_ptr<FillSource const>> m_solids;
    Raster::ICCProfileSet m_solidProfiles;
    std::shared_ptr<LineStyleDescriptorConst const> m_lastLine;
};

} // namespace Renderer::Detail
