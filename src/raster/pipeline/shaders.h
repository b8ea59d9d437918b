// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/conversion.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_accessor.h"
#include "raster/pipeline/tile_engine.h"

namespace Commands {

// The tiles of one source tile's planes, for reading pixels at their own places.
template <class Traits>
class SourceTiles {
public:
    using Sample = typename Traits::Sample;

    SourceTiles(Raster::BitmapBase const& source, Kernel::RectT<int> const& part) {
        for (int c = 0; c != Traits::c_channelCount; ++c)
            m_tiles.push_back(
                source.GetPlane(c).GetConstTile(part.left >> Raster::c_tileShift, part.top >> Raster::c_tileShift));
    }
    void GetRows(int x, int y, Sample const** rows) {
        for (std::size_t c = 0; c != m_tiles.size(); ++c) {
            if (m_samples[c] == nullptr)
                m_samples[c] = static_cast<Sample const*>(m_tiles[c].GetConstBuffer());
            rows[c] = m_samples[c] + DestinationTiles<Traits>::GetTileOffset(x, y);
        }
    }
    // True when each of the tiles has one value.
    bool GetConstant(Sample* pixel) const {
        for (std::size_t c = 0; c != m_tiles.size(); ++c) {
            auto const constant = m_tiles[c].GetConstant();
            if (!constant)
                return false;
            std::memcpy(&pixel[c], &*constant, sizeof(Sample));
        }
        return true;
    }

private:
    std::vector<Raster::Tile> m_tiles;
    Sample const* m_samples[5] = {};
};

// Copies the channels whose bits are set, as far as they are wanted.
template <class Traits>
void CopyChannels(int channels, typename Traits::Sample const* const* in, typename Traits::Sample* const* out,
                  int count) {
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        if ((channels >> c & 1) && out[c] != nullptr)
            std::memcpy(out[c], in[c], static_cast<std::size_t>(count) * sizeof(typename Traits::Sample));
    }
}

// Pixels of the source at the same place, through a rule. A rule has
//   c_passedChannels                  channels that it leaves as they are
//   Process(in, out, count)           the others of some pixels, from planes to planes that do not overlap
template <class Traits, class Rule>
class PointShader {
public:
    using Sample = typename Traits::Sample;

    PointShader(Raster::BitmapBase const& source, Rule const& rule) : m_source(source), m_rule(rule) {}
    int GetPassedChannels() const { return Rule::c_passedChannels; }
    Raster::BitmapBase const* GetPassedSource() const { return &m_source; }

    class Worker {
    public:
        static constexpr bool c_takesRows = true;
        Worker(Raster::BitmapBase const& source, Rule const& rule, Kernel::RectT<int> const& part)
            : m_tiles(source, part), m_rule(rule) {}
        void Process(int x, int y, int count, Sample* const* out) {
            Sample const* in[5] = {};
            m_tiles.GetRows(x, y, in);
            CopyChannels<Traits>(Rule::c_passedChannels, in, out, count);
            m_rule.Process(in, out, count);
        }
        bool GetConstant(std::uint32_t* samples) const {
            Sample pixel[5] = {}, result[5] = {};
            if (!m_tiles.GetConstant(pixel))
                return false;
            Sample const* in[5] = {};
            Sample* out[5];
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                in[c] = &pixel[c];
                out[c] = &result[c];
            }
            CopyChannels<Traits>(Rule::c_passedChannels, in, out, 1);
            m_rule.Process(in, out, 1);
            for (int c = 0; c != Traits::c_channelCount; ++c)
                samples[c] = Raster::ToSampleBits(result[c]);
            return true;
        }

    private:
        SourceTiles<Traits> m_tiles;
        Rule const& m_rule;
    };
    Worker Open(Kernel::RectT<int> const& part) const { return Worker(m_source, m_rule, part); }

private:
    Raster::BitmapBase const& m_source;
    Rule const& m_rule;
};

// The same where a mipmap level stands for the source: the pixel of the level that holds the scaled centre.
template <class Traits, class Rule>
class LevelPointShader {
public:
    using Sample = typename Traits::Sample;
    using Bitmap = typename Traits::BitmapType;

    LevelPointShader(Raster::BitmapBase const& source, int level, Rule const& rule)
        : m_source(static_cast<Bitmap const&>(source)), m_level(level), m_rule(rule) {}
    int GetPassedChannels() const { return 0; }
    Raster::BitmapBase const* GetPassedSource() const { return nullptr; }

    class Worker {
    public:
        static constexpr bool c_takesRows = false;
        using Location = Raster::ChainTransform<Raster::IdentityTransform, Raster::ScaleTransform>;

        Worker(Bitmap const& source, int level, Rule const& rule)
            : m_accessor(source, Location{{}, {1.0 / (1 << level), 1.0 / (1 << level)}},
                         Raster::AccessorSync::Pipeline),
              m_rule(rule) {}
        void Process(int x, int y, int count, Sample* const* out) {
            typename Traits::SpanType span;
            ScratchRows<Traits> row;
            for (int done = 0; done < count; done += Raster::c_spanLength) {
                m_accessor.SpanRead(x + done, y, span);
                for (int c = 0; c != Traits::c_channelCount; ++c)
                    std::memcpy(row.planes[c] + done, span.planes[c], sizeof span.planes[c]);
            }
            Sample const* in[5] = {};
            for (int c = 0; c != Traits::c_channelCount; ++c)
                in[c] = row.planes[c];
            CopyChannels<Traits>(Rule::c_passedChannels, in, out, count);
            m_rule.Process(in, out, count);
        }
        bool GetConstant(std::uint32_t*) const { return false; }

    private:
        Raster::ConstPixelAccessor<Bitmap, Raster::Safe, Location> m_accessor;
        Rule const& m_rule;
    };
    Worker Open(Kernel::RectT<int> const&) const { return Worker(m_source, m_level, m_rule); }

private:
    Bitmap const& m_source;
    int m_level;
    Rule const& m_rule;
};

// The pixel itself.
struct CopyRule {
    static char const* GetHardwareFragment(int language) { return Raster::GetCopyFragment(language); }
    template <class Traits>
    struct ForFormat {
        static constexpr int c_passedChannels = Traits::c_allChannels;
        using Sample = typename Traits::Sample;
        void Process(Sample const* const*, Sample* const*, int) const {}
    };
};

template <class SourceTraits, class Traits>
void ConvertRow(Raster::PixelConverter const& converter, typename SourceTraits::Sample const* const* rows,
                typename Traits::Sample* const* out, int count) {
    void const* from[5] = {};
    void* to[5] = {};
    std::copy_n(rows, SourceTraits::c_channelCount, from);
    std::copy_n(out, Traits::c_channelCount, to);
    converter.Convert(from, to, static_cast<std::size_t>(count));
}

// Pixels of a source of another format at the same place.
template <class SourceTraits, class Traits>
class ConversionShader {
public:
    using Sample = typename Traits::Sample;

    ConversionShader(Raster::BitmapBase const& source, Raster::PixelConverter const& converter)
        : m_source(source), m_converter(converter) {}
    int GetPassedChannels() const { return m_converter.IsIdentity() ? Traits::c_allChannels : 0; }
    Raster::BitmapBase const* GetPassedSource() const { return &m_source; }

    class Worker {
    public:
        static constexpr bool c_takesRows = true;
        Worker(Raster::BitmapBase const& source, Raster::PixelConverter const& converter,
               Kernel::RectT<int> const& part)
            : m_tiles(source, part), m_converter(converter) {}
        void Process(int x, int y, int count, Sample* const* out) {
            typename SourceTraits::Sample const* rows[5] = {};
            m_tiles.GetRows(x, y, rows);
            if constexpr (std::is_same_v<SourceTraits, Traits>) {
                if (m_converter.IsIdentity())
                    return CopyChannels<Traits>(Traits::c_allChannels, rows, out, count);
            }
            ConvertRow<SourceTraits, Traits>(m_converter, rows, out, count);
        }
        bool GetConstant(std::uint32_t* samples) const {
            typename SourceTraits::Sample pixel[5] = {};
            Sample result[5] = {};
            if (!m_tiles.GetConstant(pixel))
                return false;
            typename SourceTraits::Sample const* rows[5] = {};
            Sample* out[5];
            for (int c = 0; c != 5; ++c) {
                rows[c] = &pixel[c];
                out[c] = &result[c];
            }
            ConvertRow<SourceTraits, Traits>(m_converter, rows, out, 1);
            for (int c = 0; c != Traits::c_channelCount; ++c)
                samples[c] = Raster::ToSampleBits(result[c]);
            return true;
        }

    private:
        SourceTiles<SourceTraits> m_tiles;
        Raster::PixelConverter const& m_converter;
    };
    Worker Open(Kernel::RectT<int> const& part) const { return Worker(m_source, m_converter, part); }

private:
    Raster::BitmapBase const& m_source;
    Raster::PixelConverter const& m_converter;
};

// The same where a mipmap level stands for the source.
template <class SourceTraits, class Traits>
class LevelConversionShader {
public:
    using Sample = typename Traits::Sample;

    LevelConversionShader(Raster::BitmapBase const& source, int level, Raster::PixelConverter const& converter)
        : m_reader(source, level, m_copy), m_converter(converter) {}
    LevelConversionShader(LevelConversionShader const&) = delete;
    LevelConversionShader& operator=(LevelConversionShader const&) = delete;
    int GetPassedChannels() const { return 0; }
    Raster::BitmapBase const* GetPassedSource() const { return nullptr; }

private:
    using Copy = CopyRule::ForFormat<SourceTraits>;
    using Reader = LevelPointShader<SourceTraits, Copy>;

public:
    class Worker {
    public:
        static constexpr bool c_takesRows = false;
        Worker(Reader const& reader, Raster::PixelConverter const& converter, Kernel::RectT<int> const& part)
            : m_reader(reader.Open(part)), m_converter(converter) {}
        void Process(int x, int y, int count, Sample* const* out) {
            ScratchRows<SourceTraits> row;
            typename SourceTraits::Sample* rows[5];
            for (int c = 0; c != SourceTraits::c_channelCount; ++c)
                rows[c] = row.planes[c];
            m_reader.Process(x, y, count, rows);
            ConvertRow<SourceTraits, Traits>(m_converter, rows, out, count);
        }
        bool GetConstant(std::uint32_t*) const { return false; }

    private:
        typename Reader::Worker m_reader;
        Raster::PixelConverter const& m_converter;
    };
    Worker Open(Kernel::RectT<int> const& part) const { return Worker(m_reader, m_converter, part); }

private:
    Copy m_copy;
    Reader m_reader;
    Raster::PixelConverter const& m_converter;
};

} // namespace Commands
