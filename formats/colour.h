// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/colour.h"

#include <optional>
#include <string_view>

namespace Formats {

// A colour as style sheets write it: a name (CSS Color 4, section 6.1) in any case, `transparent`, #rgb, #rgba,
// #rrggbb, #rrggbbaa, rgb() with components from 0 to 255, or hsl(). Empty for any other text.
REDRAFT_API std::optional<Renderer::Colour> ParseCssColour(std::string_view text);

} // namespace Formats
