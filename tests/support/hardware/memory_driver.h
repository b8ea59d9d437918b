// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_driver.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace Raster::Tests {

// Device memory that is the host's, and kernels that are a function of the test. Work is done at once.
//
// A source text "compiles" unless it has the word "refused"; its binary is the text behind a mark. Freed blocks are
// filled with a pattern before they go. Two calls of one driver at once, but for Compile, and a block that is freed
// twice end the process.
class MemoryDriver final : public HardwareDriver {
public:
    // The calls that the driver has had, and the work of a kernel. Shared, since a driver belongs to its device.
    struct Record {
        std::mutex mutex;
        // Every call by its name, such as "Write".
        std::map<std::string, int> calls;
        std::size_t usedBytes = 0, mostBytes = 0;
        int blocks = 0, kernels = 0;
        std::function<void(HardwareLaunch const&, std::string const& source)> run;

        int GetCalls(std::string const& name) {
            std::scoped_lock const lock(mutex);
            return calls[name];
        }
        int GetBlocks() {
            std::scoped_lock const lock(mutex);
            return blocks;
        }
        std::size_t GetMostBytes() {
            std::scoped_lock const lock(mutex);
            return mostBytes;
        }
    };

    static HardwareInfo MakeInfo() {
        HardwareInfo info;
        info.name = "Memory";
        info.version = "1";
        info.interfaceName = "Test";
        info.memoryBytes = std::size_t{256} << 20;
        info.largestBlockBytes = info.memoryBytes / 4;
        info.computeUnits = 1;
        info.isProcessor = true;
        return info;
    }

    explicit MemoryDriver(std::shared_ptr<Record> record = std::make_shared<Record>(), HardwareInfo info = MakeInfo(),
                          int language = c_kernelLanguageOpenCL)
        : m_record(std::move(record)), m_info(std::move(info)), m_language(language) {}

    HardwareInfo const& GetInfo() const override { return m_info; }
    int GetKernelLanguage() const override { return m_language; }

    // Out of memory beyond what the device has.
    HardwareStatus Allocate(std::size_t bytes, void*& block) override {
        Turn const turn(*this, "Allocate");
        std::scoped_lock const lock(m_record->mutex);
        if (bytes == 0 || bytes > m_info.largestBlockBytes)
            return HardwareStatus::Failed;
        if (m_record->usedBytes + bytes > m_info.memoryBytes)
            return HardwareStatus::OutOfMemory;
        auto* const made = new std::byte[bytes];
        std::memset(made, 0xA5, bytes);
        m_record->usedBytes += bytes;
        m_record->mostBytes = std::max(m_record->mostBytes, m_record->usedBytes);
        ++m_record->blocks;
        m_sizes[made] = bytes;
        block = made;
        return HardwareStatus::Done;
    }
    void Free(void* block) noexcept override {
        Turn const turn(*this, "Free");
        std::scoped_lock const lock(m_record->mutex);
        auto const found = m_sizes.find(block);
        if (found == m_sizes.end())
            std::abort();
        auto const size = found->second;
        m_sizes.erase(found);
        m_record->usedBytes -= size;
        --m_record->blocks;
        std::memset(block, 0xFE, size);
        delete[] static_cast<std::byte*>(block);
    }
    HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                         std::size_t rowBytes, std::size_t rows) override {
        Turn const turn(*this, "Write");
        return CopyRows(At(block, there), there.pitch, host, hostPitch, rowBytes, rows);
    }
    HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
                        std::size_t rows) override {
        Turn const turn(*this, "Read");
        return CopyRows(host, hostPitch, At(block, there), there.pitch, rowBytes, rows);
    }
    HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here, std::size_t rowBytes,
                        std::size_t rows) override {
        Turn const turn(*this, "Copy");
        return CopyRows(At(to, here), here.pitch, At(from, there), there.pitch, rowBytes, rows);
    }

    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) override {
        Count("Compile");
        if (source.find("refused") != std::string::npos) {
            log = "the text has a refused word";
            return HardwareStatus::Failed;
        }
        std::string const text = c_mark + source;
        auto const bytes = std::as_bytes(std::span(text));
        binary.assign(bytes.begin(), bytes.end());
        return HardwareStatus::Done;
    }
    HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override {
        Turn const turn(*this, "LoadKernel");
        std::string const text(reinterpret_cast<char const*>(binary.data()), binary.size());
        if (!text.starts_with(c_mark))
            return HardwareStatus::Failed;
        kernel = new std::string(text.substr(c_mark.size()));
        std::scoped_lock const lock(m_record->mutex);
        ++m_record->kernels;
        return HardwareStatus::Done;
    }
    void FreeKernel(void* kernel) noexcept override {
        Turn const turn(*this, "FreeKernel");
        delete static_cast<std::string*>(kernel);
        std::scoped_lock const lock(m_record->mutex);
        --m_record->kernels;
    }
    HardwareStatus Launch(HardwareLaunch const& launch) override {
        Turn const turn(*this, "Launch");
        if (m_record->run)
            m_record->run(launch, *static_cast<std::string const*>(launch.kernel));
        return HardwareStatus::Done;
    }
    HardwareStatus Finish() override {
        Turn const turn(*this, "Finish");
        return HardwareStatus::Done;
    }

private:
    inline static std::string const c_mark = "memory driver\n";

    void Count(char const* name) {
        std::scoped_lock const lock(m_record->mutex);
        ++m_record->calls[name];
    }
    // Ends the process when another call is under way.
    class Turn {
    public:
        Turn(MemoryDriver& driver, char const* name) : m_driver(driver) {
            if (driver.m_isBusy.exchange(true))
                std::abort();
            driver.Count(name);
        }
        ~Turn() { m_driver.m_isBusy = false; }

    private:
        MemoryDriver& m_driver;
    };
    static std::byte* At(void* block, HardwareRows const& rows) { return static_cast<std::byte*>(block) + rows.offset; }
    static HardwareStatus CopyRows(void* to, std::size_t toPitch, void const* from, std::size_t fromPitch,
                                   std::size_t rowBytes, std::size_t rows) {
        for (std::size_t row = 0; row != rows; ++row)
            std::memcpy(static_cast<std::byte*>(to) + row * toPitch,
                        static_cast<std::byte const*>(from) + row * fromPitch, rowBytes);
        return HardwareStatus::Done;
    }

    std::shared_ptr<Record> m_record;
    HardwareInfo m_info;
    int m_language;
    std::map<void*, std::size_t> m_sizes;
    std::atomic<bool> m_isBusy{false};
};

} // namespace Raster::Tests
