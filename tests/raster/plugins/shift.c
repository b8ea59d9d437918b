/* SPDX-License-Identifier: Apache-2.0 */
/* Moves the picture by one pixel to the right and down; the edges stay. */
#include "plugin.h"

PLUGIN("Test shift", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    for (unsigned y = 0; y != s_height; ++y) {
        for (unsigned x = 0; x != s_width; ++x)
            out[y * s_width + x] = in[(y == 0 ? 0 : y - 1) * s_width + (x == 0 ? 0 : x - 1)];
    }
}
