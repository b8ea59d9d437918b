// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/image_source.h"
#include "formats/svg/importer.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"

#include <cmath>

namespace Formats::Svg {

namespace {

// Of one drawing's images together; a drawing that says more than this in images is no drawing.
constexpr std::uint64_t c_maximumImagePixels = std::uint64_t{1} << 27;
// Drawings inside a drawing, in all, and how deep.
constexpr std::size_t c_maximumInnerDrawings = 64;
constexpr std::size_t c_maximumInnerDepth = 4;

bool IsDrawing(ImageBytes const& image) {
    if (image.mediaType.starts_with("image/svg"))
        return true;
    std::string_view const start = Trimmed(std::string_view(image.bytes).substr(0, 200));
    return start.starts_with("<?xml") || start.starts_with("<svg") || image.file.ends_with(".svg") ||
           image.file.ends_with(".svgz");
}

} // namespace

// A picture in its place: what it holds is laid into the rectangle that `image` gives.
Importer::SceneNodePointer Importer::BuildImage(Element const& element) {
    auto const href = element.Find(Name::Href).value_or(std::string_view());
    auto found = m_images.find(href);
    if (found == m_images.end())
        found = m_images.emplace(href, ReadImage(element)).first;
    Picture const& picture = found->second;
    if (!picture.bitmap && !picture.drawing)
        return {};
    // A size that is not given is the picture's own, or follows from the other one.
    constexpr Length c_automatic{-1, false};
    double width = element.GetX(Name::Width, c_automatic), height = element.GetY(Name::Height, c_automatic);
    double const ratio = picture.size.width / picture.size.height;
    if (width < 0)
        width = height < 0 ? picture.size.width : height * ratio;
    if (height < 0)
        height = width / ratio;
    Viewport const frame{element.GetX(Name::X), element.GetY(Name::Y), width, height};
    if (!(width > 0 && height > 0))
        return {};
    auto const aspectText = element.Find(Name::PreserveAspectRatio);
    AspectRatio const aspect = aspectText ? ParseAspectRatio(*aspectText).value_or(AspectRatio{}) : AspectRatio{};
    Matrix const fit = FitTransform({0, 0, picture.size.width, picture.size.height}, frame, aspect);
    if (!IsFinite(fit) || !(std::abs(fit.GetDeterminant()) > 1e-128))
        return {};
    SceneNodePointer content;
    if (picture.bitmap) {
        auto const raster = Kernel::MakeCounted<RasterNode>();
        raster->SetBitmap(picture.bitmap);
        content = raster;
    } else {
        CountNodes(picture.nodeCount);
        CloneContext context(CloneType::Copy);
        content = Kernel::Cast<SceneNode>(picture.drawing->Clone(context));
    }
    content->SetTransform(WithoutNegativeZeros(fit), false);
    bool const isCut = aspect.slice && !aspect.stretch && element.GetOwnStyle().overflow != Overflow::Visible;
    if (!isCut && element.GetOwnStyle().clipPath.empty() && picture.bitmap)
        return content;
    // Clips are in user units and not in pixels.
    auto const group = Kernel::MakeCounted<GroupNode>();
    group->InsertChild(NodeChildListType::Plain, content, nullptr);
    if (isCut || !picture.bitmap)
        ClipToRectangle({frame.x, frame.y, frame.x + frame.width, frame.y + frame.height}, *group);
    return group;
}

Importer::Picture Importer::ReadImage(Element const& element) {
    Report& report = m_drawing.GetReport();
    auto const image = LoadImage(element);
    if (!image)
        return {};
    Picture picture;
    try {
        if (IsDrawing(*image))
            return ReadInnerDrawing(element, image->bytes);
        Raster::ImageLimits limits;
        limits.pixels = c_maximumImagePixels - std::min(c_maximumImagePixels, m_imagePixels);
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage({reinterpret_cast<std::byte const*>(image->bytes.data()), image->bytes.size()}, receiver,
                            limits);
        auto const bitmap = receiver.Finish();
        // SVG 2, 12.5: an image that does not say what its colours are is sRGB.
        Raster::KeepDefaultProfile(*bitmap, m_drawing.GetOptions().profiles);
        picture.size = {static_cast<double>(bitmap->GetWidth()), static_cast<double>(bitmap->GetHeight())};
        m_imagePixels +=
            static_cast<std::uint64_t>(bitmap->GetWidth()) * static_cast<std::uint64_t>(bitmap->GetHeight());
        picture.bitmap = bitmap;
    } catch (Kernel::Exception const& refused) {
        report.Add("image (" + std::string(refused.what()) + ")", element.Describe());
        return {};
    }
    return picture;
}

// A drawing as an image reads nothing from outside, and its report joins this one's.
Importer::Picture Importer::ReadInnerDrawing(Element const& element, std::string_view bytes) {
    if (m_innerDepth >= c_maximumInnerDepth || ++m_innerDrawings > c_maximumInnerDrawings) {
        m_drawing.GetReport().Add("drawings in drawings", element.Describe());
        return {};
    }
    ReadOptions options = m_drawing.GetOptions();
    options.folder.clear();
    options.work.progress = nullptr;
    Drawing inner(bytes, options);
    Importer importer(inner, m_guids);
    importer.m_innerDepth = m_innerDepth + 1;
    importer.m_innerDrawings = m_innerDrawings;
    importer.m_imagePixels = m_imagePixels;
    importer.m_copiedNodes = m_copiedNodes;
    auto const nodes = importer.ImportRoot(1);
    m_innerDrawings = importer.m_innerDrawings;
    m_imagePixels = importer.m_imagePixels;
    m_copiedNodes = importer.m_copiedNodes;
    m_guids = importer.m_guids;
    for (auto const& symbol : importer.m_symbols)
        m_symbols.push_back(symbol);
    for (Report::Entry const& entry : inner.GetReport().GetEntries())
        m_drawing.GetReport().Add(entry.kind, entry.first, entry.count);
    Picture picture;
    picture.size = inner.GetPageSize();
    picture.drawing = Kernel::MakeCounted<GroupNode>();
    for (auto const& node : nodes)
        picture.drawing->InsertChild(NodeChildListType::Plain, node, nullptr);
    ForEachNode(*picture.drawing, [&](Node&) { ++picture.nodeCount; });
    return picture;
}

} // namespace Formats::Svg
