// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/element.h"
#include "platform/renderer/filter.h"

#include <optional>
#include <string_view>
#include <vector>

namespace Formats::Svg {

// One of the functions of `filter` (W3C Filter Effects 1, section 6) as the primitive that it stands for. Empty on a
// name or arguments that are none.
std::optional<Renderer::FilterPrimitive> ParseFilterFunction(std::string_view name, std::string_view arguments,
                                                             Element const& user);

// The colour matrices of section 9.6.
std::vector<double> MakeSaturation(double amount);
std::vector<double> MakeHueRotation(double radians);

} // namespace Formats::Svg
