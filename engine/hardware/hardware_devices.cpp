// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware_devices.h"

#include "engine/hardware/device.h"
#include "engine/hardware/device_kernels.h"

#include <utility>

namespace Raster {

struct HardwareDevices::Implementation {
    Implementation(Finder itsFind, HardwareSettings itsSettings)
        : find(std::move(itsFind)), settings(std::move(itsSettings)) {}

    // Those that were found, if anybody has looked for them.
    std::vector<std::shared_ptr<Device>> GetFoundDevices() {
        std::scoped_lock const lock(mutex);
        return devices;
    }
    std::vector<std::shared_ptr<Device>> const& GetDevices() {
        std::scoped_lock const lock(mutex);
        if (find) {
            // Emptied before it is called, so that it never is again.
            auto const finder = std::exchange(find, nullptr);
            try {
                for (auto& driver : finder()) {
                    if (driver != nullptr)
                        devices.push_back(std::make_shared<Device>(std::move(driver), settings));
                }
            } catch (...) {
                // Those that were found before it are as good as any.
            }
        }
        return devices;
    }

    std::mutex mutex;
    Finder find;
    HardwareSettings settings;
    // Does not change once it was asked for.
    std::vector<std::shared_ptr<Device>> devices;
};

HardwareDevices::HardwareDevices(Finder find, HardwareSettings settings)
    : m_implementation(new Implementation(std::move(find), std::move(settings))) {}
HardwareDevices::~HardwareDevices() = default;

std::vector<void*> HardwareDevices::GetDevices() const {
    std::vector<void*> handles;
    for (auto const& device : m_implementation->GetDevices())
        handles.push_back(device->GetHandle());
    return handles;
}

std::vector<HardwareDevices::Report> HardwareDevices::GetReports() const {
    std::vector<Report> reports;
    for (auto const& device : m_implementation->GetDevices())
        reports.push_back({device->GetInfo(), device->GetExecuted(), device->GetFailed(), device->IsLost()});
    return reports;
}

void HardwareDevices::WaitForKernels() const {
    for (auto const& device : m_implementation->GetFoundDevices())
        device->GetKernels().Wait();
}

} // namespace Raster
