// SPDX-License-Identifier: Apache-2.0
#include "formats/colour_profile.h"
#include "shell/colour_profile.h"
#include "shell/devices.h"
#include "shell/document_target.h"
#include "shell/interrupt.h"
#include "shell/mask_verb.h"
#include "shell/merge_sources.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/damaged_bitmaps.h"
#include "platform/document/generative_interface.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace Shell {

namespace {

// DIN A4 at 96 units an inch.
constexpr Kernel::SizeT<double> c_usualSize{210 * 96 / 25.4, 297 * 96 / 25.4};
constexpr int c_maximumNewPages = 10000;

// Formats that pages can be drawn in.
bool IsPageFormat(Raster::Format format) {
    return Raster::IsHandledFormat(format) &&
           Raster::GetFormatInfo(format).colourModel != Raster::ColourModel::AlphaOnly;
}

Raster::Format ParseFormat(std::string_view text) {
    std::string names;
    for (int i = 0; i != Raster::c_formatCount; ++i) {
        auto const format = static_cast<Raster::Format>(i);
        if (!IsPageFormat(format))
            continue;
        if (text == Raster::GetFormatName(format))
            return format;
        names += std::string(" ") + Raster::GetFormatName(format);
    }
    throw ValueError("needs one of" + names + ", not " + Quote(text));
}

template <class T, class F>
T ParseOr(Arguments const& arguments, std::string_view option, T const& missing, F const& parse) {
    auto const text = arguments.Find(option);
    if (!text)
        return missing;
    try {
        return static_cast<T>(parse(*text));
    } catch (ValueError const& error) {
        throw Failure(ExitStatus::Usage, std::string(option), error.what());
    }
}

using Profile = Kernel::Consolidated<Raster::ICCProfile>;

// The format of new documents in the colours of a profile.
Raster::Format GetFormatWithAlpha(Raster::ColourModel model) {
    switch (model) {
    case Raster::ColourModel::Grey:
        return Raster::FormatIA8;
    case Raster::ColourModel::CMYK:
        return Raster::FormatCMYKA8;
    case Raster::ColourModel::Lab:
        return Raster::FormatLABA16;
    default:
        return Raster::FormatRGBA8;
    }
}

// The profile of a document's colours where it is not the default; empty otherwise.
Profile FindOwnProfile(DocumentController& document) {
    auto const model = Raster::GetFormatInfo(document.GetFormat()).colourModel;
    auto const profile = document.GetProfiles().Get(model);
    return profile == Raster::ICCManager::GetInstance().GetDefaultProfile(model) ? Profile() : profile;
}

std::string GetProfileName(Raster::ICCProfile const& profile) {
    auto const name = profile.GetDescription().ToStdString();
    return name.empty() ? "a profile without a name" : name;
}

// The numbers of nodes by type.
struct Census {
    std::map<std::string, std::size_t, std::less<>> types;
    std::size_t total = 0;
};

Census CountNodes(DocumentNode& document) {
    Census census;
    ForEachNode(document, [&](Node& node) {
        auto const type = node.GetTypeName();
        auto found = census.types.find(type);
        if (found == census.types.end())
            found = census.types.emplace(std::string(type), 0).first;
        ++found->second;
        ++census.total;
    });
    return census;
}

std::uint64_t GetFileSize(std::string const& path) {
    std::error_code error;
    auto const size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

void AnswerInfoJson(Session& session, DocumentController& document) {
    auto const census = CountNodes(*document.GetDocument());
    auto const& history = *document.GetHistory();
    auto& json = session.Json();
    json.BeginObject();
    json.Member("file", session.GetDocumentPath());
    json.Member("size", GetFileSize(session.GetDocumentPath()));
    json.Member("format", Raster::GetFormatName(document.GetDocument()->GetFormat()));
    if (auto const profile = FindOwnProfile(document))
        json.Member("profile", GetProfileName(*profile));
    json.Key("spreads").BeginArray();
    std::size_t index = 0;
    for (auto const& spread : document.GetDocument()->GetSpreads()) {
        json.BeginObject();
        json.Member("index", index++);
        json.Member("id", spread->GetId());
        json.Member("box", spread->GetBaseBox(true));
        json.Member("pages", spread->CountChildren(NodeChildListType::Pages));
        json.Member("current", spread == document.GetCurrentSpread());
        json.EndObject();
    }
    json.EndArray();
    json.Member("nodes", census.total);
    json.Key("types").BeginObject();
    for (auto const& [type, count] : census.types)
        json.Member(type, count);
    json.EndObject();
    json.Member("symbols", document.GetSymbolCount());
    json.Key("selection").BeginArray();
    for (auto const& node : document.GetCurrentSelection()->GetNodesInDocument())
        json.Value(node->GetId());
    json.EndArray();
    json.Key("history").BeginObject();
    json.Member("entries", history.GetCount());
    json.Member("position", history.GetPosition());
    json.EndObject();
    WriteMask(json, document);
    WriteMergeSources(json, document);
    json.EndObject();
}

std::string DescribeSpread(SpreadNode const& spread, bool isCurrent) {
    auto const box = spread.GetBaseBox(true);
    return FormatRounded(box.GetWidth()) + " x " + FormatRounded(box.GetHeight()) + ", " +
           Count(spread.CountChildren(NodeChildListType::Pages), "page", "pages") + (isCurrent ? ", current" : "");
}

// A line a spread; a book's many alike have one line for all.
void AnswerSpreads(Session& session, DocumentController& document) {
    constexpr std::size_t c_mostListedAlike = 3;
    auto const spreads = document.GetDocument()->GetSpreads();
    std::vector<std::string> lines;
    lines.reserve(spreads.size());
    for (auto const& spread : spreads)
        lines.push_back(DescribeSpread(*spread, spread == document.GetCurrentSpread()));
    for (std::size_t first = 0; first != lines.size();) {
        auto const end =
            static_cast<std::size_t>(std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(first), lines.end(),
                                                  [&](std::string const& line) { return line != lines[first]; }) -
                                     lines.begin());
        if (end - first > c_mostListedAlike) {
            session.Print("spreads   " + std::to_string(first) + " to " + std::to_string(end - 1) + ": each " +
                          lines[first] + "\n");
            first = end;
            continue;
        }
        for (; first != end; ++first)
            session.Print("spread    " + std::to_string(first) + ": " + lines[first] + "\n");
    }
}

void AnswerInfo(Session& session, DocumentController& document) {
    auto const census = CountNodes(*document.GetDocument());
    auto const& history = *document.GetHistory();
    session.Print("file      " + OneLine(session.GetDocumentPath()) + ", " +
                  Count(GetFileSize(session.GetDocumentPath()), "byte", "bytes") + "\n");
    session.Print(std::string("format    ") + Raster::GetFormatName(document.GetDocument()->GetFormat()) + "\n");
    if (auto const profile = FindOwnProfile(document))
        session.Print("profile   " + OneLine(GetProfileName(*profile)) + "\n");
    AnswerSpreads(session, document);
    session.Print("nodes     " + std::to_string(census.total));
    char const* separator = ": ";
    for (auto const& [type, count] : census.types) {
        session.Print(separator + std::to_string(count) + " " + type);
        separator = ", ";
    }
    session.Print("\nselected  " + std::to_string(document.GetCurrentSelection()->GetNodesInDocument().size()) + "\n");
    PrintMask(session, document, false);
    PrintMergeSources(session, document);
    session.Print("history   at " + std::to_string(history.GetPosition()) + " of " +
                  std::to_string(history.GetCount()) + "\n");
}

std::string FormatHash(DocumentHash const& hash) {
    constexpr char c_digits[] = "0123456789abcdef";
    std::string text;
    for (auto const byte : hash) {
        text += c_digits[std::to_integer<int>(byte) / 16];
        text += c_digits[std::to_integer<int>(byte) % 16];
    }
    return text;
}

} // namespace

ExitStatus RunNew(Session& session, Arguments const& arguments) {
    auto const& path = arguments.Get("OUT.redraft");
    CheckDocumentTarget(path, arguments.Has("--force"));
    auto const size = ParseOr(arguments, "--size", c_usualSize, &ParseSize);
    auto const profile = ReadProfile(arguments);
    auto const usualFormat = profile ? GetFormatWithAlpha(profile->GetColourModel()) : Raster::FormatRGBA8;
    auto const format = ParseOr(arguments, "--format", usualFormat, &ParseFormat);
    auto const pages = ParseOr(arguments, "--pages", 1,
                               [](std::string_view text) { return ParseInteger(text, 1, c_maximumNewPages); });
    auto const document =
        Guarded(ExitStatus::Usage, "new", [&] { return DocumentController::CreateNew(size, format, pages); });
    if (profile)
        Guarded(ExitStatus::Usage, "--profile", [&] { Formats::SetDocumentProfile(*document, profile); });
    session.SetDocument(document, path);
    if (session.IsJson()) {
        AnswerInfoJson(session, *document);
    } else {
        session.Print(OneLine(path) + ": " + Count(static_cast<std::uint64_t>(pages), "page", "pages") + " of " +
                      FormatRounded(size.width) + " x " + FormatRounded(size.height) + ", " +
                      Raster::GetFormatName(format) + "\n");
    }
    return ExitStatus::Done;
}

ExitStatus RunInfo(Session& session, Arguments const& arguments) {
    if (arguments.Has("--devices"))
        return TellDevices(session);
    auto& document = session.Open(arguments);
    if (session.IsJson())
        AnswerInfoJson(session, document);
    else
        AnswerInfo(session, document);
    return ExitStatus::Done;
}

ExitStatus RunHash(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto const text = FormatHash(document.GetHash(arguments.Has("--with-history")));
    if (session.IsJson())
        session.Json().Value(text);
    else
        session.Print(text + "\n");
    return ExitStatus::Done;
}

// Names the first few.
static void RefuseDamagedBitmaps(std::string const& path, std::vector<DamagedNode> const& damaged) {
    constexpr std::size_t c_mostNamed = 3;
    if (damaged.empty())
        return;
    std::string reason;
    for (std::size_t i = 0; i != std::min(damaged.size(), c_mostNamed); ++i)
        reason += (i == 0 ? "" : "; ") + GetLayerName(*damaged[i].node).ToStdString() + ": " +
                  damaged[i].reason.ToStdString();
    if (damaged.size() > c_mostNamed)
        reason += "; and " + std::to_string(damaged.size() - c_mostNamed) + " more";
    throw Failure(ExitStatus::Input, path, reason);
}

// Opening has verified the checksums of all objects; what is left is the tree's rules and the pixels.
ExitStatus RunCheck(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto const& path = session.GetDocumentPath();
    std::size_t nodes = 0, bitmaps = 0;
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    Guarded(ExitStatus::Input, path, [&] {
        document.GetDocument()->CheckInvariants();
        static_cast<void>(document.GetProfiles());
        ForEachNode(*document.GetDocument(), [&](Node& node) {
            ++nodes;
            auto const* const raster = Kernel::CastPointer<ConstRasterInterface>(&node);
            auto const* const image = Kernel::CastPointer<ImageResourceInterface>(&node);
            bitmaps += (raster != nullptr && raster->GetBitmap()) || (image != nullptr && image->GetImage());
            if (auto const* const generative = Kernel::CastPointer<GenerativeInterface>(&node))
                bitmaps += generative->GetGenerations().size();
        });
        RefuseDamagedBitmaps(path, FindDamagedBitmaps(*document.GetDocument(), &abort));
        Interrupt::Check(path);
        document.CheckStoredValues();
        Interrupt::Check(path);
    });
    auto const steps = document.GetHistory()->GetCount();
    if (session.IsJson()) {
        session.Json().BeginObject();
        session.Json().Member("sound", true);
        session.Json().Member("nodes", nodes);
        session.Json().Member("bitmaps", bitmaps);
        session.Json().Member("steps", steps);
        session.Json().EndObject();
    } else {
        session.Print(OneLine(path) + ": sound: " + Count(nodes, "node", "nodes") + ", " +
                      Count(bitmaps, "bitmap", "bitmaps") + ", " + Count(steps, "step", "steps") + "\n");
    }
    return ExitStatus::Done;
}

} // namespace Shell
