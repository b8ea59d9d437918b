// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_driver.h"

#include <array>
#include <memory>
#include <mutex>
#include <utility>

namespace Raster::Tests {

// The calls of a driver that can fail.
enum class DriverCall { Allocate, Write, Read, Copy, Compile, LoadKernel, Launch, Finish, Any };

// Which call of a driver fails, and how. Shared with the test, since a driver belongs to its device. Safe from any
// thread; may be changed between calls.
class Failures {
public:
    // The call of that kind with this number, counted from now and 1 on, fails; `forever`: all later ones of that kind,
    // too. After a status of Lost every call fails.
    void Set(DriverCall kind, int number, HardwareStatus status, bool forever = false) {
        std::scoped_lock const lock(m_mutex);
        m_kind = kind;
        m_number = m_counts[Index(kind)] + number;
        m_status = status;
        m_forever = forever;
    }
    void Clear() {
        std::scoped_lock const lock(m_mutex);
        m_number = 0;
        m_isLost = false;
    }
    int GetCount(DriverCall kind) const {
        std::scoped_lock const lock(m_mutex);
        return m_counts[Index(kind)];
    }
    // How many calls have failed by this.
    int GetFailed() const {
        std::scoped_lock const lock(m_mutex);
        return m_failed;
    }

    // Done when the call is to be made.
    HardwareStatus Count(DriverCall kind) {
        std::scoped_lock const lock(m_mutex);
        ++m_counts[Index(kind)];
        int const any = ++m_counts[Index(DriverCall::Any)];
        int const count = m_kind == DriverCall::Any ? any : m_counts[Index(kind)];
        bool const isMeant = m_kind == DriverCall::Any || m_kind == kind;
        bool const isTurn = m_number != 0 && isMeant && (m_forever ? count >= m_number : count == m_number);
        if (!m_isLost && !isTurn)
            return HardwareStatus::Done;
        ++m_failed;
        if (isTurn && m_status == HardwareStatus::Lost)
            m_isLost = true;
        return m_isLost ? HardwareStatus::Lost : m_status;
    }

private:
    static std::size_t Index(DriverCall kind) { return static_cast<std::size_t>(kind); }

    mutable std::mutex m_mutex;
    std::array<int, static_cast<std::size_t>(DriverCall::Any) + 1> m_counts{};
    DriverCall m_kind = DriverCall::Any;
    int m_number = 0;
    HardwareStatus m_status = HardwareStatus::Failed;
    bool m_forever = false;
    bool m_isLost = false;
    int m_failed = 0;
};

// Another driver, whose calls fail when Failures says so. A call that fails is not made; a kernel's run or a copy that
// fails has spoilt what it would have written, and Finish has waited for the work all the same.
class FailingDriver final : public HardwareDriver {
public:
    FailingDriver(std::unique_ptr<HardwareDriver> driver, std::shared_ptr<Failures> failures)
        : m_driver(std::move(driver)), m_failures(std::move(failures)) {}

    HardwareInfo const& GetInfo() const override { return m_driver->GetInfo(); }
    int GetKernelLanguage() const override { return m_driver->GetKernelLanguage(); }
    HardwareStatus Allocate(std::size_t bytes, void*& block) override {
        return Call(DriverCall::Allocate, [&] { return m_driver->Allocate(bytes, block); });
    }
    void Free(void* block) noexcept override { m_driver->Free(block); }
    HardwareStatus Write(void* block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                         std::size_t rowBytes, std::size_t rows) override {
        auto const status =
            Call(DriverCall::Write, [&] { return m_driver->Write(block, there, host, hostPitch, rowBytes, rows); });
        if (status != HardwareStatus::Done)
            Spoil(block, there, rowBytes, rows);
        return status;
    }
    HardwareStatus Read(void* block, HardwareRows const& there, void* host, std::size_t hostPitch, std::size_t rowBytes,
                        std::size_t rows) override {
        auto const status =
            Call(DriverCall::Read, [&] { return m_driver->Read(block, there, host, hostPitch, rowBytes, rows); });
        for (std::size_t row = 0; status != HardwareStatus::Done && row != rows; ++row) {
            auto* const bytes = static_cast<unsigned char*>(host) + row * hostPitch;
            for (std::size_t i = 0; i < rowBytes; i += 3)
                bytes[i] = 0x5A;
        }
        return status;
    }
    HardwareStatus Copy(void* from, HardwareRows const& there, void* to, HardwareRows const& here, std::size_t rowBytes,
                        std::size_t rows) override {
        auto const status =
            Call(DriverCall::Copy, [&] { return m_driver->Copy(from, there, to, here, rowBytes, rows); });
        if (status != HardwareStatus::Done)
            Spoil(to, here, rowBytes, rows);
        return status;
    }
    HardwareStatus Compile(std::string const& source, std::vector<std::byte>& binary, std::string& log) override {
        return Call(DriverCall::Compile, [&] { return m_driver->Compile(source, binary, log); });
    }
    HardwareStatus LoadKernel(std::span<std::byte const> binary, void*& kernel) override {
        return Call(DriverCall::LoadKernel, [&] { return m_driver->LoadKernel(binary, kernel); });
    }
    void FreeKernel(void* kernel) noexcept override { m_driver->FreeKernel(kernel); }
    HardwareStatus Launch(HardwareLaunch const& launch) override {
        return Call(DriverCall::Launch, [&] { return m_driver->Launch(launch); });
    }
    HardwareStatus Finish() override {
        auto const status = m_driver->Finish();
        return Call(DriverCall::Finish, [&] { return status; });
    }

private:
    template <class Make>
    HardwareStatus Call(DriverCall kind, Make const& make) {
        auto const status = m_failures->Count(kind);
        return status == HardwareStatus::Done ? make() : status;
    }
    void Spoil(void* block, HardwareRows const& there, std::size_t rowBytes, std::size_t rows) {
        std::vector<std::byte> const bytes(rowBytes * rows, std::byte{0x5A});
        m_driver->Write(block, there, bytes.data(), rowBytes, rowBytes, rows);
    }

    std::unique_ptr<HardwareDriver> m_driver;
    std::shared_ptr<Failures> m_failures;
};

} // namespace Raster::Tests
