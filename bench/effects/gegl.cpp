// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/timing.h"

#include <gegl.h>
#include <memory>

namespace Bench {

namespace {

struct Unreference {
    void operator()(GeglBuffer* buffer) const { g_object_unref(buffer); }
};

std::function<void()> PrepareClone() {
    gegl_init(nullptr, nullptr);
    g_object_set(gegl_config(), "threads", 1, nullptr);
    auto const* const format = babl_format("R'G'B'A u8");
    GeglRectangle const extent{0, 0, c_cloneSide, c_cloneSide};
    std::shared_ptr<GeglBuffer> const buffer(gegl_buffer_new(&extent, format), Unreference());
    auto const pixels = MakePicture(c_cloneSide);
    gegl_buffer_set(buffer.get(), &extent, 0, format, pixels.data(), GEGL_AUTO_ROWSTRIDE);
    return [=] {
        std::shared_ptr<GeglBuffer> const clone(gegl_buffer_dup(buffer.get()), Unreference());
        std::uint8_t const pixel[] = {1, 2, 3, 4};
        GeglRectangle const place{5000, 4000, 1, 1};
        gegl_buffer_set(clone.get(), &place, 0, format, pixel, GEGL_AUTO_ROWSTRIDE);
    };
}

} // namespace

void RegisterGegl() { Register({"clone-and-edit/GEGL", {}}, 20, &PrepareClone); }

} // namespace Bench
