/* SPDX-License-Identifier: Apache-2.0 */
/* Prints, and reads what it finds; leaves the picture as it is. */
#include "plugin.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

PLUGIN("Test noisy", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    char buffer[4096];
    for (int i = 0; i != 10000; ++i)
        printf("noise on standard output\n");
    fflush(stdout);
    fprintf(stderr, "noise on standard error\n");
    while (read(0, buffer, sizeof buffer) > 0)
        continue;
    memcpy(out, in, s_width * s_height * 4);
}
