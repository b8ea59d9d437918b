/* SPDX-License-Identifier: Apache-2.0 */
/* Claims a great many parameters, and knows neither their names nor their types; its own name does not end soon. */
#include "plugin.h"

#include <string.h>

static char s_name[10000];

int f0r_init(void) { return 0; }
void f0r_get_plugin_info(struct plugin_info* info) {
    memset(s_name, '\n', sizeof s_name - 1);
    info->name = s_name;
    info->type = 0;
    info->colour_model = 77;
    info->parameter_count = 0x7fffffff;
}
void f0r_get_param_info(struct param_info* info, int index) {
    info->name = index % 2 == 0 ? s_name : NULL;
    info->type = -index;
}
void f0r_set_param_value(void* instance, void* value, int index) {
    (void)instance;
    (void)value;
    (void)index;
}
void* f0r_construct(unsigned width, unsigned height) {
    s_width = width;
    s_height = height;
    return s_name;
}
void f0r_destruct(void* instance) { (void)instance; }
void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    memcpy(out, in, s_width * s_height * 4);
}
