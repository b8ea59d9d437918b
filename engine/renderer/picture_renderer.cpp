// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/picture_renderer.h"

#include "platform/kernel/dispatch.h"
#include "platform/raster/hardware.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// Pixels of a band: its four or five planes of floats fit into the cache of one processor.
constexpr int c_bandPixels = 1 << 16;
constexpr int c_bandsAtOnce = 32;
// Outlines and coverage kept at a time, in bytes. Those that do not fit are made for each band anew.
constexpr std::size_t c_outlineBudget = std::size_t{128} << 20;
// Outlines made between looks at the budget.
constexpr std::size_t c_prepareAtOnce = 64;

} // namespace

PictureRenderer::PictureRenderer(DisplayList const& list, WorkingSpace const& space, RasterOptions const& options,
                                 RectInt const& area, Route route)
    : m_list(list),
      m_space(space),
      m_options(options),
      m_area(area),
      m_route(route),
      m_rows(list),
      m_outlines(list.draws.size()) {
    float const alpha = options.background.GetAlpha();
    if (!(alpha > 0))
        return;
    auto const colour = space.ToWorking(options.background, options.profiles);
    for (int c = 0; c != space.GetColourCount(); ++c)
        m_background[c] = colour[static_cast<std::size_t>(c)] * alpha;
    m_background[space.GetColourCount()] = alpha;
}

int PictureRenderer::GetBandRows(int width) { return std::clamp(c_bandPixels / width, 4, 256); }
int PictureRenderer::GetRowsAtOnce(int width) const { return c_bandsAtOnce * GetBandRows(width); }

template <class F>
void PictureRenderer::ForEachIndex(std::size_t count, F const& work) const {
    if (m_route == Route::Parallel) {
        return Kernel::ParallelFor(count, [&work](std::size_t i) {
            Raster::HardwareGPUEnabledSession const software(false);
            work(i);
        });
    }
    for (std::size_t i = 0; i != count; ++i)
        work(i);
}

void PictureRenderer::Render(RectInt const& rect, Raster::BufferBase& buffer) {
    int const bandRows = GetBandRows(rect.GetWidth()), stripRows = GetRowsAtOnce(rect.GetWidth());
    for (int top = rect.top; top < rect.bottom; top += stripRows) {
        RectInt const strip{rect.left, top, rect.right, std::min(top + stripRows, rect.bottom)};
        PrepareOutlines(strip);
        auto const bands = m_rows.Distribute(strip, bandRows);
        ForEachIndex(bands.size(), [&](std::size_t i) {
            int const first = strip.top + static_cast<int>(i) * bandRows;
            RenderBand({strip.left, first, strip.right, std::min(first + bandRows, strip.bottom)}, bands[i], rect,
                       buffer);
        });
        DropOutlines(strip);
    }
}

void PictureRenderer::PrepareOutlines(RectInt const& strip) {
    std::vector<Command const*> wanted;
    for (Command const& command : m_list.commands) {
        if (command.kind == CommandKind::Draw && !m_outlines[command.index] &&
            !command.bounds.Intersected(strip).IsEmpty())
            wanted.push_back(&command);
    }
    for (std::size_t start = 0; start < wanted.size() && m_memory < c_outlineBudget; start += c_prepareAtOnce) {
        std::size_t const count = std::min(c_prepareAtOnce, wanted.size() - start);
        ForEachIndex(count, [&](std::size_t i) {
            static thread_local CoverageMaker s_maker;
            Command const& command = *wanted[start + i];
            m_outlines[command.index] =
                s_maker.Make(m_list.draws[command.index], m_list, command.bounds.Intersected(m_area));
        });
        for (std::size_t i = start; i != start + count; ++i) {
            m_memory += m_outlines[wanted[i]->index]->GetMemoryUse();
            m_prepared.push_back(wanted[i]->index);
        }
    }
}

// Rendering goes downwards, and in a strip from left to right: what ends in the strip is not needed again after the
// last part of it.
void PictureRenderer::DropOutlines(RectInt const& strip) {
    if (strip.right != m_area.right)
        return;
    std::vector<bool> goesOn(m_prepared.empty() ? 0 : m_outlines.size());
    for (Command const& command : m_list.commands) {
        if (!goesOn.empty() && command.kind == CommandKind::Draw)
            goesOn[command.index] = command.bounds.bottom > strip.bottom;
    }
    std::erase_if(m_prepared, [&](std::uint32_t index) {
        if (goesOn[index])
            return false;
        m_memory -= m_outlines[index]->GetMemoryUse();
        m_outlines[index].reset();
        return true;
    });
}

void PictureRenderer::RenderBand(RectInt const& band, std::span<std::uint32_t const> commands, RectInt const& rect,
                                 Raster::BufferBase& buffer) const {
    bool const hasBackground = m_options.background.GetAlpha() > 0;
    Canvas canvas(band, m_space.GetColourCount() + 1, hasBackground ? m_background : nullptr);
    BandRenderer renderer(m_list, m_space, m_outlines);
    renderer.Draw(canvas, commands, m_options.abort);
    for (int y = band.top; y != band.bottom; ++y)
        StoreRow(canvas, y, buffer, y - rect.top);
}

void PictureRenderer::StoreRow(Canvas const& canvas, int y, Raster::BufferBase& buffer, int row) const {
    int const start = canvas.GetBounds().left;
    canvas.ForEachRun(y, [&](int left, int right, float const* pixel) {
        if (pixel != nullptr) {
            m_space.StorePixels(pixel, right - left, buffer, row, left - start);
            return;
        }
        float const* planes[c_maximumColours + 1];
        for (int plane = 0; plane != canvas.GetPlaneCount(); ++plane)
            planes[plane] = canvas.At(plane, left, y);
        m_space.StoreRow(planes, right - left, buffer, row, left - start);
    });
}

} // namespace Renderer::Detail
