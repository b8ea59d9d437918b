// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_nodes.h"
#include "shell/artboards.h"
#include "shell/export.h"
#include "shell/history_walk.h"
#include "shell/selector.h"
#include "shell/slices.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include <filesystem>
#include <optional>
#include <unordered_set>

namespace Shell {

namespace {

constexpr NumberRange c_scales{1e-4, 1e4};

void AnswerFile(Session& session, std::string const& path) {
    if (session.IsJson()) {
        session.Json().BeginObject();
        session.Json().Member("file", path);
        session.Json().EndObject();
    } else {
        session.Print(OneLine(path) + "\n");
    }
}

// The colour below everything; empty where none is named.
std::optional<Renderer::Colour> FindBackground(Arguments const& arguments) {
    auto const text = arguments.Find("--background");
    if (!text)
        return std::nullopt;
    if (*text == "none")
        return Renderer::Colour::FromRGB(1, 1, 1).WithAlpha(0);
    return ParseOption("--background", [&] { return ParseColour(*text); });
}

// Those that draw on their own account: in tree order, without what lies below another of them.
std::vector<Kernel::Counted<Node>> GetTopNodes(Selection const& selection) {
    std::vector<Kernel::Counted<Node>> tops;
    std::unordered_set<Node const*> chosen;
    auto const nodes = selection.GetOrdered()->GetNodes();
    for (auto const& node : nodes)
        chosen.insert(node.get());
    for (auto const& node : nodes) {
        Node const* above = node->GetParent();
        while (above != nullptr && !chosen.contains(above))
            above = above->GetParent();
        if (above == nullptr)
            tops.push_back(node);
    }
    return tops;
}

// Selectors are about the current spread. Afterwards it is again the one that it was.
class CurrentSpreadScope {
public:
    explicit CurrentSpreadScope(DocumentController& document)
        : m_document(document), m_spread(document.GetCurrentSpread()) {}
    CurrentSpreadScope(CurrentSpreadScope const&) = delete;
    CurrentSpreadScope& operator=(CurrentSpreadScope const&) = delete;
    ~CurrentSpreadScope() { m_document.SetCurrentSpread(m_spread); }

private:
    DocumentController& m_document;
    Kernel::Counted<SpreadNode> m_spread;
};

} // namespace

ExitStatus RunRender(Session& session, Arguments const& arguments) {
    auto const& path = arguments.Get("-o");
    if (Formats::FindExportFormat(path) != Formats::ExportFormat::Png)
        throw Failure(ExitStatus::Usage, path, "needs the file name extension .png");
    auto const scale =
        ParseOption("--scale", [&] { return ParseNumber(arguments.Find("--scale").value_or("1"), c_scales); });
    auto const position = arguments.Find("--position");
    auto& document = position ? session.OpenToLook(arguments) : session.Open(arguments);
    auto spread = document.GetCurrentSpread();
    if (auto const number = arguments.Find("--spread"))
        spread = ParseOption("--spread", [&] { return FindSpread(document, *number); });
    session.Files().SetForced(arguments.Has("--force"));
    if (position)
        WalkTo(document, ParsePosition(document, "--position", *position), session.GetDocumentPath());
    Formats::ExportOptions options;
    options.spread = spread;
    options.scale = scale;
    options.background = FindBackground(arguments);
    if (auto const artboard = arguments.Find("--artboard"))
        options.nodes = {ParseOption("--artboard", [&] { return FindArtboard(*spread, *artboard); })};
    WriteExport(session, document, path, Formats::ExportFormat::Png, options);
    AnswerFile(session, path);
    return ExitStatus::Done;
}

namespace {

// Options of pictures say nothing about a text, and the other way round: whoever gives them expects something else.
void RefuseOptions(Arguments const& arguments, std::initializer_list<char const*> names, char const* reason) {
    for (auto const* name : names) {
        if (arguments.Has(name))
            throw Failure(ExitStatus::Usage, name, reason);
    }
}

ExitStatus ExportText(Session& session, Arguments const& arguments, Formats::TextFormat format) {
    auto const& path = arguments.Get("-o");
    RefuseOptions(arguments, {"--scale", "--background", "--quality"},
                  "is for .png, .jpg and .tif: a text has no pixels");
    Formats::TextExportOptions options;
    options.isInReadingOrder = arguments.Has("--articles");
    if (options.isInReadingOrder) {
        RefuseOptions(arguments, {"--select", "--spread"}, "chooses one text, and --articles takes all of them");
    }
    if (format != Formats::TextFormat::EPub && format != Formats::TextFormat::Html)
        RefuseOptions(arguments, {"--title", "--author"}, "is for .epub and .htm");
    auto& document = session.Open(arguments);
    CurrentSpreadScope const spreadScope(document);
    if (auto const number = arguments.Find("--spread"))
        document.SetCurrentSpread(ParseOption("--spread", [&] { return FindSpread(document, *number); }));
    if (auto const selector = arguments.Find("--select")) {
        options.selection =
            Kernel::MakeCounted<Selection>(ParseOption("--select", [&] { return FindNodes(document, *selector); }));
        if (!options.selection->GetFirstSelectionItemOfType<FrameTextNode>())
            throw Failure(ExitStatus::NothingToDo, "--select", "selects no frame of text");
    }
    options.title = arguments.Find("--title").value_or("");
    options.creator = arguments.Find("--author").value_or("");
    session.Files().SetForced(arguments.Has("--force"));
    WriteTextExport(session, document, path, format, std::move(options));
    AnswerFile(session, path);
    return ExitStatus::Done;
}

// Those that pictures have in common, whatever they show.
Formats::ExportOptions ParsePictureOptions(Arguments const& arguments, Formats::ExportFormat format) {
    Formats::ExportOptions options;
    if (auto const scale = arguments.Find("--scale"))
        options.scale = ParseOption("--scale", [&] { return ParseNumber(*scale, c_scales); });
    options.background = FindBackground(arguments);
    if (auto const quality = arguments.Find("--quality")) {
        if (format != Formats::ExportFormat::Jpeg)
            throw Failure(ExitStatus::Usage, "--quality", "is for .jpg");
        options.quality = static_cast<int>(ParseOption("--quality", [&] { return ParseInteger(*quality, 1, 100); }));
    }
    if (options.background && options.background->GetAlpha() < 1 && format == Formats::ExportFormat::Jpeg)
        throw Failure(ExitStatus::Usage, "--background", "has to be opaque for .jpg");
    if (options.scale && format == Formats::ExportFormat::Svg)
        throw Failure(ExitStatus::Usage, "--scale", "is for .png, .jpg and .tif: a drawing has no pixels");
    if (options.background && format == Formats::ExportFormat::Svg)
        throw Failure(ExitStatus::Usage, "--background", "is for .png, .jpg and .tif: a drawing has none");
    return options;
}

struct SliceFormat {
    std::string_view name;
    Formats::ExportFormat format;
    std::string_view ending;
};
constexpr SliceFormat c_sliceFormats[] = {{"png", Formats::ExportFormat::Png, ".png"},
                                          {"jpeg", Formats::ExportFormat::Jpeg, ".jpg"},
                                          {"tiff", Formats::ExportFormat::Tiff, ".tif"},
                                          {"svg", Formats::ExportFormat::Svg, ".svg"}};

SliceFormat ParseSliceFormat(std::string_view name) {
    for (auto const& format : c_sliceFormats) {
        if (format.name == name)
            return format;
    }
    throw ValueError("is png, jpeg, tiff or svg, not " + Quote(name));
}

void AnswerSlices(Session& session, std::vector<Slice> const& slices, std::vector<std::string> const& paths) {
    if (!session.IsJson()) {
        for (auto const& path : paths)
            session.Print(OneLine(path) + "\n");
        return;
    }
    auto& json = session.Json();
    json.BeginObject();
    json.Key("files").BeginArray();
    for (std::size_t i = 0; i != slices.size(); ++i) {
        json.BeginObject();
        json.Member("number", slices[i].number);
        json.Member("file", paths[i]);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

// Each spread whose slice is included, to a file of its own; the files appear together.
ExitStatus ExportSlices(Session& session, Arguments const& arguments) {
    RefuseOptions(arguments, {"--articles", "--title", "--author"}, "is for texts, and --slices takes spreads");
    RefuseOptions(arguments, {"--select", "--spread"}, "chooses what to export, and --slices takes what is included");
    auto const& folder = arguments.Get("-o");
    auto const format =
        ParseOption("--format", [&] { return ParseSliceFormat(arguments.Find("--format").value_or("png")); });
    auto options = ParsePictureOptions(arguments, format.format);
    auto& document = session.Open(arguments);
    auto const slices = FindExportedSlices(document, format.ending);
    session.Files().SetForced(arguments.Has("--force"));
    session.Files().MakeFolder(folder);
    std::vector<std::string> paths;
    for (auto const& slice : slices) {
        paths.push_back((std::filesystem::path(folder) / (slice.filename + std::string(format.ending))).string());
        options.spread = slice.spread;
        WriteExport(session, document, paths.back(), format.format, options);
    }
    AnswerSlices(session, slices, paths);
    return ExitStatus::Done;
}

} // namespace

ExitStatus RunExport(Session& session, Arguments const& arguments) {
    if (arguments.Has("--slices"))
        return ExportSlices(session, arguments);
    RefuseOptions(arguments, {"--format"}, "is for --slices: the file's ending tells the format");
    auto const& path = arguments.Get("-o");
    if (auto const text = Formats::FindTextFormat(path))
        return ExportText(session, arguments, *text);
    auto const format = FindExportFormat(path);
    RefuseOptions(arguments, {"--articles", "--title", "--author"}, "is for texts: .epub, .htm, .rtf and .txt");
    auto& document = session.Open(arguments);
    CurrentSpreadScope const spreadScope(document);
    if (auto const number = arguments.Find("--spread"))
        document.SetCurrentSpread(ParseOption("--spread", [&] { return FindSpread(document, *number); }));
    auto options = ParsePictureOptions(arguments, format);
    options.spread = document.GetCurrentSpread();
    if (auto const selector = arguments.Find("--select")) {
        options.nodes = GetTopNodes(Selection(ParseOption("--select", [&] { return FindNodes(document, *selector); })));
        if (options.nodes.empty())
            throw Failure(ExitStatus::NothingToDo, "--select", "selects nothing to export");
    }
    session.Files().SetForced(arguments.Has("--force"));
    WriteExport(session, document, path, format, options);
    AnswerFile(session, path);
    return ExitStatus::Done;
}

} // namespace Shell
