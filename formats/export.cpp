// SPDX-License-Identifier: Apache-2.0
#include "formats/export.h"

#include "formats/file_output.h"
#include "formats/path_ending.h"
#include "formats/pictures/picture_export.h"
#include "formats/svg/export.h"

namespace Formats {

namespace {

void ExportDrawing(DocumentController& document, Output& output, ExportOptions const& options, Report& report) {
    Work const work{options.progress, options.abort};
    auto const spread = options.spread ? options.spread : Kernel::Counted<SpreadNode>(document.GetCurrentSpread());
    auto const drawing =
        options.nodes.empty() ? Svg::ExportSpread(*spread, work) : Svg::ExportNodes(options.nodes, work);
    for (auto& line : drawing.report.GetLines())
        report.notes.push_back({Note::Kind::NotTakenOver, std::move(line)});
    output.Begin();
    output.Write(std::as_bytes(std::span(drawing.text)));
}

} // namespace

Output::~Output() = default;

std::optional<ExportFormat> FindExportFormat(std::string const& path) {
    auto const ending = GetPathEnding(path);
    if (ending == ".svg")
        return ExportFormat::Svg;
    if (ending == ".png")
        return ExportFormat::Png;
    if (ending == ".tif" || ending == ".tiff")
        return ExportFormat::Tiff;
    if (ending == ".jpg" || ending == ".jpeg")
        return ExportFormat::Jpeg;
    return std::nullopt;
}

void Export(DocumentController& document, ExportFormat format, Output& output, ExportOptions const& options,
            Report* report) {
    Report unwanted;
    Report& kept = report != nullptr ? *report : unwanted;
    if (format == ExportFormat::Svg)
        ExportDrawing(document, output, options, kept);
    else
        ExportPicture(document, format, output, options, kept);
}

void Export(DocumentController& document, std::string const& path, ExportOptions const& options, Report* report) {
    auto const format = FindExportFormat(path);
    if (!format)
        throw Kernel::Exception(path + ": needs a file name extension for the format: .svg, .png, .jpg or .tif");
    FileOutput output(path);
    Export(document, *format, output, options, report);
    output.Commit();
}

} // namespace Formats
