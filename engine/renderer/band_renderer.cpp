// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/band_renderer.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <atomic>

namespace Renderer::Detail {

namespace {

constexpr float c_perCoverage = 1.0f / static_cast<float>(c_fullCoverage);

bool IsSet(bool const* flag) {
    return flag != nullptr && std::atomic_ref<bool>(*const_cast<bool*>(flag)).load(std::memory_order_relaxed);
}

} // namespace

void BandRenderer::Draw(Canvas& canvas, std::span<std::uint32_t const> commands, bool const* abort) {
    m_targets.clear();
    m_clips.clear();
    m_targets.emplace_back().surface = &canvas;
    m_clips.push_back({canvas.GetBounds(), nullptr});
    // Commands up to this one are left out.
    std::int64_t skipped = -1;
    for (std::uint32_t const index : commands) {
        if (index <= skipped)
            continue;
        Command const& command = m_list.commands[index];
        switch (command.kind) {
        case CommandKind::Draw: {
            RectInt const rect = command.bounds.Intersected(GetLimit());
            if (rect.IsEmpty())
                break;
            if (IsSet(abort))
                throw Kernel::AbortException();
            if (!m_outlines[command.index])
                MakeOutlines(m_list.draws[command.index], m_list, m_made);
            DrawOne(m_list.draws[command.index], m_outlines[command.index] ? *m_outlines[command.index] : m_made, rect);
            break;
        }
        case CommandKind::PushClip:
            PushClip(command);
            break;
        case CommandKind::PopClip:
            m_clips.pop_back();
            break;
        case CommandKind::PushLayer:
            if (!PushLayer(command))
                skipped = command.match;
            break;
        case CommandKind::PopLayer:
            PopLayer();
            break;
        case CommandKind::BeginMask:
            if (!BeginMask(command)) {
                skipped = command.match;
                m_clips.push_back({});
            }
            break;
        case CommandKind::EndMask:
            EndMask(command);
            break;
        }
    }
    // Layers and masks that were left open end here.
    while (m_targets.size() > 1) {
        if (!m_targets.back().isMask) {
            PopLayer();
            continue;
        }
        m_clips.resize(m_targets.back().clipDepth);
        m_targets.pop_back();
    }
}

template <class F>
void BandRenderer::Sweep(Shape const& shape, RectInt const& rect, Geometry::WindingOrderMode winding, bool antialias,
                         F&& emit) {
    if (shape.runs)
        shape.runs->Visit(rect, emit);
    else
        SweepPolygons(m_rasteriser, shape.polygons, rect, winding, antialias, emit);
}

void BandRenderer::Paint(Shape const& shape, RectInt const& rect, Geometry::WindingOrderMode winding, bool antialias,
                         SpanPainter::Paint const& paint) {
    SpanPainter painter(m_space, *m_targets.back().surface, paint, rect, m_scratch);
    Sweep(shape, rect, winding, antialias,
          [&](int y, int left, int right, std::uint32_t coverage) { painter.Add(y, left, right, coverage); });
    painter.Finish();
}

std::unique_ptr<Surface> BandRenderer::MakeMask(Shape const& shape, RectInt const& rect,
                                                Geometry::WindingOrderMode winding, bool antialias) {
    auto mask = std::make_unique<Surface>(rect, 1);
    Sweep(shape, rect, winding, antialias, [&](int y, int left, int right, std::uint32_t coverage) {
        std::fill_n(mask->At(0, left, y), right - left, static_cast<float>(coverage) * c_perCoverage);
    });
    return mask;
}

void BandRenderer::DrawOne(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect) {
    bool const behind = item.lineStyle && item.lineStyle->GetDrawBehindFill();
    if (item.line && behind)
        DrawLine(item, outlines, rect);
    if (item.fill)
        Paint(outlines.fill, rect, item.winding, item.antialias,
              {item.fill.get(), item.second.get(), m_clips.back().mask.get(), item.fillMode});
    if (item.line && !behind)
        DrawLine(item, outlines, rect);
}

void BandRenderer::DrawLine(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect) {
    if (!outlines.alignedLine.empty())
        DrawAlignedLine(item, outlines, rect);
    if (!outlines.line.empty())
        Paint(outlines.line, rect, Geometry::WindingOrderMode::NonZero, item.antialias,
              {item.line.get(), item.second.get(), m_clips.back().mask.get(), item.lineMode});
}

void BandRenderer::DrawAlignedLine(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect) {
    auto const line = MakeMask(outlines.alignedLine, rect, Geometry::WindingOrderMode::NonZero, item.antialias);
    auto const inside = MakeMask(outlines.fill, rect, item.winding, item.antialias);
    bool const wantsInside = item.lineStyle->GetStrokeAlignment() == StrokeAlignment::Inside;
    SpanPainter painter(m_space, *m_targets.back().surface,
                        {item.line.get(), item.second.get(), m_clips.back().mask.get(), item.lineMode}, rect,
                        m_scratch);
    for (int y = rect.top; y != rect.bottom; ++y) {
        float* const row = line->At(0, rect.left, y);
        float const* const fill = inside->At(0, rect.left, y);
        for (int i = 0; i != rect.GetWidth(); ++i)
            row[i] *= wantsInside ? fill[i] : 1 - fill[i];
        painter.AddRow(y, rect.left, row, rect.GetWidth());
    }
}

void BandRenderer::PushClip(Command const& command) {
    ClipItem const& clip = m_list.clips[command.index];
    RectInt const rect = command.bounds.Intersected(GetLimit());
    if (!clip.curves || rect.IsEmpty()) {
        m_clips.push_back({});
        return;
    }
    if (clip.isPixelRectangle) {
        // The mask reaches farther than needed; masks are asked for by place.
        m_clips.push_back({rect, m_clips.back().mask});
        return;
    }
    Shape outline;
    AddFillOutline(*clip.curves, clip.toPixels, m_list.GetVisible(), outline.polygons);
    auto mask = MakeMask(outline, rect, clip.winding, true);
    MultiplyByClip(*mask);
    m_clips.push_back({rect, std::shared_ptr<Surface const>(std::move(mask))});
}

void BandRenderer::MultiplyByClip(Surface& mask) const {
    Surface const* const outer = m_clips.back().mask.get();
    if (outer == nullptr)
        return;
    RectInt const& rect = mask.GetBounds();
    for (int y = rect.top; y != rect.bottom; ++y) {
        float* const row = mask.At(0, rect.left, y);
        float const* const factors = outer->At(0, rect.left, y);
        for (int i = 0; i != rect.GetWidth(); ++i)
            row[i] *= factors[i];
    }
}

bool BandRenderer::PushLayer(Command const& command) {
    LayerItem const& layer = m_list.layers[command.index];
    RectInt const rect = command.bounds.Intersected(GetLimit());
    if (rect.IsEmpty())
        return false;
    Target target;
    target.options = layer.options;
    target.clipDepth = m_clips.size();
    if (layer.isTransparent) {
        target.surface = m_targets.back().surface;
        m_targets.push_back(std::move(target));
        m_clips.push_back(m_clips.back());
        return true;
    }
    int const planes = m_space.GetColourCount() + 1;
    if (layer.options.isolated) {
        target.owned = std::make_unique<Canvas>(rect, planes);
    } else {
        target.owned = std::make_unique<Canvas>(rect, planes + 1);
        target.backdrop = std::make_unique<Surface>(rect, planes);
        for (int y = rect.top; y != rect.bottom; ++y) {
            m_targets.back().surface->Open(y, rect.left, rect.right);
            target.owned->Open(y, rect.left, rect.right);
            for (int plane = 0; plane != planes; ++plane) {
                float const* const below = m_targets.back().surface->At(plane, rect.left, y);
                std::copy_n(below, rect.GetWidth(), target.owned->At(plane, rect.left, y));
                std::copy_n(below, rect.GetWidth(), target.backdrop->At(plane, rect.left, y));
            }
        }
    }
    target.surface = target.owned.get();
    m_targets.push_back(std::move(target));
    // The clip is applied once, when the layer is composited.
    m_clips.push_back({rect, nullptr});
    return true;
}

namespace {

// The content of a layer that is not isolated, without the backdrop that it began with (ISO 32000-1, 11.4.8):
//   C = Cn + (Cn - C0) (a0 / ag - a0), with the group's own alpha ag. All planes are multiplied by alpha.
void RemoveBackdrop(Canvas& layer, Surface const& backdrop, int colours) {
    RectInt const& rect = layer.GetBounds();
    for (int y = rect.top; y != rect.bottom; ++y) {
        float* const groupAlpha = layer.At(colours + 1, rect.left, y);
        float* const alpha = layer.At(colours, rect.left, y);
        float const* const alpha0 = backdrop.At(colours, rect.left, y);
        for (int i = 0; i != rect.GetWidth(); ++i) {
            float const ag = groupAlpha[i], a0 = alpha0[i], an = alpha[i];
            for (int c = 0; c != colours; ++c) {
                float& value = *layer.At(c, rect.left + i, y);
                float const cn = an > 0 ? value / an : 0;
                float const c0 = a0 > 0 ? *backdrop.At(c, rect.left + i, y) / a0 : 0;
                value = ag > 0 ? std::max(0.0f, (cn + (cn - c0) * (a0 / ag - a0))) * ag : 0;
            }
            alpha[i] = ag;
        }
    }
}

} // namespace

void BandRenderer::PopLayer() {
    Target const layer = std::move(m_targets.back());
    m_targets.pop_back();
    m_clips.resize(layer.clipDepth);
    if (!layer.owned)
        return;
    int const colours = m_space.GetColourCount();
    if (layer.backdrop)
        RemoveBackdrop(*layer.owned, *layer.backdrop, colours);
    RectInt const rect = layer.owned->GetBounds();
    Surface const* const mask = m_clips.back().mask.get();
    std::vector<std::pair<int, int>> painted;
    for (int y = rect.top; y != rect.bottom; ++y) {
        // Clear pixels of the layer change nothing, whatever the blend mode.
        painted.clear();
        layer.owned->ForEachRun(y, [&](int left, int right, float const* pixel) {
            if (pixel == nullptr || pixel[colours] != 0)
                painted.emplace_back(left, right);
        });
        for (auto const& [left, right] : painted)
            CompositeLayer(layer, y, left, right, mask);
    }
}

void BandRenderer::CompositeLayer(Target const& layer, int y, int left, int right, Surface const* mask) {
    int const colours = m_space.GetColourCount();
    float const opacity = static_cast<float>(std::clamp(layer.options.opacity, 0.0, 1.0));
    auto const count = static_cast<std::size_t>(right - left);
    m_scratch.coverage.resize(std::max(m_scratch.coverage.size(), count));
    for (std::size_t i = 0; i != count; ++i)
        m_scratch.coverage[i] = opacity * (mask == nullptr ? 1 : mask->At(0, left, y)[i]);
    Canvas& below = *m_targets.back().surface;
    below.Open(y, left, right);
    layer.owned->Open(y, left, right);
    BlendTarget target{};
    BlendSource source{};
    for (int plane = 0; plane <= colours; ++plane) {
        target.planes[plane] = below.At(plane, left, y);
        source.planes[plane] = layer.owned->At(plane, left, y);
    }
    if (below.GetPlaneCount() > colours + 1)
        target.groupAlpha = below.At(colours + 1, left, y);
    Composite(m_space, layer.options.blendMode, target, source, m_scratch.coverage.data(), count);
}

bool BandRenderer::BeginMask(Command const& command) {
    RectInt const rect = command.bounds.Intersected(GetLimit());
    if (rect.IsEmpty())
        return false;
    Target target;
    target.isMask = true;
    target.clipDepth = m_clips.size();
    target.owned = std::make_unique<Canvas>(rect, m_space.GetColourCount() + 1);
    target.surface = target.owned.get();
    m_targets.push_back(std::move(target));
    m_clips.push_back({rect, nullptr});
    return true;
}

void BandRenderer::EndMask(Command const& command) {
    Target const layer = std::move(m_targets.back());
    m_targets.pop_back();
    m_clips.resize(layer.clipDepth);
    int const colours = m_space.GetColourCount();
    RectInt const rect = layer.owned->GetBounds();
    auto mask = std::make_unique<Surface>(rect, 1);
    for (int y = rect.top; y != rect.bottom; ++y) {
        if (layer.owned->IsClear(y, rect.left, rect.right))
            continue;
        layer.owned->Open(y, rect.left, rect.right);
        float* const row = mask->At(0, rect.left, y);
        float const* const alpha = layer.owned->At(colours, rect.left, y);
        for (int i = 0; i != rect.GetWidth(); ++i) {
            row[i] = alpha[i];
            if (m_list.masks[command.index] == MaskKind::Alpha || !(alpha[i] > 0))
                continue;
            float colour[c_maximumColours]{};
            for (int c = 0; c != colours; ++c)
                colour[c] = *layer.owned->At(c, rect.left + i, y) / alpha[i];
            float const luminance = m_list.masks[command.index] == MaskKind::LinearLuminance
                                        ? m_space.GetLinearLuminance(colour)
                                        : m_space.GetLuminance(colour);
            row[i] *= std::clamp(luminance, 0.0f, 1.0f);
        }
    }
    MultiplyByClip(*mask);
    m_clips.push_back({rect, std::shared_ptr<Surface const>(std::move(mask))});
}

} // namespace Renderer::Detail
