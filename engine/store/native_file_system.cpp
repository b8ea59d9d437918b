// SPDX-License-Identifier: Apache-2.0
#include "engine/store/file_system.h"

#include "platform/kernel/exception.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Store {

File::~File() = default;
Draft::~Draft() = default;
FileSystem::~FileSystem() = default;

namespace {

namespace fs = std::filesystem;

[[noreturn]] void ThrowSystemError(char const* what, int error) {
    throw Kernel::Exception(std::string(what) + ": " + std::generic_category().message(error));
}

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    int Get() const { return m_fd; }

private:
    int m_fd;
};

// A document in the place of standard error would be overwritten by the next message.
Descriptor AboveStandardStreams(Descriptor opened) {
    if (opened.Get() < 0 || opened.Get() > STDERR_FILENO)
        return opened;
    return Descriptor(::fcntl(opened.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

void RefuseUnlessRegular(struct stat const& status) {
    if (S_ISDIR(status.st_mode))
        throw Kernel::Exception("is a folder");
    if (!S_ISREG(status.st_mode))
        throw Kernel::Exception("is not a regular file");
}

class NativeFile final : public File {
public:
    explicit NativeFile(Descriptor descriptor) : m_descriptor(std::move(descriptor)) {}

    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> target) override {
        std::size_t done = 0;
        while (done != target.size()) {
            auto const got =
                ::pread(GetDescriptor(), target.data() + done, target.size() - done, static_cast<off_t>(offset + done));
            if (got == 0)
                break;
            if (got > 0)
                done += static_cast<std::size_t>(got);
            else if (errno != EINTR)
                ThrowSystemError("cannot be read", errno);
        }
        return done;
    }

    void WriteAt(std::uint64_t offset, std::span<std::byte const> source) override {
        std::size_t done = 0;
        while (done != source.size()) {
            auto const put = ::pwrite(GetDescriptor(), source.data() + done, source.size() - done,
                                      static_cast<off_t>(offset + done));
            if (put >= 0)
                done += static_cast<std::size_t>(put);
            else if (errno != EINTR)
                ThrowSystemError("cannot be written", errno);
        }
    }

    void Truncate(std::uint64_t size) override {
        while (::ftruncate(GetDescriptor(), static_cast<off_t>(size)) != 0)
            if (errno != EINTR)
                ThrowSystemError("cannot be written", errno);
    }

    void Sync() override {
        if (::fsync(GetDescriptor()) != 0)
            ThrowSystemError("cannot be written", errno);
    }

    std::uint64_t GetSize() override { return static_cast<std::uint64_t>(GetStatus().st_size); }

    bool TryLock(ByteRange range, LockKind kind) override {
        auto request = ToRequest(range, kind == LockKind::Shared ? F_RDLCK : F_WRLCK);
        while (::fcntl(GetDescriptor(), F_OFD_SETLK, &request) != 0) {
            if (errno == EAGAIN || errno == EACCES)
                return false;
            // Volumes without locks can still be read from.
            bool const isUnsupported =
                errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOTSUP || errno == ENOSYS || errno == EINVAL;
            if (isUnsupported && kind == LockKind::Shared)
                return true;
            if (errno != EINTR)
                ThrowSystemError("cannot be locked", errno);
        }
        return true;
    }

    void Unlock(ByteRange range) noexcept override {
        auto request = ToRequest(range, F_UNLCK);
        while (::fcntl(GetDescriptor(), F_OFD_SETLK, &request) != 0 && errno == EINTR) {
        }
    }

    bool IsLockedElsewhere(ByteRange range) override {
        auto request = ToRequest(range, F_WRLCK);
        if (::fcntl(GetDescriptor(), F_OFD_GETLK, &request) != 0)
            return false;
        return request.l_type != F_UNLCK;
    }

    bool IsAt(fs::path const& path) override {
        struct stat named {};
        if (::stat(path.c_str(), &named) != 0)
            return false;
        auto const own = GetStatus();
        return named.st_dev == own.st_dev && named.st_ino == own.st_ino;
    }

    int GetDescriptor() const { return m_descriptor.Get(); }

    struct stat GetStatus() const {
        struct stat status {};
        if (::fstat(GetDescriptor(), &status) != 0)
            ThrowSystemError("cannot be read", errno);
        return status;
    }

private:
    static struct flock ToRequest(ByteRange range, int type) {
        struct flock request {};
        request.l_type = static_cast<short>(type);
        request.l_whence = SEEK_SET;
        request.l_start = static_cast<off_t>(range.offset);
        request.l_len = static_cast<off_t>(range.length);
        return request;
    }

    Descriptor m_descriptor;
};

void SyncFolder(fs::path const& path) {
    Descriptor const folder(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Get() < 0)
        ThrowSystemError("the folder cannot be opened", errno);
    // Some volumes cannot sync a folder and say so with EINVAL; they have nothing better to offer.
    if (::fsync(folder.Get()) != 0 && errno != EINVAL)
        ThrowSystemError("the folder cannot be written", errno);
}

std::string ToHiddenName(fs::path const& path) {
    std::random_device random;
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, ".%08x%08x.tmp", static_cast<unsigned>(random()),
                  static_cast<unsigned>(random()));
    return "." + path.filename().string().substr(0, 200) + suffix;
}

// Where the volume allows it the file has no name at all until it is published, so that even a killed process leaves
// nothing behind.
class NativeDraft final : public Draft {
public:
    explicit NativeDraft(fs::path path) : m_path(std::move(path)) {
        auto const folder = m_path.parent_path();
        Descriptor opened(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666));
        if (opened.Get() >= 0) {
            m_file = std::make_shared<NativeFile>(AboveStandardStreams(std::move(opened)));
            if (::access(GetProcessName().c_str(), F_OK) == 0)
                return;
        }
        m_temporary = folder / ToHiddenName(m_path);
        opened = Descriptor(::open(m_temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
        if (opened.Get() < 0) {
            int const error = errno;
            m_temporary.clear();
            ThrowSystemError("cannot be created", error);
        }
        m_file = std::make_shared<NativeFile>(AboveStandardStreams(std::move(opened)));
    }

    ~NativeDraft() override {
        if (!m_temporary.empty())
            ::unlink(m_temporary.c_str());
    }

    std::shared_ptr<File> GetFile() override { return m_file; }

    void Publish(IfExists ifExists) override {
        if (ifExists == IfExists::Replace)
            TakeOverAccessRights();
        bool const isNew = TryPublishAsNew();
        if (!isNew) {
            if (ifExists == IfExists::Refuse)
                throw Kernel::Exception("already exists");
            if (m_temporary.empty()) {
                auto const temporary = m_path.parent_path() / ToHiddenName(m_path);
                if (::linkat(AT_FDCWD, GetProcessName().c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) != 0)
                    ThrowSystemError("cannot be created", errno);
                m_temporary = temporary;
            }
            if (::rename(m_temporary.c_str(), m_path.c_str()) != 0)
                ThrowSystemError("cannot be replaced", errno);
        }
        m_temporary.clear();
        try {
            SyncFolder(m_path);
        } catch (...) {
            if (isNew)
                ::unlink(m_path.c_str());
            throw;
        }
    }

private:
    std::string GetProcessName() const { return "/proc/self/fd/" + std::to_string(m_file->GetDescriptor()); }

    // False: the name is taken.
    bool TryPublishAsNew() {
        int result = 0;
        if (m_temporary.empty())
            result = ::linkat(AT_FDCWD, GetProcessName().c_str(), AT_FDCWD, m_path.c_str(), AT_SYMLINK_FOLLOW);
        else
            result = ::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE);
        if (result != 0 && errno == EINVAL && !m_temporary.empty()) {
            result = ::link(m_temporary.c_str(), m_path.c_str());
            if (result == 0)
                ::unlink(m_temporary.c_str());
        }
        if (result != 0 && errno != EEXIST)
            ThrowSystemError("cannot be created", errno);
        return result == 0;
    }

    void TakeOverAccessRights() {
        struct stat old {};
        if (::stat(m_path.c_str(), &old) != 0)
            return;
        RefuseUnlessRegular(old);
        // The group can be given only where the process belongs to it.
        if (::fchown(m_file->GetDescriptor(), static_cast<uid_t>(-1), old.st_gid) != 0 && errno != EPERM)
            ThrowSystemError("cannot be replaced", errno);
        if (::fchmod(m_file->GetDescriptor(), old.st_mode & 07777) != 0)
            ThrowSystemError("cannot be replaced", errno);
    }

    fs::path m_path;
    fs::path m_temporary;
    std::shared_ptr<NativeFile> m_file;
};

class NativeFileSystem final : public FileSystem {
public:
    fs::path Resolve(fs::path const& path) override {
        std::error_code error;
        auto const absolute = fs::absolute(path, error);
        if (error)
            ThrowSystemError("cannot be found", error.value());
        auto const resolved = fs::canonical(absolute, error);
        if (!error)
            return resolved;
        if (error != std::errc::no_such_file_or_directory)
            ThrowSystemError("cannot be opened", error.value());
        auto const folder = fs::canonical(absolute.parent_path(), error);
        if (error)
            ThrowSystemError("the folder cannot be opened", error.value());
        return folder / absolute.filename();
    }

    std::unique_ptr<File> Open(fs::path const& path, FileAccess access) override {
        return OpenDescriptor(path, access == FileAccess::Read ? O_RDONLY : O_RDWR, 0);
    }

    std::unique_ptr<File> OpenOrCreate(fs::path const& path, File& model) override {
        auto const* native = dynamic_cast<NativeFile const*>(&model);
        mode_t const mode = native == nullptr ? 0600 : native->GetStatus().st_mode & 0777;
        return OpenDescriptor(path, O_RDWR | O_CREAT | O_NOFOLLOW, mode);
    }

    bool Exists(fs::path const& path) override {
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0)
            return true;
        if (errno != ENOENT && errno != ENOTDIR)
            ThrowSystemError("cannot be opened", errno);
        return false;
    }

    bool Remove(fs::path const& path) override {
        if (::unlink(path.c_str()) == 0)
            return true;
        if (errno != ENOENT)
            ThrowSystemError("cannot be removed", errno);
        return false;
    }

    void SyncFolderOf(fs::path const& path) override { SyncFolder(path); }

    std::unique_ptr<Draft> CreateDraft(fs::path const& path) override { return std::make_unique<NativeDraft>(path); }

private:
    static std::unique_ptr<File> OpenDescriptor(fs::path const& path, int flags, mode_t mode) {
        // Opening a device can have effects of its own, so it is looked at first, and again once it is open.
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0)
            RefuseUnlessRegular(status);
        else if (errno != ENOENT || (flags & O_CREAT) == 0)
            ThrowSystemError("cannot be opened", errno);
        Descriptor opened(::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode));
        if (opened.Get() < 0)
            ThrowSystemError("cannot be opened", errno);
        auto file = std::make_unique<NativeFile>(AboveStandardStreams(std::move(opened)));
        RefuseUnlessRegular(file->GetStatus());
        return file;
    }
};

} // namespace

FileSystem& FileSystem::GetNative() {
    static NativeFileSystem s_native;
    return s_native;
}

} // namespace Store
