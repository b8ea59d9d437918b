/* SPDX-License-Identifier: Apache-2.0 */
/* A generator, which is no filter. */
#include "plugin.h"

PLUGIN("Test source", 1, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
}
