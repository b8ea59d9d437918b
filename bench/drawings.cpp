// SPDX-License-Identifier: Apache-2.0
// The cost of a drawing from its SVG file to a PNG picture, as whole programs: `redraft import` and `redraft render`
// beside rsvg-convert, in processor time, and `redraft render` on two processors beside one, and beside rsvg-convert on
// the same two, in elapsed time. The drawings are arguments, `--scale S` before them draws them larger; without any,
// two maps of the package openclipart-svg. Programs run by turns; the best of some runs counts.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

constexpr int c_runs = 5;

struct Cost {
    double processor = 1e9;
    double elapsed = 1e9;

    void Take(Cost const& other) {
        processor = std::min(processor, other.processor);
        elapsed = std::min(elapsed, other.elapsed);
    }
};

// Processor time of the programs that have ended, in milliseconds.
double GetProgramMilliseconds() {
    rusage use{};
    ::getrusage(RUSAGE_CHILDREN, &use);
    auto const milliseconds = [](timeval const& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
    };
    return milliseconds(use.ru_utime) + milliseconds(use.ru_stime);
}

// Ends the benchmark when the program fails.
Cost Run(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (auto& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    double const before = GetProgramMilliseconds();
    auto const start = std::chrono::steady_clock::now();
    posix_spawn_file_actions_t silence;
    ::posix_spawn_file_actions_init(&silence);
    for (int const output : {STDOUT_FILENO, STDERR_FILENO})
        ::posix_spawn_file_actions_addopen(&silence, output, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    int status = 1;
    if (::posix_spawnp(&process, pointers.front(), &silence, nullptr, pointers.data(), environ) == 0)
        ::waitpid(process, &status, 0);
    ::posix_spawn_file_actions_destroy(&silence);
    std::chrono::duration<double, std::milli> const elapsed = std::chrono::steady_clock::now() - start;
    if (status != 0) {
        std::fprintf(stderr, "%s failed or is not installed\n", arguments.front().c_str());
        std::exit(1);
    }
    return {GetProgramMilliseconds() - before, elapsed.count()};
}

// Programs that are started from now on use so many of the first processors.
void LimitProcessors(int count) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (int i = 0; i != count; ++i)
        CPU_SET(i, &processors);
    ::sched_setaffinity(0, sizeof processors, &processors);
}

void Compare(std::string const& drawing, std::string const& scale, std::filesystem::path const& folder) {
    std::string const document = folder / "drawing.redraft", picture = folder / "picture.png",
                      peerPicture = folder / "peer.png";
    Cost import, render, renderOnTwo, peer, peerOnTwo;
    for (int i = 0; i != c_runs; ++i) {
        LimitProcessors(1);
        std::filesystem::remove(document);
        import.Take(Run({REDRAFT_PROGRAM, "import", drawing, "-o", document}));
        std::filesystem::remove(picture);
        render.Take(Run({REDRAFT_PROGRAM, "render", document, "--scale", scale, "-o", picture}));
        peer.Take(Run({"rsvg-convert", "-z", scale, "-o", peerPicture, drawing}));
        LimitProcessors(2);
        std::filesystem::remove(picture);
        renderOnTwo.Take(Run({REDRAFT_PROGRAM, "render", document, "--scale", scale, "-o", picture}));
        peerOnTwo.Take(Run({"rsvg-convert", "-z", scale, "-o", peerPicture, drawing}));
    }
    double const ours = import.processor + render.processor;
    std::printf("%-44.44s %8.1f %8.1f %8.1f %8.2f %8.2f %8.2f %8.2f\n",
                std::filesystem::path(drawing).filename().c_str(), import.processor, render.processor, peer.processor,
                ours / peer.processor, render.processor / peer.processor, render.elapsed / renderOnTwo.elapsed,
                renderOnTwo.elapsed / peerOnTwo.elapsed);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> drawings(argv + 1, argv + argc);
    std::string scale = "1";
    if (drawings.size() > 1 && drawings.front() == "--scale") {
        scale = drawings[1];
        drawings.erase(drawings.begin(), drawings.begin() + 2);
    }
    if (drawings.empty()) {
        std::filesystem::path const clipart = "/usr/share/openclipart/svg";
        for (char const* const name : {"world_map_02.svg", "portugal.svg"}) {
            std::error_code ignored;
            for (auto const& entry : std::filesystem::recursive_directory_iterator(clipart, ignored)) {
                if (entry.path().filename() == name)
                    drawings.push_back(entry.path());
            }
        }
    }
    auto const folder = std::filesystem::temp_directory_path() / ("redraft-drawings-" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    std::printf("%-44s %8s %8s %8s %8s %8s %8s %8s\n", "processor time, ms", "import", "render", "rsvg", "both",
                "render", "2 on 1", "elapsed");
    for (auto const& drawing : drawings)
        Compare(drawing, scale, folder);
    std::filesystem::remove_all(folder);
    return 0;
}
