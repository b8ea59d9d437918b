// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/file_system.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace Store::Testing {

// The fault at the chosen operation.
enum class Fault {
    None,
    // That operation fails; a write may have been done in part.
    FailOnce,
    // That operation and all that change anything after it fail.
    FailFromThen,
    // The machine stops there; Restart brings back what a device could hold then.
    Crash
};

// A file system in memory that counts the operations that change something, and can fail or stop at any of them.
//
// After a crash a file holds what was synced and any selection of the sectors written since, and the folder holds the
// names that were synced and any first part of the changes made since.
class SimulatedFileSystem final : public FileSystem {
public:
    SimulatedFileSystem();
    ~SimulatedFileSystem() override;
    // A file system with the same files, none of them open. What was not synced counts as synced.
    std::unique_ptr<SimulatedFileSystem> Clone() const;

    void Arm(Fault fault, std::uint64_t operation);
    std::uint64_t GetOperationCount() const { return m_operations; }
    bool HasFaultHappened() const { return m_hasFaultHappened; }
    void Restart(std::uint32_t seed);

    std::vector<std::string> ListNames() const;
    // The content, to be changed at will.
    std::vector<std::byte>& GetContent(std::filesystem::path const& path);
    void PutContent(std::filesystem::path const& path, std::vector<std::byte> content);

    std::filesystem::path Resolve(std::filesystem::path const& path) override { return path; }
    std::unique_ptr<File> Open(std::filesystem::path const& path, FileAccess access) override;
    std::unique_ptr<File> OpenOrCreate(std::filesystem::path const& path, File& model) override;
    bool Exists(std::filesystem::path const& path) override;
    bool Remove(std::filesystem::path const& path) override;
    void SyncFolderOf(std::filesystem::path const& path) override;
    std::unique_ptr<Draft> CreateDraft(std::filesystem::path const& path) override;

private:
    friend class SimulatedFile;
    friend class SimulatedDraft;

    struct Write {
        std::uint64_t offset = 0;
        std::vector<std::byte> bytes;
        std::optional<std::uint64_t> truncation;
    };
    struct Lock {
        void const* holder;
        ByteRange range;
        LockKind kind;
    };
    struct Inode {
        std::vector<std::byte> content;
        std::vector<std::byte> durable;
        std::vector<Write> unsynced;
        std::vector<Lock> locks;
    };
    using Names = std::map<std::string, std::shared_ptr<Inode>>;

    static void Apply(std::vector<std::byte>& content, Write const& write);
    void RequireRunning() const;
    // Counts an operation; throws when it is the one to fail, after running `partly`.
    void Count(std::function<void()> const& partly = {});
    void ChangeNames(std::function<void(Names&)> const& change);

    Names m_names;
    Names m_durableNames;
    std::vector<std::function<void(Names&)>> m_unsyncedNames;
    std::vector<std::weak_ptr<Inode>> m_inodes;
    Fault m_fault = Fault::None;
    std::uint64_t m_faultOperation = 0;
    std::uint64_t m_operations = 0;
    bool m_hasFaultHappened = false;
    bool m_isStopped = false;
    std::uint64_t m_life = 0;
    std::mt19937 m_random;
};

} // namespace Store::Testing
