// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/example_documents.h"

// Documents of shapes that lie over each other, for examples and tests; what is to be worked on is selected.
namespace ExampleDocuments {

// A rectangle, an ellipse with a gradient and a line, a star and a compound curve, all overlapping, two of them in a
// turned group; the rectangle and the group are selected, and the compound curve. A shape beside them is not.
REDRAFT_API void OverlappingShapes(DocumentController& controller);
// Open lines that cross, a shape clipped by an ellipse, and a line clipped by two shapes; all are selected.
REDRAFT_API void ClippedAndOpenShapes(DocumentController& controller);
// Filled shapes that do not touch, and an open line; all are selected.
REDRAFT_API void ShapesApart(DocumentController& controller);
// A ring of two contours, a star drawn in one stroke, a moved ring of a compound curve in a group, an open line that
// crosses itself, and a shape that is not to be changed; all are selected.
REDRAFT_API void ShapesWithHoles(DocumentController& controller);

// A curve node with curves of its own, given as polygons or open lines; no fill.
REDRAFT_API Kernel::Counted<PolyCurveNode> MakePath(std::vector<std::vector<Kernel::PointT<double>>> const& contours,
                                                    bool closed);
REDRAFT_API Kernel::Counted<ShapeNode> MakeEllipse(Kernel::RectT<double> box);
REDRAFT_API void SetFill(BrushFillInterface& object, double red, double green, double blue);
REDRAFT_API void SetLine(LineStyleInterface& object, double weight);

} // namespace ExampleDocuments
