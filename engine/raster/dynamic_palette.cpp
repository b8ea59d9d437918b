// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/dynamic_palette.h"

namespace Raster {

void DynamicPalette::AddWebSafeColours() {
    // 51 / 255 of 65535.
    constexpr unsigned c_step = 13107;
    for (unsigned r = 0; r != 6; ++r) {
        for (unsigned g = 0; g != 6; ++g) {
            for (unsigned b = 0; b != 6; ++b)
                m_entries.push_back({{static_cast<std::uint16_t>(r * c_step), static_cast<std::uint16_t>(g * c_step),
                                      static_cast<std::uint16_t>(b * c_step), 65535}});
        }
    }
}

void DynamicPalette::AddColour(DynamicPixel const& colour, bool transparent) {
    m_entries.push_back(colour.Converted(FormatRGBA16).As<Entry>());
    if (transparent)
        m_transparent = m_entries.size() - 1;
}

} // namespace Raster
