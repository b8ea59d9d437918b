// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/filter_reader.h"
#include "formats/svg/import_artboards.h"
#include "formats/svg/import_paint.h"
#include "platform/renderer/recorded_drawing.h"

#include <map>
#include <tuple>

namespace Formats::Svg {

// Walks the elements of a drawing and makes their nodes. The walk along children keeps its own stack; only references
// (symbols, clips, markers), whose depth is limited, recurse.
class Importer {
public:
    // `guids`: how many GUIDs other drawings of the document have taken.
    Importer(Drawing& drawing, std::uint64_t guids);

    // The nodes of the drawing's content, in the page's space scaled by `scale`.
    std::vector<Kernel::Counted<Node>> ImportRoot(double scale);
    std::vector<Kernel::Counted<Node>> TakeSymbols() { return std::move(m_symbols); }
    // Together with those of other drawings.
    std::uint64_t GetGUIDs() const { return m_guids; }

private:
    using SceneNodePointer = Kernel::Counted<SceneNode>;
    using GroupPointer = Kernel::Counted<GroupNode>;

    // A group that is being filled.
    struct Frame {
        Element element;
        GroupPointer group;
        std::optional<Element> nextChild;
    };

    // The context that an instance depends on beside its target.
    struct Look {
        std::shared_ptr<InheritedStyle const> style;
        Viewport viewport;
        std::string useWidth, useHeight;
        ContextPaints paints;
        bool operator==(Look const& other) const;
    };
    struct Symbol {
        Look look;
        // Empty where the target draws nothing.
        Kernel::Counted<SymbolNode> node;
        std::size_t nodeCount = 0;
    };

    // The content of an image: pixels, or a drawing.
    struct Picture {
        Kernel::SizeT<double> size;
        Kernel::Counted<Raster::DynamicBitmap const> bitmap;
        GroupPointer drawing;
        std::size_t nodeCount = 0;
    };

    // The node of an element and all below it; empty where it draws nothing.
    SceneNodePointer Build(Element const& element);
    // The children of an element that is no node itself, into a group.
    void BuildChildren(Element const& parent, GroupNode& group);
    // A node for an element without children of its own, or nothing: then `isGroup` tells to walk its children.
    SceneNodePointer BuildLeaf(Element const& element, bool& isGroup);
    SceneNodePointer FinishGroup(Frame& frame);
    // Once for each element: throws Kernel::AbortException.
    void FollowWork();
    // The properties that all nodes have of their element: name, transform, opacity, clip and the like.
    SceneNodePointer Finish(Element const& element, SceneNodePointer node);

    // import_shapes.cpp
    Kernel::Counted<CurvesNode> BuildShape(Element const& element);
    SceneNodePointer BuildPaintedShape(Element const& element);
    void AddMarkers(Element const& element, CurvesNode const& line, GroupNode& group);
    void AddMarker(Element const& marker, Element const& line, Matrix const& place, bool isStart, GroupNode& group);

    // import_text.cpp: art text for each run that is placed by itself, in a group where there are several.
    // As part of a clip it has the clip's fill and no line, whatever the source says.
    SceneNodePointer BuildText(Element const& element, bool isClip = false);
    Kernel::Counted<Geometry::PolyCurveDbl const> FindTextPath(Element const& textPath);

    // import_image.cpp
    SceneNodePointer BuildImage(Element const& element);
    Picture ReadImage(Element const& element);
    Picture ReadInnerDrawing(Element const& element, std::string_view bytes);

    // import_references.cpp
    SceneNodePointer BuildInstance(Element const& use);
    void GiveGUIDs(SymbolNode& symbol);
    // False when nothing is left to be seen.
    bool ApplyClipPath(Element const& element, SceneNode& node);
    // The element's filter, mask and clip path, in the node's own space. False when nothing is left to be seen.
    bool ApplyEffects(Element const& element, SceneNode& node);
    // import_mask.cpp: false when nothing is left to be seen.
    bool ApplyMask(Element const& element, SceneNode& node);
    Kernel::Counted<Node> BuildClip(Element const& clipPath, Matrix const& toNode);
    SceneNodePointer BuildClipShape(Element const& child);
    // Nothing is done where all of the node's content lies in the rectangle anyway.
    void ClipToRectangle(Kernel::RectT<double> const& clip, SceneNode& node);
    Kernel::RectT<double> GetContentBounds(SceneNode& node, bool includeLines) const;
    void CountNodes(std::size_t count);

    // import_pattern.cpp: empty where the pattern cannot be painted, a fill of none where it shows nothing.
    PaintImporter::FillPointer MakePatternFill(Element const& user, Pattern const& pattern, double opacity,
                                               Kernel::RectT<double> const& box);
    // One repeat of a pattern.
    struct PatternTile {
        // In the content's space.
        Viewport area;
        // From the content's space to the one that `patternTransform` leads from.
        Matrix fromContent;
    };
    static std::optional<PatternTile> FindTile(Element const& user, Pattern const& pattern,
                                               Kernel::RectT<double> const& box);
    void BuildPatternContent(Pattern const& pattern, GroupNode& content);
    static PaintImporter::FillPointer MakeBitmapFill(Pattern const& pattern, GroupNode const& content,
                                                     PatternTile const& tile, double opacity);
    static Kernel::Counted<Renderer::RecordedDrawing const> RecordPattern(GroupNode const& content,
                                                                          Kernel::PointT<double> const& origin);

    Drawing& m_drawing;
    PaintImporter m_paints;
    FilterReader m_filters;
    ContextPaints m_contextPaints;
    std::unordered_map<NodeIndex, std::vector<Symbol>> m_symbolsByTarget;
    std::vector<Kernel::Counted<Node>> m_symbols;
    std::uint64_t m_guids;
    std::vector<PageOfDrawing> m_pages;
    std::size_t m_copiedNodes = 0;
    // For the progress.
    std::size_t m_builtElements = 0;
    // By reference: an image that is shown often is read once.
    std::unordered_map<std::string_view, Picture> m_images;
    std::uint64_t m_imagePixels = 0;
    // The recorded content of patterns, by the element that has the content and by the tile's corner in its space.
    std::map<std::tuple<NodeIndex, double, double>, Kernel::Counted<Renderer::RecordedDrawing const>> m_patternDrawings;
    std::size_t m_patternDepth = 0;
    std::size_t m_patternSteps = 0;
    std::size_t m_innerDrawings = 0;
    std::size_t m_innerDepth = 0;
};

} // namespace Formats::Svg
