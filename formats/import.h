// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/limits.h"
#include "formats/report.h"
#include "platform/document/document_controller.h"

#include <functional>
#include <string>
#include <vector>

namespace Formats {

// How the lines of a text file become paragraphs.
enum class TextLines {
    // Lines that were broken to a width are joined to paragraphs; those that were not, as of verse, stay lines of one
    // paragraph. Blank lines separate paragraphs where any are joined; else each line is one.
    Recognise,
    // Each line is a paragraph.
    Keep,
    // Lines between blank lines are one paragraph.
    Join
};

struct ImportOptions {
    Limits limits;
    // Of text files: "utf-8", "utf-16", "latin-1" or "windows-1252". Empty: by the byte order mark, or else UTF-8, or
    // else, where hardly any of the file is well-formed, one of the last two.
    std::string encoding;
    // Of text files, in BCP 47.
    std::string language = "en";
    TextLines lines = TextLines::Recognise;
    // Of .txt files: a regular expression, as TextPattern takes it. Paragraphs of at most three lines in which it
    // matches get the style "Heading 1", or that of the group named h1 to h6 that took part in the match.
    std::string headings;
    // Of .txt files: lines run from top to bottom, the next one on the left.
    bool isVertical = false;
    // Texts remember the file that they were taken from, paragraph by paragraph.
    bool linkTexts = false;
    // The document's profile for the colours of its format; empty: the embedded one of a picture, or else the default.
    Kernel::Consolidated<Raster::ICCProfile> profile;
    // Called now and then with the share that is done, 0 to 1, on the thread that imports.
    std::function<void(float)> progress;
    // Polled when it is not null: Kernel::AbortException once it is true.
    bool const* abort = nullptr;
};

// A new document from a file, whose kind its ending tells: .svg, .svgz, .png, .jpg, .tif, .txt or .md. The history
// is empty.
//
// - A drawing becomes one page of its size. Pictures that it refers to are read from its folder or below it only.
// - A picture becomes a page of its size at its resolution, and the selection, since effects work on what is selected.
//   Its profile becomes the document's, too.
// - A text becomes as many pages as it fills, with two columns each. Markdown (CommonMark) becomes styles; pictures
// that
//   it refers to are read from its folder or below it only.
//
// `report` receives what was lost or changed. Throws Kernel::Exception, with one line for a person, for a file that
// cannot be read or is refused.
REDRAFT_API Kernel::Counted<DocumentController> Import(std::string const& path, ImportOptions const& options = {},
                                                       Report* report = nullptr);

// Puts a file on a document's current spread, in front of what is there; symbols of a drawing join the document's. The
// nodes that now stand on the spread are returned, back to front. This is no step of the history, and is meant for
// documents that are being put together.
REDRAFT_API std::vector<Kernel::Counted<Node>> Place(DocumentController& document, std::string const& path,
                                                     ImportOptions const& options = {}, Report* report = nullptr);

} // namespace Formats
