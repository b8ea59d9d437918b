// SPDX-License-Identifier: Apache-2.0
#include "formats/text_export.h"

#include "formats/file_output.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/files.h"
#include "publishing/export_reading_order.h"
#include "publishing/export_story_command.h"

#include <chrono>
#include <filesystem>

namespace Formats {

namespace {

constexpr char c_noFrame[] = "there is no frame of text to export";

char const* GetEnding(TextFormat format) {
    switch (format) {
    case TextFormat::Rtf:
        return ".rtf";
    case TextFormat::Text:
        return ".txt";
    case TextFormat::EPub:
        return ".epub";
    case TextFormat::Html:
        break;
    }
    return ".htm";
}

// A folder of this call alone, which goes again with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        auto const root = std::filesystem::temp_directory_path();
        auto number = std::chrono::steady_clock::now().time_since_epoch().count();
        do {
            m_path = root / ("redraft-export-" + std::to_string(number++));
        } while (!std::filesystem::create_directory(m_path));
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string GetFile(char const* ending) const { return (m_path / (std::string("text") + ending)).string(); }

private:
    std::filesystem::path m_path;
};

Kernel::Counted<FrameTextNode> FindFrameBelow(Node& top) {
    Kernel::Counted<FrameTextNode> found;
    ForEachNode(top, [&](Node& node) {
        auto* const frame = found ? nullptr : Kernel::CastPointer<FrameTextNode>(&node);
        if (frame != nullptr && !frame->GetMaster())
            found = Kernel::Counted<FrameTextNode>(frame);
    });
    return found;
}

Kernel::Counted<Selection const> FindText(DocumentController& document) {
    auto const spread = document.GetCurrentSpread();
    auto frame = spread ? FindFrameBelow(*spread) : Kernel::Counted<FrameTextNode>();
    if (!frame)
        frame = FindFrameBelow(*document.GetDocument());
    if (!frame)
        throw Kernel::Exception(c_noFrame);
    return Selection::CreateWithSingleObject(frame);
}

void WriteReadingOrder(DocumentController& document, TextFormat format, std::string const& path,
                       Kernel::Counted<EPub::FlowingEPubOptions const> const& options) {
    auto const kind = format == TextFormat::EPub   ? Commands::ReadingOrderFormat::EPub
                      : format == TextFormat::Html ? Commands::ReadingOrderFormat::Html
                      : format == TextFormat::Rtf  ? Commands::ReadingOrderFormat::Rtf
                                                   : Commands::ReadingOrderFormat::Text;
    if (!Commands::ExportReadingOrder(Kernel::Counted<DocumentController>(&document), path, kind, options))
        throw Kernel::Exception("the temporary file cannot be written");
}

void WriteStory(DocumentController& document, std::string const& path, Kernel::Counted<Selection const> selection,
                Kernel::Counted<EPub::FlowingEPubOptions const> const& options) {
    auto const chosen = selection ? std::move(selection) : FindText(document);
    if (!chosen->GetFirstSelectionItemOfType<FrameTextNode>())
        throw Kernel::Exception(c_noFrame);
    auto const command = Kernel::MakeCounted<Commands::ExportStoryCommand>(chosen, path, options);
    document.Run(command);
    if (command->GetResult() == Commands::ExportStoryCommand::OpenFailed)
        throw Kernel::Exception("the temporary file cannot be opened");
    if (command->GetResult() != Commands::ExportStoryCommand::Written)
        throw Kernel::Exception("the temporary file cannot be written");
}

} // namespace

std::optional<TextFormat> FindTextFormat(std::string const& path) {
    for (auto const format : {TextFormat::Rtf, TextFormat::Text, TextFormat::EPub, TextFormat::Html}) {
        if (path.ends_with(GetEnding(format)))
            return format;
    }
    return std::nullopt;
}

// The command writes where it is told to, and leaves half a file where that fails: it is given a place of its own.
void ExportText(DocumentController& document, TextFormat format, Output& output, TextExportOptions const& options) {
    auto const wishes = Kernel::MakeCounted<EPub::FlowingEPubOptions>();
    // The temporary file's name tells nobody anything.
    wishes->title = options.title.empty() ? "-" : options.title;
    wishes->creator = options.creator;
    wishes->modified = options.modified;
    TemporaryFolder const folder;
    auto const path = folder.GetFile(GetEnding(format));
    if (options.isInReadingOrder)
        WriteReadingOrder(document, format, path, wishes);
    else
        WriteStory(document, path, options.selection, wishes);
    auto const bytes = Kernel::ReadWholeFile(path, UINT64_MAX);
    output.Begin();
    output.Write(bytes);
}

void ExportText(DocumentController& document, std::string const& path, TextExportOptions const& options) {
    auto const format = FindTextFormat(path);
    if (!format)
        throw Kernel::Exception(path + ": needs a file name extension for the format: .rtf, .txt, .epub or .htm");
    auto named = options;
    if (named.title.empty())
        named.title = std::filesystem::path(path).stem().string();
    FileOutput output(path);
    ExportText(document, *format, output, named);
    output.Commit();
}

} // namespace Formats
