// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/device.h"
#include "platform/raster/hardware.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace Raster {

namespace {

struct ThreadSessions {
    bool isEnabled = true;
    HardwareDevices const* devices = nullptr;
    HardwareMultiGPUState* state = nullptr;
    bool isBroken = false;
};

thread_local ThreadSessions s_sessions;

std::atomic<std::uint64_t> s_failedKernels{0};
std::atomic<std::uint64_t> s_executedKernels{0};

} // namespace

HardwareGPUEnabledSession::HardwareGPUEnabledSession(bool isEnabled)
    : m_before(std::exchange(s_sessions.isEnabled, isEnabled)) {}
HardwareGPUEnabledSession::~HardwareGPUEnabledSession() { s_sessions.isEnabled = m_before; }
bool HardwareGPUEnabledSession::IsEnabled() { return s_sessions.isEnabled; }

HardwareDevicesSession::HardwareDevicesSession(Kernel::Counted<HardwareDevices const> devices)
    : m_before(std::exchange(s_sessions.devices, devices.get())), m_devices(std::move(devices)) {}
HardwareDevicesSession::~HardwareDevicesSession() { s_sessions.devices = m_before; }

HardwareMultiGPUState::HardwareMultiGPUState(Kernel::String name)
    : m_name(std::move(name)), m_devices(Hardware<DefaultImplementation>::GetDevices()) {}

void* HardwareMultiGPUState::TakeNextDevice() {
    for (std::size_t i = 0; i != m_devices.size(); ++i) {
        void* const device = m_devices[m_next++ % m_devices.size()];
        if (!Device::FromHandle(device).IsLost())
            return device;
    }
    return nullptr;
}

HardwareMultiGPUSession::HardwareMultiGPUSession(HardwareMultiGPUState& state)
    : m_before(std::exchange(s_sessions.state, &state)), m_wasBroken(std::exchange(s_sessions.isBroken, false)) {}

// An outer session holds what was made in the inner one.
HardwareMultiGPUSession::~HardwareMultiGPUSession() {
    s_sessions.state = m_before;
    s_sessions.isBroken = m_before != nullptr && (m_wasBroken || s_sessions.isBroken);
}

HardwareMultiGPUState* HardwareMultiGPUSession::GetState() { return s_sessions.state; }

std::vector<void*> Hardware<DefaultImplementation>::GetDevices() {
    return s_sessions.devices == nullptr ? std::vector<void*>() : s_sessions.devices->GetDevices();
}

void* Hardware<DefaultImplementation>::GetDevice() {
    if (!s_sessions.isEnabled)
        return nullptr;
    if (s_sessions.state != nullptr)
        return s_sessions.state->TakeNextDevice();
    auto const devices = GetDevices();
    auto const found =
        std::find_if(devices.begin(), devices.end(), [](void* device) { return !Device::FromHandle(device).IsLost(); });
    return found == devices.end() ? nullptr : *found;
}

void* Hardware<DefaultImplementation>::GetHardwareWriteQueue(void* device) { return device; }

void* Hardware<DefaultImplementation>::GetIdentityBuffer(void* device) {
    return Device::FromHandle(device).GetIdentityBuffer();
}

void Hardware<DefaultImplementation>::MarkBroken(void* device) {
    s_sessions.isBroken = s_sessions.state != nullptr;
    Device::FromHandle(device).MarkLost();
}

bool Hardware<DefaultImplementation>::GetHardwareBroken() { return s_sessions.isBroken; }

void Hardware<DefaultImplementation>::IncrementFailedKernels(void* device) {
    s_failedKernels.fetch_add(1, std::memory_order_relaxed);
    if (device != nullptr)
        Device::FromHandle(device).CountFailed();
}

void Hardware<DefaultImplementation>::IncrementExecutedKernels(void* device) {
    s_executedKernels.fetch_add(1, std::memory_order_relaxed);
    if (device != nullptr)
        Device::FromHandle(device).CountExecuted();
}

std::uint64_t Hardware<DefaultImplementation>::GetFailedKernels() {
    return s_failedKernels.load(std::memory_order_relaxed);
}
std::uint64_t Hardware<DefaultImplementation>::GetExecutedKernels() {
    return s_executedKernels.load(std::memory_order_relaxed);
}

int GetKernelLanguage(void* device) { return device == nullptr ? -1 : Device::FromHandle(device).GetKernelLanguage(); }

HardwareRecipe::~HardwareRecipe() = default;

} // namespace Raster
