// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/epub_cover_info.h"
#include "platform/document/slice_page.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"
#include "tests/examples/command_example.h"

#include <map>
#include <string>
#include <vector>

// Compares what became of a document with what notifications told of it: a front end that believes them must end up
// showing the document as it is.

// The state of a document as far as a front end shows it.
class ShownDocument {
public:
    explicit ShownDocument(DocumentController& controller);

    struct Shown {
        NodeId parent = 0;
        NodeId previousSibling = 0;
        NodeChildListType list{};
        std::string name;
        Kernel::Counted<Node> linkSource;
        AttributeTable states;
        Raster::AffineTransform::Params matrix;
        Kernel::RectT<double> box;
        // In spread space.
        Kernel::RectT<double> bounds;
        NodeId spread = 0;
        Kernel::Counted<Node> node;
        // Of a text: where its lines stand.
        std::vector<Kernel::PointT<double>> lines;
        // The characters of these lines, those of the values of fields among them.
        std::u32string characters;
        // Stands in a symbol and not on a spread.
        bool isInSymbol = false;
        // Draws itself, and is not only a clip or a part of another outline.
        bool isDrawn = true;
        bool IsPage() const { return list == NodeChildListType::Pages; }
    };
    // A spread as pixels.
    struct Picture {
        Kernel::RectT<double> area;
        double scale = 1;
        int width = 0;
        int height = 0;
        std::vector<unsigned> pixels;
    };

    std::map<NodeId, Shown> nodes;
    std::map<NodeId, Picture> pictures;
    std::map<NodeId, AttributeTable> artboardProperties;
    Kernel::Counted<Selection const> selection;
    std::vector<NodeId> symbols;
    std::vector<ViewPointData> viewPoints;
    std::map<Kernel::String, Kernel::String> fieldNames;
    // Topics with all that is known of them, and how the index is made of them.
    std::vector<Kernel::String> index;
    // Entries of the reading order with all that is known of them.
    std::vector<std::string> articles;
    // Sources of data merges with all that is known of them.
    std::vector<std::string> mergeSources;
    // Those of their last updates.
    std::vector<Kernel::String> mergeWarnings;
    // By which fields name them.
    std::vector<Kernel::String> mergeSourceIds;
    Kernel::Counted<Renderer::FillDescriptor const> guides, defaultGuides;
    bool reflows = false;
    int scaleFlags = 0;
    bool scaleEnabled = false;
    bool anchorsToSpine = false;
    MasterMigrationStrategy migration{};
    std::vector<Kernel::Counted<Geometry::CurveDbl>> pressureProfiles;
    std::vector<Kernel::Counted<EPub::CSSFile const>> cssFiles;
    Kernel::Counted<EPubCoverInfo const> cover;
    Kernel::Counted<EPub::AccessibilityMetadata const> accessibility;
    // Of each spread: its slice's file name, and whether it is exported.
    std::vector<std::pair<Kernel::String, bool>> slices;
    // How many generated objects it remembers.
    std::size_t generations = 0;
};

struct Complaint {
    CommandExample::Untold kind;
    std::string text;
};

// The changes that the notifications of one operation left out or told wrongly.
struct Judgement {
    // May be left out where the command's contract leaves it out.
    std::vector<Complaint> untold;
    // Never allowed.
    std::vector<std::string> wrong;
};

struct Operation {
    // Of the document that the command belongs to.
    Kernel::Counted<DocumentController> controller;
    Kernel::Counted<DocumentCommand> command;
    bool tellsWholeDocument = false;
    // A touched node may have left the document for good.
    bool losesNodes = false;
    ShownDocument const& before;
    ShownDocument const& after;
};

Judgement JudgeNotifications(Operation const& operation, Kernel::NotificationList const& told);
