// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace Store {

// A range of bytes to lock. It need not lie within the file.
struct ByteRange {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

enum class LockKind { Shared, Exclusive };

// One open file. Failures are Kernel::Exception with the system's own words.
//
// Locks belong to this object, not to the process: two File objects on one file exclude each other in one process too.
// Bytes that were written may be lost in a crash, in any selection of them, until Sync has returned.
class File {
public:
    virtual ~File();
    // Returns how many bytes were read: fewer than asked for only at the end of the file.
    virtual std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> target) = 0;
    virtual void WriteAt(std::uint64_t offset, std::span<std::byte const> source) = 0;
    virtual void Truncate(std::uint64_t size) = 0;
    virtual void Sync() = 0;
    virtual std::uint64_t GetSize() = 0;

    // Never waits. False: another File holds a lock that excludes this one. An own lock on the range is converted.
    virtual bool TryLock(ByteRange range, LockKind kind) = 0;
    virtual void Unlock(ByteRange range) noexcept = 0;
    // True when an exclusive lock on the range would be refused.
    virtual bool IsLockedElsewhere(ByteRange range) = 0;
    // True when the path still names this file.
    virtual bool IsAt(std::filesystem::path const& path) = 0;
};

// The action when the path of a new file is taken.
enum class IfExists { Refuse, Replace };

// A file that has no name yet. It vanishes with this object unless it was published.
class Draft {
public:
    virtual ~Draft();
    virtual std::shared_ptr<File> GetFile() = 0;
    // Gives the file its name in one step: whoever opens the path finds what was there before, or this whole file. The
    // content must have been synced before; the name is durable on return. With Replace the access rights of the
    // file that is replaced are taken over.
    virtual void Publish(IfExists ifExists) = 0;
};

enum class FileAccess { Read, ReadWrite };

// All that a container does to the outside goes through here, so that failing devices and crashes can be simulated.
class FileSystem {
public:
    virtual ~FileSystem();
    // The absolute path, symbolic links followed where the file exists.
    virtual std::filesystem::path Resolve(std::filesystem::path const& path) = 0;
    // Opens a regular file. Anything else is refused without waiting for it: folders, pipes, devices.
    virtual std::unique_ptr<File> Open(std::filesystem::path const& path, FileAccess access) = 0;
    // Opens for reading and writing, and creates the file, with the access rights of `model`, when it is not there.
    virtual std::unique_ptr<File> OpenOrCreate(std::filesystem::path const& path, File& model) = 0;
    virtual bool Exists(std::filesystem::path const& path) = 0;
    // False: there was nothing to remove.
    virtual bool Remove(std::filesystem::path const& path) = 0;
    // Makes names that were given or removed in the folder of `path` durable.
    virtual void SyncFolderOf(std::filesystem::path const& path) = 0;
    // A file to be published at the path, on the same volume.
    virtual std::unique_ptr<Draft> CreateDraft(std::filesystem::path const& path) = 0;

    // The one of the operating system.
    static FileSystem& GetNative();
};

} // namespace Store
