// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/hardware_route.h"

#include <atomic>

namespace Commands {

namespace {

std::atomic<HardwareRoute*> s_route{nullptr};
std::atomic<std::uint64_t> s_refusedRuns{0};

} // namespace

HardwareRoute::~HardwareRoute() = default;

void HardwareRoute::Set(HardwareRoute* route) { s_route.store(route); }

HardwareRoute* HardwareRoute::Get() { return s_route.load(); }

std::uint64_t HardwareRoute::GetRefusedRuns() { return s_refusedRuns.load(std::memory_order_relaxed); }
void HardwareRoute::CountRefusedRun() { s_refusedRuns.fetch_add(1, std::memory_order_relaxed); }

} // namespace Commands
