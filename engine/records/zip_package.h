// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/data_source.h"

#include <functional>
#include <optional>
#include <string>

struct zip;

namespace Records {

// The parts of a ZIP archive, unpacked as they are read. A part that is packed more tightly than honest data are, or
// has more than c_longestPart bytes, is refused with Kernel::Exception, as is one that is damaged.
class ZipPackage {
public:
    static constexpr std::uint64_t c_longestPart = std::uint64_t(4) << 30;

    // The source outlives the package.
    ZipPackage(DataSource const& source, bool const* abort);
    ZipPackage(ZipPackage const&) = delete;
    ZipPackage& operator=(ZipPackage const&) = delete;
    ~ZipPackage();

    bool HasPart(std::string const& name) const;
    // Gives the bytes of a part piece by piece.
    void ReadPart(std::string const& name, std::function<void(std::string_view)> const& take) const;
    // A whole part of at most so many bytes.
    std::string LoadPart(std::string const& name, std::size_t maximumSize) const;

private:
    struct Stream;
    bool const* m_abort;
    std::unique_ptr<Stream> m_stream;
    ::zip* m_archive = nullptr;
};

} // namespace Records
