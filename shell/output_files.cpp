// SPDX-License-Identifier: Apache-2.0
#include "shell/output_files.h"

#include "shell/failure.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Shell {

namespace {

[[noreturn]] void ThrowForErrno(std::string const& path) {
    throw Failure(ExitStatus::Output, path, "cannot be written: " + std::generic_category().message(errno));
}

// An empty file that nobody else has, beside the path. Unlike mkstemp it leaves permissions to the user's mask.
std::string MakeTemporaryFile(std::string const& path) {
    static unsigned s_next = 0;
    auto const folder = std::filesystem::path(path).parent_path();
    for (;;) {
        auto const name = ".redraft-out-" + std::to_string(::getpid()) + "-" + std::to_string(s_next++);
        auto const temporary = (folder / name).string();
        int const descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            ::close(descriptor);
            return temporary;
        }
        if (errno != EEXIST && errno != EINTR)
            ThrowForErrno(path);
    }
}

// A file behind a symbolic link is replaced where it lies.
std::string Resolve(std::string const& path) {
    std::error_code error;
    auto const resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

} // namespace

OutputFiles::~OutputFiles() {
    for (auto const& staged : m_staged)
        ::unlink(staged.temporaryPath.c_str());
    for (auto folder = m_newFolders.rbegin(); folder != m_newFolders.rend(); ++folder)
        ::rmdir(folder->c_str());
}

void OutputFiles::Begin(std::string const& path) {
    End();
    auto const target = Resolve(path);
    struct stat old {};
    bool const exists = ::stat(target.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        throw Failure(ExitStatus::Output, path, "cannot be written: it is no file");
    m_staged.push_back({target, MakeTemporaryFile(target)});
    auto const& temporary = m_staged.back().temporaryPath;
    if (exists)
        ::chmod(temporary.c_str(), (old.st_mode & 0777) | S_IWUSR);
    if (!m_open.Open(temporary.c_str(), Kernel::File::AccessMode::Create, Kernel::File::ShareMode::Exclusive,
                     Kernel::File::VisibilityMode::Normal))
        ThrowForErrno(path);
}

void OutputFiles::Write(std::span<std::byte const> bytes) {
    Guarded(ExitStatus::Output, m_staged.back().path, [&] { m_open.Write(bytes); });
}

void OutputFiles::End() {
    if (!m_open.IsOpen())
        return;
    Guarded(ExitStatus::Output, m_staged.back().path, [&] {
        m_open.Flush();
        m_open.Close();
    });
}

void OutputFiles::Abandon() {
    if (!m_open.IsOpen())
        return;
    m_open.Close();
    ::unlink(m_staged.back().temporaryPath.c_str());
    m_staged.pop_back();
}

void OutputFiles::MakeFolder(std::string const& path) {
    struct stat old {};
    if (::stat(path.c_str(), &old) == 0 && S_ISDIR(old.st_mode))
        return;
    if (::mkdir(path.c_str(), 0777) != 0)
        ThrowForErrno(path);
    m_newFolders.push_back(path);
}

void OutputFiles::Commit() {
    End();
    for (auto const& staged : m_staged) {
        if (std::rename(staged.temporaryPath.c_str(), staged.path.c_str()) != 0)
            ThrowForErrno(staged.path);
    }
    m_staged.clear();
    m_newFolders.clear();
}

} // namespace Shell
