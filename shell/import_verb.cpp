// SPDX-License-Identifier: Apache-2.0
#include "shell/document_target.h"
#include "shell/input_files.h"
#include "shell/interrupt.h"
#include "shell/own_pixels.h"
#include "shell/path_ending.h"
#include "shell/svg/import.h"
#include "shell/text_import.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/raster/bitmap_image.h"
#include "platform/story/composition.h"

#include <filesystem>
#include <optional>

namespace Shell {

namespace {

// Resolutions beyond these are taken for mistakes.
constexpr double c_minimumDpi = 1;
constexpr double c_maximumDpi = 100'000;

// One input, read and ready to be placed.
struct Source {
    Kernel::SizeT<double> pageSize;
    Raster::Format format = Raster::FormatRGBA8;
    std::optional<Svg::ImportedDrawing> drawing;
    Kernel::Counted<Node> node;
    Kernel::Counted<Story::Story> story;
};

// `guids` are those that the drawings before have taken.
Source ReadDrawing(std::string const& path, std::uint64_t& guids) {
    Svg::ReadOptions options;
    options.guids = guids;
    options.folder = std::filesystem::path(path).parent_path();
    if (options.folder.empty())
        options.folder = ".";
    auto const bytes = InputFiles::Read(path, options.limits.sourceBytes);
    Source source;
    source.drawing = Guarded(ExitStatus::Input, path, [&] {
        return Svg::Import({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, options);
    });
    for (auto const& file : source.drawing->files)
        InputFiles::Add(file);
    guids = source.drawing->guids;
    source.pageSize = source.drawing->pageSize;
    for (auto const& line : source.drawing->report.GetLines())
        Session::Note(path, "not taken over: " + line);
    return source;
}

// Document units of one pixel.
double GetPixelSize(double dpi) { return dpi >= c_minimumDpi && dpi <= c_maximumDpi ? c_unitsPerInch / dpi : 1; }

// A picture stands upright at its own resolution, or else at one pixel a unit.
Source ReadImage(std::string const& path) {
    auto const bytes = InputFiles::Read(path, c_maximumPictureBytes);
    Raster::BitmapReceiver receiver;
    auto const bitmap = Guarded(ExitStatus::Input, path, [&] {
        Raster::DecodeImage(bytes, receiver);
        return receiver.Finish();
    });
    auto const& info = receiver.GetInfo();
    if (info.otherPages != 0)
        Session::Note(path, "not taken over: " + Count(info.otherPages, "further image", "further images"));
    if (auto const kept = Raster::GetRoundedBits(info); kept != 0)
        Session::Note(path, "samples of " + std::to_string(info.storedBits) + (info.isFloat ? "-bit floats" : " bits") +
                                " are rounded to " + std::to_string(kept) +
                                (Raster::GetFormatInfo(bitmap->GetFormat()).isFloat ? "-bit floats" : " bits"));
    double pixelWidth = GetPixelSize(info.dpiX);
    double pixelHeight = GetPixelSize(info.dpiY);
    if (info.orientation >= Raster::Orientation::LeftTop)
        std::swap(pixelWidth, pixelHeight);
    auto const node = Kernel::MakeCounted<RasterNode>();
    node->SetBitmap(bitmap);
    node->SetTransform({pixelWidth, 0, 0, 0, pixelHeight, 0}, false);
    node->SetUserDescription(std::filesystem::path(path).stem().string());
    Source source;
    source.pageSize = {bitmap->GetWidth() * pixelWidth, bitmap->GetHeight() * pixelHeight};
    source.format = bitmap->GetFormat();
    source.node = node;
    return source;
}

Source ReadTextSource(std::string const& path, Arguments const& arguments) {
    TextOptions options;
    options.encoding = arguments.Has("--encoding") ? arguments.Get("--encoding") : "";
    options.language = arguments.Has("--language") ? arguments.Get("--language") : "en";
    if (arguments.Has("--keep-lines") && arguments.Has("--join-lines"))
        throw Failure(ExitStatus::Usage, "--join-lines", "contradicts --keep-lines");
    options.lines = arguments.Has("--keep-lines")   ? TextLines::Keep
                    : arguments.Has("--join-lines") ? TextLines::Join
                                                    : TextLines::Recognise;
    auto const bytes = InputFiles::Read(path, c_maximumTextBytes);
    Source source;
    Guarded(ExitStatus::Input, path, [&] {
        auto text = ReadText(bytes, options);
        source.story = std::move(text.story);
        if (!text.recognised.empty())
            Session::Note(path, "is not in UTF-8, and read as " + text.recognised + "; --encoding names another one");
        if (text.replaced != 0)
            Session::Note(path, Count(text.replaced, "malformed sequence", "malformed sequences") +
                                    " replaced; --encoding may name what the text is in");
    });
    return source;
}

Source ReadSource(std::string const& path, Arguments const& arguments, std::uint64_t& guids) {
    auto const ending = GetPathEnding(path);
    if (ending == ".svg" || ending == ".svgz")
        return ReadDrawing(path, guids);
    for (auto const picture : {".png", ".jpg", ".jpeg", ".tif", ".tiff"}) {
        if (ending == picture)
            return ReadImage(path);
    }
    if (ending == ".txt")
        return ReadTextSource(path, arguments);
    throw Failure(ExitStatus::Input, path,
                  "is of no kind that can be imported: .svg, .svgz, .png, .jpg, .tif and .txt can");
}

void Place(Source const& source, DocumentController& document, std::string const& path) {
    auto& spread = *document.GetCurrentSpread();
    if (source.story) {
        if (!PlaceText(source.story, spread))
            Session::Note(path, "the text is longer than the page");
    } else if (source.drawing)
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
    CheckDocumentTarget(target, arguments.Has("--force") ? Replaces::Everything : Replaces::DocumentsWithoutHistory);
    auto const& paths = arguments.GetAll("IN");
    Kernel::Counted<DocumentController> document;
    // What effects work on next.
    std::vector<Kernel::Counted<Node>> layers;
    std::uint64_t guids = 0;
    for (auto const& path : paths) {
        auto const source = ReadSource(path, arguments, guids);
        if (source.node)
            layers.push_back(source.node);
        Interrupt::Check(path);
        Guarded(ExitStatus::Input, path, [&] {
            if (!document && source.story) {
                document = MakeTextDocument(source.story, "Lay out " + path);
                return;
            }
            if (!document)
                document = DocumentController::CreateNew(source.pageSize, source.format, 1);
            Place(source, *document, path);
        });
    }
    if (!layers.empty())
        document->SetSelection(Kernel::MakeCounted<Selection>(layers), false);
    session.SetDocument(document, target);
    std::size_t count = 0;
    for (auto const& spread : document->GetDocument()->GetSpreads())
        count += CountContent(*spread);
    // Families are asked for when text is laid out, which none has been yet but that of this call.
    for (auto const& family : Story::GetMissingFonts())
        Session::Note(paths.front(), "no font " + OneLine(family) + ": another one takes its place");
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
