// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/files.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Kernel {

namespace {

[[noreturn]] void ThrowForErrno(std::string_view path, char const* deed) {
    auto const reason = std::generic_category().message(errno);
    throw FileException(std::string(path) + ": cannot be " + deed + ": " + reason);
}

int GetOpenFlags(File::AccessMode access) {
    switch (access) {
    case File::AccessMode::Read:
        return O_RDONLY;
    case File::AccessMode::Write:
        return O_WRONLY;
    case File::AccessMode::ReadWrite:
        return O_RDWR;
    case File::AccessMode::Create:
        break;
    }
    return O_WRONLY | O_CREAT | O_TRUNC;
}

std::string GetFolder(std::string_view path) {
    auto const slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return ".";
    return std::string(path.substr(0, std::max<std::size_t>(slash, 1)));
}

// A file that is reached through a symbolic link is replaced where it lies; the link stays.
String ResolveLinks(String path) {
    std::unique_ptr<char, decltype(&std::free)> const resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved == nullptr ? std::move(path) : String(resolved.get());
}

// Makes an empty file that nobody else has, beside the path. The system's mask decides its permissions, as mkstemp's
// would not.
std::string MakeTemporaryFile(std::string_view path) {
    static std::atomic<unsigned> s_next{0};
    std::string const start = GetFolder(path) + "/.redraft-" + std::to_string(::getpid()) + "-";
    for (;;) {
        std::string name = start + std::to_string(s_next++);
        int const descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            ::close(descriptor);
            return name;
        }
        if (errno != EEXIST && errno != EINTR)
            ThrowForErrno(path, "written");
    }
}

// A rename is on the disk only when its folder is.
void FlushFolder(std::string const& folder) {
    int const descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

FileException::~FileException() = default;

File::~File() {
    if (IsOpen())
        ::close(m_descriptor);
}

bool File::Open(char const* path, AccessMode access, ShareMode, VisibilityMode) {
    if (IsOpen())
        ::close(std::exchange(m_descriptor, -1));
    m_path = path;
    do {
        m_descriptor = ::open(path, GetOpenFlags(access) | O_CLOEXEC, 0666);
    } while (m_descriptor < 0 && errno == EINTR);
    return IsOpen();
}

void File::Close() {
    if (IsOpen() && ::close(std::exchange(m_descriptor, -1)) != 0 && errno != EINTR)
        ThrowForErrno(m_path.view(), "written");
}

std::size_t File::Read(std::span<std::byte> bytes) {
    std::size_t done = 0;
    while (done != bytes.size()) {
        auto const count = ::read(m_descriptor, bytes.data() + done, bytes.size() - done);
        if (count == 0)
            break;
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            ThrowForErrno(m_path.view(), "read");
    }
    return done;
}

void File::Write(std::span<std::byte const> bytes) {
    while (!bytes.empty()) {
        auto const count = ::write(m_descriptor, bytes.data(), bytes.size());
        if (count >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            ThrowForErrno(m_path.view(), "written");
    }
}

std::uint64_t File::GetSize() const {
    struct stat status {};
    if (::fstat(m_descriptor, &status) != 0)
        ThrowForErrno(m_path.view(), "read");
    return static_cast<std::uint64_t>(status.st_size);
}

void File::Flush() {
    if (::fsync(m_descriptor) != 0)
        ThrowForErrno(m_path.view(), "written");
}

AtomicFile::AtomicFile(String path) : m_path(ResolveLinks(std::move(path))) {
    std::string const name = MakeTemporaryFile(m_path.view());
    struct stat old {};
    if (::stat(m_path.c_str(), &old) == 0)
        ::chmod(name.c_str(), (old.st_mode & 0777) | S_IWUSR);
    m_temporaryPath = name;
    if (!m_file.Open(name.c_str(), File::AccessMode::Create, File::ShareMode::Exclusive,
                     File::VisibilityMode::Normal)) {
        int const reason = errno;
        ::unlink(name.c_str());
        errno = reason;
        ThrowForErrno(m_path.view(), "written");
    }
}

AtomicFile::~AtomicFile() {
    if (!m_temporaryPath.empty())
        ::unlink(m_temporaryPath.c_str());
}

void AtomicFile::Commit() {
    m_file.Flush();
    m_file.Close();
    if (std::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0)
        ThrowForErrno(m_path.view(), "written");
    m_temporaryPath = {};
    FlushFolder(GetFolder(m_path.view()));
}

void WriteWholeFile(String const& path, std::span<std::byte const> bytes) {
    AtomicFile file(path);
    file.Write(bytes);
    file.Commit();
}

std::vector<std::byte> ReadWholeFile(String const& path, std::uint64_t maxSize) {
    File file;
    if (!file.Open(path.c_str(), File::AccessMode::Read, File::ShareMode::Shared, File::VisibilityMode::Normal))
        ThrowForErrno(path.view(), "read");
    // Pipes and devices tell no size, so the limit is watched while reading.
    std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(file.GetSize(), maxSize)));
    bytes.resize(file.Read(bytes));
    std::byte buffer[4096];
    while (std::size_t const count = file.Read(buffer)) {
        if (bytes.size() + count > maxSize)
            throw FileException(path.ToStdString() + ": longer than " + std::to_string(maxSize) + " bytes");
        bytes.insert(bytes.end(), buffer, buffer + count);
    }
    return bytes;
}

} // namespace Kernel
