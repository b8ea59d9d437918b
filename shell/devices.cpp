// SPDX-License-Identifier: Apache-2.0
#include "shell/devices.h"

#include "platform/raster/hardware.h"
#include "platform/raster/hardware_devices.h"
#include "shell/failure.h"
#include "shell/session.h"
#include "shell/user_folder.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

namespace Shell {

namespace {

using Raster::HardwareDevices;
using Drivers = std::vector<std::unique_ptr<Raster::HardwareDriver>>;
using Counters = Raster::Hardware<Raster::DefaultImplementation>;

constexpr OptionSpec c_option{"--device", "D",
                              "effects on pixels: none, opencl or cuda (a graphics device if there is one)"};
constexpr std::string_view c_usual = "auto";

std::string GetKernelFolder() {
    auto const cache = FindUserFolder("XDG_CACHE_HOME", "/.cache");
    return cache.empty() ? cache : cache + "/redraft/kernels";
}

// The system's nodes for graphics devices. Opening OpenCL takes 25 ms where there is only an implementation on
// processors, which is longer than many effects.
bool MayHaveGraphicsDevice() {
    constexpr char const* c_nodes[] = {"/dev/nvidiactl", "/dev/dri", "/dev/kfd", "/dev/dxg"};
    return std::any_of(std::begin(c_nodes), std::end(c_nodes),
                       [](char const* node) { return ::access(node, F_OK) == 0; });
}

// Processors that speak OpenCL are left out: the program uses them better by itself.
Drivers FindGraphicsDevices() {
    if (!MayHaveGraphicsDevice())
        return {};
    auto drivers = Raster::FindCudaDrivers();
    if (drivers.empty())
        drivers = Raster::FindOpenCLDrivers(false);
    return drivers;
}

Drivers FindAll() {
    auto drivers = Raster::FindCudaDrivers();
    auto others = Raster::FindOpenCLDrivers(true);
    drivers.insert(drivers.end(), std::move_iterator(others.begin()), std::move_iterator(others.end()));
    return drivers;
}

KernelCounts CountKernels() { return {Counters::GetExecutedKernels(), Counters::GetFailedKernels()}; }

std::string FormatMiB(std::size_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

} // namespace

OptionSpec GetDeviceOption() { return c_option; }

Kernel::Counted<HardwareDevices const> MakeDevices(std::string const& choice) {
    Raster::HardwareSettings settings;
    settings.kernelFolder = GetKernelFolder();
    // Who names a device wants its work rather than an early answer.
    settings.waitsForKernels = choice != c_usual;
    if (choice == "none")
        return {};
    if (choice == "opencl")
        return Kernel::MakeCounted<HardwareDevices>([] { return Raster::FindOpenCLDrivers(true); }, settings);
    if (choice == "cuda")
        return Kernel::MakeCounted<HardwareDevices>(&Raster::FindCudaDrivers, settings);
    if (choice == c_usual)
        return Kernel::MakeCounted<HardwareDevices>(&FindGraphicsDevices, settings);
    throw Failure(ExitStatus::Usage, std::string(c_option.name), "is none of none, opencl and cuda: " + Quote(choice));
}

DeviceWork::DeviceWork(Session& session, Arguments const& call, DocumentController& document)
    : m_choice(c_usual), m_before(CountKernels()) {
    auto const* const script = session.GetScript();
    if (auto const own = call.Find(c_option.name))
        m_choice = *own;
    else if (script != nullptr && script->Has(c_option.name))
        m_choice = script->Get(c_option.name);
    m_devices = session.GetDevices(m_choice);
    document.SetHardware(m_devices);
}

KernelCounts DeviceWork::GetKernels() const {
    auto const now = CountKernels();
    return {now.executed - m_before.executed, now.refused - m_before.refused};
}

void DeviceWork::Tell(std::string const& commandName) const {
    auto const [executed, refused] = GetKernels();
    if (m_choice == c_usual || m_choice == "none" || refused == 0)
        return;
    auto const reports = m_devices->GetReports();
    if (reports.empty())
        return Session::Note(commandName, "no device for --device " + m_choice + " was found: the processors did it");
    if (std::all_of(reports.begin(), reports.end(), [](auto const& report) { return report.isBroken; }))
        return Session::Note(commandName, reports.front().info.name + " has failed: the processors did it");
    if (executed == 0)
        Session::Note(commandName, "is nothing for " + reports.front().info.name + ": the processors did it");
}

void WriteKernels(JsonWriter& json, KernelCounts const& counts) {
    json.Key("kernels");
    json.BeginObject();
    json.Member("executed", counts.executed);
    json.Member("refused", counts.refused);
    json.EndObject();
}

ExitStatus TellDevices(Session& session) {
    auto const devices = Kernel::MakeCounted<HardwareDevices>(&FindAll, Raster::HardwareSettings());
    auto const reports = devices->GetReports();
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginArray();
        for (auto const& report : reports) {
            json.BeginObject();
            json.Member("name", report.info.name);
            json.Member("interface", report.info.interfaceName);
            json.Member("version", report.info.version);
            json.Member("memory", report.info.memoryBytes);
            json.Member("computeUnits", report.info.computeUnits);
            json.Member("isProcessor", report.info.isProcessor);
            json.EndObject();
        }
        json.EndArray();
        return ExitStatus::Done;
    }
    for (auto const& [info, executed, failed, isBroken] : reports)
        session.Print(info.interfaceName + ": " + info.name + ", " + FormatMiB(info.memoryBytes) + ", " +
                      Count(static_cast<std::size_t>(info.computeUnits), "unit", "units") + ", " + info.version +
                      (info.isProcessor ? " (this machine's processors)" : "") + "\n");
    if (reports.empty())
        session.Print("no devices: the processors work on pixels\n");
    return ExitStatus::Done;
}

} // namespace Shell
