// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Raster {

// How a bitmap is read between its pixels, as Renderer::Resampling has them.
enum class ResamplerType : int { Nearest = 0, Bilinear = 1, Bicubic = 2 };

} // namespace Raster
