// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_renderer.h"
#include "platform/document/generated_image_node.h"

#include "engine/document/merge/record_pictures.h"
#include "engine/document/tree/bounds.h"
#include "platform/document/artboard.h"
#include "platform/document/mask_node.h"
#include "platform/document/node_spaces.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/text_renderer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace {

using Params = Raster::AffineTransform::Params;

// The largest side of a picture in pixels.
constexpr double c_maximumSide = 1 << 20;
constexpr double c_maximumPixels = 1e9;

// Draws a tree without recursion: what must be ended after a node's children waits on the same stack as the nodes.
class TreeDrawing {
public:
    TreeDrawing(Renderer::RenderTarget& target, DrawnContent const& content, Renderer::RenderingFilter const* filter,
                std::vector<Kernel::Counted<Node const>> const& leftOut)
        : m_target(target), m_content(content), m_filter(filter), m_leftOut(leftOut) {}

    void Draw(Node const& top) {
        m_pending.push_back({Step::Enter, &top, false, false});
        while (!m_pending.empty()) {
            auto const item = m_pending.back();
            m_pending.pop_back();
            Run(item);
        }
    }

private:
    enum class Step { Enter, EndTransform, EndClip, EndMask, EndLayer, EndFilter };
    struct Item {
        Step step;
        Node const* node;
        // Only the shape counts, as of clipping content.
        bool silhouette;
        bool layered = false;
        // Of EndMask: the clip or the mask whose turn it is after the one that was drawn.
        Node const* next = nullptr;
        bool wasMaskNode = false;
    };

    void Run(Item const& item) {
        switch (item.step) {
        case Step::Enter:
            Enter(*item.node, item.silhouette);
            break;
        case Step::EndTransform:
            m_target.PopTransform();
            break;
        case Step::EndClip:
            m_target.PopClip();
            break;
        case Step::EndMask:
            m_target.EndMask();
            if (item.wasMaskNode)
                MaskAndDraw(*item.node, item.next, item.layered);
            else
                ClipAndDraw(*item.node, item.next, item.silhouette, item.layered);
            break;
        case Step::EndLayer:
            m_target.PopLayer();
            break;
        case Step::EndFilter:
            m_target.PopFilter();
            --m_openFilters;
            break;
        }
    }
    void After(Step step) { m_pending.push_back({step, nullptr, false, false}); }

    void Enter(Node const& node, bool silhouette) {
        auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
        if (scene != nullptr) {
            bool const isHidden = !scene->IsVisible() && !m_content.hidden;
            if (isHidden || (!silhouette && scene->GetOpacity() == 0) || IsLeftOut(node))
                return;
            m_target.PushTransform(Geometry::Transform(scene->GetMatrix()));
            After(Step::EndTransform);
            if (!silhouette)
                PushCaptions(node);
        }
        bool const layered = scene != nullptr && !silhouette && NeedsLayer(*scene);
        if (layered) {
            m_target.PushLayer({scene->GetOpacity(), scene->GetBlendMode(), true});
            After(Step::EndLayer);
        }
        ClipAndDraw(node, m_content.clips ? node.GetFirstChild(NodeChildListType::Clipping) : nullptr, silhouette,
                    layered);
    }

    // To be drawn when the node is done, its clips, masks and filters included.
    void PushCaptions(Node const& node) {
        for (Node const* caption = node.GetLastChild(NodeChildListType::Captions); caption != nullptr;
             caption = caption->GetPreviousSibling())
            m_pending.push_back({Step::Enter, caption, false, false});
    }

    // Content is seen where it lies in every clip, from `clip` on. A clip that is no content, as a hidden one, is none;
    // one without a fill leaves nothing. What is no plain outline becomes a mask: its nodes are drawn first, and the
    // rest at the mask's end.
    void ClipAndDraw(Node const& node, Node const* clip, bool silhouette, bool layered) {
        static auto const s_nothing = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
        for (; clip != nullptr; clip = clip->GetNextSibling()) {
            if (!clip->IsContent())
                continue;
            After(Step::EndClip);
            auto const* const curves = Kernel::CastPointer<CurvesNode const>(clip);
            if (curves == nullptr || clip->HasChildren(NodeChildListType::Clipping)) {
                m_target.BeginMask(Renderer::MaskKind::Alpha);
                m_pending.push_back({Step::EndMask, &node, silhouette, layered, clip->GetNextSibling()});
                m_pending.push_back({Step::Enter, clip, true, false});
                return;
            }
            m_target.PushTransform(Geometry::Transform(curves->GetMatrix()));
            m_target.PushClip(LeavesSomething(*curves) ? curves->GetOutline() : s_nothing,
                              curves->GetWindingOrderMode());
            m_target.PopTransform();
        }
        if (silhouette)
            DrawContent(node, true, layered);
        else
            MaskAndDraw(node, node.GetFirstChild(NodeChildListType::Masks), layered);
    }

    // Drawing of the masks, from `mask` on, comes before the content. Shapes of clips have none.
    void MaskAndDraw(Node const& node, Node const* mask, bool layered) {
        for (; mask != nullptr; mask = mask->GetNextSibling()) {
            auto const* const masking = Kernel::CastPointer<MaskNode const>(mask);
            if (masking == nullptr || !masking->IsContent())
                continue;
            After(Step::EndClip);
            m_target.BeginMask(masking->GetMaskKind());
            m_pending.push_back({Step::EndMask, &node, false, layered, mask->GetNextSibling(), true});
            m_pending.push_back({Step::Enter, mask, false, false});
            return;
        }
        if (auto const* const scene = Kernel::CastPointer<SceneNode const>(&node))
            BeginFilters(*scene);
        DrawContent(node, false, layered);
    }

    // The first effect is nearest to what is drawn. Filters as deep as these in others are drawn by no target.
    void BeginFilters(SceneNode const& node) {
        constexpr int c_deepest = 64;
        auto const& effects = node.GetFilterEffects();
        if (m_openFilters >= c_deepest)
            return;
        std::optional<Kernel::RectT<double>> box;
        for (auto effect = effects.rbegin(); effect != effects.rend(); ++effect) {
            auto const* const filter = Kernel::CastPointer<Renderer::Filter const>(effect->get());
            if (filter == nullptr)
                continue;
            if (filter->NeedsBox() && !box)
                box = ComputeBounds(node, {}, false, false);
            auto resolved = filter->ResolveBox(box.value_or(Kernel::RectT<double>()));
            if (!resolved)
                continue;
            m_target.PushFilter(std::move(resolved));
            ++m_openFilters;
            After(Step::EndFilter);
        }
    }

    static bool LeavesSomething(CurvesNode const& clip) {
        constexpr double c_visibleFill = 0.01;
        return clip.IsBrushFillVisible(c_visibleFill) || Kernel::CastPointer<ImageNode const>(&clip) != nullptr;
    }
    static bool HasVisibleFill(CurvesNode const& node) { return node.IsBrushFillVisible(0); }

    // Opacity and blend mode belong to the whole node. A node that paints once needs no layer for them.
    static bool NeedsLayer(SceneNode const& node) {
        if (node.GetOpacity() == 1 && node.GetBlendMode() == Renderer::BlendMode::Normal && !node.IsIsolated())
            return false;
        // The result of a filter is one object.
        if (!node.GetFilterEffects().empty())
            return true;
        if (node.HasChildren(NodeChildListType::Plain) && node.DrawsChildren())
            return true;
        if (Kernel::CastPointer<RasterNode const>(&node) != nullptr ||
            Kernel::CastPointer<GeneratedImageNode const>(&node) != nullptr)
            return false;
        auto const* const curves = Kernel::CastPointer<CurvesNode const>(&node);
        if (curves == nullptr || Kernel::CastPointer<ImageNode const>(&node) != nullptr)
            return true;
        return HasVisibleFill(*curves) && curves->IsLineStyleVisible();
    }

    void DrawContent(Node const& node, bool silhouette, bool layered) {
        auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
        double const opacity = silhouette || layered || scene == nullptr ? 1 : scene->GetOpacity();
        auto const blendMode =
            silhouette || layered || scene == nullptr ? Renderer::BlendMode::Normal : scene->GetBlendMode();
        m_target.SetDrawnObject(Kernel::Counted<Kernel::Countable const>(&node));
        auto const shown = scene == nullptr ? ShownPicture() : FindShownPicture(*scene);
        if (shown.isShown) {
            DrawShownPicture(*scene, shown, silhouette, opacity, blendMode);
            return;
        }
        if (auto const* raster = Kernel::CastPointer<RasterNode const>(&node))
            DrawBitmap(raster->GetBitmap(), {}, opacity, blendMode);
        if (auto const* image = Kernel::CastPointer<ImageNode const>(&node); image != nullptr && !silhouette)
            DrawBitmap(image->GetImage(), {}, opacity, blendMode);
        if (auto const* generated = Kernel::CastPointer<GeneratedImageNode const>(&node))
            DrawGenerated(*generated, opacity, blendMode);
        if (auto const* curves = Kernel::CastPointer<CurvesNode const>(&node))
            DrawCurves(*curves, silhouette, opacity, blendMode);
        if (auto const* text = m_content.texts ? Kernel::CastPointer<TextNode const>(&node) : nullptr)
            DrawText(*text, silhouette, opacity);
        if (auto const* box = Kernel::CastPointer<CloudSyncedNode const>(&node)) {
            if (auto const contents = box->GetBoxContents(); contents && contents->GetParent() == nullptr)
                m_pending.push_back({Step::Enter, contents.get(), silhouette, false});
        }
        if (!node.DrawsChildren() || (node.IsArtboard() && !OpenArtboard(node, silhouette, opacity, blendMode)))
            return;
        for (Node const* child = node.GetLastChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetPreviousSibling())
            m_pending.push_back({Step::Enter, child, silhouette, false});
    }

    // The picture of a record in place of a picture, or as the fill of a shape.
    void DrawShownPicture(SceneNode const& node, ShownPicture const& shown, bool silhouette, double opacity,
                          Renderer::BlendMode blendMode) {
        auto const* const curves = Kernel::CastPointer<CurvesNode const>(&node);
        bool const isShape = curves != nullptr && Kernel::CastPointer<ImageNode const>(&node) == nullptr;
        if (!isShape) {
            if (shown.bitmap)
                DrawBitmap(shown.bitmap, shown.pixelsToObject, opacity, blendMode);
            return;
        }
        if (silhouette)
            return DrawCurves(*curves, true, opacity, blendMode);
        Renderer::Paint paint;
        paint.opacity = {opacity, opacity};
        paint.blendMode = blendMode;
        DrawFillAndLine(*curves, curves->GetOutline(), paint, curves->GetWindingOrderMode(), &shown);
    }

    void DrawGenerated(GeneratedImageNode const& node, double opacity, Renderer::BlendMode blendMode) {
        if (auto bitmap = m_content.bitmaps ? node.GetShownBitmap() : nullptr)
            DrawBitmap(std::move(bitmap), node.GetShownTransform(), opacity, blendMode);
    }

    void DrawBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap,
                    Raster::AffineTransform::Params const& pixelsToObject, double opacity,
                    Renderer::BlendMode blendMode) {
        if (!m_content.bitmaps)
            return;
        bool const isReduced = m_target.GetTransform().GetUniformScale() < 1;
        m_target.DrawBitmap(std::move(bitmap), pixelsToObject, opacity, blendMode,
                            isReduced ? m_content.reducing : m_content.enlarging);
    }

    // Paints the box of an artboard and clips to it all that is drawn until the children have been. False where nothing
    // of the artboard shows. Margins and guides are not printed.
    bool OpenArtboard(Node const& node, bool silhouette, double opacity, Renderer::BlendMode blendMode) {
        auto const& artboard = static_cast<ArtboardNode const&>(node);
        auto const box = artboard.GetArtboardBox();
        if (!artboard.IsArtboardEnabled())
            return true;
        bool const isFinite =
            std::isfinite(box.left) && std::isfinite(box.top) && std::isfinite(box.right) && std::isfinite(box.bottom);
        if (!isFinite || box.IsEmpty())
            return false;
        auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(box);
        auto const fill = m_content.fills && !silhouette ? artboard.GetBrushFillDescriptor(true) : nullptr;
        if (fill && !fill->IsFillNone()) {
            Renderer::Paint paint;
            paint.opacity = {opacity, opacity};
            paint.blendMode = blendMode;
            paint.mainFill = *fill;
            m_target.DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero);
        }
        if (m_content.clips) {
            m_target.PushClip(outline, Geometry::WindingOrderMode::NonZero);
            After(Step::EndClip);
        }
        return true;
    }

    void DrawCurves(CurvesNode const& node, bool silhouette, double opacity, Renderer::BlendMode blendMode) {
        Renderer::Paint paint;
        if (silhouette) {
            paint.mainFill = Renderer::FillDescriptorConst(Renderer::Colour());
            m_target.DrawCurves(node.GetOutline(), paint, node.GetWindingOrderMode());
            return;
        }
        paint.opacity = {opacity, opacity};
        paint.blendMode = blendMode;
        DrawFillAndLine(node, node.GetOutline(), paint, node.GetWindingOrderMode());
    }

    // Of a shape or of a text's frame; the rest of the paint is given. `shown`: the picture in place of the fill.
    template <class N>
    void DrawFillAndLine(N const& node, Kernel::Counted<Geometry::PolyCurveDbl const> const& outline,
                         Renderer::Paint& paint, Geometry::WindingOrderMode winding,
                         ShownPicture const* shown = nullptr) {
        if (shown != nullptr && shown->bitmap && m_content.bitmaps)
            paint.mainFill = *MakePictureFill(shown->bitmap, shown->pixelsToObject);
        if (auto const fill = node.GetBrushFillDescriptor(true); shown == nullptr && fill && m_content.fills)
            paint.mainFill = *fill;
        auto const line = node.GetLineStyleDescriptor();
        auto const pen = node.GetPenFillDescriptor();
        if (line && pen && m_content.lines) {
            paint.lineFill = *pen;
            paint.lineStyle = *line;
            if (node.IsLineBehindFill() != line->GetDrawBehindFill()) {
                auto const ordered = line->Clone();
                ordered->SetDrawBehindFill(node.IsLineBehindFill());
                paint.lineStyle = *ordered;
            }
        }
        if (!paint.mainFill.IsFillNone() || !paint.lineStyle.IsLineStyleNone())
            m_target.DrawCurves(outline, paint, winding);
    }

    // A frame's own fill and line lie below its text.
    void DrawText(TextNode const& node, bool silhouette, double opacity) {
        auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(&node);
        if (frame != nullptr && !silhouette) {
            Renderer::Paint paint;
            paint.opacity = {opacity, opacity};
            DrawFillAndLine(node, frame->GetTextFrameAsCurves(), paint, frame->GetTextFrameWindingOrderMode());
        }
        Story::TextRenderer renderer(Kernel::Counted<Renderer::RenderTarget>(&m_target), node.MakeComposedText());
        renderer.SetOpacity(opacity);
        renderer.SetSilhouette(silhouette);
        renderer.Render(Story::DrawMode::All, false);
    }

    bool IsLeftOut(Node const& node) const {
        if (m_filter != nullptr && !m_filter->ShouldDraw(node))
            return true;
        return std::any_of(m_leftOut.begin(), m_leftOut.end(), [&](auto const& left) { return left.get() == &node; });
    }

    Renderer::RenderTarget& m_target;
    DrawnContent const& m_content;
    Renderer::RenderingFilter const* m_filter;
    std::vector<Kernel::Counted<Node const>> const& m_leftOut;
    std::vector<Item> m_pending;
    int m_openFilters = 0;
};

} // namespace

Raster::ICCProfileSet GetDocumentProfiles(Node const& node) {
    auto const* const document = node.GetDocumentNode();
    return document == nullptr ? Raster::ICCProfileSet() : document->GetProfiles();
}

void DocumentRenderer::DrawTree(Node const& node) {
    if (auto const* const document = node.GetDocumentNode())
        m_target->SetColourFormatAndProfiles(document->GetFormat(), document->GetProfiles());
    TreeDrawing(*m_target, m_content, m_filter.get(), m_leftOut).Draw(node);
}

void DocumentRenderer::DrawNode(Node const& node) {
    m_target->PushTransform(Geometry::Transform(NodeSpaces(node).GetParentToSpreadTransform()));
    DrawTree(node);
    m_target->PopTransform();
}

namespace {

Kernel::RectT<double> PictureArea(SpreadNode const& spread, SpreadPictureOptions const& options) {
    return options.area.IsEmpty() ? spread.GetBaseBox(true) : options.area;
}

} // namespace

void CheckPictureSize(double width, double height) {
    if (!(width >= 1) || !(height >= 1))
        throw Kernel::Exception("the picture would have no pixels");
    if (width > c_maximumSide || height > c_maximumSide || width * height > c_maximumPixels)
        throw Kernel::Exception("the picture would be too large");
}

Kernel::SizeT<int> GetSpreadPictureSize(SpreadNode const& spread, SpreadPictureOptions const& options) {
    auto const area = PictureArea(spread, options);
    // A size that is whole but for rounding is that whole number.
    double const width = std::ceil(area.GetWidth() * options.scale - 1e-6);
    double const height = std::ceil(area.GetHeight() * options.scale - 1e-6);
    CheckPictureSize(width, height);
    return {static_cast<int>(width), static_cast<int>(height)};
}

Kernel::Counted<Renderer::RasterRenderTarget> MakeSpreadPicture(SpreadNode const& spread,
                                                                SpreadPictureOptions const& options) {
    auto const size = GetSpreadPictureSize(spread, options);
    auto const area = PictureArea(spread, options);
    Renderer::RasterOptions raster;
    raster.width = size.width;
    raster.height = size.height;
    raster.format = options.format;
    raster.profiles = options.profiles ? *options.profiles : GetDocumentProfiles(spread);
    raster.documentToPixels = Geometry::Transform(
        {options.scale, 0, -area.left * options.scale, 0, options.scale, -area.top * options.scale});
    raster.background = options.background;
    raster.abort = options.abort;
    auto target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(raster);
    DocumentRenderer renderer(target);
    renderer.LeaveOut(options.leftOut);
    if (options.nodes.empty())
        renderer.DrawSpread(spread);
    for (auto const& node : options.nodes)
        renderer.DrawNode(*node);
    return target;
}
