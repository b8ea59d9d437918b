// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/export.h"
#include "platform/kernel/files.h"

namespace Formats {

// A file that appears with Commit, and not before.
class FileOutput final : public Output {
public:
    // `path` outlives the object.
    explicit FileOutput(std::string const& path) : m_path(path) {}

    void Begin() override {
        // The file that was begun before is thrown away first.
        m_file.reset();
        m_file.emplace(Kernel::String(m_path));
    }
    void Write(std::span<std::byte const> bytes) override { m_file->Write(bytes); }
    void Commit() { m_file->Commit(); }

private:
    std::string const& m_path;
    std::optional<Kernel::AtomicFile> m_file;
};

} // namespace Formats
