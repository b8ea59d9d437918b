// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/raster_render_target.h"

namespace Renderer {

// Makes the pixels of one picture part by part. What several parts show is prepared once, within a fixed budget of
// memory, and let go of when it has been passed. The pixels are those of the whole picture.
class REDRAFT_ENGINE PictureParts {
public:
    // Where the work on a part is done: by the threads of Kernel::Dispatch, or by the calling thread alone.
    enum class Route { Parallel, Serial };

    // The drawing in the target so far. Pixels outside `area`, which lies inside the picture, will not be asked
    // for.
    PictureParts(Kernel::Counted<RasterRenderTarget const> target, Kernel::RectT<int> const& area, Route route);
    ~PictureParts();

    // Pixels of a rectangle inside the area, into a buffer of its size and the target's format. Fastest from top to
    // bottom, and among parts side by side from left to right. Errors as RasterRenderTarget::Render.
    void Render(Kernel::RectT<int> const& part, Raster::BufferBase& pixels);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Renderer
