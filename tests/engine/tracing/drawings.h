// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/tracing/trace.h"

#include <string>

// Drawings with smooth edges, made by the renderer, and their likeness.
namespace TracedDrawings {

using Tracing::Picture;
using Tracing::Shape;

Shape MakeRect(Geometry::RectDbl const& rect, Picture::Pixel colour);
Shape MakeDisc(Geometry::PointDbl middle, double radius, Picture::Pixel colour);
Shape MakeRing(Geometry::PointDbl middle, double outer, double inner, Picture::Pixel colour);
Shape MakePolygon(std::vector<Geometry::PointDbl> const& points, Picture::Pixel colour);

Picture Draw(std::vector<Shape> const& shapes, int width, int height, Picture::Pixel ground = {255, 255, 255, 255});
// The peak signal-to-noise ratio of all components, colours multiplied by alpha, in decibels.
double GetLikeness(Picture const& a, Picture const& b);

struct Drawing {
    std::string name;
    std::vector<Shape> shapes;
    // At least, in decibels.
    double likeness = 30;
};
// For pictures of 200 by 200 pixels, without clear parts.
std::vector<Drawing> const& GetDrawings();
std::vector<Shape> const& GetDrawing(std::string const& name);

} // namespace TracedDrawings
