// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/hardware_stages.h"

#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_transform.h"

#include <algorithm>

namespace Commands {

bool KernelParameters::Append(std::span<float const> values) {
    if (values.size() > m_values.size() - static_cast<std::size_t>(m_length))
        return false;
    std::copy(values.begin(), values.end(), m_values.begin() + m_length);
    m_length += static_cast<int>(values.size());
    return true;
}

HardwareStages::~HardwareStages() = default;
char const* HardwareStages::GetProcess(int language) const { return Raster::GetCopyFragment(language); }
char const* HardwareStages::GetTransform(int language) const {
    return Raster::IdentityTransform::GetHardwareFragment(language);
}
char const* HardwareStages::GetSample(int language) const { return Raster::GetNearestSampleFragment(language); }
char const* HardwareStages::GetExtend(int language) const { return Raster::Safe::GetHardwareFragment(language); }
bool HardwareStages::AppendTransform(KernelParameters&) const { return true; }
bool HardwareStages::AppendProcess(KernelParameters&) const { return true; }

} // namespace Commands
