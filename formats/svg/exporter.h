// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/export.h"
#include "formats/svg/text_rows.h"
#include "formats/svg/xml_writer.h"
#include "platform/renderer/recorded_drawing.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <tuple>
#include <unordered_map>

class MaskNode;
class ArtboardNode;

namespace Formats::Svg {

using Matrix = Raster::AffineTransform::Params;

// Writes nodes as elements. The walk keeps its own stack; only clips within clips recurse.
class Exporter {
public:
    // `profiles`: what the colours of the nodes are meant in. Those of a drawing are sRGB.
    Exporter(Work work, Raster::ICCProfileSet profiles) : m_work(std::move(work)), m_profiles(std::move(profiles)) {}
    // `toSpread` are the matrices of the nodes, in place of their own.
    ExportedDrawing Run(std::vector<Kernel::Counted<Node>> const& nodes, std::vector<Matrix> const& toSpread,
                        Kernel::RectT<double> const& area);

private:
    // A node to be written, or an element to be closed.
    struct Step {
        Node const* node = nullptr;
        std::string_view close;
        // In place of the node's own matrix and id.
        std::optional<Matrix> matrix;
        std::string id;
    };

    // Finds the symbols that can be referred to, and the names that can be ids.
    void Prepare(std::vector<Kernel::Counted<Node>> const& nodes);
    void Visit(Node const& top, std::vector<Node const*>& pending);
    // The symbol whose content a node shows without a difference, or null.
    static Node const* FindShownSymbol(Node const& node);

    void Write(Step top);
    static void PushCaptions(Step const& step, std::vector<Step>& pending);
    static void PushChildren(Node const& node, std::vector<Step>& pending);
    static ArtboardNode const* AsPage(Node const& node);
    void WriteNode(Step const& step);
    // Once for each node: throws Kernel::AbortException.
    void FollowWork();
    // export_text.cpp: a text element, or where one does not do a group.
    void WriteText(TextNode const& text, Step const& step);
    void WriteTextRows(XmlWriter& out, std::span<TextRow const> rows, Node const& node,
                       std::optional<std::string_view> title, bool hasPaints);
    static void WriteTextLook(XmlWriter& out, Story::GlyphAtts const& atts);
    static void WriteSpanLook(XmlWriter& out, Story::GlyphAtts const& atts);
    void WriteTextPaints(Story::GlyphAtts const& atts, Node const& node);
    void WriteTextOutlines(TextNode const& text);
    void WriteOutline(PolyCurveNode const& node);
    void WriteShape(CurvesNode const& node, Step const& step);
    // An artboard as an `svg` element of its own, which is left open; true where a group had to be opened around it.
    bool OpenArtboard(ArtboardNode const& artboard, Step const& step);
    // Id, transform, opacity, clip and the like of the element that is open.
    void WriteCommon(SceneNode const& node, Step const& step);
    // Blending isolates by itself. Modes that style sheets have no name for are left out.
    void WriteBlending(Renderer::BlendMode mode, bool isIsolated);
    // Ends an element without children of its own.
    void EndLeaf(Node const& node, Step const& step, std::string_view element);
    // The title where the id does not say the name, as the start of an element's content.
    void WriteTitle(XmlWriter& out, Node const& node, std::string_view id);
    std::string FindId(Node const& node, Step const& step) const;
    void CountUnsupported(SceneNode const& node);

    // export_geometry.cpp: the attributes of an outline, behind an open tag. Gives the element's name.
    static std::string_view ChooseElement(CurvesNode const& node);
    static void WriteGeometry(XmlWriter& out, CurvesNode const& node, std::string_view element,
                              std::string_view ruleName);

    // export_effects.cpp: the id of the first of a node's masks; empty where it has none.
    std::string DefineMasks(Node const& node);
    std::string DefineOneMask(MaskNode const& mask, std::string const& inner);
    void WriteFilters(SceneNode const& node);
    std::string DefineFilter(Renderer::Filter const& filter, Node const& node);
    void WriteFilterPrimitive(XmlWriter& out, Renderer::FilterPrimitive const& primitive, Node const& node);
    static void WriteCompositeOperator(XmlWriter& out, Renderer::FilterPrimitive const& primitive);
    static void WriteTransfer(XmlWriter& out, char component, Renderer::TransferFunction const& function);
    // Empty for modes that style sheets have no name for.
    static std::string_view GetBlendModeName(Renderer::BlendMode mode);

    // export_bitmap.cpp: an empty text is a bitmap that could not be encoded.
    void WriteBitmap(SceneNode const& node, Raster::DynamicBitmap const* bitmap, Step const& step);
    // The attributes of an image that shows a bitmap with one unit a pixel.
    static void WriteImage(XmlWriter& out, Raster::DynamicBitmap const& bitmap, std::string const& png);
    std::string DefinePattern(Renderer::FillDescriptorConst const& paint, Node const& node);
    std::string EncodeOrCount(Raster::DynamicBitmap const* bitmap, Node const& node);

    // export_pattern.cpp: an empty text is a pattern that paints nothing.
    std::string DefineDrawnPattern(Renderer::PatternFill const& fill, Matrix const& toUser, Node const& node);
    void WriteDrawing(Renderer::RecordedDrawing const& drawing, Node const& node);
    void WriteDrawingStep(Renderer::DrawingStep const& step, Node const& node);
    // The id of a clip path of outlines; those that are no outlines to be filled are left out.
    std::string DefineDrawnClip(std::span<Renderer::DrawingStep const> outlines, Node const& node);

    // export_paint.cpp
    void WritePaints(CurvesNode const& node);
    void WritePaint(std::string_view property, Renderer::FillDescriptorConst const& paint, Node const& node);
    // The id of the `pattern` that shows a bitmap or a pattern; an empty text is one that paints nothing.
    std::string FindPattern(Renderer::FillDescriptorConst const& paint, Node const& node);
    void WriteLine(LineStyleInterface const& line, Node const& node);
    // The outline of a line that the format has no words for: with heads, pressure or a nib. Null for others.
    static Kernel::Counted<Geometry::PolyCurveDbl> FindLineOutline(CurvesNode const& node);
    // A shape as a group of its fill and such an outline.
    void WriteShapeWithOutline(CurvesNode const& node, Geometry::PolyCurveDbl const& outline, Step const& step);
    std::string DefineGradient(Renderer::FillDescriptorConst const& paint, Node const& node);
    void WriteColour(XmlWriter& out, std::string_view property, Renderer::Colour const& colour, Node const& node);

    // export_clip.cpp: the id of a clipPath of a node's clipping content. `toClip` leads from the node's space to the
    // space that the clip is used in.
    std::string DefineClip(Node const& node, Matrix const& toClip);
    std::string DefineOneClip(Node const& clip, Matrix const& toClip, std::string const& inner);
    void WriteClipContent(XmlWriter& out, Node const& content, Matrix const& toClip);
    // `open` writes the start tag of an element with all that clips have in common.
    void WriteClipText(XmlWriter& out, TextNode const& text, std::string_view name,
                       std::function<void(std::string_view element)> const& open);

    // A length that divided by the weight is exactly the stored multiple of it, where there is one.
    static double FindMultiple(double factor, double weight);
    std::string MakeId(std::string_view kind);
    // One definition for equal content; `rest` is what follows the name and the id.
    std::string Define(std::string_view element, std::string_view kind, std::string const& rest);
    static std::string Describe(Node const& node);

    XmlWriter m_out;
    // The content of `defs`, and where equal definitions are found.
    std::string m_definitions;
    std::unordered_map<std::string, std::string> m_idsByContent;
    // The ids of patterns by their fill, its transform, bit by bit, and how deep in other patterns they are: what is
    // used often, or in patterns that are, is written once. Each keeps its fill alive, so that its address names it.
    struct WrittenPattern {
        Kernel::Counted<Renderer::Fill const> fill;
        std::string id;
    };
    using PatternKey = std::tuple<Renderer::Fill const*, std::array<std::uint64_t, 6>, std::size_t>;
    std::map<PatternKey, WrittenPattern> m_patterns;
    // Names that are ids, each of the first node that has it.
    std::unordered_map<std::string, Node const*> m_names;
    std::map<std::string, std::size_t, std::less<>> m_counters;
    // The symbols that are referred to, in the order in which they were found, and the ids of their definitions.
    std::vector<Node const*> m_symbols;
    std::unordered_map<Node const*, std::string> m_symbolIds;
    std::size_t m_clipDepth = 0;
    std::size_t m_patternDepth = 0;
    std::size_t m_maskDepth = 0;
    Report m_report;
    Work m_work;
    Raster::ICCProfileSet m_profiles;
    // For the progress.
    std::size_t m_nodeCount = 0;
    std::size_t m_writtenNodes = 0;
};

} // namespace Formats::Svg
