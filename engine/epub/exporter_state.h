// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/epub/deflated_text.h"
#include "engine/epub/style_classes.h"
#include "platform/epub/html_exporter.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/files.h"

#include <deque>
#include <unordered_map>
#include <unordered_set>

namespace EPub {

class StoryWriter;

struct HtmlExporter::State {
    struct Heading {
        unsigned level = 1;
        std::u32string text;
        std::string id;
    };
    // A file of an e-book, a section of HTML.
    struct Part {
        Kernel::String file, title;
        // The end of it where the beginning is compressed already.
        std::string body;
        std::vector<Heading> headings;
        std::unique_ptr<DeflatedText> compressed;
    };
    struct PictureFile {
        std::string name;
        std::vector<std::byte> png;
    };

    State(Kernel::Counted<ExportSettings const> exportSettings,
          Kernel::Counted<FlowingEPubOptions const> exportOptions);

    // The last part, or a new one behind it where that has another name.
    Part& GetPart(Kernel::String const& file, Kernel::String const& title);
    // Between paragraphs: compresses what a part of a package has, once it is long enough.
    void CompressBody(Part& part) const;
    // The address of a picture's bytes: of a file in the book, or the bytes themselves. Equal pictures are one file.
    std::string AddPicture(std::vector<std::byte> const& png);
    std::string LookUp(Callbacks const& callbacks, char const* key, char const* fallback) const;
    // Everything that is written to the file at once, or false.
    bool WriteFile(std::span<std::byte const> bytes);

    // Neither is null.
    Kernel::Counted<ExportSettings const> settings;
    Kernel::Counted<FlowingEPubOptions const> options;
    std::string language;
    bool isPackage = false;
    AnchorRegistry anchors;
    StyleClasses classes;
    // Those whose places have their ids in the text.
    std::unordered_set<Story::StoryRef> markedStories;
    std::deque<Part> parts;
    std::vector<PictureFile> pictures;
    std::unordered_map<Kernel::BlobKey, std::string> pictureNames;
    // Where the text is that is being written; the innermost last.
    std::vector<StoryWriter*> writers;
    int headingCount = 0, noteCount = 0;
    // Lines run from top to bottom, as those of the first text do.
    bool isVertical = false;
    Kernel::File file;
    Kernel::Counted<Kernel::Countable const> source;
};

} // namespace EPub
