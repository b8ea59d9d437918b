// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/files.h"

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// The files that a call writes, apart from its document. Each is written under a temporary name in its folder; they all
// appear with Commit, and none without it. All of this throws Failure with ExitStatus::Output.
//
// A temporary file is locked while its maker lives. Those that killed programs have left in a folder are removed when
// the first file is begun there.
class OutputFiles {
public:
    OutputFiles() = default;
    OutputFiles(OutputFiles const&) = delete;
    OutputFiles& operator=(OutputFiles const&) = delete;
    // Removes what was not committed.
    ~OutputFiles();

    // Lets files replace documents.
    void SetForced(bool forced) { m_isForced = forced; }

    // One file at a time: the next Begin closes it.
    void Begin(std::string const& path);
    void Write(std::span<std::byte const> bytes);
    void Write(std::string_view text) { Write(std::as_bytes(std::span(text))); }
    void End();
    // Takes the file back that was begun and not ended, if there is one.
    void Abandon();
    // A folder for files to come; without Commit it goes again, unless it was there before.
    void MakeFolder(std::string const& path);
    // To be called when all has been read: a file may be read after the one that would replace it was written.
    void RefuseInputs() const;
    void Commit();

private:
    struct Staged {
        // As the caller gave it; `path` is where it leads.
        std::string name;
        std::string path;
        std::string temporaryPath;
        // Keeps the file locked; renaming it keeps the lock.
        int descriptor;
    };
    Staged MakeTemporaryFile(std::string const& name, std::string const& path);
    void RemoveStrays(std::string const& folder);
    void WaitForDisk() const;

    Kernel::File m_open;
    std::vector<Staged> m_staged;
    std::vector<std::string> m_newFolders;
    std::set<std::string> m_sweptFolders;
    bool m_isForced = false;
};

} // namespace Shell
