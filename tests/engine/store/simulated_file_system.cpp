// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/store/simulated_file_system.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <cstring>

namespace Store::Testing {

namespace {

constexpr std::size_t c_sectorSize = 512;

bool Overlap(ByteRange a, ByteRange b) { return a.offset < b.offset + b.length && b.offset < a.offset + a.length; }

} // namespace

class SimulatedFile final : public File {
public:
    SimulatedFile(SimulatedFileSystem& system, std::shared_ptr<SimulatedFileSystem::Inode> inode, bool isWritable)
        : m_system(system), m_inode(std::move(inode)), m_life(system.m_life), m_isWritable(isWritable) {}

    ~SimulatedFile() override {
        std::erase_if(m_inode->locks, [this](auto const& lock) { return lock.holder == this; });
    }

    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> target) override {
        RequireAlive();
        auto const& content = m_inode->content;
        if (offset >= content.size())
            return 0;
        auto const size = std::min<std::size_t>(target.size(), content.size() - offset);
        std::memcpy(target.data(), content.data() + offset, size);
        return size;
    }

    void WriteAt(std::uint64_t offset, std::span<std::byte const> source) override {
        RequireWritable();
        m_system.Count([&] {
            auto const size = source.empty() ? 0 : m_system.m_random() % source.size();
            Do({offset, {source.begin(), source.begin() + static_cast<std::ptrdiff_t>(size)}, std::nullopt});
        });
        Do({offset, {source.begin(), source.end()}, std::nullopt});
    }

    void Truncate(std::uint64_t size) override {
        RequireWritable();
        m_system.Count();
        Do({0, {}, size});
    }

    void Sync() override {
        RequireWritable();
        m_system.Count();
        m_inode->durable = m_inode->content;
        m_inode->unsynced.clear();
    }

    std::uint64_t GetSize() override {
        RequireAlive();
        return m_inode->content.size();
    }

    bool TryLock(ByteRange range, LockKind kind) override {
        RequireAlive();
        if (IsExcluded(range, kind))
            return false;
        Unlock(range);
        m_inode->locks.push_back({this, range, kind});
        return true;
    }

    void Unlock(ByteRange range) noexcept override {
        std::erase_if(m_inode->locks,
                      [&](auto const& lock) { return lock.holder == this && Overlap(lock.range, range); });
    }

    bool IsLockedElsewhere(ByteRange range) override { return IsExcluded(range, LockKind::Exclusive); }

    bool IsAt(std::filesystem::path const& path) override {
        RequireAlive();
        auto const found = m_system.m_names.find(path.string());
        return found != m_system.m_names.end() && found->second == m_inode;
    }

    std::shared_ptr<SimulatedFileSystem::Inode> const& GetInode() const { return m_inode; }

private:
    void RequireAlive() const {
        m_system.RequireRunning();
        if (m_life != m_system.m_life)
            throw Kernel::Exception("simulated: the machine was restarted");
    }

    void RequireWritable() const {
        RequireAlive();
        if (!m_isWritable)
            throw Kernel::Exception("simulated: opened for reading");
    }

    void Do(SimulatedFileSystem::Write write) {
        SimulatedFileSystem::Apply(m_inode->content, write);
        m_inode->unsynced.push_back(std::move(write));
    }

    bool IsExcluded(ByteRange range, LockKind kind) const {
        return std::any_of(m_inode->locks.begin(), m_inode->locks.end(), [&](auto const& lock) {
            return lock.holder != this && Overlap(lock.range, range) &&
                   (kind == LockKind::Exclusive || lock.kind == LockKind::Exclusive);
        });
    }

    SimulatedFileSystem& m_system;
    std::shared_ptr<SimulatedFileSystem::Inode> m_inode;
    std::uint64_t m_life;
    bool m_isWritable;
};

class SimulatedDraft final : public Draft {
public:
    SimulatedDraft(SimulatedFileSystem& system, std::shared_ptr<SimulatedFileSystem::Inode> inode, std::string path)
        : m_system(system),
          m_path(std::move(path)),
          m_file(std::make_shared<SimulatedFile>(system, std::move(inode), true)) {}

    std::shared_ptr<File> GetFile() override { return m_file; }

    void Publish(IfExists ifExists) override {
        m_system.RequireRunning();
        if (ifExists == IfExists::Refuse && m_system.m_names.contains(m_path))
            throw Kernel::Exception("already exists");
        m_system.Count();
        m_system.ChangeNames([path = m_path, inode = m_file->GetInode()](auto& names) { names[path] = inode; });
        m_system.SyncFolderOf(m_path);
    }

private:
    SimulatedFileSystem& m_system;
    std::string m_path;
    std::shared_ptr<SimulatedFile> m_file;
};

SimulatedFileSystem::SimulatedFileSystem() = default;
SimulatedFileSystem::~SimulatedFileSystem() = default;

std::unique_ptr<SimulatedFileSystem> SimulatedFileSystem::Clone() const {
    auto copy = std::make_unique<SimulatedFileSystem>();
    for (auto const& [name, inode] : m_names)
        copy->PutContent(name, inode->content);
    return copy;
}

void SimulatedFileSystem::Arm(Fault fault, std::uint64_t operation) {
    m_fault = fault;
    m_faultOperation = operation;
    m_operations = 0;
    m_hasFaultHappened = false;
    m_random.seed(static_cast<std::uint32_t>(operation));
}

void SimulatedFileSystem::Restart(std::uint32_t seed) {
    m_random.seed(seed);
    ++m_life;
    m_isStopped = false;
    m_fault = Fault::None;
    for (auto const& weak : m_inodes) {
        auto const inode = weak.lock();
        if (inode == nullptr)
            continue;
        // Between nothing and everything, so that both ends happen too.
        auto const kept = m_random() % 5;
        for (auto const& write : inode->unsynced) {
            if (write.truncation) {
                if (m_random() % 4 < kept)
                    Apply(inode->durable, write);
                continue;
            }
            for (std::size_t start = 0; start < write.bytes.size();) {
                auto const toBoundary = c_sectorSize - (write.offset + start) % c_sectorSize;
                auto const size = std::min<std::size_t>(toBoundary, write.bytes.size() - start);
                auto const first = write.bytes.begin() + static_cast<std::ptrdiff_t>(start);
                if (m_random() % 4 < kept)
                    Apply(inode->durable,
                          {write.offset + start, {first, first + static_cast<std::ptrdiff_t>(size)}, std::nullopt});
                start += size;
            }
        }
        inode->unsynced.clear();
        inode->content = inode->durable;
        inode->locks.clear();
    }
    auto const kept = m_random() % (m_unsyncedNames.size() + 1);
    for (std::size_t i = 0; i != kept; ++i)
        m_unsyncedNames[i](m_durableNames);
    m_unsyncedNames.clear();
    m_names = m_durableNames;
}

std::vector<std::string> SimulatedFileSystem::ListNames() const {
    std::vector<std::string> result;
    for (auto const& entry : m_names)
        result.push_back(entry.first);
    return result;
}

std::vector<std::byte>& SimulatedFileSystem::GetContent(std::filesystem::path const& path) {
    return m_names.at(path.string())->content;
}

void SimulatedFileSystem::PutContent(std::filesystem::path const& path, std::vector<std::byte> content) {
    auto const inode = std::make_shared<Inode>();
    inode->durable = content;
    inode->content = std::move(content);
    m_inodes.push_back(inode);
    m_names[path.string()] = inode;
    m_durableNames[path.string()] = inode;
}

std::unique_ptr<File> SimulatedFileSystem::Open(std::filesystem::path const& path, FileAccess access) {
    RequireRunning();
    auto const found = m_names.find(path.string());
    if (found == m_names.end())
        throw Kernel::Exception("cannot be opened: No such file or directory");
    return std::make_unique<SimulatedFile>(*this, found->second, access == FileAccess::ReadWrite);
}

std::unique_ptr<File> SimulatedFileSystem::OpenOrCreate(std::filesystem::path const& path, File&) {
    RequireRunning();
    if (!m_names.contains(path.string())) {
        Count();
        auto const inode = std::make_shared<Inode>();
        m_inodes.push_back(inode);
        ChangeNames([name = path.string(), inode](Names& names) { names[name] = inode; });
    }
    return Open(path, FileAccess::ReadWrite);
}

bool SimulatedFileSystem::Exists(std::filesystem::path const& path) {
    RequireRunning();
    return m_names.contains(path.string());
}

bool SimulatedFileSystem::Remove(std::filesystem::path const& path) {
    RequireRunning();
    if (!m_names.contains(path.string()))
        return false;
    Count();
    ChangeNames([name = path.string()](Names& names) { names.erase(name); });
    return true;
}

void SimulatedFileSystem::SyncFolderOf(std::filesystem::path const&) {
    Count();
    m_durableNames = m_names;
    m_unsyncedNames.clear();
}

std::unique_ptr<Draft> SimulatedFileSystem::CreateDraft(std::filesystem::path const& path) {
    Count();
    auto const inode = std::make_shared<Inode>();
    m_inodes.push_back(inode);
    return std::make_unique<SimulatedDraft>(*this, inode, path.string());
}

void SimulatedFileSystem::Apply(std::vector<std::byte>& content, Write const& write) {
    if (write.truncation) {
        content.resize(*write.truncation);
        return;
    }
    if (content.size() < write.offset + write.bytes.size())
        content.resize(write.offset + write.bytes.size());
    std::copy(write.bytes.begin(), write.bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(write.offset));
}

void SimulatedFileSystem::RequireRunning() const {
    if (m_isStopped)
        throw Kernel::Exception("simulated: the machine has stopped");
}

void SimulatedFileSystem::Count(std::function<void()> const& partly) {
    RequireRunning();
    ++m_operations;
    bool const isDue = m_fault == Fault::FailFromThen ? m_operations >= m_faultOperation
                                                      : m_operations == m_faultOperation && m_fault != Fault::None;
    if (!isDue)
        return;
    m_hasFaultHappened = true;
    if (partly)
        partly();
    if (m_fault == Fault::Crash)
        m_isStopped = true;
    throw Kernel::Exception("simulated: the device failed");
}

void SimulatedFileSystem::ChangeNames(std::function<void(Names&)> const& change) {
    change(m_names);
    m_unsyncedNames.push_back(change);
}

} // namespace Store::Testing
