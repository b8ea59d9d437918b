// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/report.h"
#include "platform/document/document_controller.h"
#include "platform/raster/codec.h"
#include "platform/renderer/colour.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Formats {

enum class ExportFormat { Svg, Png, Tiff, Jpeg };

// By the path's ending: .svg, .png, .tif, .tiff, .jpg or .jpeg.
REDRAFT_API std::optional<ExportFormat> FindExportFormat(std::string const& path);

struct ExportOptions {
    // Null: the document's current one.
    Kernel::Counted<SpreadNode> spread;
    // Only these, on a picture as large as they are and without a background; empty: the whole spread.
    std::vector<Kernel::Counted<Node>> nodes;
    // Of pictures: pixels a document unit. Empty: those of the pictures on the spread, which then keep every pixel, or
    // else one.
    std::optional<double> scale;
    // Of JPEG, 1 to 100.
    int quality = Raster::c_usualJpegQuality;
    // Of pictures; empty: the document's. PNG, which has neither ink nor Lab nor floats, gets RGB, as JPEG does for
    // Lab.
    std::optional<Raster::Format> pixelFormat;
    // Of pictures: the colour below everything, with its alpha. Empty: white, or nothing where only nodes are drawn.
    // JPEG has no alpha: white below nodes, and Kernel::Exception for a background that is not opaque.
    std::optional<Renderer::Colour> background;
    // Called now and then with the share that is done, 0 to 1, on the thread that exports.
    std::function<void(float)> progress;
    // Polled when it is not null: Kernel::AbortException once it is true.
    bool const* abort = nullptr;
};

// Takes the bytes of an exported file.
class REDRAFT_API Output {
public:
    Output() = default;
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;
    virtual ~Output();
    // Before the first byte. Called again where a picture is made anew without the layers that turned out to be
    // damaged: then all that was written before is void.
    virtual void Begin() = 0;
    virtual void Write(std::span<std::byte const> bytes) = 0;
};

// Writes one spread of a document, or some of its nodes. `report` receives what the format has no place for, and what
// could not be read. Throws Kernel::Exception, and whatever the output throws.
REDRAFT_API void Export(DocumentController& document, ExportFormat format, Output& output,
                        ExportOptions const& options = {}, Report* report = nullptr);

// The same into a file, which appears whole or not at all and replaces one of that name. The ending tells the format.
REDRAFT_API void Export(DocumentController& document, std::string const& path, ExportOptions const& options = {},
                        Report* report = nullptr);

} // namespace Formats
