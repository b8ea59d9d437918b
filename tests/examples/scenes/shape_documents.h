// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/examples/scenes/example_documents.h"

// Documents of shapes that lie over each other, for examples and tests; what is to be worked on is selected.
namespace ExampleDocuments {

// A rectangle, an ellipse with a gradient and a line, a star and a compound curve, all overlapping, two of them in a
// turned group; the rectangle and the group are selected, and the compound curve. A shape beside them is not.
void OverlappingShapes(DocumentController& controller);
// Open lines that cross, a shape clipped by an ellipse, and a line clipped by two shapes; all are selected.
void ClippedAndOpenShapes(DocumentController& controller);
// Filled shapes that do not touch, and an open line; all are selected.
void ShapesApart(DocumentController& controller);
// A ring of two contours, a star drawn in one stroke, a moved ring of a compound curve in a group, an open line that
// crosses itself, and a shape that is not to be changed; all are selected.
void ShapesWithHoles(DocumentController& controller);

// A curve node with curves of its own, given as polygons or open lines; no fill.
Kernel::Counted<PolyCurveNode> MakePath(std::vector<std::vector<Kernel::PointT<double>>> const& contours, bool closed);
Kernel::Counted<ShapeNode> MakeEllipse(Kernel::RectT<double> box);
void SetFill(BrushFillInterface& object, double red, double green, double blue);
void SetLine(LineStyleInterface& object, double weight);

} // namespace ExampleDocuments
