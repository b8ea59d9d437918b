// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// What the benchmarks of effects share with those of their peers: the clock, the pictures, and the table of the best
// times, from which ratios are made.
namespace Bench {

// Processor time of all threads of the process.
double GetProcessMilliseconds();
// Of the calling thread alone.
double GetThreadMilliseconds();
double GetElapsedMilliseconds();

// The best time that was measured under a name; 0 when there is none.
double& BestTime(std::string const& name);

using Clock = double (*)();

// Times work() once for each iteration and then calls after(), which does not count. The best time is kept under
// `name`; the counter says how often it goes into that of each other name, so that 2 means twice as fast.
struct Timed {
    std::string name;
    std::vector<std::string> others;
    Clock clock = &GetProcessMilliseconds;
};
void Run(benchmark::State& state, Timed const& timed, std::function<void()> const& work,
         std::function<void()> const& after = {});

// Registers a benchmark that times work() some times. It is made, with what it needs, by prepare() when it runs.
void Register(Timed const& timed, int iterations, std::function<std::function<void()>()> const& prepare);

// Smooth colours with noise in their low bits, opaque: the sample of channel c at x, y on the scale of 16 bits, in the
// order of channels, rows and columns.
class PictureSamples {
public:
    unsigned Next(int c, int x, int y);

private:
    std::uint32_t m_state = 1;
};
// The same in 8 bits, RGBA side by side.
std::vector<std::uint8_t> MakePicture(int side);

// Samples a pixel and direction of the two remapping effects, and the side of their picture and of the dithered one.
inline constexpr int c_remapSide = 2048;
inline constexpr int c_solariseSide = 4096;
inline constexpr int c_cloneSide = 8192;

// The palette of 216 colours, RGB side by side.
std::vector<std::uint8_t> MakeWebSafePalette();

// Each registers what its library does of the same work; those that were not found are not there.
void RegisterOpenCv();
void RegisterImageMagick();
void RegisterVips();
void RegisterGegl();

} // namespace Bench
