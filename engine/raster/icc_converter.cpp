// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/icc_converter.h"

#include "engine/raster/interleave.h"
#include "engine/raster/lcms.h"
#include "engine/raster/rescale.h"
#include "platform/kernel/exception.h"

namespace Raster {

namespace {

// Pixels that are converted at a time; their planes and packed forms stay in the first cache.
constexpr std::size_t c_pixelsAtOnce = 512;

// In which form colours pass through the transform. Floats only where integers would lose something: between float
// formats, and from float to Lab, which holds colours that sRGB clips. They cost several times as much.
enum class Precision { Bits8, Bits16, Float };

Precision ChoosePrecision(FormatInfo const& from, FormatInfo const& to) {
    if (from.sampleBytes == 1 && to.sampleBytes == 1)
        return Precision::Bits8;
    bool const lab = from.colourModel == ColourModel::Lab || to.colourModel == ColourModel::Lab;
    if ((from.isFloat && to.isFloat) || ((from.isFloat || to.isFloat) && lab))
        return Precision::Float;
    return Precision::Bits16;
}

cmsUInt32Number GetLcmsType(FormatInfo const& info, Precision precision) {
    auto const pick = [precision](cmsUInt32Number bits8, cmsUInt32Number bits16, cmsUInt32Number real) {
        return precision == Precision::Bits8 ? bits8 : precision == Precision::Bits16 ? bits16 : real;
    };
    switch (info.colourModel) {
    case ColourModel::Grey:
        return pick(TYPE_GRAY_8, TYPE_GRAY_16, TYPE_GRAY_FLT);
    case ColourModel::CMYK:
        return pick(TYPE_CMYK_8, TYPE_CMYK_16, TYPE_CMYK_FLT);
    case ColourModel::Lab:
        return pick(TYPE_Lab_8, TYPE_Lab_16, TYPE_Lab_FLT);
    default:
        return pick(TYPE_RGB_8, TYPE_RGB_16, TYPE_RGB_FLT);
    }
}

// A sample's way into the transform's form. `channel` matters where the library's floats have ranges of their own.
struct FloatRange {
    float scale;
    float offset;
};

FloatRange GetFloatRange(ColourModel model, int channel) {
    if (model == ColourModel::Lab)
        return channel == 0 ? FloatRange{100, 0} : FloatRange{255, -128};
    if (model == ColourModel::CMYK)
        return {100, 0};
    return {1, 0};
}

template <class From, class To>
void Pack(void const* plane, void* packed, int channel, int stride, std::size_t count, FloatRange const& range) {
    auto const* const in = static_cast<From const*>(plane);
    auto* const out = static_cast<To*>(packed);
    for (std::size_t i = 0; i != count; ++i) {
        To value = Rescale<From, To>(in[i]);
        if constexpr (std::is_floating_point_v<To>)
            value = value * range.scale + range.offset;
        out[i * static_cast<std::size_t>(stride) + static_cast<std::size_t>(channel)] = value;
    }
}

template <class From, class To>
void Unpack(void const* packed, void* plane, int channel, int stride, std::size_t count, FloatRange const& range) {
    auto const* const in = static_cast<From const*>(packed);
    auto* const out = static_cast<To*>(plane);
    for (std::size_t i = 0; i != count; ++i) {
        From value = in[i * static_cast<std::size_t>(stride) + static_cast<std::size_t>(channel)];
        if constexpr (std::is_floating_point_v<From>)
            value = (value - range.offset) / range.scale;
        out[i] = Rescale<From, To>(value);
    }
}

// Calls call(sample, form) with the sample type of a format and the transform's.
template <class F>
void WithTypes(FormatInfo const& info, Precision precision, F const& call) {
    auto const withForm = [&](auto sample) {
        switch (precision) {
        case Precision::Bits8:
            return call(sample, std::uint8_t());
        case Precision::Bits16:
            return call(sample, std::uint16_t());
        case Precision::Float:
            return call(sample, float());
        }
    };
    switch (info.sampleBytes) {
    case 1:
        return withForm(std::uint8_t());
    case 2:
        return withForm(std::uint16_t());
    default:
        return withForm(float());
    }
}

class ICCConverter final : public PixelConverter {
public:
    ICCConverter(Format from, ICCProfile const& fromProfile, Format to, ICCProfile const& toProfile,
                 RenderingIntent intent)
        : PixelConverter(from, to),
          m_from(GetFormatInfo(from)),
          m_to(GetFormatInfo(to)),
          m_precision(ChoosePrecision(m_from, m_to)),
          m_alpha(MakePlain(m_from.maskFormat, m_to.maskFormat)) {
        auto const source = Lcms::Open(fromProfile.GetData()), target = Lcms::Open(toProfile.GetData());
        cmsUInt32Number flags = cmsFLAGS_NOCACHE;
        if (intent != RenderingIntent::AbsoluteColorimetric)
            flags |= cmsFLAGS_BLACKPOINTCOMPENSATION;
        // The table that stands for the profiles has errors of some units of 16 bits at its usual size.
        if (m_precision == Precision::Bits16)
            flags |= cmsFLAGS_HIGHRESPRECALC;
        Lcms::TakeLastError();
        if (source && target)
            m_transform.reset(cmsCreateTransformTHR(Lcms::GetContext(), source.get(), GetLcmsType(m_from, m_precision),
                                                    target.get(), GetLcmsType(m_to, m_precision),
                                                    static_cast<cmsUInt32Number>(intent), flags));
        if (!m_transform)
            throw Kernel::Exception("colours cannot be converted from the profile \"" +
                                    fromProfile.GetDescription().ToStdString() + "\" to \"" +
                                    toProfile.GetDescription().ToStdString() + "\": " + Lcms::TakeLastError());
    }

    bool IsIdentity() const override { return false; }

    void Convert(void const* const* from, void* const* to, std::size_t count) const override {
        alignas(64) float in[c_pixelsAtOnce * 4], out[c_pixelsAtOnce * 4];
        int const inColours = m_from.channelCount - 1, outColours = m_to.channelCount - 1;
        for (std::size_t done = 0; done < count; done += c_pixelsAtOnce) {
            std::size_t const run = std::min(c_pixelsAtOnce, count - done);
            std::size_t const inOffset = done * static_cast<std::size_t>(m_from.sampleBytes);
            std::size_t const outOffset = done * static_cast<std::size_t>(m_to.sampleBytes);
            WithTypes(m_from, m_precision, [&](auto sample, auto form) {
                for (int c = 0; c != inColours; ++c)
                    Pack<decltype(sample), decltype(form)>(static_cast<std::byte const*>(from[c]) + inOffset, in, c,
                                                           inColours, run, GetFloatRange(m_from.colourModel, c));
            });
            cmsDoTransform(m_transform.get(), in, out, static_cast<cmsUInt32Number>(run));
            WithTypes(m_to, m_precision, [&](auto sample, auto form) {
                for (int c = 0; c != outColours; ++c)
                    Unpack<decltype(form), decltype(sample)>(out, static_cast<std::byte*>(to[c]) + outOffset, c,
                                                             outColours, run, GetFloatRange(m_to.colourModel, c));
            });
        }
        m_alpha->Convert(from + inColours, to + outColours, count);
    }

private:
    FormatInfo m_from;
    FormatInfo m_to;
    Precision m_precision;
    Kernel::Counted<PixelConverter const> m_alpha;
    Lcms::Transform m_transform;
};

// One conversion after another.
class ChainConverter final : public PixelConverter {
public:
    ChainConverter(Kernel::Counted<PixelConverter const> first, Kernel::Counted<PixelConverter const> second)
        : PixelConverter(first->GetFrom(), second->GetTo()), m_first(std::move(first)), m_second(std::move(second)) {}

    bool IsIdentity() const override { return false; }

    void Convert(void const* const* from, void* const* to, std::size_t count) const override {
        alignas(64) std::byte planes[5][c_pixelsAtOnce * sizeof(float)];
        auto const inBytes = static_cast<std::size_t>(GetFormatInfo(GetFrom()).sampleBytes);
        auto const outBytes = static_cast<std::size_t>(GetFormatInfo(GetTo()).sampleBytes);
        for (std::size_t done = 0; done < count; done += c_pixelsAtOnce) {
            void const* in[5];
            void *between[5], *out[5];
            for (int c = 0; c != GetFormatInfo(GetFrom()).channelCount; ++c)
                in[c] = static_cast<std::byte const*>(from[c]) + done * inBytes;
            for (int c = 0; c != 5; ++c)
                between[c] = planes[c];
            for (int c = 0; c != GetFormatInfo(GetTo()).channelCount; ++c)
                out[c] = static_cast<std::byte*>(to[c]) + done * outBytes;
            std::size_t const run = std::min(c_pixelsAtOnce, count - done);
            m_first->Convert(in, between, run);
            m_second->Convert(between, out, run);
        }
    }

private:
    Kernel::Counted<PixelConverter const> m_first;
    Kernel::Counted<PixelConverter const> m_second;
};

} // namespace

Kernel::Counted<PixelConverter const> MakeICCConverter(Format from, Kernel::Consolidated<ICCProfile> const& fromProfile,
                                                       Format to, Kernel::Consolidated<ICCProfile> const& toProfile,
                                                       Kernel::Consolidated<ICCProfile> const& srgb,
                                                       RenderingIntent intent) {
    if (fromProfile && toProfile)
        return Kernel::MakeCounted<ICCConverter>(from, *fromProfile, to, *toProfile, intent);
    // The other side's depth decides how exact the colours between are.
    bool const wide = GetFormatInfo(from).sampleBytes > 1 || GetFormatInfo(to).sampleBytes > 1;
    Format const between = wide ? FormatRGBA16 : FormatRGBA8;
    auto const makePart = [&](Format a, Kernel::Consolidated<ICCProfile> const& aProfile, Format b,
                              Kernel::Consolidated<ICCProfile> const& bProfile) {
        bool const plain = !aProfile || !bProfile || aProfile == bProfile;
        return plain ? PixelConverter::MakePlain(a, b)
                     : Kernel::Counted<PixelConverter const>(
                           Kernel::MakeCounted<ICCConverter>(a, *aProfile, b, *bProfile, intent));
    };
    return Kernel::MakeCounted<ChainConverter>(makePart(from, fromProfile, between, srgb),
                                               makePart(between, srgb, to, toProfile));
}

} // namespace Raster
