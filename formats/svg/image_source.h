// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/drawing.h"

#include <filesystem>

namespace Formats::Svg {

// The encoded bytes of an `image`.
struct ImageBytes {
    std::string bytes;
    // In lower case, as the data URI gives it; empty for a file.
    std::string mediaType;
    // Of a file, relative to the drawing's folder.
    std::string file;
};

// The content that an `image` refers to: a data URI, or a regular file in the drawing's folder or below it. Absolute
// paths, URLs, ways out of the folder, also by links, and what is larger than the limits are refused: counted, and
// nothing is read.
std::optional<ImageBytes> LoadImage(Element const& image);

// The pieces, for their own tests. Empty where the text is not of that form.
std::optional<ImageBytes> DecodeDataUri(std::string_view uri, std::size_t maxBytes);
std::optional<std::string> DecodeBase64(std::string_view text);
// RFC 4648, section 4, with padding and without line ends.
std::string EncodeBase64(std::string_view bytes);
// True for "http:" and the like.
bool HasScheme(std::string_view reference);
// The regular file below the folder that a relative path leads to, links followed; empty where it leads out of it.
std::filesystem::path FindBelow(std::filesystem::path const& folder, std::string const& relative);
// Percent escapes replaced. Broken ones stay as they are.
std::string DecodePercent(std::string_view text);

} // namespace Formats::Svg
