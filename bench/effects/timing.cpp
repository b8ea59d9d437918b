// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/timing.h"

#include <chrono>
#include <ctime>
#include <map>

namespace Bench {

namespace {

double ReadClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

} // namespace

double GetProcessMilliseconds() { return ReadClock(CLOCK_PROCESS_CPUTIME_ID); }

double GetThreadMilliseconds() { return ReadClock(CLOCK_THREAD_CPUTIME_ID); }

double GetElapsedMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double& BestTime(std::string const& name) {
    static std::map<std::string, double> s_times;
    return s_times[name];
}

void Run(benchmark::State& state, Timed const& timed, std::function<void()> const& work,
         std::function<void()> const& after) {
    double best = 0;
    for (auto _ : state) {
        double const start = timed.clock();
        work();
        double const time = timed.clock() - start;
        state.SetIterationTime(time / 1e3);
        best = best == 0 ? time : std::min(best, time);
        if (after)
            after();
    }
    BestTime(timed.name) = best;
    state.counters["best ms"] = best;
    for (auto const& other : timed.others) {
        if (double const time = BestTime(other); time != 0)
            state.counters["x " + other] = time / best;
    }
}

void Register(Timed const& timed, int iterations, std::function<std::function<void()>()> const& prepare) {
    benchmark::RegisterBenchmark(timed.name.c_str(),
                                 [=](benchmark::State& state) {
                                     auto const work = prepare();
                                     Run(state, timed, work);
                                 })
        ->Iterations(iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

unsigned PictureSamples::Next(int c, int x, int y) {
    // Numerical Recipes' generator for quick noise.
    m_state = m_state * 1664525u + 1013904223u;
    return static_cast<unsigned>((x * (3 - c) / 8 + y * (c + 1) / 6 + c * 50) * 256 + static_cast<int>(m_state >> 21)) &
           0xFFFFu;
}

std::vector<std::uint8_t> MakePicture(int side) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * 4, 255);
    PictureSamples samples;
    for (int c = 0; c != 3; ++c) {
        auto* out = pixels.data() + c;
        for (int y = 0; y != side; ++y) {
            for (int x = 0; x != side; ++x, out += 4)
                *out = static_cast<std::uint8_t>(samples.Next(c, x, y) >> 8);
        }
    }
    return pixels;
}

std::vector<std::uint8_t> MakeWebSafePalette() {
    std::vector<std::uint8_t> colours;
    for (int i = 0; i != 216; ++i) {
        for (int const step : {i / 36, i / 6 % 6, i % 6})
            colours.push_back(static_cast<std::uint8_t>(step * 51));
    }
    return colours;
}

} // namespace Bench
