// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/render_target.h"
#include "platform/story/composition.h"

namespace Story {

// The parts of a text that are drawn: bits that may be combined.
enum class DrawMode : unsigned {
    Fill = 1u << 0,
    // The transparency that multiplies the fill's alpha. Without it the fill shows alone.
    SecondFill = 1u << 1,
    Line = 1u << 2,
    // Underlines and strikethroughs.
    Decorations = 1u << 5,
    All = 39
};

// Replays composed text into a target, as outlines: one call for each span of one appearance on a line, and one for
// each layer or picture of a glyph with colours of its own. These are shown where the span's fill is: with the alpha
// and the blend mode of the fill, and without the span's line.
class REDRAFT_ENGINE TextRenderer {
public:
    TextRenderer(Kernel::Counted<Renderer::RenderTarget> target, ComposedFramePtr const& frame)
        : m_target(std::move(target)), m_frame(frame) {}
    // Multiplies the opacity of everything that is drawn.
    void SetOpacity(double opacity) { m_opacity = opacity; }
    // Text is drawn opaque black whatever it looks like, for clips.
    void SetSilhouette(bool silhouette) { m_isSilhouette = silhouette; }

    // `withInvisible`: spans that neither fill nor line shows are sent too. The target's current transform takes
    // the space of the frame's node to the target's.
    void Render(DrawMode mode, bool withInvisible);

private:
    void RenderLine(LinePart const& line, unsigned mode, bool withInvisible);

    Kernel::Counted<Renderer::RenderTarget> m_target;
    ComposedFramePtr m_frame;
    double m_opacity = 1;
    bool m_isSilhouette = false;
};

// The outlines of all glyphs of a frame in the space of its node, without decorations. A glyph with layers has those of
// its layers, one that is a picture the picture's rectangle.
REDRAFT_ENGINE Kernel::Counted<Geometry::PolyCurveDbl const> GetTextOutline(ComposedFrame const& frame);
// Whether a glyph of the frame is a picture.
REDRAFT_ENGINE bool HasPictureGlyphs(ComposedFrame const& frame);

} // namespace Story
