// SPDX-License-Identifier: Apache-2.0
#include "publishing/export_story_command.h"

#include "platform/document/anchor_visitor.h"
#include "platform/document/document_controller.h"
#include "platform/document/flowing_epub_helpers.h"
#include "platform/document/text_field_data_source.h"
#include "platform/epub/flowing_epub_exporter.h"
#include "platform/story/story_to_rtf.h"
#include "platform/story/table.h"
#include "publishing/exported_text.h"
#include "publishing/story_callbacks.h"
#include "publishing/written_stories.h"

#include <string_view>
#include <vector>

namespace Commands {

namespace {

constexpr char c_fileName[] = "Story1.xhtml";

// The part of a path behind the last point in its last name; empty without a point.
std::string_view GetExtension(std::string_view path) {
    auto const place = path.find_last_of("./\\");
    return place == path.npos || path[place] != '.' ? std::string_view() : path.substr(place + 1);
}

Kernel::JailCounted<FrameTextNode> FindFrame(Selection const* selection) {
    auto const item = selection == nullptr ? Kernel::Counted<SelectionItem const>()
                                           : selection->GetFirstSelectionItemOfType<FrameTextNode>();
    return item ? Kernel::Cast<FrameTextNode>(item->GetSelectable()) : Kernel::JailCounted<FrameTextNode>();
}

} // namespace

ExportStoryCommand::ExportStoryCommand(Kernel::Counted<Selection const> selection, Kernel::String path,
                                       Kernel::Counted<Renderer::FileExportOptions const> options)
    : Persisted(std::move(selection)), m_path(std::move(path)), m_options(std::move(options)) {}
ExportStoryCommand::~ExportStoryCommand() = default;

void ExportStoryCommand::Do() {
    SetDirection(Direction::Do);
    m_result = Written;
    auto const frame = FindFrame(GetSelection().get());
    if (!frame)
        return;
    auto const story = frame->GetStory();
    auto const extension = GetExtension(m_path.view());
    // Required: nothing is thrown from here; the result tells.
    try {
        if (extension == "rtf")
            WriteRtf(*frame, story);
        else if (extension == "txt")
            WriteBytes(MakePlainText(*frame).view());
        else if (extension == "epub" || extension == "htm")
            WriteHtml(frame, story, extension == "epub");
    } catch (Kernel::Exception const&) {
        m_result = WriteFailed;
    }
}

void ExportStoryCommand::WriteRtf(FrameTextNode const& frame, Kernel::Counted<Story::Story const> const& story) {
    double const resolutionScale = c_unitsPerInch / c_pointsPerInch;
    auto const part = MakeRtfPart(frame);
    WriteBytes(Story::StoryToRtf(story, frame.GetTable(), GetDocumentController()->GetTextStyleSheet(), {}, part.fields,
                                 part.scaleX, part.scaleY, resolutionScale, true));
}

void ExportStoryCommand::WriteHtml(Kernel::JailCounted<FrameTextNode> const& frame,
                                   Kernel::Counted<Story::Story const> const& story, bool isEPub) {
    auto const options = Kernel::Cast<EPub::FlowingEPubOptions const>(m_options);
    auto const controller = Kernel::Counted<DocumentController const>(GetDocumentController().get());
    auto const settings = FlowingEPubHelpers::ExportSettingsForDocument(
        m_path, controller, options, FindLanguage(*frame, *controller), frame, isEPub);
    if (isEPub) {
        EPub::FlowingEPubExporter exporter(settings, options);
        DoExport(exporter, settings, frame, story);
    } else {
        EPub::HtmlExporter exporter(settings, options);
        DoExport(exporter, settings, frame, story);
    }
}

void ExportStoryCommand::DoExport(EPub::HtmlExporter& exporter, Kernel::Counted<EPub::ExportSettings>,
                                  Kernel::JailCounted<TextNode> node, Kernel::Counted<Story::Story const> story) {
    auto const controller = Kernel::Counted<DocumentController const>(GetDocumentController().get());
    // Required: fields of every story, also of those inside pins, are expanded by this one.
    auto const fields = FlowingEPubHelpers::CreateCachedTextDataSourceForStory(story, node);
    ExportedStories stories;
    stories.Meet(node);
    exporter.GetCallbacks() = MakeStoryCallbacks(exporter, stories, fields, controller);
    AnchorVisitor visitor(false);
    visitor.Visit(*node);
    exporter.Start(m_path, node);
    auto& anchors = exporter.GetAnchorRegistry();
    for (auto const& [anchor, position] : visitor.GetAnchors())
        anchors.RegisterAnchor(c_fileName, anchor, position);
    auto const& document = *controller->GetDocument();
    std::vector<bool> isRegistered(static_cast<std::size_t>(document.GetPageCount()));
    // Pages are composed while the text is written, and what is written is compressed meanwhile.
    PageRegistrar pages(anchors, c_fileName, document, node->GetTextFlow(), isRegistered);
    exporter.GetCallbacks().reach = [&](Story::StoryPos const& position) {
        bool const isEnd = position.GetIndex() == story->GetLength();
        if (position.GetStory() == story)
            isEnd ? pages.ReachEnd() : pages.Reach(position.GetIndex());
    };
    WrittenStories written;
    written.Add(c_fileName, *node);
    written.RegisterGeneratedLinks(anchors, *controller->GetDocument());
    if (!exporter.ExportStory(story, story->gend(), c_fileName, {}))
        m_result = WriteFailed;
    if (!exporter.Finish())
        m_result = WriteFailed;
    exporter.GetCallbacks() = {};
}

void ExportStoryCommand::WriteBytes(std::span<char const> bytes) {
    auto const written = WriteFile(m_path, std::as_bytes(bytes));
    if (written != WrittenFile::Whole)
        m_result = written == WrittenFile::NotOpened ? OpenFailed : WriteFailed;
}

// Required: neither path nor selection is stored.
void ExportStoryCommand::Save(Kernel::OutSerialiser& out) const { DocumentCommand::Save(out); }
bool ExportStoryCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return DocumentCommand::Load(in, files, version);
}

} // namespace Commands
