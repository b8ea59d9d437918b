// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_renderer.h"
#include "shell/output_files.h"
#include "shell/own_pixels.h"

#include <string>
#include <vector>

namespace Shell {

// What a document's pages can be drawn in.
bool IsPageFormat(Raster::Format format);

enum class PictureKind { Png, Tiff };

// Draws a spread, or the nodes that are wanted of it, and writes the picture, a few rows at a time. PNG, which has
// neither ink nor Lab nor floats, gets RGB. What has a damaged bitmap is left out, with a note. `subject` names the
// document in notes and failures. Throws Failure.
void WritePicture(OutputFiles& files, std::string const& path, PictureKind kind, SpreadNode const& spread,
                  SpreadPictureOptions options, std::string const& subject);

// Writes a picture as it is, each of its pixels in its own depth, or in RGB for PNG. False: pixels of it are damaged,
// and nothing was written. Throws Failure.
bool WriteOwnPicture(OutputFiles& files, std::string const& path, PictureKind kind, OwnPicture const& picture);

// Writes pixels that are there already, as PNG. Throws Failure.
void WritePixels(OutputFiles& files, std::string const& path, Raster::BufferRGBA8 const& pixels);

} // namespace Shell
