// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "frame/persistence/optional_picture.h"
#include "platform/learning/remote_inference.h"
#include "platform/raster/buffer.h"

// How programs outside the library give what a model is asked for.

inline constexpr std::string_view c_aspectNames[] = {"square", "landscape", "portrait", "wide", "tall"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Learning::RemoteInference::TextToImageAspect>{
    c_aspectNames};

inline constexpr std::string_view c_guidanceModeNames[] = {"none", "loose", "close", "fill"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Learning::RemoteInference::TextToImageGuidanceMode>{
    c_guidanceModeNames};

inline constexpr std::string_view c_generationStyleNames[] = {
    "none", "photo", "illustration", "painting", "watercolour", "drawing", "comic", "pixels", "vector"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Learning::RemoteInference::GenerationStyle>{
    c_generationStyleNames};

namespace Commands {

inline constexpr std::string_view c_promptHelp = "the words that say what is to be seen";
inline constexpr std::string_view c_negativeHelp = "the words for what is not wanted";
inline constexpr std::string_view c_aspectHelp = "the shape of the picture";
inline constexpr std::string_view c_guidanceHelp = "a picture to begin with";
inline constexpr std::string_view c_guidanceModeHelp = "the use that is made of that picture";
inline constexpr std::string_view c_enhanceHelp = "whether the service may write the prompt anew";

// The pixels of a picture in sRGB, as models take them; null for none.
REDRAFT_API Kernel::Counted<Raster::BufferRGBA8> MakeGuidanceImage(OptionalPicture const& picture);
// The model of a name, with the service's own settings; without a name, the service's own model.
REDRAFT_API Learning::RemoteInference::TextToImageModel MakeModel(Kernel::String const& name);

} // namespace Commands
