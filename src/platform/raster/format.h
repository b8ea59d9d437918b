// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/channel.h"

#include <cstddef>
#include <tuple>

namespace Raster {

// The pixel formats. The values are part of saved documents.
enum Format : int {
    FormatRGBA8 = 0,
    FormatRGBA16 = 1,
    FormatIA8 = 2,
    FormatIA16 = 3,
    FormatCMYKA8 = 4,
    FormatLABA16 = 5,
    FormatA8 = 6,
    FormatA16 = 7,
    // Named, and handled by nothing: no bitmap has it, and every operation leaves it alone.
    FormatNone = 8,
    FormatRGBAF = 9,
    FormatAF = 10
};
inline constexpr int c_formatCount = 11;

enum class ColourModel : std::uint8_t { AlphaOnly, RGB, Grey, CMYK, Lab };

template <class C1, class C2, class C3, class C4, class C5>
class Bitmap;
template <class C1, class C2, class C3, class C4, class C5>
class Buffer;
template <class C1, class C2, class C3, class C4, class C5>
struct Pixel;
template <class C1, class C2, class C3, class C4, class C5>
struct PlanarSpan;

// The description of a set of channels. The channels in use come first, alpha is the last of them, and all have
// one sample type.
template <class C1, class C2, class C3, class C4, class C5>
struct PixelModel {
    using Sample = typename C1::Sample;
    using BitmapType = Bitmap<C1, C2, C3, C4, C5>;
    using BufferType = Buffer<C1, C2, C3, C4, C5>;
    using PixelType = Pixel<C1, C2, C3, C4, C5>;
    using SpanType = PlanarSpan<C1, C2, C3, C4, C5>;
    template <int Index>
    using Channel = std::tuple_element_t<Index, std::tuple<C1, C2, C3, C4, C5>>;

    static constexpr int c_channelCount = 1 + c_isChannel<C2> + c_isChannel<C3> + c_isChannel<C4> + c_isChannel<C5>;
    static constexpr int c_alphaIndex = c_channelCount - 1;
    static constexpr int c_colourCount = c_channelCount - 1;
    static constexpr bool c_isFloat = C1::c_isFloat;
    static constexpr Sample c_maximum = C1::c_maximum;
    // Bit i stands for channel i; alpha has the last bit.
    static constexpr int c_allChannels = (1 << c_channelCount) - 1;

    // The place of a channel among the planes; -1 when the format has no such channel.
    template <class Wanted>
    static constexpr int c_indexOf = std::is_same_v<Wanted, C1>   ? 0
                                     : std::is_same_v<Wanted, C2> ? 1
                                     : std::is_same_v<Wanted, C3> ? 2
                                     : std::is_same_v<Wanted, C4> ? 3
                                     : std::is_same_v<Wanted, C5> ? 4
                                                                  : -1;
};

template <Format Value, ColourModel Model, Format Mask, class C1, class C2, class C3, class C4, class C5>
struct FormatTraitsBase : PixelModel<C1, C2, C3, C4, C5> {
    static constexpr Format c_format = Value;
    static constexpr ColourModel c_colourModel = Model;
    // The format of masks over bitmaps of this format.
    static constexpr Format c_maskFormat = Mask;
};

// The one table of formats. FormatNone has no row.
template <Format Value>
struct FormatTraits;
template <>
struct FormatTraits<FormatRGBA8>
    : FormatTraitsBase<FormatRGBA8, ColourModel::RGB, FormatA8, Red8, Green8, Blue8, Alpha8, X5> {};
template <>
struct FormatTraits<FormatRGBA16>
    : FormatTraitsBase<FormatRGBA16, ColourModel::RGB, FormatA16, Red16, Green16, Blue16, Alpha16, X5> {};
template <>
struct FormatTraits<FormatIA8>
    : FormatTraitsBase<FormatIA8, ColourModel::Grey, FormatA8, Intensity8, Alpha8, X3, X4, X5> {};
template <>
struct FormatTraits<FormatIA16>
    : FormatTraitsBase<FormatIA16, ColourModel::Grey, FormatA16, Intensity16, Alpha16, X3, X4, X5> {};
template <>
struct FormatTraits<FormatCMYKA8>
    : FormatTraitsBase<FormatCMYKA8, ColourModel::CMYK, FormatA8, Cyan8, Magenta8, Yellow8, Black8, Alpha8> {};
template <>
struct FormatTraits<FormatLABA16>
    : FormatTraitsBase<FormatLABA16, ColourModel::Lab, FormatA16, Lightness16, AOpponent16, BOpponent16, Alpha16, X5> {
};
template <>
struct FormatTraits<FormatA8> : FormatTraitsBase<FormatA8, ColourModel::AlphaOnly, FormatA8, Alpha8, X2, X3, X4, X5> {};
template <>
struct FormatTraits<FormatA16>
    : FormatTraitsBase<FormatA16, ColourModel::AlphaOnly, FormatA16, Alpha16, X2, X3, X4, X5> {};
template <>
struct FormatTraits<FormatRGBAF>
    : FormatTraitsBase<FormatRGBAF, ColourModel::RGB, FormatAF, RedUF, GreenUF, BlueUF, AlphaF, X5> {};
template <>
struct FormatTraits<FormatAF> : FormatTraitsBase<FormatAF, ColourModel::AlphaOnly, FormatAF, AlphaF, X2, X3, X4, X5> {};

// The one switch over formats: calls visit(FormatTraits<F>()) for the format's row and returns true. False, and no
// call, for FormatNone and for values outside the enumeration.
template <class Visitor>
constexpr bool VisitFormat(Format format, Visitor&& visit) {
    switch (format) {
    case FormatRGBA8:
        return visit(FormatTraits<FormatRGBA8>()), true;
    case FormatRGBA16:
        return visit(FormatTraits<FormatRGBA16>()), true;
    case FormatIA8:
        return visit(FormatTraits<FormatIA8>()), true;
    case FormatIA16:
        return visit(FormatTraits<FormatIA16>()), true;
    case FormatCMYKA8:
        return visit(FormatTraits<FormatCMYKA8>()), true;
    case FormatLABA16:
        return visit(FormatTraits<FormatLABA16>()), true;
    case FormatA8:
        return visit(FormatTraits<FormatA8>()), true;
    case FormatA16:
        return visit(FormatTraits<FormatA16>()), true;
    case FormatRGBAF:
        return visit(FormatTraits<FormatRGBAF>()), true;
    case FormatAF:
        return visit(FormatTraits<FormatAF>()), true;
    case FormatNone:
        break;
    }
    return false;
}

// A row of the table for code that learns the format when it runs.
struct FormatInfo {
    Format format = FormatNone;
    ColourModel colourModel = ColourModel::AlphaOnly;
    Format maskFormat = FormatNone;
    int channelCount = 0;
    // Bytes of one sample: 1, 2 or 4.
    int sampleBytes = 0;
    bool isFloat = false;
    int allChannels = 0;
};

// channelCount is 0 for a format that has no row.
constexpr FormatInfo GetFormatInfo(Format format) {
    FormatInfo info;
    VisitFormat(format, [&info](auto traits) {
        using Traits = decltype(traits);
        info = {Traits::c_format,       Traits::c_colourModel,           Traits::c_maskFormat,
                Traits::c_channelCount, sizeof(typename Traits::Sample), Traits::c_isFloat,
                Traits::c_allChannels};
    });
    return info;
}

constexpr bool IsHandledFormat(Format format) { return GetFormatInfo(format).channelCount != 0; }

// "RGBA8", "CMYKA8", ...; "none" for a format that has no row.
REDRAFT_ENGINE char const* GetFormatName(Format format) noexcept;

namespace Detail {

template <class Model>
constexpr Format FindFormat() {
    Format found = FormatNone;
    for (int i = 0; i != c_formatCount; ++i) {
        VisitFormat(static_cast<Format>(i), [&found](auto traits) {
            using Traits = decltype(traits);
            if constexpr (std::is_base_of_v<Model, Traits>)
                found = Traits::c_format;
        });
    }
    return found;
}

} // namespace Detail

// The format with these channels.
template <class C1, class C2, class C3, class C4, class C5>
inline constexpr Format c_formatOf = Detail::FindFormat<PixelModel<C1, C2, C3, C4, C5>>();

static_assert(c_formatOf<Cyan8, Magenta8, Yellow8, Black8, Alpha8> == FormatCMYKA8);

} // namespace Raster
