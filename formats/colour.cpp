// SPDX-License-Identifier: Apache-2.0
#include "formats/colour.h"

#include "formats/svg/colour.h"

namespace Formats {

std::optional<Renderer::Colour> ParseCssColour(std::string_view text) {
    auto const colour = Svg::ParseColour(text);
    if (!colour)
        return std::nullopt;
    return Renderer::Colour::FromRGB(static_cast<float>(colour->red), static_cast<float>(colour->green),
                                     static_cast<float>(colour->blue), static_cast<float>(colour->alpha));
}

} // namespace Formats
