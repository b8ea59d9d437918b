// SPDX-License-Identifier: Apache-2.0
#include "engine/script_host/confine.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// The program is never built with the thread sanitizer, which has calls of its own to make.
#ifndef __SANITIZE_THREAD__

namespace {

// The answer of a call in a process that has been confined; 99: the process was ended.
int CallConfined(std::function<bool()> const& succeeds) {
    auto const child = fork();
    if (child == 0) {
        // Nobody's socket is needed here.
        Confine(0);
        errno = 0;
        _exit(succeeds() ? 0 : errno);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

TEST(Confine, RefusesFilesNetworkProcessesAndSignals) {
    auto const parent = getpid();
    std::function<bool()> const calls[] = {
        [] { return open("/etc/passwd", O_RDONLY) >= 0; },
        [] { return open("/tmp/written-by-a-script", O_CREAT | O_WRONLY, 0600) >= 0; },
        [] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; },
        [] { return fork() >= 0; },
        [] { return execl("/bin/true", "true", nullptr) == 0; },
        [=] { return kill(parent, 0) == 0; },
        [] { return unlink("/tmp/no-such-file") == 0; },
        [] {
            struct stat status;
            return stat("/", &status) == 0;
        },
        [] { return dup(0) >= 0; },
        [] {
            char name[100];
            return getcwd(name, sizeof name) != nullptr;
        }};
    for (std::size_t i = 0; i != std::size(calls); ++i) {
        EXPECT_EQ(CallConfined(calls[i]), EPERM) << i;
    }
}

TEST(Confine, LeavesMemoryAndTheClock) {
    EXPECT_EQ(CallConfined([] {
                  timespec time{};
                  auto* const block =
                      mmap(nullptr, 1 << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                  return block != MAP_FAILED && clock_gettime(CLOCK_REALTIME, &time) == 0 && time.tv_sec > 0;
              }),
              0);
}

} // namespace

#endif
