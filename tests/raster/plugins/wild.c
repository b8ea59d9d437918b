/* SPDX-License-Identifier: Apache-2.0 */
/* Dies when it is asked for its parameters. */
#include "plugin.h"

#include <stdlib.h>

int f0r_init(void) { return 1; }
void f0r_get_plugin_info(struct plugin_info* info) {
    info->name = "Test wild";
    info->parameter_count = 1;
}
void f0r_get_param_info(struct param_info* info, int index) {
    (void)info;
    (void)index;
    abort();
}
void f0r_set_param_value(void* instance, void* value, int index) {
    (void)instance;
    (void)value;
    (void)index;
}
void* f0r_construct(unsigned width, unsigned height) {
    s_width = width;
    s_height = height;
    return &s_width;
}
void f0r_destruct(void* instance) { (void)instance; }
void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    (void)in;
    (void)out;
}
