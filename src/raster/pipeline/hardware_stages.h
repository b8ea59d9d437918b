// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/hardware_kernel.h"

#include <array>
#include <initializer_list>
#include <span>

namespace Commands {

// The parameter block of a kernel while it is being filled.
class REDRAFT_API KernelParameters {
public:
    // False, and nothing is added, when the block would become longer than kernels take.
    bool Append(std::span<float const> values);
    bool Append(std::initializer_list<float> values) { return Append(std::span(values.begin(), values.size())); }
    int GetLength() const { return m_length; }
    float const* GetData() const { return m_values.data(); }
    void Set(int index, float value) { m_values[static_cast<std::size_t>(index)] = value; }

private:
    std::array<float, Raster::c_maximumKernelParameters> m_values{};
    int m_length = 0;
};

// The share that an effect has in a kernel: fragments in the device's language, null for one that does not exist, and
// its blocks of parameters. As they stand here: the source's own pixel as it is, laid over the one that was there.
class REDRAFT_API HardwareStages {
public:
    virtual ~HardwareStages();
    virtual char const* GetProcess(int language) const;
    virtual char const* GetTransform(int language) const;
    virtual char const* GetSample(int language) const;
    virtual char const* GetExtend(int language) const;
    // False when they do not fit.
    virtual bool AppendTransform(KernelParameters& parameters) const;
    virtual bool AppendProcess(KernelParameters& parameters) const;
    // False for an effect that only replaces pixels, without a mask or a choice of channels.
    virtual bool Blends() const { return true; }
    // False for an effect that no device can do. It is offered all the same, and counts as refused.
    virtual bool HasKernel() const { return true; }
};

} // namespace Commands
