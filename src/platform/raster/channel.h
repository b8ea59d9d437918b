// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstdint>
#include <limits>
#include <type_traits>

namespace Raster {

// The meaning of a channel's samples. Colour is stored as it is, not multiplied by alpha.
enum class ChannelRole : std::uint8_t {
    Red,
    Green,
    Blue,
    Intensity,
    Cyan,
    Magenta,
    Yellow,
    Black,
    Lightness,
    AOpponent,
    BOpponent,
    Alpha
};

template <class SampleType, ChannelRole Role>
struct ChannelBase {
    using Sample = SampleType;
    static constexpr ChannelRole c_role = Role;
    static constexpr bool c_isFloat = std::is_floating_point_v<SampleType>;
    // The sample of full scale: no integer sample is above it, float samples may be.
    static constexpr SampleType c_maximum = c_isFloat ? SampleType(1) : std::numeric_limits<SampleType>::max();
};

// One type for each kind of plane. 8 and 16: unsigned integers, full scale is the largest value. UF and F: 32-bit
// floats, full scale is 1.0. Ink channels count ink: full scale is solid. Lightness16 is 0 to 100; the opponents are
// -128 to 127 with 0 at sample 32896, as the ICC's 16-bit Lab encoding has them (ICC.1:2010, 6.3.4.2).
struct REDRAFT_ENGINE Red8 : ChannelBase<std::uint8_t, ChannelRole::Red> {};
struct REDRAFT_ENGINE Green8 : ChannelBase<std::uint8_t, ChannelRole::Green> {};
struct REDRAFT_ENGINE Blue8 : ChannelBase<std::uint8_t, ChannelRole::Blue> {};
struct REDRAFT_ENGINE Alpha8 : ChannelBase<std::uint8_t, ChannelRole::Alpha> {};
struct REDRAFT_ENGINE Intensity8 : ChannelBase<std::uint8_t, ChannelRole::Intensity> {};
struct REDRAFT_ENGINE Cyan8 : ChannelBase<std::uint8_t, ChannelRole::Cyan> {};
struct REDRAFT_ENGINE Magenta8 : ChannelBase<std::uint8_t, ChannelRole::Magenta> {};
struct REDRAFT_ENGINE Yellow8 : ChannelBase<std::uint8_t, ChannelRole::Yellow> {};
struct REDRAFT_ENGINE Black8 : ChannelBase<std::uint8_t, ChannelRole::Black> {};
struct REDRAFT_ENGINE Red16 : ChannelBase<std::uint16_t, ChannelRole::Red> {};
struct REDRAFT_ENGINE Green16 : ChannelBase<std::uint16_t, ChannelRole::Green> {};
struct REDRAFT_ENGINE Blue16 : ChannelBase<std::uint16_t, ChannelRole::Blue> {};
struct REDRAFT_ENGINE Alpha16 : ChannelBase<std::uint16_t, ChannelRole::Alpha> {};
struct REDRAFT_ENGINE Intensity16 : ChannelBase<std::uint16_t, ChannelRole::Intensity> {};
struct REDRAFT_ENGINE Lightness16 : ChannelBase<std::uint16_t, ChannelRole::Lightness> {};
struct REDRAFT_ENGINE AOpponent16 : ChannelBase<std::uint16_t, ChannelRole::AOpponent> {};
struct REDRAFT_ENGINE BOpponent16 : ChannelBase<std::uint16_t, ChannelRole::BOpponent> {};
struct REDRAFT_ENGINE RedUF : ChannelBase<float, ChannelRole::Red> {};
struct REDRAFT_ENGINE GreenUF : ChannelBase<float, ChannelRole::Green> {};
struct REDRAFT_ENGINE BlueUF : ChannelBase<float, ChannelRole::Blue> {};
struct REDRAFT_ENGINE AlphaF : ChannelBase<float, ChannelRole::Alpha> {};

// Stand in the second to fifth place of a format with fewer channels.
struct REDRAFT_ENGINE X2 {};
struct REDRAFT_ENGINE X3 {};
struct REDRAFT_ENGINE X4 {};
struct REDRAFT_ENGINE X5 {};

template <class Channel>
inline constexpr bool c_isChannel = !std::is_same_v<Channel, X2> && !std::is_same_v<Channel, X3> &&
                                    !std::is_same_v<Channel, X4> && !std::is_same_v<Channel, X5>;

} // namespace Raster
