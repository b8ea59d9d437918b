// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "platform/epub/html_exporter.h"
#include "platform/story/pin.h"

#include <functional>

class DocumentController;

// The things that an export of an e-book or of HTML takes from a document.
namespace FlowingEPubHelpers {

// The settings of an export. `path`: the file to be written, whose name is the title where neither options nor document
// have one. `options` may be null. `language` may be null: English. `top`: the node that is exported; null for the
// document. `isEPub` false: HTML, which has no cover.
REDRAFT_ENGINE Kernel::Counted<EPub::ExportSettings>
ExportSettingsForDocument(Kernel::String const& path, Kernel::Counted<DocumentController const> const& document,
                          Kernel::Counted<EPub::FlowingEPubOptions const> const& options,
                          Kernel::Counted<Story::Language const> const& language, Kernel::JailCounted<Node> const& top,
                          bool isEPub);

// The values of the fields of a story that the node shows, as they are now; each is found once. The story keeps its
// pages.
REDRAFT_ENGINE Kernel::Counted<Story::FieldDataSource>
CreateCachedTextDataSourceForStory(Kernel::Counted<Story::Story const> const& story,
                                   Kernel::JailCounted<TextNode> const& node);

// A picture of a node with all below it, as sRGB, or grey where `format` is grey; `profiles` are those of the node's
// document. Its alternative text is the node's metadata of the key "alt", else the name that the user gave the node.
// Nothing for a node that draws nothing. Throws Kernel::Exception.
REDRAFT_ENGINE std::optional<EPub::Picture> MakePicture(Node const& node, EPub::FlowingEPubOptions const& options,
                                                        Raster::ICCManager::ICCProfileSet const& profiles,
                                                        Raster::Format format);

// Writes a pinned object where the exporter is: the text of a frame, else a picture. `meetText` is told of each text
// before it is written. A hidden object, or one that has left the document, is left out.
REDRAFT_ENGINE void HandlePin(Kernel::JailCounted<Story::PinInterface> const& pin, EPub::HtmlExporter& exporter,
                              Raster::ICCManager::ICCProfileSet const& profiles, Raster::Format format,
                              std::function<void(Kernel::JailCounted<TextNode>)> const& meetText);

// Whether HandlePin writes a picture, or nothing.
REDRAFT_ENGINE bool WritesPinAsImage(Kernel::JailCounted<Story::PinInterface> const& pin);

} // namespace FlowingEPubHelpers
