// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// What the engine and the process that runs a plug-in say to each other over a socket, which is the process's standard
// input. Both are of one build, so numbers go as they lie.
namespace Raster::PluginProtocol {

inline constexpr std::uint32_t c_magic = 0x52445046;
// Sides of a tile that is sent, multiples of 8.
inline constexpr std::uint32_t c_maximumSide = 2048;

enum class Kind : std::uint32_t { Describe = 1, Filter = 2 };

// Filter: followed by width * height pixels of 4 bytes.
struct Request {
    std::uint32_t magic;
    Kind kind;
    std::uint32_t width;
    std::uint32_t height;
};

enum class Status : std::uint32_t { Done = 0, CannotLoad = 1, Failed = 2 };

// Describe: the rest of the fields. Filter, when done: followed by as many pixels.
struct Response {
    std::uint32_t magic;
    Status status;
    // 0 is a filter.
    std::int32_t type;
    // 0: bytes are blue, green, red, alpha; 1: red, green, blue, alpha; 2: any four.
    std::int32_t colourModel;
    // UTF-8, ends in a zero.
    char name[240];
};

} // namespace Raster::PluginProtocol
