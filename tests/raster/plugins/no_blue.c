/* SPDX-License-Identifier: Apache-2.0 */
/* Takes blue away, which is the first byte. Notes whether sides are multiples of 8 by clearing all when they are not.
 */
#include "plugin.h"

PLUGIN("Test no blue", 0, 0)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    for (unsigned i = 0; i != s_width * s_height; ++i)
        out[i] = s_width % 8 != 0 || s_height % 8 != 0 || (uintptr_t)in % 16 != 0 ? 0 : in[i] & 0xffffff00u;
}
