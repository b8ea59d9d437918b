// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

struct zip;
struct zip_source;

namespace EPub {

// A ZIP archive that is made in memory. The same entries give the same bytes: all have one time. Failures throw
// Kernel::Exception.
class ZipArchive {
public:
    enum class Method { Stored, Deflated };

    ZipArchive();
    ZipArchive(ZipArchive const&) = delete;
    ZipArchive& operator=(ZipArchive const&) = delete;
    ~ZipArchive();
    // `bytes` stay as they are until Finish.
    void Add(std::string const& name, std::span<std::byte const> bytes, Method method = Method::Deflated);
    void Add(std::string const& name, std::string_view text, Method method = Method::Deflated) {
        Add(name, std::as_bytes(std::span(text)), method);
    }
    // The whole archive; nothing is added any more.
    std::vector<std::byte> Finish();

private:
    // Owned by the archive, and kept beyond its end to read what it has written.
    ::zip_source* m_target = nullptr;
    ::zip* m_archive = nullptr;
};

} // namespace EPub
