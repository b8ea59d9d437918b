// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/pixel.h"

#include <optional>
#include <vector>

namespace Raster {

// A list of colours, each 16-bit R, G, B and A. At most one entry is the transparent one.
class REDRAFT_ENGINE DynamicPalette {
public:
    using Entry = Pixel<Red16, Green16, Blue16, Alpha16, X5>;

    // The 216 opaque colours whose red, green and blue are multiples of 51 out of 255; red is slowest, blue fastest.
    void AddWebSafeColours();
    // Any format; the colour is converted by the plain rules. `transparent` makes the entry the transparent one.
    void AddColour(DynamicPixel const& colour, bool transparent);

    std::size_t GetSize() const { return m_entries.size(); }
    Entry const& GetEntry(std::size_t index) const { return m_entries.at(index); }
    std::optional<std::size_t> GetTransparentIndex() const { return m_transparent; }

private:
    std::vector<Entry> m_entries;
    std::optional<std::size_t> m_transparent;
};

} // namespace Raster
