/* SPDX-License-Identifier: Apache-2.0 */
/* The interface of a frei0r 1.x plug-in, for those that tests run. */
#pragma once

#include <stdint.h>

struct plugin_info {
    char const* name;
    char const* author;
    int type;
    int colour_model;
    int frei0r_version;
    int major_version;
    int minor_version;
    int parameter_count;
    char const* explanation;
};

struct param_info {
    char const* name;
    int type;
    char const* explanation;
};

static unsigned s_width, s_height;

#define PLUGIN(NAME, TYPE, MODEL)                                                                                      \
    int f0r_init(void) { return 1; }                                                                                   \
    void f0r_get_plugin_info(struct plugin_info* info) {                                                               \
        info->name = NAME;                                                                                             \
        info->type = TYPE;                                                                                             \
        info->colour_model = MODEL;                                                                                    \
    }                                                                                                                  \
    void* f0r_construct(unsigned width, unsigned height) {                                                             \
        s_width = width;                                                                                               \
        s_height = height;                                                                                             \
        return &s_width;                                                                                               \
    }                                                                                                                  \
    void f0r_destruct(void* instance) { (void)instance; }
