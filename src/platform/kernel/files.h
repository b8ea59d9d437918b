// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"
#include "platform/kernel/string.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Kernel {

// Reading or writing a file failed. The message names the file and the system's reason.
class REDRAFT_ENGINE FileException final : public Exception {
public:
    using Exception::Exception;
    ~FileException() override;
};

// An open file. Closed by its destructor; not copyable.
class REDRAFT_ENGINE File {
public:
    // How the file is opened. Create makes it, or empties one that is there.
    enum class AccessMode { Read = 1, Write = 2, ReadWrite = 3, Create = 5 };
    enum class ShareMode { Exclusive = 0, Shared = 1 };
    enum class VisibilityMode { Normal = 0, Hidden = 1 };

    File() = default;
    File(File const&) = delete;
    File& operator=(File const&) = delete;
    ~File();

    // False when the system refuses; the file that was open before is closed in any case. Sharing and visibility have
    // no meaning on POSIX systems and are accepted as they come.
    bool Open(char const* path, AccessMode access, ShareMode share, VisibilityMode visibility);
    bool IsOpen() const { return m_descriptor >= 0; }
    // Throws FileException when the system could not keep what was written.
    void Close();

    // The count that was read, less than asked only at the end of the file. Throws FileException.
    std::size_t Read(std::span<std::byte> bytes);
    // Writes all of it or throws FileException.
    void Write(std::span<std::byte const> bytes);
    std::uint64_t GetSize() const;
    // Makes the system put what was written on the disk.
    void Flush();

private:
    int m_descriptor = -1;
    String m_path;
};

// A file that appears under its name whole or not at all: it is written under a temporary name in the same folder,
// put on the disk, and renamed by Commit. Without Commit nothing is left.
class REDRAFT_ENGINE AtomicFile {
public:
    // Throws FileException when the folder cannot be written.
    explicit AtomicFile(String path);
    AtomicFile(AtomicFile const&) = delete;
    AtomicFile& operator=(AtomicFile const&) = delete;
    ~AtomicFile();

    void Write(std::span<std::byte const> bytes) { m_file.Write(bytes); }
    // Replaces a file of this name, whose permissions are kept. Throws FileException; then the old file stands.
    void Commit();
    String const& GetPath() const { return m_path; }

private:
    String m_path;
    String m_temporaryPath;
    File m_file;
};

REDRAFT_ENGINE void WriteWholeFile(String const& path, std::span<std::byte const> bytes);

// Throws FileException when the file cannot be read or has more than maxSize bytes.
REDRAFT_ENGINE std::vector<std::byte> ReadWholeFile(String const& path, std::uint64_t maxSize);

} // namespace Kernel
