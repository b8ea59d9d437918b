// SPDX-License-Identifier: Apache-2.0
#include "shell/pixel_mask.h"

#include "shell/failure.h"
#include "shell/input_files.h"
#include "shell/selector.h"
#include "shell/values.h"

#include "platform/document/document_renderer.h"
#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/conversion.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Shell {

namespace {

using Params = Raster::AffineTransform::Params;
using Rect = Kernel::RectT<double>;
using Nodes = std::vector<Kernel::Counted<Node>>;

// A mask that would have more is made of larger pixels.
constexpr double c_maximumPixels = 1 << 27;
constexpr double c_maximumSide = 1 << 19;
constexpr int c_maskBandRows = 64;
constexpr float c_full = 65535.0f;
constexpr float c_half = 0.5f;

void CheckAbort(bool const* abort) {
    if (abort != nullptr && *static_cast<bool const volatile*>(abort))
        throw Kernel::AbortException();
}

// How much of each pixel is selected, 0 to 65535, row by row.
struct Coverage {
    int width = 0, height = 0;
    std::vector<std::uint16_t> samples;
    // From its pixels to the spread.
    Params toSpread;

    std::uint16_t* GetRow(int y) { return samples.data() + static_cast<std::ptrdiff_t>(y) * width; }
};

Coverage MakeCoverage(int width, int height, Params const& toSpread) {
    return {width, height,
            std::vector<std::uint16_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)), toSpread};
}

Params Scaling(double x, double y) { return {x, 0, 0, 0, y, 0}; }
Params Translation(double x, double y) { return {1, 0, x, 0, 1, y}; }

// Sides of one pixel in spread units.
Kernel::SizeT<double> GetPixelSize(Params const& toSpread) {
    return {std::hypot(toSpread.a, toSpread.c), std::hypot(toSpread.b, toSpread.d)};
}

double GetMeanPixelSize(Params const& toSpread) { return std::sqrt(std::abs(toSpread.GetDeterminant())); }

bool IsUsable(Params const& transform) {
    auto const size = GetPixelSize(transform);
    double const determinant = std::abs(transform.GetDeterminant());
    return std::isfinite(determinant) && determinant > 1e-12 * size.width * size.height && size.width > 1e-6 &&
           size.height > 1e-6;
}

// Where layers may have pixels that a mask decides about, in spread space.
Rect GetWorkArea(SpreadNode& spread) {
    auto area = spread.GetBaseBox(true);
    ForEachNode(spread, [&](Node& node) {
        if (Kernel::CastPointer<RasterNode>(&node) != nullptr)
            area = area.United(node.GetBounds(true));
    });
    return area;
}

// The pixels of a mask around `content`, both in spread space: those of `toSpread`, or larger ones where they would be
// too many.
struct Grid {
    Params toSpread;
    int width = 1, height = 1;
};

Grid ChooseGrid(Params toSpread, Rect const& content, double margin, Rect const& area) {
    for (;; toSpread = toSpread * Scaling(2, 2)) {
        auto const inverse = toSpread.GetInverse();
        auto const pixel = GetPixelSize(toSpread);
        auto box = inverse.Apply(content);
        double const marginX = margin / pixel.width + 1, marginY = margin / pixel.height + 1;
        auto const outset = [&](Rect const& r) {
            return Rect{r.left - marginX, r.top - marginY, r.right + marginX, r.bottom + marginY};
        };
        // Pixels just outside the area reach into it through the feather.
        box = outset(box).Intersected(outset(inverse.Apply(area)));
        if (box.IsEmpty())
            return {toSpread, 1, 1};
        double const left = std::floor(box.left), top = std::floor(box.top);
        double const width = std::ceil(box.right) - left, height = std::ceil(box.bottom) - top;
        if (width * height <= c_maximumPixels && width <= c_maximumSide && height <= c_maximumSide)
            return {toSpread * Translation(left, top), static_cast<int>(width), static_cast<int>(height)};
    }
}

Coverage DrawNodes(Nodes const& nodes, Grid const& grid, bool const* abort) {
    Renderer::RasterOptions options;
    options.width = grid.width;
    options.height = grid.height;
    options.format = Raster::FormatIA16;
    options.documentToPixels = Geometry::Transform(grid.toSpread.GetInverse());
    options.abort = abort;
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    DocumentRenderer renderer(target);
    for (auto const& node : nodes)
        renderer.DrawNode(*node);
    auto coverage = MakeCoverage(grid.width, grid.height, grid.toSpread);
    for (int top = 0; top < grid.height; top += c_maskBandRows) {
        int const bottom = std::min(top + c_maskBandRows, grid.height);
        auto const band = target->Render({0, top, grid.width, bottom});
        for (int y = top; y != bottom; ++y)
            std::copy_n(static_cast<std::uint16_t const*>(std::as_const(*band).GetRow(1, y - top)), grid.width,
                        coverage.GetRow(y));
    }
    return coverage;
}

Kernel::Counted<Raster::DynamicBitmap> ReadPicture(std::string const& path) {
    return Guarded(ExitStatus::Input, path, [&] {
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(InputFiles::Read(path, c_maximumPictureBytes), receiver);
        return receiver.Finish();
    });
}

// White selects; what is transparent does not.
Coverage TakeBrightness(Raster::DynamicBitmap const& picture, Params const& toSpread, bool const* abort) {
    auto const grey = Raster::ConvertBitmap(
        *picture.GetBase(), *Raster::PixelConverter::MakePlain(picture.GetFormat(), Raster::FormatIA16), nullptr);
    auto coverage = MakeCoverage(picture.GetWidth(), picture.GetHeight(), toSpread);
    std::vector<std::uint16_t> alpha(static_cast<std::size_t>(coverage.width));
    for (int y = 0; y != coverage.height; ++y) {
        CheckAbort(abort);
        auto* const row = coverage.GetRow(y);
        Kernel::RectT<int> const line{0, y, coverage.width, y + 1};
        std::as_const(*grey).GetPlane(0).ReadSamples(line, row, alpha.size() * 2);
        std::as_const(*grey).GetPlane(1).ReadSamples(line, alpha.data(), alpha.size() * 2);
        for (std::size_t x = 0; x != alpha.size(); ++x)
            row[x] = static_cast<std::uint16_t>((std::uint32_t(row[x]) * alpha[x] + 32767) / 65535);
    }
    return coverage;
}

// The mean of the samples within `reach` of each, which need not be whole; beyond the ends there is nothing.
void BlurLine(std::vector<float>& line, std::vector<double>& sums, double reach) {
    auto const count = static_cast<std::ptrdiff_t>(line.size());
    sums.resize(line.size() + 1);
    sums[0] = 0;
    for (std::ptrdiff_t i = 0; i != count; ++i)
        sums[static_cast<std::size_t>(i) + 1] =
            sums[static_cast<std::size_t>(i)] + double(line[static_cast<std::size_t>(i)]);
    // The sum of all up to `end`, a place between samples.
    auto const upTo = [&](double end) {
        double const inside = std::clamp(end, 0.0, static_cast<double>(count));
        auto const whole = static_cast<std::size_t>(inside);
        double const rest = inside - static_cast<double>(whole);
        return rest == 0 ? sums[whole] : sums[whole] + rest * (sums[whole + 1] - sums[whole]);
    };
    for (std::ptrdiff_t i = 0; i != count; ++i) {
        double const middle = static_cast<double>(i) + 0.5, half = reach + 0.5;
        line[static_cast<std::size_t>(i)] =
            static_cast<float>((upTo(middle + half) - upTo(middle - half)) / (2 * half));
    }
}

// Three means one after another, which come close to a normal distribution and end where the feather does (the central
// limit theorem applied to boxes).
void Feather(Coverage& coverage, double feather, bool const* abort) {
    auto const pixel = GetPixelSize(coverage.toSpread);
    double const reachX = feather / pixel.width / 3, reachY = feather / pixel.height / 3;
    std::vector<double> sums;
    auto const blur = [&](std::size_t first, std::size_t step, int count, double reach) {
        CheckAbort(abort);
        std::vector<float> line(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i != line.size(); ++i)
            line[i] = static_cast<float>(coverage.samples[first + i * step]);
        for (int pass = 0; pass != 3; ++pass)
            BlurLine(line, sums, reach);
        for (std::size_t i = 0; i != line.size(); ++i)
            coverage.samples[first + i * step] = static_cast<std::uint16_t>(std::clamp(line[i], 0.0f, c_full) + c_half);
    };
    auto const width = static_cast<std::size_t>(coverage.width);
    for (std::size_t y = 0; y != static_cast<std::size_t>(coverage.height); ++y)
        blur(y * width, 1, coverage.width, reachX);
    for (std::size_t x = 0; x != width; ++x)
        blur(x, width, coverage.height, reachY);
}

Kernel::Counted<SelectionRasterNode> MakeSelectionNode(Coverage& coverage, Raster::Format format) {
    auto const wide = Raster::BitmapBase::Create(coverage.width, coverage.height, Raster::FormatA16);
    wide->GetPlane(0).WriteSamples(wide->GetBounds(), coverage.samples.data(),
                                   static_cast<std::size_t>(coverage.width) * 2);
    coverage.samples = {};
    auto const mask = Kernel::MakeCounted<Raster::DynamicBitmap>(
        Raster::ConvertBitmap(*wide, *Raster::PixelConverter::MakePlain(Raster::FormatA16, format), nullptr));
    return SelectionRasterNode::CreateMask(mask, coverage.toSpread);
}

Kernel::Counted<Node> MakeWhiteShape(Kernel::Counted<CurvesNode> const& node) {
    node->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 1, 1)));
    return node;
}

template <class Shape>
Kernel::Counted<Node> MakeBoxShape(std::string_view box) {
    auto const shape = Kernel::MakeCounted<Shape>();
    shape->box = ParseRectangle(box);
    return MakeWhiteShape(Kernel::MakeCounted<ShapeNode>(shape));
}

Kernel::Counted<Node> MakePathShape(std::string_view text) {
    auto const data = Geometry::ReadPathData(text);
    if (data.error)
        throw ValueError("needs SVG path data: " + data.error->message + " at byte " +
                         std::to_string(data.error->offset));
    auto const node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(data.curves);
    return MakeWhiteShape(node);
}

// The nodes that a shape's text names, which may be made for it.
Nodes FindShapes(DocumentController& document, std::string_view text) {
    auto const behind = [&](std::string_view prefix) { return text.substr(prefix.size()); };
    if (text.starts_with("rectangle:"))
        return {MakeBoxShape<RectangleShape>(behind("rectangle:"))};
    if (text.starts_with("ellipse:"))
        return {MakeBoxShape<EllipseShape>(behind("ellipse:"))};
    if (text.starts_with("path:"))
        return {MakePathShape(behind("path:"))};
    constexpr std::array<std::string_view, 3> c_terms{"#", "type:", "name:"};
    if (std::none_of(c_terms.begin(), c_terms.end(), [&](std::string_view term) { return text.starts_with(term); }))
        throw ValueError("needs none, all, rectangle:l,t,r,b, ellipse:l,t,r,b, path:DATA, @FILE or a selector of "
                         "nodes, not " +
                         Quote(text));
    return FindNodes(document, text);
}

} // namespace

Kernel::Counted<SelectionRasterNode> MakePixelSelection(DocumentController& document, MaskRequest const& request,
                                                        bool const* abort) {
    auto const shape = Trim(request.shape);
    if (shape == "none")
        return request.invert ? SelectionRasterNode::CreateAll() : Kernel::MakeCounted<SelectionRasterNode>();
    if (shape == "all" && !request.invert)
        return SelectionRasterNode::CreateAll();
    auto& spread = *document.GetCurrentSpread();
    auto const bitmap = request.layer ? request.layer->GetBitmap() : nullptr;
    auto const format = bitmap ? bitmap->GetFormat() : document.GetDocument()->GetFormat();
    auto const layerToSpread = request.layer ? request.layer->GetRasterToDomainTransform() : Params();
    bool const isOnLayer = bitmap && IsUsable(layerToSpread);
    if (request.inPixels && !isOnLayer)
        throw ValueError("cannot be in pixels: there is no layer to take them from");
    auto const toSpread = isOnLayer ? layerToSpread : Params();
    double const feather = request.feather * (request.inPixels ? GetMeanPixelSize(toSpread) : 1);
    Coverage coverage;
    if (shape == "all") {
        coverage = MakeCoverage(1, 1, toSpread);
        coverage.samples[0] = 65535;
    } else if (shape.starts_with('@')) {
        auto const picture = ReadPicture(std::string(shape.substr(1)));
        auto const box = spread.GetBaseBox(true);
        double const width = picture->GetWidth(), height = picture->GetHeight();
        auto const place =
            isOnLayer ? toSpread * Scaling(bitmap->GetWidth() / width, bitmap->GetHeight() / height)
                      : Translation(box.left, box.top) * Scaling(box.GetWidth() / width, box.GetHeight() / height);
        coverage = TakeBrightness(*picture, place, abort);
    } else {
        auto const nodes = FindShapes(document, shape);
        if (request.inPixels && nodes.front()->GetParent() == nullptr)
            Kernel::CastPointer<SceneNode>(nodes.front().get())->SetTransform(toSpread, false);
        Rect content;
        for (auto const& node : nodes)
            content = content.United(node->GetBounds(true));
        auto const area = GetWorkArea(spread);
        coverage = DrawNodes(nodes, ChooseGrid(toSpread, request.invert ? area : content, feather, area), abort);
    }
    if (feather > 0)
        Feather(coverage, feather, abort);
    if (request.invert) {
        for (auto& sample : coverage.samples)
            sample = static_cast<std::uint16_t>(65535 - sample);
    }
    return MakeSelectionNode(coverage, Raster::GetFormatInfo(format).maskFormat);
}

std::vector<std::string_view> const& GetChannelNames(Raster::Format format) {
    static std::vector<std::string_view> const s_alpha{"alpha"}, s_grey{"grey", "alpha"},
        s_rgb{"red", "green", "blue", "alpha"}, s_cmyk{"cyan", "magenta", "yellow", "black", "alpha"},
        s_lab{"lightness", "a", "b", "alpha"};
    switch (Raster::GetFormatInfo(format).colourModel) {
    case Raster::ColourModel::RGB:
        return s_rgb;
    case Raster::ColourModel::Grey:
        return s_grey;
    case Raster::ColourModel::CMYK:
        return s_cmyk;
    case Raster::ColourModel::Lab:
        return s_lab;
    case Raster::ColourModel::AlphaOnly:
        break;
    }
    return s_alpha;
}

int ParseChannels(std::string_view text, Raster::Format format) {
    if (Trim(text) == "all")
        return -1;
    if (Trim(text) == "none")
        return 0;
    auto const& names = GetChannelNames(format);
    int channels = 0;
    for (std::size_t start = 0; start <= text.size();) {
        auto const end = std::min(text.find(',', start), text.size());
        auto const name = Trim(text.substr(start, end - start));
        auto const found = std::find(names.begin(), names.end(), name);
        if (found == names.end()) {
            std::string known;
            for (auto const other : names)
                known += std::string(other) + ", ";
            throw ValueError("needs channels of " + std::string(Raster::GetFormatName(format)) + ", which are " +
                             known + "or all or none, not " + Quote(name));
        }
        channels |= 1 << (found - names.begin());
        start = end + 1;
    }
    return channels == (1 << names.size()) - 1 ? -1 : channels;
}

Kernel::Counted<RasterNode> FindMaskLayer(DocumentController& document) {
    auto const spread = document.GetCurrentSpread();
    for (auto const& node : document.GetCurrentSelection()->GetNodes()) {
        auto* const layer = Kernel::CastPointer<RasterNode>(node.get());
        if (layer != nullptr && layer->GetSpread() == spread.get())
            return Kernel::Counted<RasterNode>(layer);
    }
    Kernel::Counted<RasterNode> found;
    ForEachNode(*spread, [&](Node& node) {
        auto* const layer = Kernel::CastPointer<RasterNode>(&node);
        if (layer != nullptr && !found)
            found = Kernel::Counted<RasterNode>(layer);
    });
    return found;
}

} // namespace Shell
