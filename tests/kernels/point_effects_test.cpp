// SPDX-License-Identifier: Apache-2.0
#include "raster/solarise_rule.h"
#include "tests/kernels/kernel_runs.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Raster;

TEST(PointEffectKernels, SolariseByTheRuleForEverySample) {
    auto const source = BufferBase::Create(256, 3, FormatRGBA8);
    auto const destination = BufferBase::Create(256, 3, FormatRGBA8);
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 3; ++y) {
            auto* const row = static_cast<std::uint8_t*>(source->GetRow(c, y));
            for (int x = 0; x != 256; ++x)
                row[x] = static_cast<std::uint8_t>(x + 40 * c + 7 * y);
        }
    }
    auto kernel = MakeCopyKernel(c_kernelLanguageCuda, FormatRGBA8, FormatRGBA8);
    kernel.process = Commands::SolariseRule::GetHardwareFragment(c_kernelLanguageCuda);
    ASSERT_TRUE(RunKernel(GetDriver(c_kernelLanguageCuda), kernel, *source, *destination, nullptr, {}));
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 3; ++y) {
            auto const* const in = static_cast<std::uint8_t const*>(source->GetRow(c, y));
            auto const* const out = static_cast<std::uint8_t const*>(destination->GetRow(c, y));
            for (int x = 0; x != 256; ++x)
                ASSERT_EQ(out[x], c == 3 ? in[x] : Commands::SolariseSample(in[x])) << c << ' ' << x << ' ' << y;
        }
    }
}

} // namespace
} // namespace Tests
