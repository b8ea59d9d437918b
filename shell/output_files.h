// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/files.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// The files that a call writes, apart from its document. Each is written under a temporary name in its folder; they all
// appear with Commit, and none without it. All of this throws Failure with ExitStatus::Output.
class OutputFiles {
public:
    OutputFiles() = default;
    OutputFiles(OutputFiles const&) = delete;
    OutputFiles& operator=(OutputFiles const&) = delete;
    // Removes what was not committed.
    ~OutputFiles();

    // One file at a time: the next Begin closes it.
    void Begin(std::string const& path);
    void Write(std::span<std::byte const> bytes);
    void Write(std::string_view text) { Write(std::as_bytes(std::span(text))); }
    void End();
    // Takes the file back that was begun and not ended, if there is one.
    void Abandon();
    // A folder for files to come; without Commit it goes again, unless it was there before.
    void MakeFolder(std::string const& path);
    void Commit();

private:
    struct Staged {
        std::string path;
        std::string temporaryPath;
    };
    Kernel::File m_open;
    std::vector<Staged> m_staged;
    std::vector<std::string> m_newFolders;
};

} // namespace Shell
