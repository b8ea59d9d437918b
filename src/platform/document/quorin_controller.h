// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/resampler_type.h"

#include <atomic>

// Settings of the user that hold for all documents of the process.
class REDRAFT_ENGINE QuorinController {
public:
    static QuorinController& GetInstance();

    // How bitmaps are drawn larger than they are.
    Raster::ResamplerType GetUpViewResamplerType() const { return m_upViewResampler.load(std::memory_order_relaxed); }
    void SetUpViewResamplerType(Raster::ResamplerType type) {
        m_upViewResampler.store(type, std::memory_order_relaxed);
    }

private:
    QuorinController() = default;

    std::atomic<Raster::ResamplerType> m_upViewResampler{Raster::ResamplerType::Bilinear};
};
