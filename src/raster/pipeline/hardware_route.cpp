// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/hardware_route.h"

#include <atomic>

namespace Commands {

namespace {

std::atomic<HardwareRoute*> s_route{nullptr};

} // namespace

HardwareRoute::~HardwareRoute() = default;

void HardwareRoute::Set(HardwareRoute* route) { s_route.store(route); }

HardwareRoute* HardwareRoute::Get() { return s_route.load(); }

} // namespace Commands
