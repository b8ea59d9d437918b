// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Raster {

// Compiled kernels, one file each, so that a process finds those that another has compiled. Several processes may use
// one folder; it may be deleted, damaged or read-only at any time, which costs time and nothing else. Nothing throws
// but for lack of memory.
class KernelFolder {
public:
    static constexpr std::uint64_t c_mostBytes = std::uint64_t{64} << 20;
    // Empty: nothing is kept. The folder is made when something is written first, for its owner alone: a compiled
    // kernel may run in the process that loads it. Files that were not used for the longest time are deleted when
    // all together have more than so many bytes.
    explicit KernelFolder(std::string folder, std::uint64_t mostBytes = c_mostBytes);

    // Names a compiled kernel: by all that makes one different from another, its source text and the device and driver
    // that it was compiled for.
    static std::string MakeName(std::span<std::string_view const> identity);
    // Empty when there is none, or one that is damaged or of another name.
    std::vector<std::byte> Read(std::string const& name) const;
    void Write(std::string const& name, std::span<std::byte const> binary) const;

private:
    void DeleteOldest(std::string const& newest) const;
    std::string m_folder;
    std::uint64_t m_mostBytes;
};

} // namespace Raster
