// SPDX-License-Identifier: Apache-2.0
#include "engine/script_host/confine.h"

#include "engine/kernel/host_socket.h"

#include <cerrno>
#include <cstddef>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

#if defined(__x86_64__)
constexpr unsigned c_architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned c_architecture = AUDIT_ARCH_AARCH64;
#else
constexpr unsigned c_architecture = 0;
#endif

// All calls but these fail: reading and writing what is open, memory, the clock, the timer's signal, and the end.
constexpr int c_allowed[] = {
    SYS_read,
    SYS_write,
    SYS_close,
    SYS_brk,
    SYS_mmap,
    SYS_munmap,
    SYS_mremap,
    SYS_madvise,
    SYS_rt_sigreturn,
    SYS_clock_gettime,
    SYS_gettimeofday,
    SYS_setitimer,
    SYS_exit,
    SYS_exit_group,
    SYS_restart_syscall,
#ifdef __SANITIZE_ADDRESS__
    // Of the sanitizer itself.
    SYS_futex,
    SYS_sched_yield,
    SYS_getpid,
    SYS_gettid,
    SYS_sigaltstack,
    SYS_rt_sigprocmask,
    SYS_rt_sigaction,
#endif
};

void RefuseOtherCalls() {
    std::vector<sock_filter> rules;
    auto const add = [&](unsigned code, unsigned value, unsigned char ifTrue = 0, unsigned char ifFalse = 0) {
        rules.push_back(sock_filter{static_cast<unsigned short>(code), ifTrue, ifFalse, value});
    };
    add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
    add(BPF_JMP | BPF_JEQ | BPF_K, c_architecture, 1, 0);
    add(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
    add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    for (int const call : c_allowed) {
        add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1);
        add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }
    add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (EPERM & SECCOMP_RET_DATA));
    sock_fprog const program{static_cast<unsigned short>(rules.size()), rules.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

void Limit(int resource, rlim_t value) {
    rlimit const limit{value, value};
    setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
}

} // namespace

void Confine([[maybe_unused]] unsigned long long memoryBytes) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    close_range(HostSocket::c_descriptor + 1, ~0u, 0);
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_FSIZE, 0);
    Limit(RLIMIT_NOFILE, HostSocket::c_descriptor + 1);
#ifndef __SANITIZE_ADDRESS__
    if (memoryBytes != 0)
        Limit(RLIMIT_AS, static_cast<rlim_t>(memoryBytes));
#endif
    if (c_architecture != 0)
        RefuseOtherCalls();
}
