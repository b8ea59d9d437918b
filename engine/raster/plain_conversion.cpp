// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/rescale.h"
#include "engine/raster/working_pixel.h"
#include "platform/kernel/exception.h"
#include "platform/raster/conversion.h"

#include <cstring>

namespace Raster {

namespace {

class IdentityConverter final : public PixelConverter {
public:
    explicit IdentityConverter(Format format) : PixelConverter(format, format), m_info(GetFormatInfo(format)) {}
    bool IsIdentity() const override { return true; }
    void Convert(void const* const* from, void* const* to, std::size_t count) const override {
        for (int c = 0; c != m_info.channelCount; ++c)
            std::memcpy(to[c], from[c], count * static_cast<std::size_t>(m_info.sampleBytes));
    }

private:
    FormatInfo m_info;
};

// Between 8 and 16 bits of one colour model, where samples only change their width.
template <class From, class To>
class WidthConverter final : public PixelConverter {
public:
    WidthConverter(Format from, Format to) : PixelConverter(from, to), m_channels(GetFormatInfo(from).channelCount) {}
    bool IsIdentity() const override { return false; }
    void Convert(void const* const* from, void* const* to, std::size_t count) const override {
        for (int c = 0; c != m_channels; ++c) {
            auto const* in = static_cast<From const*>(from[c]);
            auto* out = static_cast<To*>(to[c]);
            for (std::size_t left = count; left >= c_spanLength; left -= c_spanLength) {
                To span[c_spanLength];
                for (int i = 0; i != c_spanLength; ++i)
                    span[i] = Rescale<From, To>(in[i]);
                std::memcpy(out, span, sizeof span);
                in += c_spanLength;
                out += c_spanLength;
            }
            for (std::size_t i = 0; i != count % c_spanLength; ++i)
                out[i] = Rescale<From, To>(in[i]);
        }
    }

private:
    int m_channels;
};

class PlainConverter final : public PixelConverter {
public:
    PlainConverter(Format from, Format to)
        : PixelConverter(from, to),
          m_from(GetFormatInfo(from)),
          m_to(GetFormatInfo(to)),
          m_load(GetWorkingLoader(from)),
          m_store(GetWorkingStorer(to)) {}

    bool IsIdentity() const override { return false; }

    void Convert(void const* const* from, void* const* to, std::size_t count) const override {
        std::byte const* in[5];
        std::byte* out[5];
        for (int c = 0; c != m_from.channelCount; ++c)
            in[c] = static_cast<std::byte const*>(from[c]);
        for (int c = 0; c != m_to.channelCount; ++c)
            out[c] = static_cast<std::byte*>(to[c]);
        std::size_t const inStep = c_spanLength * static_cast<std::size_t>(m_from.sampleBytes);
        std::size_t const outStep = c_spanLength * static_cast<std::size_t>(m_to.sampleBytes);
        for (; count >= c_spanLength; count -= c_spanLength) {
            ConvertSpan(in, out);
            for (int c = 0; c != m_from.channelCount; ++c)
                in[c] += inStep;
            for (int c = 0; c != m_to.channelCount; ++c)
                out[c] += outStep;
        }
        if (count != 0)
            ConvertTail(in, out, count);
    }

private:
    void ConvertSpan(std::byte const* const* in, std::byte* const* out) const {
        WorkingSpan span;
        void const* from[5];
        void* to[5];
        for (int c = 0; c != m_from.channelCount; ++c)
            from[c] = in[c];
        for (int c = 0; c != m_to.channelCount; ++c)
            to[c] = out[c];
        m_load(from, span);
        m_store(span, to);
    }

    void ConvertTail(std::byte const* const* in, std::byte* const* out, std::size_t count) const {
        alignas(64) std::byte source[5][c_spanLength * sizeof(float)] = {};
        alignas(64) std::byte result[5][c_spanLength * sizeof(float)];
        std::byte const* from[5];
        std::byte* to[5];
        for (int c = 0; c != m_from.channelCount; ++c) {
            std::memcpy(source[c], in[c], count * static_cast<std::size_t>(m_from.sampleBytes));
            from[c] = source[c];
        }
        for (int c = 0; c != m_to.channelCount; ++c)
            to[c] = result[c];
        ConvertSpan(from, to);
        for (int c = 0; c != m_to.channelCount; ++c)
            std::memcpy(out[c], result[c], count * static_cast<std::size_t>(m_to.sampleBytes));
    }

    FormatInfo m_from;
    FormatInfo m_to;
    LoadWorkingSpan m_load;
    StoreWorkingSpan m_store;
};

} // namespace

PixelConverter::~PixelConverter() = default;

Kernel::Counted<PixelConverter const> PixelConverter::MakePlain(Format from, Format to) {
    if (!IsHandledFormat(from) || !IsHandledFormat(to))
        throw Kernel::Exception("there are no pixels of this format to convert");
    if (from == to)
        return Kernel::MakeCounted<IdentityConverter>(from);
    FormatInfo const in = GetFormatInfo(from), out = GetFormatInfo(to);
    if (in.colourModel == out.colourModel && !in.isFloat && !out.isFloat) {
        if (in.sampleBytes < out.sampleBytes)
            return Kernel::MakeCounted<WidthConverter<std::uint8_t, std::uint16_t>>(from, to);
        return Kernel::MakeCounted<WidthConverter<std::uint16_t, std::uint8_t>>(from, to);
    }
    return Kernel::MakeCounted<PlainConverter>(from, to);
}

} // namespace Raster
