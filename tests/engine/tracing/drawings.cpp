// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/tracing/drawings.h"

#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/raster_render_target.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace TracedDrawings {

using Geometry::PointDbl;

namespace {

Renderer::Colour ToColour(Picture::Pixel const& p) {
    auto const part = [](std::uint8_t value) { return static_cast<float>(value) / 255; };
    return Renderer::Colour::FromRGB(part(p[0]), part(p[1]), part(p[2]), part(p[3]));
}

Kernel::Counted<Geometry::CurveDbl> MakeCircle(PointDbl middle, double radius, bool reverse) {
    constexpr double c_handle = 0.5522847498307936;
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    auto const at = [&](double x, double y) { return PointDbl{middle.x + radius * x, middle.y + radius * y}; };
    double const k = c_handle;
    curve->MoveTo(at(1, 0));
    curve->CubicTo(at(1, k), at(k, 1), at(0, 1));
    curve->CubicTo(at(-k, 1), at(-1, k), at(-1, 0));
    curve->CubicTo(at(-1, -k), at(-k, -1), at(0, -1));
    curve->CubicTo(at(k, -1), at(1, -k), at(1, 0));
    curve->Close();
    if (reverse)
        curve->Reverse();
    return curve;
}

Shape MakeStar(PointDbl middle, double outer, double inner, int points, Picture::Pixel colour) {
    std::vector<PointDbl> corners;
    for (int i = 0; i != 2 * points; ++i) {
        double const angle = i * std::numbers::pi / points + 0.2, radius = i % 2 == 0 ? outer : inner;
        corners.push_back({middle.x + radius * std::cos(angle), middle.y + radius * std::sin(angle)});
    }
    return MakePolygon(corners, colour);
}

Shape MakeLine(PointDbl from, PointDbl to, double width, Picture::Pixel colour) {
    double const length = std::hypot(to.x - from.x, to.y - from.y);
    double const x = -(to.y - from.y) / length * width / 2, y = (to.x - from.x) / length * width / 2;
    return MakePolygon({{from.x + x, from.y + y}, {to.x + x, to.y + y}, {to.x - x, to.y - y}, {from.x - x, from.y - y}},
                       colour);
}

std::vector<Drawing> MakeDrawings() {
    Picture::Pixel const white{255, 255, 255, 255}, black{0, 0, 0, 255}, red{210, 30, 40, 255}, blue{20, 60, 180, 255},
        yellow{250, 210, 30, 255}, green{30, 140, 70, 255}, grey{128, 128, 128, 255};
    Shape const ground = MakeRect({0, 0, 200, 200}, white);
    std::vector<Drawing> drawings;
    drawings.push_back({"discs", {ground}, 34});
    for (int i = 0; i != 12; ++i)
        drawings.back().shapes.push_back(
            MakeDisc({25.3 + 48 * (i % 4), 30.7 + 62 * (i / 4)}, 4 + 1.6 * i, i % 2 ? blue : red));
    drawings.push_back({"nested rings", {ground}, 33});
    for (int i = 0; i != 8; ++i)
        drawings.back().shapes.push_back(MakeDisc(
            {100.4, 99.2}, 95 - 11.3 * i, std::array{black, yellow, red, blue}[static_cast<std::size_t>(i % 4)]));
    drawings.push_back(
        {"star", {ground, MakeStar({100, 100}, 95, 40, 7, blue), MakeStar({100, 100}, 40, 18, 5, yellow)}, 33});
    drawings.push_back({"letters", {ground}, 33});
    for (int i = 0; i != 3; ++i) {
        double const x = 15 + 62 * i, y = 30 + 40 * i;
        auto& shapes = drawings.back().shapes;
        shapes.push_back(MakePolygon({{x, y + 70},
                                      {x + 22, y},
                                      {x + 32, y},
                                      {x + 54, y + 70},
                                      {x + 43, y + 70},
                                      {x + 37, y + 50},
                                      {x + 17, y + 50},
                                      {x + 11, y + 70}},
                                     black));
        shapes.push_back(MakePolygon({{x + 20, y + 40}, {x + 27, y + 14}, {x + 34, y + 40}}, white));
    }
    drawings.push_back({"thin lines", {ground}, 26});
    for (int i = 0; i != 9; ++i) {
        double const angle = i * 0.17;
        drawings.back().shapes.push_back(
            MakeLine({10, 10}, {10 + 180 * std::cos(angle), 10 + 180 * std::sin(angle)}, 1.5 + 0.3 * i, black));
    }
    // Areas side by side, with corners where three and four meet.
    drawings.push_back({"patchwork", {ground}, 31});
    for (int row = 0; row != 5; ++row) {
        for (int column = 0; column != 5; ++column) {
            auto const at = [](int x, int y) {
                return PointDbl{40.0 * x + (x % 5 ? 6 * std::sin(3.0 * x + 5 * y) : 0),
                                40.0 * y + (y % 5 ? 6 * std::cos(4.0 * x + y) : 0)};
            };
            drawings.back().shapes.push_back(MakePolygon(
                {at(column, row), at(column + 1, row), at(column + 1, row + 1), at(column, row + 1)},
                std::array{red, blue, yellow, green, grey}[static_cast<std::size_t>((row * 3 + column * 2) % 5)]));
        }
    }
    drawings.push_back({"gradient", {}, 30});
    for (int i = 0; i != 200; ++i) {
        auto const value = static_cast<std::uint8_t>(20 + i);
        drawings.back().shapes.push_back(
            MakeRect({0, static_cast<double>(i), 200, i + 1.0}, {value, static_cast<std::uint8_t>(240 - i), 120, 255}));
    }
    drawings.back().shapes.push_back(MakeDisc({90, 90}, 50, black));
    return drawings;
}

} // namespace

Shape MakePolygon(std::vector<PointDbl> const& points, Picture::Pixel colour) {
    auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(points.front());
    for (std::size_t i = 1; i != points.size(); ++i)
        curve->LineTo(points[i]);
    curve->Close();
    Shape shape{colour, Kernel::MakeCounted<Geometry::PolyCurveDbl>()};
    shape.outline->AddCurve(curve);
    return shape;
}

Shape MakeRect(Geometry::RectDbl const& r, Picture::Pixel colour) {
    return MakePolygon({{r.left, r.top}, {r.right, r.top}, {r.right, r.bottom}, {r.left, r.bottom}}, colour);
}

Shape MakeDisc(PointDbl middle, double radius, Picture::Pixel colour) {
    Shape shape{colour, Kernel::MakeCounted<Geometry::PolyCurveDbl>()};
    shape.outline->AddCurve(MakeCircle(middle, radius, false));
    return shape;
}

Shape MakeRing(PointDbl middle, double outer, double inner, Picture::Pixel colour) {
    auto shape = MakeDisc(middle, outer, colour);
    shape.outline->AddCurve(MakeCircle(middle, inner, true));
    return shape;
}

Picture Draw(std::vector<Shape> const& shapes, int width, int height, Picture::Pixel ground) {
    Renderer::RasterOptions options;
    options.width = width;
    options.height = height;
    options.background = ToColour(ground);
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    for (auto const& shape : shapes) {
        Renderer::Paint paint;
        paint.mainFill = Renderer::FillDescriptorConst(ToColour(shape.colour));
        target->DrawCurves(shape.outline, paint, Geometry::WindingOrderMode::NonZero);
    }
    Picture picture{width, height, {}};
    picture.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    target->Render({0, 0, width, height})
        ->ReadPixels({0, 0, width, height}, picture.pixels.data(), static_cast<std::size_t>(width) * 4);
    return picture;
}

double GetLikeness(Picture const& a, Picture const& b) {
    double sum = 0;
    auto const part = [](Picture::Pixel const& p, std::size_t c) { return c == 3 ? p[3] : p[c] * p[3] / 255.0; };
    for (std::size_t i = 0; i != a.pixels.size(); ++i) {
        for (std::size_t c = 0; c != 4; ++c) {
            double const difference = part(a.pixels[i], c) - part(b.pixels[i], c);
            sum += difference * difference;
        }
    }
    // Opaque pictures have three components that may differ.
    double const mean = sum / (3.0 * static_cast<double>(a.pixels.size()));
    return mean == 0 ? 100 : 10 * std::log10(255 * 255 / mean);
}

std::vector<Drawing> const& GetDrawings() {
    static std::vector<Drawing> const s_drawings = MakeDrawings();
    return s_drawings;
}

std::vector<Shape> const& GetDrawing(std::string const& name) {
    for (auto const& drawing : GetDrawings()) {
        if (drawing.name == name)
            return drawing.shapes;
    }
    throw std::invalid_argument(name);
}

} // namespace TracedDrawings
