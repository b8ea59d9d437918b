// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The files that the processes of a test put into one folder: each what the others put, more than there is room for.
namespace Raster::Tests {

inline constexpr int c_kernelsOfProcess = 60;
inline constexpr std::uint64_t c_bytesOfFolder = 100000;

inline std::string GetKernelText(int number) { return "kernel " + std::to_string(number); }
inline std::vector<std::byte> MakeKernelBinary(int number) {
    std::vector<std::byte> bytes(5000 + static_cast<std::size_t>(number));
    for (std::size_t i = 0; i != bytes.size(); ++i)
        bytes[i] = static_cast<std::byte>(i + static_cast<std::size_t>(number));
    return bytes;
}

} // namespace Raster::Tests
