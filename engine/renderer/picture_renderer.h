// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/band_renderer.h"

namespace Renderer::Detail {

// Renders parts of a picture, best from top to bottom: outlines that reach over several bands are kept until they have
// been passed, within a fixed budget.
class PictureRenderer {
public:
    PictureRenderer(DisplayList const& list, WorkingSpace const& space, RasterOptions const& options);

    // The buffer has the rectangle's size and the target's format.
    void Render(RectInt const& rect, Raster::BufferBase& buffer);
    // A number of rows of this width that keeps memory small and all threads busy.
    int GetRowsAtOnce(int width) const;

private:
    static int GetBandRows(int width);
    void PrepareOutlines(RectInt const& strip);
    void DropOutlines(RectInt const& strip);
    void RenderBand(RectInt const& band, RectInt const& rect, Raster::BufferBase& buffer) const;

    DisplayList const& m_list;
    WorkingSpace const& m_space;
    RasterOptions const& m_options;
    std::vector<std::unique_ptr<ItemOutlines const>> m_outlines;
    // Draws that have outlines here.
    std::vector<std::uint32_t> m_prepared;
    std::size_t m_memory = 0;
    float m_background[c_maximumColours + 1]{};
};

} // namespace Renderer::Detail
