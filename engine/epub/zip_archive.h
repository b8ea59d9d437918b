// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/epub/deflated_text.h"

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
    // zlib's own default: more gains a hundredth in size and takes twice the time.
    static constexpr int c_level = 6;

    ZipArchive();
    ZipArchive(ZipArchive const&) = delete;
    ZipArchive& operator=(ZipArchive const&) = delete;
    ~ZipArchive();
    // `bytes` stay as they are until Finish.
    void Add(std::string const& name, std::span<std::byte const> bytes, Method method = Method::Deflated);
    void Add(std::string const& name, std::string_view text, Method method = Method::Deflated) {
        Add(name, std::as_bytes(std::span(text)), method);
    }
    // The bytes compressed before. `text` stays as it is until Finish.
    void Add(std::string const& name, DeflatedText::Result const& text);
    // The whole archive; nothing is added any more.
    std::vector<std::byte> Finish();

private:
    // Takes hold of the source. The new entry's number.
    std::uint64_t AddSource(std::string const& name, ::zip_source* source);

    // Owned by the archive, and kept beyond its end to read what it has written.
    ::zip_source* m_target = nullptr;
    ::zip* m_archive = nullptr;
};

} // namespace EPub
