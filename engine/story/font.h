// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/glyph_parts.h"
#include "platform/geometry/poly_curve.h"
#include "platform/kernel/counted.h"

#include <hb.h>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Story {

class ColourGlyphs;
struct ColourGlyph;

// One face of a font file. Lengths are in em, y grows downwards. Immutable but for its cache of outlines; safe from any
// thread.
class FontFace final : public virtual Kernel::Countable {
public:
    // Null when the file cannot be read as a font with outlines and characters. `index` as fontconfig counts: the face
    // below, the named instance above 16 bits.
    static Kernel::Counted<FontFace const> Load(std::string const& path, unsigned index);
    ~FontFace() override;

    // For shaping: positions come in units of the em.
    hb_font_t* GetFont() const { return m_font.get(); }
    double GetUnitsPerEm() const { return m_unitsPerEm; }
    bool HasCharacter(char32_t c) const { return (GetCoverage(c) >> (c & 63) & 1) != 0; }
    // A bit, from the lowest on, for each of the 64 characters among which `c` is.
    std::uint64_t GetCoverage(char32_t c) const {
        auto const page = c >> 8;
        return page < m_pages.size() && m_pages[page] != 0 ? m_bits[(m_pages[page] - 1) * 4 + (c >> 6 & 3)] : 0;
    }
    unsigned GetGlyphOfCharacter(char32_t c) const;
    // See AreSpacesSeparable. Found out when it is first asked for.
    bool HasSeparableSpaces() const;
    // Whether a character has a form of its own on lines that run from top to bottom.
    bool HasVerticalForm(char32_t c, hb_script_t script) const;
    bool HasSmallCaps() const { return m_hasSmallCaps; }
    // True when letters may be bitmaps or layers of colours, and have no outline then.
    bool HasPictures() const { return m_hasPictures; }
    double GetAscent() const { return m_ascent; }
    // Positive below the baseline.
    double GetDescent() const { return m_descent; }
    // The height of capitals.
    double GetCapHeight() const { return m_capHeight; }
    double GetUnderlineOffset() const { return m_underlineOffset; }
    double GetUnderlineThickness() const { return m_underlineThickness; }
    double GetStrikethroughOffset() const { return m_strikethroughOffset; }

    // True when glyphs may have colours that can be shown.
    bool HasColours() const { return m_hasColours; }
    // Null for a glyph without colours: see ColourGlyphs::Find.
    Kernel::Counted<ColourGlyph const> FindColourGlyph(unsigned glyph, double pixelsPerEm) const;

    // The outline of a glyph; null for one that has none, such as a space.
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline(unsigned glyph) const;

private:
    struct DestroyFont {
        void operator()(hb_font_t* font) const { hb_font_destroy(font); }
    };
    FontFace() = default;
    void ReadCoverage(hb_face_t* face);
    void ReadMetrics();

    std::unique_ptr<hb_font_t, DestroyFont> m_font;
    double m_unitsPerEm = 1000;
    double m_ascent = 0.8, m_descent = 0.2, m_capHeight = 0.7;
    double m_underlineOffset = 0.1, m_underlineThickness = 0.05, m_strikethroughOffset = -0.3;
    bool m_hasSmallCaps = false;
    bool m_hasPictures = false;
    bool m_hasColours = false;
    // Characters by pages of 256: number of the page's four words, from 1; 0 for an empty page.
    std::vector<std::uint16_t> m_pages;
    std::vector<std::uint64_t> m_bits;
    mutable std::once_flag m_spacesAreKnown;
    mutable bool m_hasSeparableSpaces = false;
    mutable std::mutex m_mutex;
    mutable std::unordered_map<std::uint64_t, bool> m_verticalForms;
    std::unique_ptr<GlyphParts> m_parts;
    std::unique_ptr<ColourGlyphs> m_colours;
    mutable std::unordered_map<unsigned, Kernel::Counted<Geometry::PolyCurveDbl const>> m_outlines;
};
using FontFaceRef = Kernel::Counted<FontFace const>;

// The key by which a face is asked for.
struct FontQuery {
    // Names, separated by commas; empty: the system's serif family.
    std::string families;
    std::string language;
    double weight = 400;
    double width = 100;
    bool italic = false;
    friend auto operator<=>(FontQuery const&, FontQuery const&) = default;
};

// The faces that answer a query: the wanted one, and for characters that it lacks the next best that has them.
class FontStack final : public virtual Kernel::Countable {
public:
    // One for all equal queries.
    static Kernel::Counted<FontStack const> Get(FontQuery const& query);
    ~FontStack() override;
    explicit FontStack(FontQuery const& query);

    // Null only on a system without any font.
    FontFaceRef const& GetPrimary() const { return m_primary; }
    // A face with the character, or the primary one when no face has it.
    FontFace const* FindFace(char32_t c) const { return FindFace(c, 0); }
    // With both where there is such a face; `mark` 0 stands for none.
    FontFace const* FindFace(char32_t c, char32_t mark) const;
    // A face that shows an emoji as a text asks for it: in colours, which the primary face and then the system's
    // fonts are asked for, or as an outline. Null where there is none.
    FontFace const* FindEmojiFace(std::u32string_view sequence, bool inColours) const;

private:
    struct Fallback;
    FontFaceRef m_primary;
    std::unique_ptr<Fallback> m_fallback;
};

} // namespace Story
