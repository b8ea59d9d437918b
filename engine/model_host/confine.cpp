// SPDX-License-Identifier: Apache-2.0
#include "engine/model_host/confine.h"

#include "engine/kernel/host_socket.h"

#include <cerrno>
#include <cstddef>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
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

class CallList {
public:
    CallList() {
        Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
        Add(BPF_JMP | BPF_JEQ | BPF_K, c_architecture, 1, 0);
        Add(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
        LoadCall();
    }
    void Allow(int call) {
        Add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1);
        Add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }
    // Where some of the bits of an argument are set, or where none is. Arguments are looked at in their lower halves.
    void AllowByBits(int call, unsigned argument, unsigned bits, bool areSet) {
        Add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 4);
        Add(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offsetof(seccomp_data, args) + sizeof(__u64) * argument));
        Add(BPF_JMP | BPF_JSET | BPF_K, bits, areSet ? 0 : 1, areSet ? 1 : 0);
        Add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
        LoadCall();
    }
    void Refuse(int call, int error) {
        Add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1);
        Return(error);
    }
    void Install() {
        Return(EPERM);
        sock_fprog const program{static_cast<unsigned short>(m_rules.size()), m_rules.data()};
        // Without it nothing that comes from elsewhere is to run.
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
            _exit(7);
    }

private:
    void Add(unsigned code, unsigned value, unsigned char ifTrue = 0, unsigned char ifFalse = 0) {
        m_rules.push_back(sock_filter{static_cast<unsigned short>(code), ifTrue, ifFalse, value});
    }
    void LoadCall() { Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)); }
    void Return(int error) {
        Add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA));
    }

    std::vector<sock_filter> m_rules;
};

void RefuseOtherCalls() {
    CallList list;
    for (int const call : c_allowed)
        list.Allow(call);
    list.AllowByBits(SYS_mmap, 2, PROT_EXEC, false);
    list.AllowByBits(SYS_mprotect, 2, PROT_EXEC, false);
    list.AllowByBits(SYS_clone, 0, CLONE_THREAD, true);
    // Who has learnt of it falls back to the call above.
    list.Refuse(SYS_clone3, ENOSYS);
    list.Install();
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
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    if (memoryBytes != 0)
        Limit(RLIMIT_AS, static_cast<rlim_t>(memoryBytes));
    // The sanitizers make calls of their own, which are not listed.
    if (c_architecture != 0)
        RefuseOtherCalls();
#endif
}
