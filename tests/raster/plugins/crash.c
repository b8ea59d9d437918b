/* SPDX-License-Identifier: Apache-2.0 */
/* Dies on pictures that have a pixel of red 0 and green 77; leaves others as they are. */
#include "plugin.h"

#include <signal.h>
#include <string.h>

PLUGIN("Test crash", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    for (unsigned i = 0; i != s_width * s_height; ++i) {
        if ((in[i] & 0xffff) == 77 << 8)
            raise(SIGSEGV);
    }
    memcpy(out, in, s_width * s_height * 4);
}
