// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/paint_server.h"
#include "platform/document/nodes.h"

#include <array>
#include <functional>
#include <map>
#include <unordered_map>

namespace Formats::Svg {

// The meaning of `context-fill` and `context-stroke`: the paints of the line that has the marker, or those of the
// `use`, that they stand in.
struct ContextPaints {
    Kernel::Counted<Renderer::FillDescriptor const> fill;
    Kernel::Counted<Renderer::FillDescriptor const> stroke;
    bool isKnown = false;
    friend bool operator==(ContextPaints const&, ContextPaints const&) = default;
};

// Makes the fills and lines of nodes. Equal ones are one object.
class PaintImporter {
public:
    explicit PaintImporter(Drawing& drawing) : m_drawing(drawing) {}

    // Gives a node with an outline the fill and the line of its element. Both may be none.
    void Apply(Element const& element, CurvesNode& node, ContextPaints const& context);
    // The context that a `use` makes. Paint servers, which need the box of an object, paint nothing there.
    ContextPaints MakeContext(Element const& use, ContextPaints const& outer);
    // The fill of clipping content: opaque, whatever the element's own fill is.
    Kernel::Counted<Renderer::FillDescriptor const> GetClipFill() { return MakeSolid({0, 0, 0, 1}); }

    using FillPointer = Kernel::Counted<Renderer::FillDescriptor const>;
    // Paints patterns, which this class has no means to.
    using PatternMaker =
        std::function<FillPointer(Element const&, Pattern const&, double opacity, Kernel::RectT<double> const& box)>;
    void SetPatternMaker(PatternMaker maker) { m_patternMaker = std::move(maker); }

private:
    class Box;
    FillPointer MakeFill(Element const& element, Paint const& paint, double opacity, Box& box,
                         ContextPaints const& context);
    FillPointer MakeServerFill(Element const& element, Paint const& paint, double opacity, Box& box, bool& isUnusable);
    FillPointer MakeGradientFill(Element const& element, Gradient const& gradient, double opacity, Box& box,
                                 bool& isUnusable);
    FillPointer MakeSolid(Rgba const& colour);
    Gradient const* FindCachedGradient(std::string_view id);
    Kernel::Counted<Renderer::LineStyleDescriptor const> MakeLine(Element const& element);

    Drawing& m_drawing;
    PatternMaker m_patternMaker;
    std::unordered_map<std::string_view, std::optional<Gradient>> m_gradients;
    // Equal paints are one object whatever stands between them: what a document shares is a part of what it is.
    std::map<std::array<float, 4>, FillPointer> m_solids;
    std::unordered_map<Kernel::Consolidated<Renderer::LineStyle>, Kernel::Counted<Renderer::LineStyleDescriptor const>>
        m_lines;
};

// A colour of a drawing in the document's own RGB.
Renderer::Colour ToColour(Rgba const& colour, Raster::ICCProfileSet const& profiles);

} // namespace Formats::Svg
