// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/mask.h"
#include "tests/engine/raster/device_samples.h"

namespace Raster::Tests {

TEST(DeviceMask, AMaskThatOnlyADeviceHasIsReadAsItIs) {
    TestDevice device;
    auto const source = MakeNoiseBitmap(FormatA8, 600, 300, 5);
    auto const bitmap = source->Clone(nullptr), plain = source->Clone(nullptr);
    ASSERT_TRUE(TryOnDevice(device.handle, *bitmap, *source, bitmap->GetBounds(), false));
    RunInSoftware(*plain, *source, source->GetBounds(), false);
    Commands::MaskReader<FormatTraits<FormatA8>> reader({bitmap, AffineTransform::Params{}});
    EXPECT_EQ(reader.Look({0, 0, 256, 256}), Commands::MaskCoverage::Mixed);
    EXPECT_EQ(device.GetCalls(DriverCall::Read), 0);
    std::vector<std::uint8_t> space(256 * 256 + 32), wanted(100);
    for (int const left : {0, 200}) {
        auto const* const row = reader.Read(left, 17, 100, 1, space.data());
        plain->ReadPixels({left, 17, left + 100, 18}, wanted.data(), 100);
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), row)) << left;
    }
}

} // namespace Raster::Tests
