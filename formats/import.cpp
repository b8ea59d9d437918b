// SPDX-License-Identifier: Apache-2.0
#include "formats/import.h"

#include "formats/colour_profile.h"
#include "formats/path_ending.h"
#include "formats/pictures/picture_import.h"
#include "formats/svg/import.h"
#include "formats/text/text_import.h"
#include "platform/kernel/files.h"
#include "platform/raster/bitmap_image.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace Formats {

namespace {

// A file that was read, ready to be placed: one of the three.
struct Source {
    std::optional<Svg::ImportedDrawing> drawing;
    std::optional<ImportedPicture> picture;
    std::optional<ImportedText> text;
};

// The input and output of one call.
struct Call {
    std::string const& path;
    ImportOptions const& options;
    Work work;
    Report& report;
    // Of the document; of a new one as far as they are known before the file is read.
    Raster::ICCProfileSet profiles;

    std::vector<std::byte> ReadFile(std::uint64_t maximumBytes) const {
        auto bytes = Kernel::ReadWholeFile(path, maximumBytes);
        report.files.push_back(path);
        work.CheckAbort();
        return bytes;
    }
    void Add(Note::Kind kind, std::string text) const { report.notes.push_back({kind, std::move(text)}); }
};

std::string CountOf(std::size_t count, char const* one, char const* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// `guids` are those that the document has taken.
Svg::ImportedDrawing ReadDrawing(Call const& call, std::uint64_t guids) {
    Svg::ReadOptions options;
    options.limits = call.options.limits.drawing;
    options.guids = guids;
    options.profiles = call.profiles;
    options.work = call.work;
    options.folder = std::filesystem::path(call.path).parent_path();
    if (options.folder.empty())
        options.folder = ".";
    auto const bytes = call.ReadFile(options.limits.sourceBytes);
    auto drawing = Svg::Import({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, options);
    for (auto const& file : drawing.files)
        call.report.files.push_back(file.string());
    for (auto const& line : drawing.report.GetLines())
        call.Add(Note::Kind::NotTakenOver, line);
    return drawing;
}

ImportedPicture ReadPictureFile(Call const& call) {
    auto picture = ReadPicture(call.ReadFile(call.options.limits.pictureBytes), call.work);
    auto const& info = picture.info;
    if (info.otherPages != 0)
        call.Add(Note::Kind::NotTakenOver, CountOf(info.otherPages, "further image", "further images"));
    if (auto const kept = Raster::GetRoundedBits(info); kept != 0) {
        bool const isFloat = Raster::GetFormatInfo(picture.layer->GetBitmap()->GetFormat()).isFloat;
        call.Add(Note::Kind::Changed, "samples of " + std::to_string(info.storedBits) +
                                          (info.isFloat ? "-bit floats" : " bits") + " are rounded to " +
                                          std::to_string(kept) + (isFloat ? "-bit floats" : " bits"));
    }
    picture.layer->SetUserDescription(std::filesystem::path(call.path).stem().string());
    return picture;
}

ImportedText ReadTextFile(Call const& call) {
    auto text = ReadText(call.ReadFile(call.options.limits.textBytes), call.options);
    if (!text.recognised.empty())
        call.Add(Note::Kind::GuessedEncoding, "is not in UTF-8, and read as " + text.recognised);
    if (text.replaced != 0)
        call.Add(Note::Kind::MalformedText,
                 CountOf(text.replaced, "malformed sequence", "malformed sequences") + " replaced");
    return text;
}

Source ReadSource(Call const& call, std::uint64_t guids) {
    auto const ending = GetPathEnding(call.path);
    Source source;
    if (ending == ".svg" || ending == ".svgz")
        source.drawing = ReadDrawing(call, guids);
    else if (ending == ".png" || ending == ".jpg" || ending == ".jpeg" || ending == ".tif" || ending == ".tiff")
        source.picture = ReadPictureFile(call);
    else if (ending == ".txt")
        source.text = ReadTextFile(call);
    else
        throw Kernel::Exception("cannot be imported: the formats are .svg, .svgz, .png, .jpg, .tif and .txt");
    call.work.CheckAbort();
    return source;
}

void PlaceSource(Call const& call, Source const& source, DocumentController& document) {
    auto& spread = *document.GetCurrentSpread();
    if (source.drawing) {
        Svg::Place(*source.drawing, *document.GetDocument(), spread);
    } else if (source.picture) {
        auto const& layer = *source.picture->layer;
        if (source.picture->info.isSrgb && !layer.GetBitmap()->GetProfile()) {
            auto const tagged = layer.GetBitmap()->CloneDerived(nullptr);
            Raster::KeepDefaultProfile(*tagged, document.GetProfiles());
            source.picture->layer->SetBitmap(tagged);
        }
        spread.InsertChild(NodeChildListType::Plain, source.picture->layer, nullptr);
    } else {
        auto const frame = MakeTextFrame(source.text->story, spread);
        spread.InsertChild(NodeChildListType::Plain, frame, nullptr);
        if (frame->MakeComposedText()->GetRange().end != source.text->story->GetLength())
            call.Add(Note::Kind::Changed, "the text is longer than the page");
    }
}

// The highest number of the GUIDs that drawings have taken in a document.
std::uint64_t FindTakenGUIDs(DocumentNode& document) {
    std::uint64_t taken = 0;
    ForEachNode(document, [&](Node& node) {
        taken = std::max(taken, Svg::GetGUIDNumber(node.GetGUID().ToStdString()).value_or(0));
    });
    return taken;
}

} // namespace

Kernel::Counted<DocumentController> Import(std::string const& path, ImportOptions const& options, Report* report) {
    Report unwanted;
    Call call{path, options, {options.progress, options.abort}, report != nullptr ? *report : unwanted, {}};
    if (options.profile)
        call.profiles.Set(options.profile);
    auto const source = ReadSource(call, 0);
    if (source.text) {
        auto document = MakeTextDocument(source.text->story, options.limits.textPages, call.work);
        if (options.profile)
            SetDocumentProfile(*document, options.profile);
        return document;
    }
    auto const pageSize = source.drawing ? source.drawing->pageSize : source.picture->size;
    auto const format = source.picture ? source.picture->layer->GetBitmap()->GetFormat() : Raster::FormatRGBA8;
    auto document = DocumentController::CreateNew(pageSize, format, 1);
    auto const embedded =
        source.picture ? source.picture->layer->GetBitmap()->GetProfile() : Kernel::Consolidated<Raster::ICCProfile>();
    if (auto const& profile = options.profile ? options.profile : embedded)
        SetDocumentProfile(*document, profile);
    PlaceSource(call, source, *document);
    if (source.picture) {
        std::vector<Kernel::Counted<Node>> const layers{source.picture->layer};
        document->SetSelection(Kernel::MakeCounted<Selection>(layers), false);
    }
    return document;
}

std::vector<Kernel::Counted<Node>> Place(DocumentController& document, std::string const& path,
                                         ImportOptions const& options, Report* report) {
    Report unwanted;
    Call const call{path,
                    options,
                    {options.progress, options.abort},
                    report != nullptr ? *report : unwanted,
                    document.GetProfiles()};
    auto const source = ReadSource(call, FindTakenGUIDs(*document.GetDocument()));
    auto& spread = *document.GetCurrentSpread();
    Node const* const last = spread.GetLastChild(NodeChildListType::Plain);
    PlaceSource(call, source, document);
    std::vector<Kernel::Counted<Node>> placed;
    for (Node* node = last != nullptr ? last->GetNextSibling() : spread.GetFirstChild(NodeChildListType::Plain);
         node != nullptr; node = node->GetNextSibling())
        placed.emplace_back(node);
    return placed;
}

} // namespace Formats
