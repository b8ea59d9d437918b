/* SPDX-License-Identifier: Apache-2.0 */
/* Tries to get out: other processes and programs, signals to the engine, files, sockets, more memory. Blackens the
 * picture when it gets anywhere, and leaves it as it is otherwise. */
#include "plugin.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

PLUGIN("Test meddler", 0, 1)

void f0r_update(void* instance, double time, uint32_t const* in, uint32_t* out) {
    (void)instance;
    (void)time;
    int const child = fork();
    if (child == 0) {
        for (;;)
            pause();
    }
    int got = child > 0;
    got += kill(getppid(), 0) == 0;
    got += open("meddled", O_CREAT | O_WRONLY, 0600) >= 0;
    got += open("/proc/self/oom_score_adj", O_RDWR) >= 0;
    got += unlink("meddled") == 0;
    got += socket(AF_INET, SOCK_STREAM, 0) >= 0;
    struct rlimit const limit = {RLIM_INFINITY, RLIM_INFINITY};
    got += setrlimit(RLIMIT_FSIZE, &limit) == 0;
    char* const arguments[] = {"true", NULL};
    execv("/bin/true", arguments);
    memcpy(out, in, s_width * s_height * 4);
    if (got != 0)
        memset(out, 0, s_width * s_height * 4);
}
