// SPDX-License-Identifier: Apache-2.0
#include "shell/export.h"

#include "shell/path_ending.h"
#include "shell/picture.h"
#include "shell/svg/export.h"

#include <array>

namespace Shell {

namespace {

// What the nodes cover, out to whole units.
Kernel::RectT<double> GetArea(std::vector<Kernel::Counted<Node>> const& nodes, std::string const& subject) {
    Kernel::RectT<double> area;
    for (auto const& node : nodes)
        area = area.United(node->GetBounds(true));
    if (!nodes.empty() && area.IsEmpty())
        throw Failure(ExitStatus::Input, subject, "the selection draws nothing");
    return {std::floor(area.left), std::floor(area.top), std::ceil(area.right), std::ceil(area.bottom)};
}

void ExportPicture(Session& session, DocumentController& document, std::string const& path, PictureKind kind,
                   std::vector<Kernel::Counted<Node>> const& nodes) {
    SpreadPictureOptions options;
    options.format = document.GetDocument()->GetFormat();
    if (!nodes.empty()) {
        options.area = GetArea(nodes, session.GetDocumentPath());
        options.background = options.background.WithAlpha(0);
    }
    WritePicture(session.Files(), path, kind, *document.GetCurrentSpread(), nodes, options, session.GetDocumentPath());
}

void ExportPng(Session& session, DocumentController& document, std::string const& path,
               std::vector<Kernel::Counted<Node>> const& nodes) {
    ExportPicture(session, document, path, PictureKind::Png, nodes);
}

void ExportTiff(Session& session, DocumentController& document, std::string const& path,
                std::vector<Kernel::Counted<Node>> const& nodes) {
    ExportPicture(session, document, path, PictureKind::Tiff, nodes);
}

void ExportSvg(Session& session, DocumentController& document, std::string const& path,
               std::vector<Kernel::Counted<Node>> const& nodes) {
    auto const drawing = Guarded(ExitStatus::Input, session.GetDocumentPath(), [&] {
        return nodes.empty() ? Svg::ExportSpread(*document.GetCurrentSpread()) : Svg::ExportNodes(nodes);
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
