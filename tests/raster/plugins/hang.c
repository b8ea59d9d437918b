/* SPDX-License-Identifier: Apache-2.0 */
/* Never comes back. */
#include "plugin.h"

#include <unistd.h>

PLUGIN("Test hang", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
    for (;;)
        pause();
}
