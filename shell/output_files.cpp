// SPDX-License-Identifier: Apache-2.0
#include "shell/output_files.h"

#include "shell/document_target.h"
#include "shell/failure.h"
#include "shell/input_files.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Shell {

namespace {

[[noreturn]] void ThrowForErrno(std::string const& path) {
    throw Failure(ExitStatus::Output, path, "cannot be written: " + std::generic_category().message(errno));
}

constexpr std::string_view c_temporaryPrefix = ".redraft-out-";

bool IsSameFile(struct stat const& a, struct stat const& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// The process in the name of a temporary file; 0 where there is none.
pid_t ParseMaker(std::string_view name) {
    if (!name.starts_with(c_temporaryPrefix))
        return 0;
    name.remove_prefix(c_temporaryPrefix.size());
    pid_t maker = 0;
    auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), maker);
    unsigned number = 0;
    auto const* const last = name.data() + name.size();
    bool const hasNumber = error == std::errc() && end != last && *end == '-' &&
                           std::from_chars(end + 1, last, number) == std::from_chars_result{last, std::errc()};
    return hasNumber && maker > 0 ? maker : 0;
}

// Whether the process may still be at work. Its number alone proves nothing: numbers are given out again.
bool IsAlive(pid_t process) { return process != ::getpid() && (::kill(process, 0) == 0 || errno == EPERM); }

// Removes a temporary file unless a program has it locked.
void RemoveUnlocked(std::string const& path) {
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0)
        return;
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        ::unlink(path.c_str());
    ::close(descriptor);
}

// From this many files on, a call asks for more descriptors than the usual limit, as low as 256 on some systems.
constexpr std::size_t c_manyFiles = 100;

// Each file stays open for its lock until all appear. Where this fails, opening one of the next files does, and says
// so.
void RaiseDescriptorLimit() {
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// A file behind a symbolic link is replaced where it lies.
std::string Resolve(std::string const& path) {
    std::error_code error;
    auto const resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

} // namespace

OutputFiles::~OutputFiles() {
    for (auto const& staged : m_staged) {
        ::unlink(staged.temporaryPath.c_str());
        ::close(staged.descriptor);
    }
    for (auto folder = m_newFolders.rbegin(); folder != m_newFolders.rend(); ++folder)
        ::rmdir(folder->c_str());
}

// An empty file that nobody else has, beside the path. Unlike mkstemp it leaves permissions to the user's mask.
OutputFiles::Staged OutputFiles::MakeTemporaryFile(std::string const& name, std::string const& path) {
    static unsigned s_next = 0;
    auto const folder = std::filesystem::path(path).parent_path();
    RemoveStrays(folder.empty() ? "." : folder.string());
    for (;;) {
        auto const own = std::string(c_temporaryPrefix) + std::to_string(::getpid()) + "-" + std::to_string(s_next++);
        auto const temporary = (folder / own).string();
        int const descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0) {
            if (errno != EEXIST && errno != EINTR)
                ThrowForErrno(name);
            continue;
        }
        // Between the two calls another program may have taken the file for a stray and removed it. A volume without
        // locks leaves the maker's number alone to tell.
        struct stat mine {
        }, named{};
        bool const isLocked = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
        if (isLocked && ::fstat(descriptor, &mine) == 0 && ::stat(temporary.c_str(), &named) == 0 &&
            IsSameFile(mine, named))
            return {name, path, temporary, descriptor};
        ::close(descriptor);
    }
}

void OutputFiles::RemoveStrays(std::string const& folder) {
    if (!m_sweptFolders.insert(folder).second)
        return;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        auto const maker = ParseMaker(entry->path().filename().string());
        if (maker != 0 && !IsAlive(maker))
            RemoveUnlocked(entry->path().string());
    }
}

void OutputFiles::Begin(std::string const& path) {
    End();
    InputFiles::Refuse(path);
    auto const target = Resolve(path);
    struct stat old {};
    bool const exists = ::stat(target.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        throw Failure(ExitStatus::Output, path, "cannot be written: it is not a regular file");
    if (exists && !m_isForced && IsDocument(target))
        throw Failure(ExitStatus::Output, path, "is a document; --force replaces it");
    if (m_staged.size() == c_manyFiles)
        RaiseDescriptorLimit();
    m_staged.push_back(MakeTemporaryFile(path, target));
    auto const& temporary = m_staged.back().temporaryPath;
    if (exists)
        ::chmod(temporary.c_str(), (old.st_mode & 0777) | S_IWUSR);
    if (!m_open.Open(temporary.c_str(), Kernel::File::AccessMode::Create, Kernel::File::ShareMode::Exclusive,
                     Kernel::File::VisibilityMode::Normal))
        ThrowForErrno(path);
}

void OutputFiles::Write(std::span<std::byte const> bytes) {
    Guarded(ExitStatus::Output, m_staged.back().name, [&] { m_open.Write(bytes); });
}

void OutputFiles::End() {
    if (!m_open.IsOpen())
        return;
    Guarded(ExitStatus::Output, m_staged.back().name, [&] { m_open.Close(); });
    // The system begins to write it now; Commit waits.
    ::sync_file_range(m_staged.back().descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
}

void OutputFiles::Abandon() {
    if (!m_open.IsOpen())
        return;
    m_open.Close();
    ::unlink(m_staged.back().temporaryPath.c_str());
    ::close(m_staged.back().descriptor);
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

void OutputFiles::RefuseInputs() const {
    for (auto const& staged : m_staged)
        InputFiles::Refuse(staged.name);
}

// Of many small files the volume as a whole is quicker than each by itself.
void OutputFiles::WaitForDisk() const {
    constexpr std::size_t c_fewFiles = 16;
    std::set<dev_t> volumes;
    for (auto const& staged : m_staged) {
        struct stat file {};
        bool const isMany = m_staged.size() > c_fewFiles && ::fstat(staged.descriptor, &file) == 0;
        if (isMany && !volumes.insert(file.st_dev).second)
            continue;
        // Some volumes cannot be waited for.
        if ((isMany ? ::syncfs(staged.descriptor) : ::fsync(staged.descriptor)) != 0 && errno != EINVAL)
            ThrowForErrno(staged.name);
    }
}

void OutputFiles::Commit() {
    End();
    WaitForDisk();
    for (auto const& staged : m_staged) {
        if (std::rename(staged.temporaryPath.c_str(), staged.path.c_str()) != 0)
            ThrowForErrno(staged.name);
    }
    for (auto const& staged : m_staged)
        ::close(staged.descriptor);
    m_staged.clear();
    m_newFolders.clear();
}

} // namespace Shell
