// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/geometry/transform.h"
#include "platform/kernel/counted.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/colour.h"

#include <cstdint>
#include <hb.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace Story {

class FontFace;

// A glyph that brings its own colours: layers, or else a picture. Lengths are in em, y grows downwards. Immutable.
struct ColourGlyph final : public virtual Kernel::Countable {
    struct Layer {
        Kernel::Counted<Geometry::PolyCurveDbl const> outline;
        // In sRGB; none stands for the text's own fill.
        std::optional<Renderer::Colour> colour;
    };
    // From the lowest. Empty where the glyph is a picture.
    std::vector<Layer> layers;
    // With a profile.
    Kernel::Counted<Raster::DynamicBitmap const> picture;
    Geometry::Transform pixelsToEm;

    // Outlines of all that it paints: those of the layers, or the picture's rectangle.
    Kernel::Counted<Geometry::PolyCurveDbl const> MakeOutline() const;
};
using ColourGlyphRef = Kernel::Counted<ColourGlyph const>;

// The glyphs of a face that have colours: layers of outlines ("COLR" version 0 with the first palette of "CPAL"), and
// PNG pictures ("CBDT", "sbix"), by OpenType 1.9, 5.7. Gradients of later versions of "COLR" and documents of the table
// "SVG " are not read. Safe from any thread.
class ColourGlyphs {
public:
    // Keeps a reference to the face.
    explicit ColourGlyphs(hb_face_t* face);
    ~ColourGlyphs();
    bool IsEmpty() const { return !m_hasLayers && m_strikes.empty(); }

    // Null for a glyph without colours, and for one whose colours cannot be read. `outlines` is the face whose glyphs
    // these are. Of several sizes of a picture it is the smallest that has `pixelsPerEm` pixels, else the largest.
    ColourGlyphRef Find(FontFace const& outlines, unsigned glyph, double pixelsPerEm) const;

private:
    template <auto destroy>
    struct Destroy {
        template <class T>
        void operator()(T* object) const {
            destroy(object);
        }
    };
    using Face = std::unique_ptr<hb_face_t, Destroy<hb_face_destroy>>;

    void ReadStrikes();
    ColourGlyphRef MakeLayers(FontFace const& outlines, unsigned glyph) const;
    ColourGlyphRef MakePicture(unsigned glyph, unsigned pixelsPerEm) const;
    ColourGlyphRef FindPicture(unsigned glyph, double pixelsPerEm) const;
    template <class Make>
    ColourGlyphRef Keep(unsigned glyph, unsigned pixelsPerEm, Make const& make) const;

    Face m_face;
    // Without outlines, so that a glyph's box is that of its picture.
    Face m_pictures;
    bool m_hasLayers;
    // Pixels per em of the sizes in which there are pictures, ascending.
    std::vector<unsigned> m_strikes;
    mutable std::mutex m_mutex;
    // By glyph and pixels per em, which are 0 for layers.
    mutable std::map<std::pair<unsigned, unsigned>, ColourGlyphRef> m_kept;
    mutable std::size_t m_keptBytes = 0;
};

} // namespace Story
