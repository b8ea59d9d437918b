/* SPDX-License-Identifier: Apache-2.0 */
/* Never gets loaded. */
#include "plugin.h"

#include <unistd.h>

PLUGIN("Test sleeper", 0, 1)

__attribute__((constructor)) static void Sleep(void) {
    for (;;)
        pause();
}

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
}
