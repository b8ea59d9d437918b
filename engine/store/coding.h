// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Store {

// How the bytes of a row are written. The numbers are part of the file format.
enum class Coding : std::int64_t { Plain = 0, Zstandard = 1 };

// The longest chunk or blob, in bytes before compression.
inline constexpr std::uint64_t c_maxValueSize = std::uint64_t{1} << 29;
// Compressed bytes stand for at most so many times their own number, so that what a file makes a reader allocate
// stays in proportion to the file's size. Frames that would be shorter are filled up.
inline constexpr std::uint64_t c_maxExpansion = 256;

enum class Effort { Quick, Thorough };

struct EncodedBytes {
    Coding coding = Coding::Plain;
    // Empty with Coding::Plain: the bytes are the original ones.
    std::vector<std::byte> frame;
};

// Compresses where that saves at least an eighth. May run on several threads at once.
EncodedBytes Encode(std::span<std::byte const> bytes, Effort effort);

// The original bytes. Throws Kernel::DamagedDataException when they are not exactly `size` many, or when `stored` is
// too short for them to be true; nothing is allocated before that is checked.
std::vector<std::byte> Decode(Coding coding, std::span<std::byte const> stored, std::uint64_t size);

} // namespace Store
