// SPDX-License-Identifier: Apache-2.0
#include "shell/export.h"

#include "shell/own_pixels.h"
#include "shell/path_ending.h"
#include "shell/picture.h"
#include "shell/svg/export.h"

#include <array>
#include <cmath>

namespace Shell {

namespace {

Kernel::RectT<double> GetBounds(std::vector<Kernel::Counted<Node>> const& nodes, std::string const& subject) {
    Kernel::RectT<double> area;
    for (auto const& node : nodes)
        area = area.United(node->GetBounds(true));
    if (area.IsEmpty())
        throw Failure(ExitStatus::Input, subject, "the selection draws nothing");
    return area;
}

// Out to whole pixels, counted from the spread's origin.
Kernel::RectT<double> GetWholePixels(Kernel::RectT<double> const& area, double scale) {
    // An edge within a millionth of a pixel of the grid lies on it.
    auto const down = [&](double x) { return std::floor(x * scale + 1e-6) / scale; };
    auto const up = [&](double x) { return std::ceil(x * scale - 1e-6) / scale; };
    return {down(area.left), down(area.top), up(area.right), up(area.bottom)};
}

void ExportPicture(Session& session, DocumentController& document, std::string const& path, PictureKind kind,
                   ExportOptions const& wanted) {
    auto const& subject = session.GetDocumentPath();
    SpreadPictureOptions options;
    options.format = document.GetDocument()->GetFormat();
    options.nodes.assign(wanted.nodes.begin(), wanted.nodes.end());
    auto const area = wanted.nodes.empty() ? wanted.spread->GetBaseBox(true) : GetBounds(wanted.nodes, subject);
    if (wanted.scale) {
        options.scale = *wanted.scale;
    } else {
        auto tops = options.nodes;
        if (tops.empty())
            tops.emplace_back(wanted.spread);
        auto const own = FindOwnPixels(tops, area);
        if (own.picture && WriteOwnPicture(session.Files(), path, kind, *own.picture))
            return;
        options.scale = own.scale.value_or(1);
    }
    if (!wanted.nodes.empty()) {
        options.area = GetWholePixels(area, options.scale);
        options.background = options.background.WithAlpha(0);
    }
    WritePicture(session.Files(), path, kind, *wanted.spread, options, subject);
}

void ExportPng(Session& session, DocumentController& document, std::string const& path, ExportOptions const& options) {
    ExportPicture(session, document, path, PictureKind::Png, options);
}

void ExportTiff(Session& session, DocumentController& document, std::string const& path, ExportOptions const& options) {
    ExportPicture(session, document, path, PictureKind::Tiff, options);
}

void ExportSvg(Session& session, DocumentController&, std::string const& path, ExportOptions const& options) {
    if (options.scale)
        throw Failure(ExitStatus::Usage, "--scale", "is for .png and .tif: a drawing has no pixels");
    auto const drawing = Guarded(ExitStatus::Input, session.GetDocumentPath(), [&] {
        return options.nodes.empty() ? Svg::ExportSpread(*options.spread) : Svg::ExportNodes(options.nodes);
    });
    for (auto const& line : drawing.report.GetLines())
        Session::Note(path, "not taken over: " + line);
    session.Files().Begin(path);
    session.Files().Write(drawing.text);
    session.Files().End();
}

struct Kind {
    std::string_view ending;
    Exporter exporter;
};

} // namespace

Exporter FindExporter(std::string const& path) {
    constexpr std::array c_kinds{Kind{".svg", &ExportSvg}, Kind{".png", &ExportPng}, Kind{".tif", &ExportTiff},
                                 Kind{".tiff", &ExportTiff}};
    constexpr std::array<std::string_view, 5> c_later{".rtf", ".txt", ".epub", ".htm", ".html"};
    auto const ending = GetPathEnding(path);
    for (auto const& kind : c_kinds) {
        if (ending == kind.ending)
            return kind.exporter;
    }
    for (auto const later : c_later) {
        if (ending == later)
            throw Failure(ExitStatus::Output, path, "the export of text is not available yet");
    }
    throw Failure(ExitStatus::Usage, path, "needs an ending that tells the format: .svg, .png or .tif");
}

} // namespace Shell
