// SPDX-License-Identifier: Apache-2.0
#include "formats/import.h"

#include "formats/colour_profile.h"
#include "formats/path_ending.h"
#include "formats/pictures/picture_import.h"
#include "formats/svg/image_source.h"
#include "formats/svg/import.h"
#include "formats/text/markdown_import.h"
#include "formats/text/text_import.h"
#include "platform/kernel/files.h"
#include "platform/raster/bitmap_image.h"
#include "platform/story/linked_file.h"

#include <filesystem>
#include <map>
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

// The pictures that a text refers to, each file read once.
class PicturesOfText {
public:
    explicit PicturesOfText(Call const& call) : m_call(call), m_folder(std::filesystem::path(call.path).parent_path()) {
        if (m_folder.empty())
            m_folder = ".";
    }

    std::optional<LoadedPicture> Load(std::string const& target) {
        auto const known = m_pictures.find(target);
        if (known == m_pictures.end()) {
            auto picture = Read(target);
            if (picture)
                m_pictures.emplace(target, *picture);
            return picture ? std::optional<LoadedPicture>({picture->layer, picture->size}) : std::nullopt;
        }
        // A node stands in one place.
        auto const& first = known->second;
        auto again = Kernel::MakeCounted<RasterNode>();
        again->SetBitmap(first.layer->GetBitmap());
        again->SetTransform(m_matrices.at(target), false);
        return LoadedPicture{again, first.size};
    }

    void TellLosses() const {
        for (auto const& [reason, lost] : m_lost)
            m_call.Add(Note::Kind::NotTakenOver,
                       reason + ": " + std::to_string(lost.count) + " (first " + lost.first + ")");
    }

private:
    struct Lost {
        std::size_t count = 0;
        std::string first;
    };

    void AddLost(std::string const& reason, std::string const& target) {
        constexpr std::size_t c_shown = 100;
        auto& lost = m_lost[reason];
        if (lost.count++ == 0)
            lost.first = target.size() > c_shown ? target.substr(0, c_shown) + "..." : target;
    }

    std::optional<std::vector<std::byte>> ReadBytes(std::string const& target) {
        auto const& limits = m_call.options.limits;
        if (target.starts_with("data:")) {
            auto const decoded = Svg::DecodeDataUri(target, limits.drawing.imageBytes);
            if (!decoded) {
                AddLost("broken picture data", target);
                return std::nullopt;
            }
            auto const* const begin = reinterpret_cast<std::byte const*>(decoded->bytes.data());
            return std::vector<std::byte>(begin, begin + decoded->bytes.size());
        }
        if (Svg::HasScheme(target) || target.starts_with("//")) {
            AddLost("picture that is not a local file", target);
            return std::nullopt;
        }
        auto const name = Svg::DecodePercent(target.substr(0, target.find_first_of("?#")));
        auto const file =
            name.find('\0') == name.npos && !name.empty() ? Svg::FindBelow(m_folder, name) : std::filesystem::path();
        if (file.empty()) {
            AddLost("picture that is missing in the text's folder", target);
            return std::nullopt;
        }
        auto bytes = Kernel::ReadWholeFile(file.string(), limits.drawing.imageBytes);
        m_call.report.files.push_back((m_folder / name).lexically_normal().string());
        return bytes;
    }

    std::optional<ImportedPicture> Read(std::string const& target) {
        try {
            auto const bytes = ReadBytes(target);
            if (!bytes)
                return std::nullopt;
            auto picture = ReadPicture(*bytes, m_call.work);
            if (picture.info.isSrgb && !picture.layer->GetBitmap()->GetProfile()) {
                auto const tagged = picture.layer->GetBitmap()->CloneDerived(nullptr);
                Raster::KeepDefaultProfile(*tagged, m_call.profiles);
                picture.layer->SetBitmap(tagged);
            }
            m_matrices.emplace(target, picture.layer->GetMatrix());
            picture.layer->SetUserDescription(std::filesystem::path(target).stem().string());
            return picture;
        } catch (Kernel::AbortException const&) {
            throw;
        } catch (Kernel::Exception const&) {
            AddLost("picture that cannot be read", target);
            return std::nullopt;
        }
    }

    Call const& m_call;
    std::filesystem::path m_folder;
    std::map<std::string, ImportedPicture> m_pictures;
    // As the files say it, before they were placed.
    std::map<std::string, Raster::AffineTransform::Params> m_matrices;
    std::map<std::string, Lost> m_lost;
};

ImportedText ReadMarkdownFile(Call const& call) {
    PicturesOfText pictures(call);
    MarkdownOptions options;
    options.encoding = call.options.encoding;
    options.language = call.options.language;
    options.work = call.work;
    options.loadPicture = [&](std::string const& target) { return pictures.Load(target); };
    auto markdown = ReadMarkdown(call.ReadFile(call.options.limits.markdownBytes), options);
    pictures.TellLosses();
    if (markdown.html != 0)
        call.Add(Note::Kind::NotTakenOver,
                 "HTML: " + std::to_string(markdown.html) + " (first " + markdown.firstHtml + ")");
    if (!markdown.unusedNotes.empty())
        call.Add(Note::Kind::NotTakenOver,
                 "notes that the text does not refer to: " + std::to_string(markdown.unusedNotes.size()) + " (first " +
                     markdown.unusedNotes.front() + ")");
    return std::move(markdown.text);
}

ImportedText ReadTextFile(Call const& call, bool isMarkdown) {
    auto text =
        isMarkdown ? ReadMarkdownFile(call) : ReadText(call.ReadFile(call.options.limits.textBytes), call.options);
    if (call.options.linkTexts) {
        Kernel::Counted<Kernel::Serialisable const> const link =
            Kernel::MakeCounted<Story::LinkedFileAtt>(Kernel::String(call.path));
        text.story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Object::LinkedFile, link));
    }
    if (text.headings)
        call.report.headings = call.report.headings.value_or(0) + *text.headings;
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
        source.text = ReadTextFile(call, false);
    else if (ending == ".md" || ending == ".markdown")
        source.text = ReadTextFile(call, true);
    else
        throw Kernel::Exception("cannot be imported: the formats are .svg, .svgz, .png, .jpg, .tif, .txt and .md");
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
        if (!PlaceText(*source.text, *document.GetDocument(), spread))
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
        auto document = MakeTextDocument(*source.text, options.limits.textPages, call.work);
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
