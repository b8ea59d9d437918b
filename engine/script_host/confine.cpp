// SPDX-License-Identifier: Apache-2.0
#include "engine/script_host/confine.h"

#include "engine/kernel/host_confinement.h"

using namespace HostConfinement;

namespace {

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
    CallRules rules(CallRules::Others::Fail);
    for (int const call : c_allowed)
        rules.Allow(call);
    // Where the machine cannot refuse calls the limits alone hold.
    rules.Install();
}

} // namespace

void Confine(unsigned long long memoryBytes) {
    LimitProcess(memoryBytes);
    Limit(RLIMIT_NOFILE, HostSocket::c_descriptor + 1);
    if (c_architecture != 0)
        RefuseOtherCalls();
}
