// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace Records {

// Bytes that are read at any place, on any thread.
class DataSource {
public:
    virtual ~DataSource();
    virtual std::uint64_t GetSize() const = 0;
    // Fills all of `bytes`, which lie within the size. Throws Kernel::Exception.
    virtual void Read(std::uint64_t offset, std::span<char> bytes) const = 0;
    // Throws Kernel::Exception when the data are others than they were at first, as far as one can tell.
    virtual void CheckUnchanged() const = 0;
};

// A regular file of at most `maximumSize` bytes; anything else is refused with Kernel::Exception, and nothing waits for
// a pipe or reads a device.
std::unique_ptr<DataSource> OpenFile(Kernel::String const& path, std::uint64_t maximumSize);
// Data that stay where they are.
std::unique_ptr<DataSource> OpenMemory(std::string_view data, Kernel::String const& name, std::uint64_t maximumSize);

// "4 GiB", for messages.
std::string DescribeSize(std::uint64_t bytes);

} // namespace Records
