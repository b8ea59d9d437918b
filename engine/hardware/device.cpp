// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/device.h"

#include <atomic>
#include <mutex>

namespace Raster {

struct Device::Implementation {
    Implementation(std::unique_ptr<HardwareDriver> itsDriver, HardwareSettings itsSettings)
        : driver(std::move(itsDriver)), settings(std::move(itsSettings)) {}
    std::unique_ptr<HardwareDriver> driver;
    HardwareSettings settings;
    std::mutex mutex;
    std::atomic<bool> isLost{false};
    std::atomic<std::uint64_t> failed{0}, executed{0};
};

HardwareDriver::~HardwareDriver() = default;

Device::Device(std::unique_ptr<HardwareDriver> driver, HardwareSettings settings)
    : m_implementation(new Implementation(std::move(driver), std::move(settings))) {}
Device::~Device() = default;

HardwareInfo const& Device::GetInfo() const { return m_implementation->driver->GetInfo(); }
int Device::GetKernelLanguage() const { return m_implementation->driver->GetKernelLanguage(); }
bool Device::IsLost() const { return m_implementation->isLost.load(); }
void Device::MarkLost() { m_implementation->isLost.store(true); }
void* Device::GetIdentityBuffer() { return nullptr; }
void Device::CountFailed() { ++m_implementation->failed; }
void Device::CountExecuted() { ++m_implementation->executed; }

struct HardwareDevices::Implementation {
    Implementation(Finder itsFind, HardwareSettings itsSettings)
        : find(std::move(itsFind)), settings(std::move(itsSettings)) {}
    Finder find;
    HardwareSettings settings;
    std::once_flag once;
    std::vector<std::shared_ptr<Device>> devices;
};

HardwareDevices::HardwareDevices(Finder find, HardwareSettings settings)
    : m_implementation(new Implementation(std::move(find), std::move(settings))) {}
HardwareDevices::~HardwareDevices() = default;

std::vector<void*> HardwareDevices::GetDevices() const {
    auto& self = *m_implementation;
    std::call_once(self.once, [&self] {
        for (auto& driver : self.find())
            self.devices.push_back(std::make_shared<Device>(std::move(driver), self.settings));
    });
    std::vector<void*> handles;
    for (auto const& device : self.devices)
        handles.push_back(device->GetHandle());
    return handles;
}

} // namespace Raster
