// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The talk between the engine and redraft-model-host. Numbers are in the machine's byte order.
//
// The engine sends a Start and the model's bytes, and gets an Answer with the size of picture that the model takes; it
// sends the picture, three planes of floats, and gets an Answer with the size of the matte and the matte, one plane of
// floats. After an Answer with another status nothing follows.
namespace Learning::ModelProtocol {

inline constexpr std::uint32_t c_magic = 0x314D4452;
inline constexpr std::uint64_t c_maximumModel = std::uint64_t{1} << 30;
inline constexpr std::uint32_t c_leastSide = 16, c_maximumSide = 1024;
// Where the model leaves the size free.
inline constexpr std::uint32_t c_usualSide = 320;
// Address space of the process beside the model.
inline constexpr std::uint64_t c_memory = std::uint64_t{6} << 30;

struct Start {
    std::uint32_t magic;
    std::uint32_t reserved;
    std::uint64_t modelSize;
};

enum class ModelStatus : std::uint32_t { Done, NoModel, OtherNumbers, OtherInputs, CannotRun, NoMatte };

struct Answer {
    std::uint32_t magic;
    ModelStatus status;
    std::uint32_t width, height;
};

} // namespace Learning::ModelProtocol
