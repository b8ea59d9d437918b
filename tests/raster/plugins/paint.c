/* SPDX-License-Identifier: Apache-2.0 */
/* Paints all pixels as its parameters say: red is a number of 255ths, green and blue are a colour's, alpha is full when
 * a switch is on. The position and the length of the text come to the first two pixels. */
#include "plugin.h"

#include <string.h>

static double s_red, s_opaque, s_x, s_y;
static float s_green, s_blue;
static unsigned s_length;

int f0r_init(void) { return 1; }
void f0r_get_plugin_info(struct plugin_info* info) {
    info->name = "Test paint";
    info->colour_model = 1;
    info->parameter_count = 5;
}
void f0r_get_param_info(struct param_info* info, int index) {
    static char const* const s_names[] = {"Opaque", "Red Part", "Colour", "Place", "Text"};
    info->name = s_names[index];
    info->type = index;
}
void f0r_set_param_value(void* instance, void* value, int index) {
    (void)instance;
    if (index == 0)
        s_opaque = *(double*)value;
    if (index == 1)
        s_red = *(double*)value;
    if (index == 2) {
        s_green = ((float*)value)[1];
        s_blue = ((float*)value)[2];
    }
    if (index == 3) {
        s_x = ((double*)value)[0];
        s_y = ((double*)value)[1];
    }
    if (index == 4)
        s_length = (unsigned)strlen(*(char**)value);
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
    uint32_t const pixel = (uint32_t)s_red | (uint32_t)(s_green * 255 + 0.5f) << 8 |
                           (uint32_t)(s_blue * 255 + 0.5f) << 16 | (s_opaque >= 0.5 ? 0xff000000u : 0);
    for (unsigned i = 0; i != s_width * s_height; ++i)
        out[i] = pixel;
    out[0] = 0xff000000u | (uint32_t)s_x | (uint32_t)s_y << 8;
    out[1] = 0xff000000u | s_length;
}
