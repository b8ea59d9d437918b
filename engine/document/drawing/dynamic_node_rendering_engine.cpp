// SPDX-License-Identifier: Apache-2.0
#include "platform/document/dynamic_node_rendering_engine.h"

#include "engine/document/drawing/device_route.h"
#include "platform/document/quorin_controller.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/renderer/picture_parts.h"

#include <cmath>

struct DynamicNodeRenderingEngine::Settings {
    Kernel::Counted<Node const> node;
    Node::NodeRenderOptions options;
    Kernel::Counted<Renderer::RenderingFilter> filter;
    Renderer::RasterOptions raster;
    DrawnContent content;
    bool isSerial = false;
};

DynamicNodeRenderingEngine::DynamicNodeRenderingEngine() = default;
DynamicNodeRenderingEngine::~DynamicNodeRenderingEngine() = default;

namespace {

static_assert(static_cast<int>(Raster::ResamplerType::Nearest) == static_cast<int>(Renderer::Resampling::Nearest));
static_assert(static_cast<int>(Raster::ResamplerType::Bilinear) == static_cast<int>(Renderer::Resampling::Bilinear));
static_assert(static_cast<int>(Raster::ResamplerType::Bicubic) == static_cast<int>(Renderer::Resampling::Bicubic));

// From the space that a spread is drawn in to one that begins at the corner of its box.
Geometry::Transform FromCorner(Node const& node) {
    auto const* const spread = Kernel::CastPointer<SpreadNode const>(&node);
    auto const box = spread == nullptr ? Kernel::RectT<double>() : spread->GetBaseBox(true);
    return Geometry::Transform::Translation(-box.left, -box.top);
}

} // namespace

void DynamicNodeRenderingEngine::Create(Kernel::Counted<Node const> node, Node::NodeRenderOptions const& options,
                                        Kernel::Counted<Renderer::RenderingFilter> filter, int width, int height,
                                        Raster::AffineTransform::Params transform, Raster::ResamplerType down,
                                        Raster::ResamplerType up, bool linear, int level, Raster::Format format,
                                        Raster::ICCManager::ICCProfileSet profiles, bool fills, bool lines,
                                        bool bitmaps, bool texts, bool hidden, bool clips, bool opaque, bool serial,
                                        Renderer::RenderTarget::BlockTextMode) {
    auto settings = std::make_unique<Settings>();
    auto& raster = settings->raster;
    raster.width = width;
    raster.height = height;
    raster.format = format;
    raster.profiles = std::move(profiles);
    double const scale = std::ldexp(1.0, -level);
    raster.documentToPixels =
        Geometry::Transform::Scale(scale, scale) * Geometry::Transform(transform) * FromCorner(*node);
    if (opaque)
        raster.background = Renderer::Colour::FromRGB(1, 1, 1);
    if (linear)
        raster.blendSpace = Renderer::BlendSpace::Linear;
    settings->content = {fills,
                         lines,
                         bitmaps,
                         texts,
                         hidden,
                         clips,
                         static_cast<Renderer::Resampling>(down),
                         static_cast<Renderer::Resampling>(up)};
    settings->isSerial = serial;
    settings->node = std::move(node);
    settings->options = options;
    settings->filter = std::move(filter);
    if (Raster::IsHandledFormat(format))
        CheckPictureSize(width, height);
    m_settings = std::move(settings);
}

DynamicNodeRenderingEngine::Run::Run(DynamicNodeRenderingEngine const& engine, Kernel::RectT<int> const& region,
                                     bool const* abort) {
    auto const& settings = *engine.m_settings;
    auto raster = settings.raster;
    raster.abort = abort;
    m_format = raster.format;
    m_isSerial = settings.isSerial;
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(raster);
    DocumentRenderer renderer(target);
    renderer.LeaveOut(settings.options.leftOut);
    renderer.SetContent(settings.content);
    renderer.SetFilter(settings.filter);
    renderer.DrawTree(*settings.node);
    using Route = Renderer::PictureParts::Route;
    m_parts =
        std::make_unique<Renderer::PictureParts>(target, region, settings.isSerial ? Route::Serial : Route::Parallel);
}

DynamicNodeRenderingEngine::Run::~Run() = default;

Kernel::Counted<Raster::DynamicBuffer> DynamicNodeRenderingEngine::Run::RenderTile(Kernel::RectT<int> const& tile) {
    bool const isFree = m_pixels && m_pixels->GetControlBlock()->GetStrongCount() == 1 &&
                        m_pixels->GetBase()->GetSize() == Kernel::SizeT<int>{tile.GetWidth(), tile.GetHeight()};
    // All pixels are written: none are left of the tile before.
    if (!isFree)
        m_pixels = Kernel::MakeCounted<Raster::DynamicBuffer>(tile.GetWidth(), tile.GetHeight(), m_format);
    RunWithDevices(m_isSerial, [&] {
        m_parts->Render(tile, *m_pixels->GetBase());
        return m_pixels->SyncHostCache(m_pixels->GetBounds(), false, nullptr);
    });
    return m_pixels;
}
