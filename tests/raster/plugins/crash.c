/* SPDX-License-Identifier: Apache-2.0 */
/* Dies on pictures whose first pixel has no red; leaves others as they are. */
#include "plugin.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>

PLUGIN("Test crash", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    if ((in[0] & 0xff) == 0)
        raise(SIGKILL);
    memcpy(out, in, s_width * s_height * 4);
}
