/* SPDX-License-Identifier: Apache-2.0 */
/* Takes all memory that it gets, and asks for more. */
#include "plugin.h"

#include <stdlib.h>
#include <string.h>

PLUGIN("Test greedy", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
    for (;;) {
        void* const block = malloc(1 << 20);
        if (block == NULL)
            abort();
        memset(block, 1, 1 << 20);
    }
}
