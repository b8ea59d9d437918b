// SPDX-License-Identifier: Apache-2.0
#include "engine/records/data_source.h"

#include "platform/kernel/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Records {

namespace {

[[noreturn]] void Refuse(Kernel::String const& name, std::string const& reason) {
    throw Kernel::FileException(name.ToStdString() + ": " + reason);
}

void CheckSize(Kernel::String const& name, std::uint64_t size, std::uint64_t maximumSize) {
    if (size > maximumSize)
        Refuse(name, "has " + DescribeSize(size) + "; at most " + DescribeSize(maximumSize) + " are read");
}

class FileSource final : public DataSource {
public:
    FileSource(Kernel::String path, std::uint64_t maximumSize) : m_path(std::move(path)) {
        // Opening a pipe that nobody writes to would wait.
        m_descriptor = open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (m_descriptor < 0)
            Refuse(m_path, std::strerror(errno));
        m_status = GetStatus();
        if (!S_ISREG(m_status.st_mode)) {
            close(m_descriptor);
            Refuse(m_path, S_ISDIR(m_status.st_mode) ? "is a folder" : "is not a regular file");
        }
        try {
            CheckSize(m_path, GetSize(), maximumSize);
        } catch (...) {
            close(m_descriptor);
            throw;
        }
    }
    FileSource(FileSource const&) = delete;
    FileSource& operator=(FileSource const&) = delete;
    ~FileSource() override { close(m_descriptor); }

    std::uint64_t GetSize() const override { return static_cast<std::uint64_t>(m_status.st_size); }

    void Read(std::uint64_t offset, std::span<char> bytes) const override {
        while (!bytes.empty()) {
            auto const count = pread(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                Refuse(m_path, std::strerror(errno));
            if (count == 0)
                Refuse(m_path, "became shorter while it was read");
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            offset += static_cast<std::uint64_t>(count);
        }
    }

    void CheckUnchanged() const override {
        auto const now = GetStatus();
        if (now.st_size != m_status.st_size || now.st_mtim.tv_sec != m_status.st_mtim.tv_sec ||
            now.st_mtim.tv_nsec != m_status.st_mtim.tv_nsec)
            Refuse(m_path, "was changed while it was read");
    }

private:
    struct stat GetStatus() const {
        struct stat status;
        if (fstat(m_descriptor, &status) != 0)
            Refuse(m_path, std::strerror(errno));
        return status;
    }

    Kernel::String m_path;
    int m_descriptor;
    struct stat m_status;
};

class MemorySource final : public DataSource {
public:
    explicit MemorySource(std::string_view data) : m_data(data) {}
    std::uint64_t GetSize() const override { return m_data.size(); }
    void Read(std::uint64_t offset, std::span<char> bytes) const override {
        std::copy_n(m_data.data() + offset, bytes.size(), bytes.data());
    }
    void CheckUnchanged() const override {}

private:
    std::string_view m_data;
};

} // namespace

DataSource::~DataSource() = default;

std::unique_ptr<DataSource> OpenFile(Kernel::String const& path, std::uint64_t maximumSize) {
    return std::make_unique<FileSource>(path, maximumSize);
}

std::unique_ptr<DataSource> OpenMemory(std::string_view data, Kernel::String const& name, std::uint64_t maximumSize) {
    CheckSize(name, data.size(), maximumSize);
    return std::make_unique<MemorySource>(data);
}

std::string DescribeSize(std::uint64_t bytes) {
    static constexpr char const* c_units[] = {" bytes", " KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};
    std::size_t unit = 0;
    auto rest = bytes;
    for (; rest >= 1024 && unit != std::size(c_units) - 1; rest = (rest + 1023) / 1024)
        ++unit;
    return std::to_string(rest) + c_units[unit];
}

} // namespace Records
