// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/renderer/fill.h"

namespace Commands {

// What paints an image's rectangle with its picture: curves in the image's node space show it where the image did.
inline Kernel::Counted<Renderer::FillDescriptor const> MakeImageFill(ImageNode const& image) {
    auto const fill = Kernel::MakeCounted<Renderer::BitmapFill>(image.GetImage());
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::Consolidated<Renderer::Fill>(Kernel::Counted<Renderer::Fill const>(fill)), true,
        Raster::AffineTransform::Params{}, Renderer::BlendMode::Normal, false);
}

} // namespace Commands
