/* SPDX-License-Identifier: Apache-2.0 */
/* Has no instance of itself to give. */
#include "plugin.h"

int f0r_init(void) { return 1; }
void f0r_get_plugin_info(struct plugin_info* info) { info->name = "Test empty"; }
void* f0r_construct(unsigned width, unsigned height) {
    s_width = width;
    s_height = height;
    return 0;
}
void f0r_destruct(void* instance) { (void)instance; }
void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
}
