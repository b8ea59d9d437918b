// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"
#include "shapes/outlines/divide_source.h"
#include "shapes/outlines/shape_clipper.h"

namespace Commands {

// Gathers the objects of a divide: shapes and texts, each as what is seen of it inside all clips. An input of a map and
// its source have the same index in both lists.
class REDRAFT_API DivideInputs {
public:
    // `maps` must outlive the inputs.
    DivideInputs(Kernel::Counted<DocumentNode const> document, PlanarMaps& maps)
        : m_document(std::move(document)), m_maps(maps), m_clipper(maps) {}

    // Nothing is added for a shape without curves, or of which its clips leave nothing.
    void AddShape(Node& node, ConstCurvesInterface const& shape);
    // The painted frame first, so that the glyphs own what they cover; neither counts as a filled shape.
    void AddText(TextNode& text);

    PlanarMaps::Inputs const& GetInputs() const { return m_inputs; }
    std::vector<DivideSource> const& GetSources() const { return m_sources; }
    bool HasFilledShape() const { return m_hasFilledShape; }
    PlanarMaps& GetMaps() const { return m_maps; }

private:
    enum class Look { OfObject, OfFrame };
    void AddTextFrame(TextNode& text);
    void ClipFrom(std::size_t first, Node const& node);
    void Add(Node& node, ShapeInput input, Look look);

    Kernel::Counted<DocumentNode const> m_document;
    PlanarMaps& m_maps;
    ShapeClipper m_clipper;
    PlanarMaps::Inputs m_inputs;
    std::vector<DivideSource> m_sources;
    bool m_hasFilledShape = false;
};

} // namespace Commands
