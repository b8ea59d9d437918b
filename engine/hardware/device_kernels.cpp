// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/device_kernels.h"

#include "engine/hardware/device.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/trace.h"

#include <chrono>
#include <system_error>
#include <utility>

namespace Raster {

namespace {

// How often a waiting thread looks at its abort flag.
constexpr auto c_abortPolls = std::chrono::milliseconds(1);
// A kernel that finds too little memory so often is as good as refused.
constexpr int c_mostShortages = 3;

} // namespace

std::size_t DeviceKernels::Hash::operator()(HardwareKernelDescriptor const& one) const noexcept {
    std::uint64_t hash = static_cast<std::uint64_t>(one.flag);
    for (char const* const text : {one.sourceTraits, one.destinationTraits, one.maskTraits, one.conversion,
                                   one.perPixelDriver, one.sourceAccess, one.destinationAccess, one.readMask,
                                   one.process, one.transform, one.sample, one.blend, one.extend, one.filter}) {
        hash = (hash ^ reinterpret_cast<std::uintptr_t>(text)) * 0x9E3779B97F4A7C15u;
        hash ^= hash >> 32;
    }
    return hash;
}

DeviceKernels::DeviceKernels(Device& device, HardwareDriver& driver, Compose compose)
    : m_device(device), m_driver(driver), m_compose(std::move(compose)), m_folder(device.GetSettings().kernelFolder) {}

DeviceKernels::~DeviceKernels() {
    {
        std::scoped_lock const lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    for (auto const& [descriptor, entry] : m_entries) {
        if (entry.kernel != nullptr)
            m_driver.FreeKernel(entry.kernel);
    }
}

bool DeviceKernels::IsBroken(HardwareKernelDescriptor const& descriptor) const {
    std::scoped_lock const lock(m_mutex);
    auto const found = m_entries.find(descriptor);
    return found != m_entries.end() && found->second.state == State::Broken;
}

void* DeviceKernels::Find(HardwareKernelDescriptor const& descriptor) const {
    std::scoped_lock const lock(m_mutex);
    auto const found = m_entries.find(descriptor);
    return found == m_entries.end() ? nullptr : found->second.kernel;
}

bool DeviceKernels::IsPending(HardwareKernelDescriptor const& descriptor, bool wait, bool const* abort) {
    std::unique_lock lock(m_mutex);
    auto& entry = m_entries[descriptor];
    if (entry.state == State::Unasked && !m_device.IsLost()) {
        try {
            if (!m_thread.joinable())
                m_thread = std::thread([this] { Run(); });
        } catch (std::system_error const&) {
            // The system has no thread to spare now.
            return true;
        }
        m_queue.push_back(descriptor);
        entry.state = State::Pending;
        m_wake.notify_one();
    }
    while (wait && entry.state == State::Pending && !m_device.IsLost() && !Kernel::IsAbortSet(abort))
        m_changed.wait_for(lock, c_abortPolls);
    return entry.state != State::Ready;
}

void DeviceKernels::Wait() const {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_isBusy && m_queue.empty(); });
}

void DeviceKernels::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_isEnding || !m_queue.empty(); });
        if (m_isEnding)
            return;
        auto const descriptor = m_queue.front();
        m_queue.pop_front();
        m_isBusy = true;
        lock.unlock();
        try {
            Make(descriptor);
        } catch (std::bad_alloc const&) {
            Finish(descriptor, HardwareStatus::OutOfMemory, nullptr);
        } catch (std::exception const& exception) {
            Kernel::Trace::Write(std::string("A kernel cannot be made: ") + exception.what() + "\n");
            Finish(descriptor, HardwareStatus::Failed, nullptr);
        }
        lock.lock();
        m_isBusy = false;
        m_changed.notify_all();
    }
}

HardwareStatus DeviceKernels::Load(std::span<std::byte const> binary, void*& kernel) {
    return m_device.CallDriverWithMemory(binary.size(),
                                         [&](HardwareDriver& driver) { return driver.LoadKernel(binary, kernel); });
}

void DeviceKernels::Make(HardwareKernelDescriptor const& descriptor) {
    int const language = m_driver.GetKernelLanguage();
    auto const source = m_compose(language, descriptor);
    auto const& info = m_driver.GetInfo();
    auto const languageName = std::to_string(language);
    std::string_view const identity[]{info.interfaceName, info.name, info.version, languageName, source};
    auto const name = KernelFolder::MakeName(identity);
    void* kernel = nullptr;
    if (auto const kept = m_folder.Read(name); !kept.empty()) {
        auto const status = Load(kept, kernel);
        if (status != HardwareStatus::Failed)
            return Finish(descriptor, status, kernel);
    }
    if (source.empty() || m_device.IsLost())
        return Finish(descriptor, HardwareStatus::Failed, nullptr);
    std::vector<std::byte> binary;
    std::string log;
    auto status = m_driver.Compile(source, binary, log);
    if (status == HardwareStatus::Lost)
        m_device.MarkLost();
    if (status == HardwareStatus::Done)
        status = Load(binary, kernel);
    if (status == HardwareStatus::Failed)
        Kernel::Trace::Write("A kernel was refused by " + info.name + ": " + log + "\n");
    Finish(descriptor, status, kernel);
    if (status == HardwareStatus::Done)
        m_folder.Write(name, binary);
}

void DeviceKernels::Finish(HardwareKernelDescriptor const& descriptor, HardwareStatus status, void* kernel) {
    std::scoped_lock const lock(m_mutex);
    auto& entry = m_entries[descriptor];
    // The kernel may be ready already, when writing it to the folder has failed for lack of memory.
    if (entry.state != State::Pending)
        return;
    switch (status) {
    case HardwareStatus::Done:
        entry.kernel = kernel;
        entry.state = State::Ready;
        break;
    case HardwareStatus::Failed:
        entry.state = State::Broken;
        break;
    case HardwareStatus::OutOfMemory:
        entry.state = ++entry.shortages == c_mostShortages ? State::Broken : State::Unasked;
        break;
    case HardwareStatus::Lost:
        entry.state = State::Unasked;
        break;
    }
    m_changed.notify_all();
}

} // namespace Raster
