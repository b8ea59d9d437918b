// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/picture_renderer.h"

#include "platform/kernel/dispatch.h"

#include <algorithm>

namespace Renderer::Detail {

namespace {

// Pixels of a band; with five planes of floats about 5 MB.
constexpr int c_bandPixels = 1 << 18;
constexpr int c_bandsAtOnce = 8;
// Outlines kept at a time, in bytes. Those that do not fit are made for each band anew.
constexpr std::size_t c_outlineBudget = std::size_t{128} << 20;
// Outlines made between looks at the budget.
constexpr std::size_t c_prepareAtOnce = 64;

} // namespace

PictureRenderer::PictureRenderer(DisplayList const& list, WorkingSpace const& space, RasterOptions const& options)
    : m_list(list), m_space(space), m_options(options), m_outlines(list.draws.size()) {
    auto const colour = space.ToWorking(options.background, options.profiles);
    float const alpha = options.background.GetAlpha();
    for (int c = 0; c != space.GetColourCount(); ++c)
        m_background[c] = colour[static_cast<std::size_t>(c)] * alpha;
    m_background[space.GetColourCount()] = alpha;
}

int PictureRenderer::GetBandRows(int width) { return std::clamp(c_bandPixels / width, 16, 256); }
int PictureRenderer::GetRowsAtOnce(int width) const { return c_bandsAtOnce * GetBandRows(width); }

void PictureRenderer::Render(RectInt const& rect, Raster::BufferBase& buffer) {
    int const bandRows = GetBandRows(rect.GetWidth()), stripRows = GetRowsAtOnce(rect.GetWidth());
    for (int top = rect.top; top < rect.bottom; top += stripRows) {
        RectInt const strip{rect.left, top, rect.right, std::min(top + stripRows, rect.bottom)};
        PrepareOutlines(strip);
        auto const bands = static_cast<std::size_t>((strip.GetHeight() + bandRows - 1) / bandRows);
        Kernel::ParallelFor(bands, [&](std::size_t i) {
            int const first = strip.top + static_cast<int>(i) * bandRows;
            RenderBand({strip.left, first, strip.right, std::min(first + bandRows, strip.bottom)}, rect, buffer);
        });
        DropOutlines(strip);
    }
}

void PictureRenderer::PrepareOutlines(RectInt const& strip) {
    std::vector<std::uint32_t> wanted;
    for (Command const& command : m_list.commands) {
        if (command.kind == CommandKind::Draw && !m_outlines[command.index] &&
            !command.bounds.Intersected(strip).IsEmpty())
            wanted.push_back(command.index);
    }
    for (std::size_t start = 0; start < wanted.size() && m_memory < c_outlineBudget; start += c_prepareAtOnce) {
        std::size_t const count = std::min(c_prepareAtOnce, wanted.size() - start);
        Kernel::ParallelFor(count, [&](std::size_t i) {
            auto const index = wanted[start + i];
            auto outlines = std::make_unique<ItemOutlines>(MakeOutlines(m_list.draws[index], m_list));
            outlines->fill.ShrinkToFit();
            outlines->line.ShrinkToFit();
            outlines->alignedLine.ShrinkToFit();
            m_outlines[index] = std::move(outlines);
        });
        for (std::size_t i = start; i != start + count; ++i) {
            m_memory += m_outlines[wanted[i]]->GetMemoryUse();
            m_prepared.push_back(wanted[i]);
        }
    }
}

// Rendering goes downwards: what ends in this strip is not needed again.
void PictureRenderer::DropOutlines(RectInt const& strip) {
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

void PictureRenderer::RenderBand(RectInt const& band, RectInt const& rect, Raster::BufferBase& buffer) const {
    int const planes = m_space.GetColourCount() + 1;
    Surface surface(band, planes);
    if (m_options.background.GetAlpha() > 0) {
        for (int plane = 0; plane != planes; ++plane) {
            for (int y = band.top; y != band.bottom; ++y)
                std::fill_n(surface.At(plane, band.left, y), band.GetWidth(), m_background[plane]);
        }
    }
    BandRenderer renderer(m_list, m_space, m_outlines);
    renderer.Draw(surface, m_options.abort);
    float const* rows[c_maximumColours + 1];
    for (int y = band.top; y != band.bottom; ++y) {
        for (int plane = 0; plane != planes; ++plane)
            rows[plane] = surface.At(plane, band.left, y);
        m_space.StoreRow(rows, band.GetWidth(), buffer, y - rect.top);
    }
}

} // namespace Renderer::Detail
