// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "platform/renderer/file_export_options.h"
#include "platform/story/style_sheet.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace EPub {

class AccessibilityMetadata;
class CSSFile;

// The wishes of whoever exports an e-book or a page of HTML. Nothing in it comes from the clock or from chance: two
// exports with the same options are equal byte for byte.
class REDRAFT_ENGINE FlowingEPubOptions final : public Renderer::FileExportOptions {
public:
    ~FlowingEPubOptions() override;

    // Empty: the name of the exported file, without its folder and its extension.
    Kernel::String title;
    // The author; may be empty.
    Kernel::String creator;
    // A URI that tells the publication apart from others; empty: made of what the document holds.
    Kernel::String identifier;
    // Seconds since 1970-01-01T00:00:00Z; none: 2000-01-01.
    std::optional<std::int64_t> modified;
    // Pixels for each document unit (1/96 inch) of pictures that are drawn. 0.01 to 32; clamped.
    double pictureScale = 2;
};

// A picture as it is written.
struct Picture {
    // A whole PNG file.
    std::vector<std::byte> png;
    // For readers that do not see it.
    Kernel::String alternativeText;
    // It tells nothing: readers pass over it.
    bool isDecoration = false;
    // In document units.
    double width = 0, height = 0;
};

// Settings of one export: the options' with the document's.
class REDRAFT_ENGINE ExportSettings final : public virtual Kernel::Countable {
public:
    ExportSettings();
    ~ExportSettings() override;

    // An e-book; else one page of HTML.
    bool isEPub = true;
    Kernel::String title, creator;
    Kernel::String identifier;
    // As EPUB writes it: "2000-01-01T00:00:00Z".
    Kernel::String modified;
    // Of the text, and of what is written around it.
    Kernel::Counted<Story::Language const> language;
    // Pages of the book follow one another from right to left.
    bool isRightToLeft = false;
    // Of the texts; null: without styles.
    Kernel::Counted<Story::StyleSheet const> styles;
    // In which the texts' colours are meant.
    Raster::ICCProfileSet profiles;
    std::vector<Kernel::Counted<CSSFile const>> cssFiles;
    // Null: made of what the book has.
    Kernel::Counted<AccessibilityMetadata const> accessibility;
    std::optional<Picture> cover;
};

} // namespace EPub
