// SPDX-License-Identifier: Apache-2.0
#include "shell/interrupt.h"
#include "shell/path_ending.h"
#include "shell/svg/import.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/kernel/files.h"

#include <filesystem>
#include <optional>

namespace Shell {

namespace {

// One input, read and ready to be placed.
struct Source {
    Kernel::SizeT<double> pageSize;
    Raster::Format format = Raster::FormatRGBA8;
    std::optional<Svg::ImportedDrawing> drawing;
    Kernel::Counted<Node> node;
};

std::vector<std::byte> ReadInput(std::string const& path, std::uint64_t maximumBytes) {
    return Guarded(ExitStatus::Input, path, [&] { return Kernel::ReadWholeFile(path, maximumBytes); });
}

Source ReadDrawing(std::string const& path) {
    Svg::ReadOptions options;
    options.folder = std::filesystem::path(path).parent_path();
    if (options.folder.empty())
        options.folder = ".";
    auto const bytes = ReadInput(path, options.limits.sourceBytes);
    Source source;
    source.drawing = Guarded(ExitStatus::Input, path, [&] {
        return Svg::Import({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, options);
    });
    source.pageSize = source.drawing->pageSize;
    for (auto const& line : source.drawing->report.GetLines())
        Session::Note(path, "not taken over: " + line);
    return source;
}

Source ReadSource(std::string const& path) {
    auto const ending = GetPathEnding(path);
    if (ending == ".svg" || ending == ".svgz")
        return ReadDrawing(path);
    if (ending == ".txt")
        throw Failure(ExitStatus::Input, path, "the import of text is not available yet");
    throw Failure(ExitStatus::Input, path, "is of no kind that can be imported: .svg, .svgz, .png, .jpg and .tif can");
}

void Place(Source const& source, DocumentController& document) {
    auto& spread = *document.GetCurrentSpread();
    if (source.drawing)
        Svg::Place(*source.drawing, *document.GetDocument(), spread);
    else
        spread.InsertChild(NodeChildListType::Plain, source.node, nullptr);
}

std::size_t CountContent(SpreadNode& spread) {
    std::size_t count = 0;
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        ForEachNode(*child, [&](Node&) { ++count; });
    return count;
}

} // namespace

// The first input makes the page; the others are placed on it.
ExitStatus RunImport(Session& session, Arguments const& arguments) {
    auto const& target = arguments.Get("-o");
    auto const& paths = arguments.GetAll("IN");
    Kernel::Counted<DocumentController> document;
    for (auto const& path : paths) {
        auto const source = ReadSource(path);
        Interrupt::Check(path);
        Guarded(ExitStatus::Input, path, [&] {
            if (!document)
                document = DocumentController::CreateNew(source.pageSize, source.format, 1);
            Place(source, *document);
        });
    }
    session.SetDocument(document, target);
    auto const count = CountContent(*document->GetCurrentSpread());
    if (session.IsJson()) {
        session.Json().BeginObject();
        session.Json().Member("file", target);
        session.Json().Member("nodes", count);
        session.Json().Member("symbols", document->GetSymbolCount());
        session.Json().EndObject();
    } else {
        session.Print(OneLine(target) + ": " + Count(count, "node", "nodes") + " from " +
                      Count(paths.size(), "file", "files") + "\n");
    }
    return ExitStatus::Done;
}

} // namespace Shell
