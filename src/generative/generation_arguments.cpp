// SPDX-License-Identifier: Apache-2.0
#include "generative/generation_arguments.h"

#include "platform/raster/conversion.h"

namespace Commands {

Kernel::Counted<Raster::BufferRGBA8> MakeGuidanceImage(OptionalPicture const& picture) {
    auto const& bitmap = picture.picture;
    if (!bitmap || bitmap->IsEmpty())
        return {};
    auto image = Kernel::MakeCounted<Raster::BufferRGBA8>(bitmap->GetWidth(), bitmap->GetHeight());
    auto const converter = Raster::ICCManager::GetInstance().MakeConverter(bitmap->GetFormat(), bitmap->GetProfile(),
                                                                           Raster::FormatRGBA8, {});
    Raster::ConvertPixels(*bitmap->GetBase(), bitmap->GetBase()->GetBounds(), *image, *converter);
    return image;
}

Learning::RemoteInference::TextToImageModel MakeModel(Kernel::String const& name) {
    Learning::RemoteInference::TextToImageModel model;
    model.name = name;
    return model;
}

} // namespace Commands
