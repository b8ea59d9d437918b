/* SPDX-License-Identifier: Apache-2.0 */
/* Colours become their complements; alpha, the last byte, stays. */
#include "plugin.h"

PLUGIN("Test negative", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    for (unsigned i = 0; i != s_width * s_height; ++i)
        out[i] = in[i] ^ 0x00ffffffu;
}
