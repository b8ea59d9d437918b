// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/band_renderer.h"
#include "engine/renderer/command_rows.h"

namespace Renderer::Detail {

// Renders parts of a picture, best from top to bottom: the coverage of outlines is kept until they have been passed,
// within a fixed budget.
class PictureRenderer {
public:
    // Where the work is done: on all threads, or on the calling one.
    enum class Route { Parallel, Serial };

    // Pixels outside `area` will not be asked for.
    PictureRenderer(DisplayList const& list, WorkingSpace const& space, RasterOptions const& options,
                    RectInt const& area, Route route = Route::Parallel);

    // The rectangle lies inside the area. The buffer has its size and the target's format.
    void Render(RectInt const& rect, Raster::BufferBase& buffer);
    // A number of rows of this width that keeps memory small and all threads busy.
    int GetRowsAtOnce(int width) const;

private:
    static int GetBandRows(int width);
    template <class F>
    void ForEachIndex(std::size_t count, F const& work) const;
    void PrepareOutlines(RectInt const& strip);
    void DropOutlines(RectInt const& strip);
    void RenderBand(RectInt const& band, std::span<std::uint32_t const> commands, RectInt const& rect,
                    Raster::BufferBase& buffer) const;
    // Writes what a row of the canvas shows into a row of the buffer.
    void StoreRow(Canvas const& canvas, int y, Raster::BufferBase& buffer, int row) const;

    DisplayList const& m_list;
    WorkingSpace const& m_space;
    RasterOptions const& m_options;
    RectInt m_area;
    Route m_route;
    CommandRows m_rows;
    std::vector<std::unique_ptr<ItemOutlines const>> m_outlines;
    // Draws that have outlines here.
    std::vector<std::uint32_t> m_prepared;
    std::size_t m_memory = 0;
    float m_background[c_maximumColours + 1]{};
};

} // namespace Renderer::Detail
