// SPDX-License-Identifier: Apache-2.0
#include "publishing/export_reading_order.h"

#include "platform/document/anchor_visitor.h"
#include "platform/document/export_article.h"
#include "platform/document/flowing_epub_helpers.h"
#include "platform/epub/flowing_epub_exporter.h"
#include "platform/story/numberer.h"
#include "platform/story/story_to_rtf.h"
#include "publishing/exported_text.h"
#include "publishing/story_callbacks.h"
#include "publishing/written_stories.h"

#include <unordered_set>

namespace Commands {

namespace {

// A part of the publication.
struct Part {
    Kernel::String file, title;
    std::vector<Kernel::Counted<Node>> nodes;
};

bool IsShown(Node const& node) {
    for (Node const* above = &node; above != nullptr; above = above->GetParent()) {
        auto const* const visibility = Kernel::CastPointer<VisibilityInterface const>(above);
        if (visibility != nullptr && !visibility->IsVisible())
            return false;
    }
    return node.IsInDocument();
}

std::vector<Part> GatherParts(DocumentController const& document) {
    std::vector<Part> parts;
    VisitedStories visited;
    bool isLoose = false;
    for (auto const& entry : document.GetExportArticles()) {
        if (entry->IsHidden())
            continue;
        bool const isArticle = static_cast<bool>(entry->GetArticle());
        if (parts.empty() || isArticle || !isLoose)
            parts.push_back({{}, isArticle ? entry->GetName() : Kernel::String(), {}});
        isLoose = !isArticle;
        for (auto const& node : entry->GetMembers()) {
            auto const text = Kernel::Cast<TextNode>(node);
            bool const isNew = !text || !visited.HasVisitedStory(Kernel::NonCounted<StoryInterface const>(
                                            static_cast<StoryInterface const*>(&text->GetStoryOwner())));
            if (isNew && IsShown(*node))
                parts.back().nodes.push_back(node);
        }
    }
    std::erase_if(parts, [](Part const& part) { return part.nodes.empty(); });
    int number = 0;
    for (auto& part : parts)
        part.file = "Story" + std::to_string(++number) + ".xhtml";
    return parts;
}

bool WriteParts(std::vector<Part> const& parts, Kernel::String const& path, EPub::HtmlExporter& exporter,
                Kernel::Counted<DocumentController> const& controller) {
    auto const& document = *controller->GetDocument();
    ExportedStories stories;
    exporter.GetCallbacks() = MakeStoryCallbacks(exporter, stories, {}, controller);
    exporter.Start(path, controller);
    std::vector<bool> isRegistered(static_cast<std::size_t>(document.GetPageCount()));
    WrittenStories written;
    // Links lead forward too.
    for (auto const& part : parts) {
        for (auto const& node : part.nodes) {
            auto const text = Kernel::Cast<TextNode>(node);
            if (!text)
                continue;
            stories.Meet(text);
            written.Add(part.file, *text);
            AnchorVisitor visitor(false);
            visitor.Visit(*text);
            for (auto const& [anchor, position] : visitor.GetAnchors())
                exporter.GetAnchorRegistry().RegisterAnchor(part.file, anchor, position);
            PageRegistrar(exporter.GetAnchorRegistry(), part.file, document, text->GetTextFlow(), isRegistered)
                .ReachEnd();
        }
    }
    written.RegisterGeneratedLinks(exporter.GetAnchorRegistry(), *controller->GetDocument());
    bool isWritten = true;
    for (auto const& part : parts) {
        for (auto const& node : part.nodes) {
            if (auto const text = Kernel::Cast<TextNode>(node)) {
                auto const story = text->GetStory();
                isWritten = exporter.ExportStory(story, story->gend(), part.file, part.title) && isWritten;
            } else if (auto const picture = FlowingEPubHelpers::MakePicture(
                           *node, exporter.GetOptions(), controller->GetProfiles(), controller->GetFormat())) {
                isWritten = exporter.ExportPicture(*picture, part.file, part.title) && isWritten;
            }
        }
    }
    isWritten = exporter.Finish() && isWritten;
    exporter.GetCallbacks() = {};
    return isWritten;
}

std::size_t CountNodes(std::vector<Part> const& parts) {
    std::size_t count = 0;
    for (auto const& part : parts)
        count += part.nodes.size();
    return count;
}

bool WriteText(std::vector<Part> const& parts, Kernel::String const& path) {
    std::string whole;
    for (auto const& part : parts) {
        for (auto const& node : part.nodes) {
            auto const text = Kernel::Cast<TextNode>(node);
            if (!text)
                continue;
            whole += whole.empty() ? "" : "\n\n";
            whole += MakePlainText(*text).view();
        }
    }
    return WriteFile(path, std::as_bytes(std::span(whole))) == WrittenFile::Whole;
}

bool WriteRtf(std::vector<Part> const& parts, Kernel::String const& path, DocumentController const& document,
              EPub::FlowingEPubOptions const& options) {
    double const resolutionScale = c_unitsPerInch / c_pointsPerInch;
    std::vector<Story::RtfPart> written;
    std::vector<EPub::Picture> pictures;
    pictures.reserve(CountNodes(parts));
    for (auto const& part : parts) {
        for (auto const& node : part.nodes) {
            if (auto const text = Kernel::Cast<TextNode>(node)) {
                written.push_back(MakeRtfPart(*text));
            } else if (auto picture = FlowingEPubHelpers::MakePicture(*node, options, document.GetProfiles(),
                                                                      document.GetFormat())) {
                auto const& kept = pictures.emplace_back(std::move(*picture));
                Story::RtfPart& one = written.emplace_back();
                one.png = kept.png;
                one.width = kept.width / resolutionScale;
                one.height = kept.height / resolutionScale;
                one.description = kept.isDecoration ? Kernel::String() : kept.alternativeText;
            }
        }
    }
    auto const rtf = Story::StoriesToRtf(written, document.GetTextStyleSheet(), resolutionScale, true);
    return WriteFile(path, std::as_bytes(std::span(rtf))) == WrittenFile::Whole;
}

// The first text; null for none.
Kernel::Counted<TextNode> FindFirstText(std::vector<Part> const& parts) {
    for (auto const& part : parts) {
        for (auto const& node : part.nodes) {
            if (auto text = Kernel::Cast<TextNode>(node))
                return text;
        }
    }
    return {};
}

} // namespace

bool ExportReadingOrder(Kernel::Counted<DocumentController> const& document, Kernel::String const& path,
                        ReadingOrderFormat format, Kernel::Counted<EPub::FlowingEPubOptions const> const& options) {
    auto const parts = GatherParts(*document);
    if (parts.empty())
        throw Kernel::Exception("nothing is in the document's reading order");
    if (format == ReadingOrderFormat::Text)
        return WriteText(parts, path);
    if (format == ReadingOrderFormat::Rtf)
        return WriteRtf(parts, path, *document, options ? *options : EPub::FlowingEPubOptions());
    auto const first = FindFirstText(parts);
    auto const language = first ? FindLanguage(*first, *document) : Kernel::Counted<Story::Language const>();
    bool const isEPub = format == ReadingOrderFormat::EPub;
    auto const settings =
        FlowingEPubHelpers::ExportSettingsForDocument(path, document, options, language, first, isEPub);
    if (isEPub) {
        EPub::FlowingEPubExporter exporter(settings, options);
        return WriteParts(parts, path, exporter, document);
    }
    EPub::HtmlExporter exporter(settings, options);
    return WriteParts(parts, path, exporter, document);
}

} // namespace Commands
