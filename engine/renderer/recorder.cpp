// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/recorder.h"

#include "engine/renderer/filter_source.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Renderer::Detail {

namespace {

// Entries of the cache of solid fills; beyond so many different ones it starts anew.
constexpr std::size_t c_maximumSolids = 4096;

double Opacity(double v) { return v > 0 ? std::min(v, 1.0) : 0.0; }

// The outline is an upright rectangle whose sides fall on the borders of pixels.
bool IsPixelRectangle(ClipItem const& clip, RectDbl const& bounds) {
    if (clip.curves->GetCurves().size() != 1)
        return false;
    auto const& curve = *clip.curves->GetCurves().front();
    auto const& m = clip.toPixels.GetParams();
    bool const upright = (m.b == 0 && m.c == 0) || (m.a == 0 && m.d == 0);
    if (!upright || !curve.IsClosed() || curve.GetPoints().size() != 4 || curve.GetSegmentCount() != 4)
        return false;
    for (double const side : {bounds.left, bounds.top, bounds.right, bounds.bottom}) {
        if (side != std::floor(side))
            return false;
    }
    auto const p = curve.GetPoints();
    bool const across = p[0].y == p[1].y && p[1].x == p[2].x && p[2].y == p[3].y && p[3].x == p[0].x;
    bool const down = p[0].x == p[1].x && p[1].y == p[2].y && p[2].x == p[3].x && p[3].y == p[0].y;
    return across || down;
}

} // namespace

Recorder::Recorder(RasterOptions const& options, WorkingSpace const& space)
    : Recorder({0, 0, options.width, options.height}, options.documentToPixels.GetUniformScale(), space,
               {std::make_shared<PatternStore>(), 0, 0, options.abort}) {}

Recorder::Recorder(RectInt const& area, double scalar, WorkingSpace const& space, PatternScope const& patterns)
    : m_space(space), m_patterns(patterns) {
    m_list.picture = area;
    m_list.scalar = scalar;
}

Recorder::~Recorder() = default;

std::uint32_t Recorder::AddCommand(CommandKind kind, std::size_t index, RectInt const& bounds) {
    if (m_list.commands.size() >= c_openEnd - 1)
        throw Kernel::Exception("too much is drawn into one picture");
    m_list.commands.push_back({kind, static_cast<std::uint32_t>(index), c_openEnd, bounds});
    return static_cast<std::uint32_t>(m_list.commands.size() - 1);
}

std::shared_ptr<FillSource const> Recorder::GetSource(FillDescriptorConst const& fill, Transform const& toPixels,
                                                      double opacity, Raster::ICCProfileSet const& profiles,
                                                      RectInt const& bounds) {
    if (fill.IsFillNone())
        return nullptr;
    if (fill.GetFill()->GetType() == FillType::Pattern)
        return MakePatternSource(
            Kernel::Counted<PatternFill const>(static_cast<PatternFill const*>(fill.GetFill().get())),
            {toPixels * Transform(fill.GetTransform()), opacity, bounds, m_list.scalar, m_space, profiles}, m_patterns);
    if (fill.GetFill()->GetType() != FillType::Solid)
        return MakeFillSource(*fill.GetFill(), toPixels * Transform(fill.GetTransform()), opacity, m_space, profiles);
    if (m_solids.size() >= c_maximumSolids || m_solidProfiles != profiles)
        m_solids.clear();
    m_solidProfiles = profiles;
    auto const [entry, isNew] = m_solids.try_emplace({fill.GetFill(), opacity});
    if (isNew)
        entry->second = MakeFillSource(*fill.GetFill(), {}, opacity, m_space, profiles);
    return entry->second;
}

std::shared_ptr<LineStyleDescriptorConst const> Recorder::Share(LineStyleDescriptorConst const& line) {
    if (!m_lastLine || !(*m_lastLine == line))
        m_lastLine = std::make_shared<LineStyleDescriptorConst const>(line);
    return m_lastLine;
}

void Recorder::Draw(Outline const& outline, Paint const& paint, Raster::ICCProfileSet const& profiles) {
    if (m_filtered) {
        m_filtered->GetRecorder().Draw(m_filtered->Place(outline), paint, profiles);
        return;
    }
    double const fillOpacity = Opacity(paint.opacity.fill), lineOpacity = Opacity(paint.opacity.line);
    bool const hasFill = fillOpacity > 0 && paint.mainFill.IsFillVisible(0);
    bool const hasLine = lineOpacity > 0 && paint.lineStyle.IsLineStyleVisible(paint.lineFill);
    auto const hull = GetHullBounds(*outline.curves, outline.toPixels);
    if (!hull || (!hasFill && !hasLine))
        return;
    double margin = 1;
    if (hasLine) {
        LineRequest request{paint.lineStyle, outline.toPixels, m_list.scalar, m_list.GetVisible()};
        request.widthFactor = paint.lineStyle.GetStrokeAlignment() == StrokeAlignment::Centre ? 1 : 2;
        margin += GetLineReach(request);
    }
    RectInt const bounds = ToPixels(*hull, margin, m_list.picture);
    if (bounds.IsEmpty())
        return;

    DrawItem item;
    item.curves = outline.curves;
    item.toPixels = outline.toPixels;
    item.winding = outline.winding;
    item.antialias = paint.blendOptions.antialias;
    if (!paint.secondFill.IsFillNone()) {
        item.second = GetSource(paint.secondFill, outline.toPixels, 1, profiles, bounds);
        if (!item.second)
            return;
    }
    if (hasFill)
        item.fill = GetSource(paint.mainFill, outline.toPixels, fillOpacity, profiles, bounds);
    if (hasLine)
        item.line = GetSource(paint.lineFill, outline.toPixels, lineOpacity, profiles, bounds);
    if (item.line)
        item.lineStyle = Share(paint.lineStyle);
    if (!item.fill && !item.line)
        return;
    // Fill and line are one object to its blend mode.
    bool const needsLayer = paint.blendMode != BlendMode::Normal && item.fill && item.line;
    auto const mode = [&](FillDescriptorConst const& fill) {
        return needsLayer || paint.blendMode == BlendMode::Normal ? fill.GetBlendMode() : paint.blendMode;
    };
    item.fillMode = mode(paint.mainFill);
    item.lineMode = mode(paint.lineFill);
    if (needsLayer)
        PushLayer({1, paint.blendMode, true});
    AddDraw(std::move(item), bounds);
    if (needsLayer)
        PopLayer();
}

void Recorder::AddDraw(DrawItem&& item, RectInt const& bounds) {
    if (!m_open.empty()) {
        m_open.back().content = m_open.back().content.United(bounds);
        m_open.back().blends = m_open.back().blends || (item.fill && item.fillMode != BlendMode::Normal) ||
                               (item.line && item.lineMode != BlendMode::Normal);
    }
    AddCommand(CommandKind::Draw, m_list.draws.size(), bounds);
    m_list.draws.push_back(std::move(item));
}

void Recorder::PushClip(Outline const& outline) {
    if (m_filtered) {
        m_filtered->GetRecorder().PushClip(m_filtered->Place(outline));
        return;
    }
    ClipItem clip{outline.curves, outline.toPixels, outline.winding};
    RectInt bounds;
    auto const hull = clip.curves ? GetHullBounds(*clip.curves, clip.toPixels) : std::nullopt;
    if (hull) {
        clip.isPixelRectangle = IsPixelRectangle(clip, *hull);
        bounds = ToPixels(*hull, clip.isPixelRectangle ? 0 : 1, m_list.picture);
    } else {
        clip.curves = nullptr;
    }
    AddCommand(CommandKind::PushClip, m_list.clips.size(), bounds);
    m_list.clips.push_back(std::move(clip));
}

void Recorder::PopClip() {
    if (m_filtered)
        m_filtered->GetRecorder().PopClip();
    else
        AddCommand(CommandKind::PopClip, 0, {});
}

void Recorder::BeginMask(MaskKind kind) {
    if (m_filtered) {
        m_filtered->GetRecorder().BeginMask(kind);
        return;
    }
    m_open.push_back({AddCommand(CommandKind::BeginMask, m_list.masks.size(), m_list.picture), {}, false});
    m_list.masks.push_back(kind);
}

Recorder::Open Recorder::CloseLast(CommandKind kind) {
    Open const open = m_open.back();
    m_open.pop_back();
    Command& begin = m_list.commands[open.command];
    begin.bounds = open.content;
    auto const index = begin.index;
    auto const end = AddCommand(kind, index, {});
    m_list.commands[open.command].match = end;
    return open;
}

void Recorder::EndMask() {
    if (m_filtered)
        m_filtered->GetRecorder().EndMask();
    else
        CloseLast(CommandKind::EndMask);
}

void Recorder::PushLayer(LayerOptions const& options) {
    if (m_filtered) {
        m_filtered->GetRecorder().PushLayer(options);
        return;
    }
    LayerItem layer{options, false};
    layer.options.opacity = Opacity(options.opacity);
    m_open.push_back({AddCommand(CommandKind::PushLayer, m_list.layers.size(), m_list.picture), {}, false});
    m_list.layers.push_back(layer);
}

void Recorder::PushFilter(Kernel::Counted<Filter const> const& filter, Transform const& toPixels,
                          Raster::ICCProfileSet const& profiles) {
    constexpr int c_maximumFilterDepth = 8;
    if (m_filtered) {
        m_filtered->PushInner(filter, toPixels, profiles);
    } else if (!filter || m_patterns.filterDepth >= c_maximumFilterDepth) {
        ++m_plainFilters;
    } else {
        PatternScope scope = m_patterns;
        ++scope.filterDepth;
        m_filtered = std::make_unique<FilterRecording>(
            filter, FilterPlace{toPixels, m_list.picture, m_list.scalar, m_space, profiles}, scope);
    }
}

void Recorder::PopFilter() {
    if (!m_filtered) {
        m_plainFilters -= m_plainFilters == 0 ? 0 : 1;
        return;
    }
    if (m_filtered->PopInner())
        return;
    auto const filtered = std::exchange(m_filtered, nullptr);
    auto painted = filtered->Finish();
    if (!painted.source)
        return;
    DrawItem item;
    item.curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>(
        RectDbl{static_cast<double>(painted.bounds.left), static_cast<double>(painted.bounds.top),
                static_cast<double>(painted.bounds.right), static_cast<double>(painted.bounds.bottom)});
    item.fill = std::move(painted.source);
    AddDraw(std::move(item), painted.bounds);
}

void Recorder::PopLayer() {
    if (m_filtered) {
        m_filtered->GetRecorder().PopLayer();
        return;
    }
    Open const open = CloseLast(CommandKind::PopLayer);
    LayerItem& layer = m_list.layers[m_list.commands[open.command].index];
    auto const& options = layer.options;
    // Source over is associative, so that a plain group of plain content needs no layer.
    layer.isTransparent =
        options.opacity == 1 && options.blendMode == BlendMode::Normal && (!open.blends || !options.isolated);
    if (m_open.empty())
        return;
    m_open.back().content = m_open.back().content.United(open.content);
    m_open.back().blends =
        m_open.back().blends || options.blendMode != BlendMode::Normal || (open.blends && !options.isolated);
}

} // namespace Renderer::Detail
