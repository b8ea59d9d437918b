// SPDX-License-Identifier: Apache-2.0
#include "raster/solarise_rule.h"

#include "platform/raster/hardware_driver.h"
#include "raster/pipeline/cpu_dispatch.h"

namespace Commands {

namespace {

template <class Sample>
struct SolariseLoop {
    [[gnu::always_inline]] static inline void Run(Sample const* in, Sample* out, int count) {
        Sample const* __restrict const from = in;
        Sample* __restrict const to = out;
        for (int i = 0; i < count; ++i) {
            Sample const v = from[i];
            if constexpr (std::is_floating_point_v<Sample>) {
                to[i] = v > 0.5f ? 1.0f - v : v;
            } else {
                constexpr Sample c_middle = std::numeric_limits<Sample>::max() / 2 + 1;
                to[i] = static_cast<Sample>(v ^ (v > c_middle ? std::numeric_limits<Sample>::max() : 0));
            }
        }
    }
};

} // namespace

template <class Sample>
void SolariseRow(Sample const* in, Sample* out, int count) {
    RunBest<SolariseLoop<Sample>, VectorTarget::Avx2>(in, out, count);
}

char const* SolariseRule::GetHardwareFragment(int language) {
    static constexpr char c_text[] = R"(
FUNCTION dest_type Process(CONTEXT, dest_type source, int2 location, int block) {
    dest_type const mixer = dest_greater_than_middle(source);
    dest_type const dest = (dest_maximum() - source) * mixer + source * (1.0f - mixer);
    return dest_copy_alpha(source, dest);
}
)";
    bool const isLanguage = language == Raster::c_kernelLanguageCuda || language == Raster::c_kernelLanguageOpenCL;
    return isLanguage ? c_text : nullptr;
}

template void SolariseRow(std::uint8_t const*, std::uint8_t*, int);
template void SolariseRow(std::uint16_t const*, std::uint16_t*, int);
template void SolariseRow(float const*, float*, int);

} // namespace Commands
