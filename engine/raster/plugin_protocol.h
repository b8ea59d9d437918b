// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The messages between the engine and the process that runs a plug-in, over a socket, which the process has as
// descriptor HostSocket::c_descriptor. Both are of one build, so numbers go as they lie.
namespace Raster::PluginProtocol {

inline constexpr std::uint32_t c_magic = 0x52445046;
// Of a picture that is sent, both multiples of 8.
inline constexpr std::uint32_t c_maximumPluginSide = 1 << 17;
inline constexpr std::uint64_t c_maximumPixels = std::uint64_t(1) << 28;
// A plug-in with more has only so many here.
inline constexpr std::int32_t c_maximumParameters = 256;

enum class Kind : std::uint32_t { Describe = 1, Filter = 2, Set = 3 };

// Filter: followed by width * height pixels of 4 bytes. Set: followed by a Setting, and not answered.
struct Request {
    std::uint32_t magic;
    Kind kind;
    std::uint32_t width;
    std::uint32_t height;
};

enum class Status : std::uint32_t { Done = 0, CannotLoad = 1, Failed = 2 };

// Describe: the rest of the fields, followed by the parameters. Filter, when done: followed by as many pixels.
struct Response {
    std::uint32_t magic;
    Status status;
    // 0 is a filter.
    std::int32_t type;
    // 0: bytes are blue, green, red, alpha; 1: red, green, blue, alpha; 2: any four.
    std::int32_t colourModel;
    // 0 to c_maximumParameters.
    std::int32_t parameterCount;
    // Ends in a zero.
    char name[240];
};

// The types as frei0r 1.x numbers them.
enum class ParameterType : std::int32_t { Bool = 0, Number = 1, Colour = 2, Position = 3, Text = 4 };

struct Parameter {
    ParameterType type;
    char name[124];
};

struct Setting {
    std::int32_t index;
    ParameterType type;
    // One number, or three of a colour, or two of a position.
    double numbers[3];
    char text[512];
};

} // namespace Raster::PluginProtocol
