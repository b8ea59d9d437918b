// SPDX-License-Identifier: Apache-2.0
#include "engine/model_host/confine.h"

#include "engine/kernel/host_confinement.h"

#include <sched.h>
#include <sys/mman.h>

using namespace HostConfinement;

namespace {

// All calls but these fail: reading and writing what is open, memory, threads, waiting, clocks, and the end.
constexpr int c_allowed[] = {
    SYS_read,
    SYS_write,
    SYS_close,
    SYS_lseek,
    SYS_brk,
    SYS_munmap,
    SYS_mremap,
    SYS_madvise,
    SYS_futex,
    SYS_set_robust_list,
    SYS_rseq,
    SYS_sched_yield,
    SYS_sched_getaffinity,
    SYS_getpid,
    SYS_gettid,
    SYS_clock_gettime,
    SYS_clock_nanosleep,
    SYS_nanosleep,
    SYS_gettimeofday,
    SYS_rt_sigprocmask,
    SYS_rt_sigaction,
    SYS_rt_sigreturn,
    SYS_sigaltstack,
    SYS_getrandom,
    SYS_exit,
    SYS_exit_group,
    SYS_restart_syscall,
};

[[maybe_unused]] void RefuseOtherCalls() {
    CallRules list(CallRules::Others::Fail);
    for (int const call : c_allowed)
        list.Allow(call);
    list.AllowByBits(SYS_mmap, 2, PROT_EXEC, false);
    list.AllowByBits(SYS_mprotect, 2, PROT_EXEC, false);
    list.AllowByBits(SYS_clone, 0, CLONE_THREAD, true);
    // Who has learnt of it falls back to the call above.
    list.Refuse(SYS_clone3, ENOSYS);
    // Without them nothing that comes from elsewhere is to run.
    if (!list.Install())
        _exit(7);
}

} // namespace

void Confine(unsigned long long memoryBytes) {
    LimitProcess(memoryBytes);
    Limit(RLIMIT_NOFILE, HostSocket::c_descriptor + 1);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // The sanitizers make calls of their own, which are not listed.
    if (c_architecture != 0)
        RefuseOtherCalls();
#endif
}
