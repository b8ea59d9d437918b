// SPDX-License-Identifier: Apache-2.0
#include "platform/story/text_renderer.h"

#include "engine/story/broken_lines.h"
#include "engine/story/colour_glyphs.h"
#include "platform/geometry/shapes.h"
#include "platform/kernel/cast.h"
#include "platform/renderer/colour_profiles.h"

#include <algorithm>
#include <span>
#include <unicode/uchar.h>
#include <vector>

namespace Story {

namespace {

using Geometry::PolyCurveDbl;
using Geometry::Transform;

// The replacement of a character that no font has and that its font shows as nothing: an upright frame. In em.
Kernel::Counted<PolyCurveDbl const> const& GetMissingLetter() {
    static auto const& s_outline = *new Kernel::Counted<PolyCurveDbl const>([] {
        auto frame = Kernel::MakeCounted<PolyCurveDbl>(Geometry::RectDbl{0.08, -0.7, 0.52, 0});
        auto inner = Kernel::MakeCounted<PolyCurveDbl>(Geometry::RectDbl{0.12, -0.66, 0.48, -0.04});
        for (auto const& curve : inner->GetCurves())
            curve->Reverse();
        frame->AddPolyCurve(*inner);
        return frame;
    }());
    return s_outline;
}

// Glyphs of letters that must not vanish: those that are missing, and what the face has as a picture only.
bool MustShow(FontFace const& face, ShapedGlyph const& glyph, char32_t character) {
    constexpr std::uint32_t c_graphic = U_GC_L_MASK | U_GC_N_MASK | U_GC_P_MASK | U_GC_S_MASK;
    bool const isGraphic = (U_GET_GC_MASK(static_cast<UChar32>(character)) & c_graphic) != 0;
    return glyph.GetId() == 0 || (face.HasPictures() && glyph.advance > 0 && isGraphic);
}

struct RunView {
    ShapedRun const& shaped;
    std::span<ShapedGlyph const> glyphs;
};

RunView View(LinePart const& line, LineRun const& run) {
    auto const& paragraph = line.GetParagraph();
    auto const& all = run.own ? line.GetData().own : paragraph.GetGlyphs();
    return {paragraph.GetRuns()[run.run], {all.data() + run.glyphBegin, run.glyphEnd - run.glyphBegin}};
}

// Calls `visit(face, glyph, emToText, character)` for each glyph of a span that draws something, in the order in which
// they are drawn. Returns how far the span advances.
template <class Visit>
double VisitGlyphs(LinePart const& line, LineRun const& run, Visit const& visit) {
    auto const [shaped, glyphs] = View(line, run);
    auto const& look = *shaped.look;
    auto const text = line.GetParagraph().GetText();
    double const size = look.size * line.GetScale();
    double const scaleX = size * look.horizontalScale, scaleY = size * look.verticalScale;
    double const baseline = line.GetOrigin().y - look.baselineShift +
                            (shaped.isUpright ? 0 : GetBaselineOffset(line.GetParagraph(), shaped, line.GetScale()));
    double const begin = line.GetOrigin().x + run.x;
    double pen = begin;
    for (std::size_t i = 0; i != glyphs.size(); ++i) {
        auto const& glyph = glyphs[shaped.IsRightToLeft() ? glyphs.size() - 1 - i : i];
        double const x = pen + glyph.offsetX, y = baseline - glyph.offsetY;
        if (shaped.face != nullptr && glyph.GetId() != ShapedGlyph::c_noGlyph && scaleX > 0 && scaleY > 0)
            visit(*shaped.face, glyph,
                  shaped.isUpright ? Transform({0, scaleY, x, -scaleX, look.skew * scaleX, y})
                                   : Transform({scaleX, -look.skew * scaleX, x, 0, scaleY, y}),
                  text[glyph.cluster]);
        pen += glyph.advance + (glyph.Has(ShapedGlyph::c_stretches) ? line.GetSpaceExtra() : 0);
    }
    return pen - begin;
}

void AddPlaced(PolyCurveDbl& outline, PolyCurveDbl const& glyph, Transform const& emToText) {
    auto const placed = glyph.Clone();
    placed->ApplyTransform(emToText);
    outline.AddPolyCurve(*placed);
}

void AddLetter(PolyCurveDbl& outline, FontFace const& face, ShapedGlyph const& glyph, Transform const& emToText,
               char32_t character) {
    auto letter = face.GetOutline(glyph.GetId());
    if (!letter && MustShow(face, glyph, character))
        letter = GetMissingLetter();
    if (letter)
        AddPlaced(outline, *letter, emToText);
}

struct PlacedColours {
    ColourGlyphRef glyph;
    Transform emToText;
};

// Layers and pictures take from the text's paint how much they show, how they blend, and nothing of its line.
void DrawColours(Renderer::RenderTarget& target, PlacedColours const& placed, Renderer::Paint const& text) {
    Renderer::Paint paint = text;
    paint.lineFill = {};
    paint.lineStyle = {};
    auto const& textFill = text.mainFill.GetFill();
    double const alpha = textFill && textFill->GetType() == Renderer::FillType::Solid ? textFill->GetMaximumAlpha() : 1;
    auto const draw = [&](Kernel::Counted<PolyCurveDbl> outline) {
        target.DrawCurves(std::move(outline), paint, Geometry::WindingOrderMode::NonZero);
    };
    for (auto const& layer : placed.glyph->layers) {
        paint.mainFill = text.mainFill;
        if (layer.colour) {
            auto const colour = Renderer::ConvertColour(*layer.colour, Raster::ICCProfileSet(),
                                                        Renderer::ColourFormat::RGB, target.GetColourProfiles());
            paint.mainFill = Renderer::FillDescriptorConst(
                Kernel::Consolidated<Renderer::Fill>(Kernel::Counted<Renderer::Fill const>(
                    new Renderer::SolidFill(colour.WithAlpha(static_cast<float>(colour.GetAlpha() * alpha))))),
                true, {}, text.mainFill.GetBlendMode());
        }
        auto const outline = layer.outline->Clone();
        outline->ApplyTransform(placed.emToText);
        draw(outline);
    }
    if (auto const& picture = placed.glyph->picture) {
        auto const pixelsToText = placed.emToText * placed.glyph->pixelsToEm;
        paint.mainFill = Renderer::FillDescriptorConst(
            Kernel::Consolidated<Renderer::Fill>(Kernel::Counted<Renderer::Fill const>(new Renderer::BitmapFill(
                picture, Renderer::TileMode::Clamp, Renderer::TileMode::Clamp, Renderer::Resampling::Bilinear, alpha))),
            true, pixelsToText.GetParams(), text.mainFill.GetBlendMode());
        auto const outline = placed.glyph->MakeOutline()->Clone();
        outline->ApplyTransform(placed.emToText);
        draw(outline);
    }
}

// Pixels of the target that an em of a span takes.
double FindPixelsPerEm(Renderer::RenderTarget const& target, TextLook const& look) {
    return look.size * std::max(look.horizontalScale, look.verticalScale) * target.GetTransform().GetUniformScale();
}

template <class T>
T const* GetObject(TextLook const& look, GlyphAtt::Object att) {
    return Kernel::CastPointer<T const>(look.atts->Get(att).get());
}

Renderer::Paint GetPaint(TextLook const& look, unsigned mode) {
    Renderer::Paint paint;
    auto const has = [&](DrawMode bit) { return (mode & static_cast<unsigned>(bit)) != 0; };
    if (has(DrawMode::Fill)) {
        auto const* const fill = GetObject<Renderer::FillDescriptor>(look, GlyphAtt::Object::Fill);
        paint.mainFill = Renderer::FillDescriptorConst(Renderer::Colour());
        if (fill != nullptr)
            paint.mainFill = *fill;
    }
    if (auto const* second = GetObject<Renderer::FillDescriptor>(look, GlyphAtt::Object::SecondFill);
        second != nullptr && has(DrawMode::SecondFill))
        paint.secondFill = *second;
    auto const* const lineFill = GetObject<Renderer::FillDescriptor>(look, GlyphAtt::Object::LineFill);
    auto const* const lineStyle = GetObject<Renderer::LineStyleDescriptor>(look, GlyphAtt::Object::LineStyle);
    if (has(DrawMode::Line) && lineFill != nullptr && lineStyle != nullptr) {
        paint.lineFill = *lineFill;
        paint.lineStyle = *lineStyle;
    }
    return paint;
}

void AddDecorations(PolyCurveDbl& outline, LinePart const& line, LineRun const& run, double width) {
    auto const& shaped = View(line, run).shaped;
    auto const& look = *shaped.look;
    auto const* const face = shaped.face != nullptr ? shaped.face : look.fonts->GetPrimary().get();
    if (face == nullptr || !(width > 0))
        return;
    double const em = look.size * look.verticalScale * line.GetScale();
    auto const add = [&](double middle) {
        double const y = line.GetOrigin().y - look.baselineShift + middle * em +
                         GetBaselineOffset(line.GetParagraph(), shaped, line.GetScale());
        double const half = face->GetUnderlineThickness() * em / 2;
        double const x = line.GetOrigin().x + run.x;
        outline.AddPolyCurve(PolyCurveDbl(Geometry::RectDbl{x, y - half, x + width, y + half}));
    };
    if (look.atts->Get(GlyphAtt::Enum::Underline) != 0)
        add(face->GetUnderlineOffset() + face->GetUnderlineThickness() / 2);
    if (look.atts->Get(GlyphAtt::Enum::Overline) != 0)
        add(-face->GetAscent() + face->GetUnderlineThickness() / 2);
    if (look.atts->Get(GlyphAtt::Enum::Strikethrough) != 0)
        add(face->GetStrikethroughOffset());
}

} // namespace

void TextRenderer::RenderLine(LinePart const& line, unsigned mode, bool withInvisible) {
    for (auto const& run : line.GetData().runs) {
        auto const& look = *line.GetParagraph().GetRuns()[run.run].look;
        Renderer::Paint paint;
        if (m_isSilhouette) {
            paint.mainFill = Renderer::FillDescriptorConst(Renderer::Colour());
        } else {
            paint = GetPaint(look, mode);
            paint.opacity = {m_opacity, m_opacity};
        }
        bool const isVisible = paint.mainFill.IsFillVisible(0) || paint.lineStyle.IsLineStyleVisible(paint.lineFill);
        if (!isVisible && !withInvisible)
            continue;
        auto outline = Kernel::MakeCounted<PolyCurveDbl>();
        std::vector<PlacedColours> coloured;
        bool const hasFill = paint.mainFill.IsFillVisible(0);
        double const width = VisitGlyphs(
            line, run,
            [&](FontFace const& face, ShapedGlyph const& glyph, Transform const& emToText, char32_t character) {
                auto colours =
                    hasFill && face.HasColours()
                        ? face.FindColourGlyph(glyph.GetId(), line.GetScale() * FindPixelsPerEm(*m_target, look))
                        : ColourGlyphRef();
                if (colours && m_isSilhouette && !colours->layers.empty())
                    AddPlaced(*outline, *colours->MakeOutline(), emToText);
                else if (colours)
                    coloured.push_back({std::move(colours), emToText});
                else
                    AddLetter(*outline, face, glyph, emToText, character);
            });
        if (!outline->empty())
            m_target->DrawCurves(std::move(outline), paint, Geometry::WindingOrderMode::NonZero);
        for (auto const& placed : coloured)
            DrawColours(*m_target, placed, paint);
        if ((mode & static_cast<unsigned>(DrawMode::Decorations)) == 0)
            continue;
        auto decorations = Kernel::MakeCounted<PolyCurveDbl>();
        AddDecorations(*decorations, line, run, width);
        if (!decorations->empty())
            m_target->DrawCurves(std::move(decorations), paint, Geometry::WindingOrderMode::NonZero);
    }
}

void TextRenderer::Render(DrawMode mode, bool withInvisible) {
    m_target->PushTransform(Transform(m_frame->GetGeometry().renderScale));
    for (auto const& column : *m_frame) {
        for (auto const& line : *column)
            RenderLine(line, static_cast<unsigned>(mode), withInvisible);
    }
    m_target->PopTransform();
}

namespace {

// Calls `visit(face, glyph, colours, emToText, character)` for each glyph of a frame.
template <class Visit>
void VisitGlyphs(ComposedFrame const& frame, Visit const& visit) {
    for (auto const& column : frame) {
        for (auto const& line : *column) {
            for (auto const& run : line.GetData().runs) {
                double const size = line.GetParagraph().GetRuns()[run.run].look->size;
                VisitGlyphs(
                    line, run,
                    [&](FontFace const& face, ShapedGlyph const& glyph, Transform const& emToText, char32_t character) {
                        visit(face, glyph, face.FindColourGlyph(glyph.GetId(), size), emToText, character);
                    });
            }
        }
    }
}

} // namespace

Kernel::Counted<PolyCurveDbl const> GetTextOutline(ComposedFrame const& frame) {
    auto outline = Kernel::MakeCounted<PolyCurveDbl>();
    VisitGlyphs(frame, [&](FontFace const& face, ShapedGlyph const& glyph, ColourGlyphRef const& colours,
                           Transform const& emToText, char32_t character) {
        if (colours)
            AddPlaced(*outline, *colours->MakeOutline(), emToText);
        else
            AddLetter(*outline, face, glyph, emToText, character);
    });
    outline->ApplyTransform(Transform(frame.GetGeometry().renderScale));
    return outline;
}

bool HasPictureGlyphs(ComposedFrame const& frame) {
    bool found = false;
    VisitGlyphs(frame, [&](FontFace const&, ShapedGlyph const&, ColourGlyphRef const& colours, Transform const&,
                           char32_t) { found = found || (colours && colours->picture); });
    return found;
}

} // namespace Story
