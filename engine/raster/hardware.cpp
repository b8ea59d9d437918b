// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"

#include "platform/raster/dynamic_buffer.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace Raster {

namespace {

struct ThreadSessions {
    bool isEnabled = true;
    HardwareMultiGPUState* state = nullptr;
    bool isBroken = false;
};

thread_local ThreadSessions s_sessions;

struct Devices {
    std::mutex mutex;
    std::vector<void*> all, broken;
    bool Works(void* device) const { return std::find(broken.begin(), broken.end(), device) == broken.end(); }
};

Devices& GetProcessDevices() {
    static Devices s_devices;
    return s_devices;
}

} // namespace

HardwareGPUEnabledSession::HardwareGPUEnabledSession(bool isEnabled)
    : m_before(std::exchange(s_sessions.isEnabled, isEnabled)) {}
HardwareGPUEnabledSession::~HardwareGPUEnabledSession() { s_sessions.isEnabled = m_before; }
bool HardwareGPUEnabledSession::IsEnabled() { return s_sessions.isEnabled; }

HardwareMultiGPUState::HardwareMultiGPUState(Kernel::String name)
    : m_name(std::move(name)), m_devices(Hardware<DefaultImplementation>::GetDevices()) {}

void* HardwareMultiGPUState::TakeNextDevice() {
    auto& devices = GetProcessDevices();
    std::lock_guard const lock(devices.mutex);
    for (std::size_t i = 0; i != m_devices.size(); ++i) {
        void* const device = m_devices[m_next++ % m_devices.size()];
        if (devices.Works(device))
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

void Hardware<DefaultImplementation>::SetDevices(std::vector<void*> all) {
    auto& devices = GetProcessDevices();
    std::lock_guard const lock(devices.mutex);
    devices.all = std::move(all);
    devices.broken.clear();
}

std::vector<void*> Hardware<DefaultImplementation>::GetDevices() {
    auto& devices = GetProcessDevices();
    std::lock_guard const lock(devices.mutex);
    return devices.all;
}

void* Hardware<DefaultImplementation>::GetDevice() {
    if (!s_sessions.isEnabled)
        return nullptr;
    if (s_sessions.state != nullptr)
        return s_sessions.state->TakeNextDevice();
    auto& devices = GetProcessDevices();
    std::lock_guard const lock(devices.mutex);
    auto const found =
        std::find_if(devices.all.begin(), devices.all.end(), [&](void* device) { return devices.Works(device); });
    return found == devices.all.end() ? nullptr : *found;
}

void Hardware<DefaultImplementation>::MarkBroken(void* device) {
    s_sessions.isBroken = s_sessions.state != nullptr;
    auto& devices = GetProcessDevices();
    std::lock_guard const lock(devices.mutex);
    if (devices.Works(device))
        devices.broken.push_back(device);
}

bool Hardware<DefaultImplementation>::GetHardwareBroken() { return s_sessions.isBroken; }

HardwareCopy::~HardwareCopy() = default;

void DynamicBuffer::InvalidateHostCache(Kernel::RectT<int> const& rect) {
    if (m_hardwareCopy)
        m_newerThere = m_newerThere.United(rect.Intersected(GetBounds()));
}

void DynamicBuffer::InvalidateHardwareCache(Kernel::RectT<int> const& rect) {
    if (m_hardwareCopy)
        m_hardwareCopy->Invalidate(rect.Intersected(GetBounds()));
}

bool DynamicBuffer::SyncHostCache(Kernel::RectT<int> const& rect, bool, bool const* abort) {
    auto const wanted = rect.Intersected(m_newerThere);
    if (!m_hardwareCopy || wanted.IsEmpty())
        return true;
    // All of it, so that what is left stays one rectangle.
    if (!m_hardwareCopy->CopyToHost(*m_buffer, m_newerThere, abort))
        return false;
    m_newerThere = {};
    return true;
}

} // namespace Raster
