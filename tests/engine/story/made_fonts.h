// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Small TrueType fonts that tests build byte by byte (OpenType 1.9).
namespace MadeFonts {

// Bytes as font files have them: the greater first.
class Bytes {
public:
    Bytes& U8(unsigned value) {
        m_bytes.push_back(static_cast<char>(value));
        return *this;
    }
    Bytes& U16(unsigned value) { return U8(value >> 8 & 0xFF).U8(value & 0xFF); }
    Bytes& U32(std::uint64_t value) {
        return U16(static_cast<unsigned>(value >> 16 & 0xFFFF)).U16(static_cast<unsigned>(value & 0xFFFF));
    }
    Bytes& Zeros(std::size_t count) {
        m_bytes.append(count, '\0');
        return *this;
    }
    Bytes& Append(std::string const& bytes) {
        m_bytes += bytes;
        return *this;
    }
    std::string const& Get() const { return m_bytes; }

private:
    std::string m_bytes;
};

using Tables = std::map<std::string, std::string>;

// Triangles in a font of 1000 units.
inline std::string MakeTriangle() {
    Bytes glyph;
    glyph.U16(1).U16(0).U16(0).U16(500).U16(500).U16(2).U16(0);
    glyph.U8(1).U8(1).U8(1);
    glyph.U16(0).U16(500).U16(0xFE0C).U16(0).U16(0).U16(500).U8(0);
    return glyph.Get();
}
inline std::string MakeComposite(std::vector<unsigned> const& parts) {
    Bytes glyph;
    glyph.U16(0xFFFF).Zeros(8);
    for (std::size_t i = 0; i != parts.size(); ++i)
        glyph.U16(i + 1 == parts.size() ? 0x0003 : 0x0023).U16(parts[i]).U16(0).U16(0);
    return glyph.Get();
}

// A font whose letters from A on are the glyphs from 1 on.
inline Tables MakeTables(std::vector<std::string> const& glyphs) {
    Tables tables;
    auto const count = static_cast<unsigned>(glyphs.size());
    tables["head"] = Bytes()
                         .U32(0x10000)
                         .U32(0x10000)
                         .U32(0)
                         .U32(0x5F0F3CF5)
                         .U16(0)
                         .U16(1000)
                         .Zeros(16)
                         .U16(0)
                         .U16(0)
                         .U16(1000)
                         .U16(1000)
                         .U16(0)
                         .U16(8)
                         .U16(2)
                         .U16(1)
                         .U16(0)
                         .Get();
    tables["hhea"] = Bytes().U32(0x10000).U16(800).U16(0xFF38).U16(0).U16(1000).Zeros(22).U16(0).U16(1).Get();
    tables["maxp"] = Bytes().U32(0x10000).U16(count).Zeros(26).Get();
    Bytes metrics;
    metrics.U16(600).U16(0).Zeros(2 * (count - 1));
    tables["hmtx"] = metrics.Get();
    Bytes cmap;
    cmap.U16(0).U16(1).U16(3).U16(10).U32(12);
    cmap.U16(12).U16(0).U32(28).U32(0).U32(1).U32('A').U32('A' + count - 2).U32(1);
    tables["cmap"] = cmap.Get();
    Bytes places;
    std::string all;
    for (auto const& glyph : glyphs) {
        places.U32(all.size());
        all += glyph;
        all.resize((all.size() + 3) / 4 * 4);
    }
    places.U32(all.size());
    tables["loca"] = places.Get();
    tables["glyf"] = all;
    return tables;
}

inline std::string MakeFile(Tables const& tables) {
    Bytes directory;
    auto const count = static_cast<unsigned>(tables.size());
    directory.U32(0x10000).U16(count).U16(128).U16(3).U16(0);
    std::size_t at = 12 + tables.size() * 16;
    std::string content;
    for (auto const& [tag, bytes] : tables) {
        for (char const c : tag)
            directory.U8(static_cast<unsigned char>(c));
        directory.U32(0).U32(at + content.size()).U32(bytes.size());
        content += bytes;
        content.resize((content.size() + 3) / 4 * 4);
    }
    return directory.Get() + content;
}

// Corners of a rectangle in a font of 1000 units.
inline std::string MakeRectangle(unsigned left, unsigned bottom, unsigned right, unsigned top) {
    unsigned const width = right - left, height = top - bottom;
    Bytes glyph;
    glyph.U16(1).U16(left).U16(bottom).U16(right).U16(top).U16(3).U16(0);
    glyph.U8(1).U8(1).U8(1).U8(1);
    glyph.U16(left).U16(0).U16(width).U16(0);
    glyph.U16(bottom).U16(height).U16(0).U16(0x10000 - height);
    return glyph.Get();
}

// The name by which the system's list of fonts knows it.
inline std::string MakeNames(std::string const& family) {
    Bytes names;
    names.U16(0).U16(1).U16(18).U16(3).U16(1).U16(0x409).U16(1).U16(static_cast<unsigned>(family.size() * 2)).U16(0);
    for (char const c : family)
        names.U16(static_cast<unsigned char>(c));
    return names.Get();
}

struct Layer {
    unsigned glyph = 0;
    unsigned colour = 0;
};

// Layers of glyphs, which must ascend.
inline std::string MakeLayers(std::map<unsigned, std::vector<Layer>> const& glyphs) {
    Bytes bases, all;
    unsigned count = 0;
    for (auto const& [glyph, layers] : glyphs) {
        bases.U16(glyph).U16(count).U16(static_cast<unsigned>(layers.size()));
        for (auto const& layer : layers)
            all.U16(layer.glyph).U16(layer.colour);
        count += static_cast<unsigned>(layers.size());
    }
    Bytes table;
    table.U16(0).U16(static_cast<unsigned>(glyphs.size())).U32(14).U32(14 + bases.Get().size()).U16(count);
    return table.Get() + bases.Get() + all.Get();
}

// One palette of colours 0xRRGGBBAA.
inline std::string MakePalette(std::vector<std::uint32_t> const& colours) {
    Bytes table;
    auto const count = static_cast<unsigned>(colours.size());
    table.U16(0).U16(count).U16(1).U16(count).U32(14).U16(0);
    for (auto const colour : colours)
        table.U8(colour >> 8 & 0xFF).U8(colour >> 16 & 0xFF).U8(colour >> 24).U8(colour & 0xFF);
    return table.Get();
}

// Pictures of glyphs in one size: their box in pixels from the origin, `bearingY` above the baseline.
struct Picture {
    unsigned width = 0, height = 0;
    unsigned bearingX = 0, bearingY = 0;
    std::string file;
};
using Strike = std::map<unsigned, Picture>;

// The tables "CBLC" and "CBDT" of strikes by their pixels per em.
inline void AddPictures(Tables& tables, std::map<unsigned, Strike> const& strikes) {
    Bytes records, data;
    data.U16(3).U16(0);
    std::string lists;
    std::size_t const listsBegin = 8 + 48 * strikes.size();
    for (auto const& [size, strike] : strikes) {
        Bytes ranges, subtables;
        auto const count = static_cast<unsigned>(strike.size());
        for (auto const& [glyph, picture] : strike) {
            ranges.U16(glyph).U16(glyph).U32(8 * count + subtables.Get().size());
            subtables.U16(1).U16(17).U32(data.Get().size()).U32(0).U32(9 + picture.file.size());
            data.U8(picture.height).U8(picture.width).U8(picture.bearingX).U8(picture.bearingY).U8(picture.width);
            data.U32(picture.file.size());
            data.Append(picture.file);
        }
        records.U32(listsBegin + lists.size()).U32(ranges.Get().size() + subtables.Get().size()).U32(count).U32(0);
        records.Zeros(24).U16(0).U16(0xFFFF).U8(size).U8(size).U8(32).U8(1);
        lists += ranges.Get() + subtables.Get();
    }
    tables["CBLC"] = Bytes().U16(3).U16(0).U32(strikes.size()).Get() + records.Get() + lists;
    tables["CBDT"] = data.Get();
}

} // namespace MadeFonts
