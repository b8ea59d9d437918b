// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/raster/hardware_driver.h"

#include <cstdint>
#include <functional>

namespace Raster {

struct HardwareSettings {
    // A folder for compiled kernels, as UTF-8, made when it is first written to; empty: none are kept. Several
    // processes may share it, and it may be deleted at any time.
    std::string kernelFolder = {};
    // The share of a device's memory that pixels may take.
    double memoryShare = 0.5;
    // Waits for kernels that are compiled; otherwise the software engine works meanwhile.
    bool waitsForKernels = false;
};

// The devices that a domain's work may go to. Nothing is looked for or opened before the first of them is asked for.
// Safe from any thread. Pixels that a device holds keep it alive.
class REDRAFT_ENGINE HardwareDevices final : public virtual Kernel::Countable {
public:
    using Finder = std::function<std::vector<std::unique_ptr<HardwareDriver>>()>;
    // `find` is called once at most. What it throws is taken as no devices.
    HardwareDevices(Finder find, HardwareSettings settings);
    ~HardwareDevices() override;

    // The handles that the static operations of Hardware take, in the order of `find`.
    std::vector<void*> GetDevices() const;

    struct Report {
        HardwareInfo info;
        std::uint64_t executedKernels;
        std::uint64_t failedKernels;
        bool isBroken;
    };
    std::vector<Report> GetReports() const;
    // Waits until kernels that are being compiled are done, and have been written to the folder.
    void WaitForKernels() const;

private:
    struct Implementation;
    std::shared_ptr<Implementation> m_implementation;
};

// While it lives, work of the calling thread may go to these devices; null: to none. Sessions nest; each ends on the
// thread where it began, the newest first.
class REDRAFT_ENGINE HardwareDevicesSession {
public:
    explicit HardwareDevicesSession(Kernel::Counted<HardwareDevices const> devices);
    HardwareDevicesSession(HardwareDevicesSession const&) = delete;
    HardwareDevicesSession& operator=(HardwareDevicesSession const&) = delete;
    ~HardwareDevicesSession();

private:
    HardwareDevices const* m_before;
    Kernel::Counted<HardwareDevices const> m_devices;
};

} // namespace Raster
