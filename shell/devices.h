// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "shell/arguments.h"
#include "shell/json_writer.h"

#include <cstdint>
#include <string>

namespace Shell {

class Session;
enum class ExitStatus : int;

// The option of the verbs that run commands.
OptionSpec GetDeviceOption();

// Runs of effects over pixels.
struct KernelCounts {
    // On a device.
    std::uint64_t executed = 0;
    // By the processors, because no device took them.
    std::uint64_t refused = 0;
};

// Gives a document the devices that a call chooses, or the script whose line it is, and counts what they do from then
// on. Throws Failure with ExitStatus::Usage for a choice that does not exist.
class DeviceWork {
public:
    DeviceWork(Session& session, Arguments const& call, DocumentController& document);
    KernelCounts GetKernels() const;
    // Notes where a device was asked for by name and did not do all of the work.
    void Tell(std::string const& commandName) const;

private:
    std::string m_choice;
    Kernel::Counted<Raster::HardwareDevices const> m_devices;
    KernelCounts m_before;
};

// The devices of a choice, looked for when they are first needed; null for "none".
Kernel::Counted<Raster::HardwareDevices const> MakeDevices(std::string const& choice);

void WriteKernels(JsonWriter& json, KernelCounts const& counts);

// Lists what this machine has.
ExitStatus TellDevices(Session& session);

} // namespace Shell
