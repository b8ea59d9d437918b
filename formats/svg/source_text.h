// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/limits.h"
#include "formats/svg/report.h"

#include <string>
#include <string_view>

namespace Formats::Svg {

// The text of a source as UTF-8: decompressed when it is gzip, converted from UTF-16 (by its byte order mark, or by
// its first characters as XML 1.0, appendix F, describes), from a declared ISO 8859-1, Windows-1252 or US-ASCII, with
// malformed sequences replaced by U+FFFD, internal entities expanded and the document type declaration left out.
// Nothing outside the source is read. Throws Kernel::Exception where the source is damaged or costs more than the
// limits allow.
std::string ReadSourceText(std::string_view bytes, DrawingLimits const& limits, Report& report);

// The steps of ReadSourceText, for callers that need only one.
bool IsGzip(std::string_view bytes);
std::string Inflate(std::string_view bytes, DrawingLimits const& limits);
std::string DecodeToUtf8(std::string_view bytes, DrawingLimits const& limits, Report& report);
std::string ExpandEntities(std::string text, DrawingLimits const& limits, Report& report);

} // namespace Formats::Svg
