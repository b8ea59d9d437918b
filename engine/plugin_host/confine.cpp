// SPDX-License-Identifier: Apache-2.0
#include "engine/plugin_host/confine.h"

#include "engine/kernel/host_socket.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
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

// A list of rules over system calls, as the kernel's seccomp takes them. Arguments are looked at in their lower halves,
// where all that is asked for here stands.
class CallRules {
public:
    CallRules() {
        Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
        AddJump(BPF_JEQ, c_architecture, 1, 0);
        Allow();
        LoadCall();
    }
    void Refuse(int call, int error) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 1);
        Return(error);
    }
    // Where some of the bits are set, or with `unlessSet` where none is.
    void RefuseByBits(int call, int argument, unsigned bits, bool unlessSet, int error) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 4);
        LoadArgument(argument);
        AddJump(BPF_JSET, bits, unlessSet ? 1 : 0, unlessSet ? 0 : 1);
        Return(error);
        LoadCall();
    }
    void RefuseUnlessEqual(int call, int argument, unsigned value, int error) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 4);
        LoadArgument(argument);
        AddJump(BPF_JEQ, value, 1, 0);
        Return(error);
        LoadCall();
    }
    void Install() {
        Allow();
        sock_fprog const program{static_cast<unsigned short>(m_rules.size()), m_rules.data()};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
    }

private:
    void Add(unsigned code, unsigned value) {
        m_rules.push_back(sock_filter{static_cast<unsigned short>(code), 0, 0, value});
    }
    void AddJump(unsigned test, unsigned value, unsigned char ifTrue, unsigned char ifFalse) {
        m_rules.push_back(sock_filter{static_cast<unsigned short>(BPF_JMP | test | BPF_K), ifTrue, ifFalse, value});
    }
    void LoadCall() { Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)); }
    // The machines that are known here have the lower half first.
    void LoadArgument(int argument) {
        Add(BPF_LD | BPF_W | BPF_ABS,
            static_cast<unsigned>(offsetof(seccomp_data, args) + sizeof(__u64) * static_cast<std::size_t>(argument)));
    }
    void Allow() { Add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW); }
    void Return(int error) {
        Add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA));
    }

    std::vector<sock_filter> m_rules;
};

void RefuseCalls() {
    CallRules rules;
    constexpr unsigned c_writing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
    auto const self = static_cast<unsigned>(getpid());
    rules.RefuseByBits(SYS_openat, 2, c_writing, false, EACCES);
    rules.RefuseByBits(SYS_clone, 0, CLONE_THREAD, true, EPERM);
    // Who has learnt of these falls back to the calls above.
    rules.Refuse(SYS_openat2, ENOSYS);
    rules.Refuse(SYS_clone3, ENOSYS);
    rules.RefuseUnlessEqual(SYS_kill, 0, self, EPERM);
    rules.RefuseUnlessEqual(SYS_tgkill, 0, self, EPERM);
    // Without new limits it only asks.
    rules.RefuseUnlessEqual(SYS_prlimit64, 2, 0, EPERM);
#ifdef SYS_open
    rules.RefuseByBits(SYS_open, 1, c_writing, false, EACCES);
#endif
    for (int const call : {
#ifdef SYS_fork
             SYS_fork,     SYS_vfork,    SYS_creat,         SYS_unlink,          SYS_rename,    SYS_rmdir,
             SYS_mkdir,    SYS_link,     SYS_symlink,       SYS_chmod,           SYS_setrlimit,
#endif
             SYS_execve,   SYS_execveat, SYS_tkill,         SYS_rt_sigqueueinfo, SYS_ptrace,    SYS_process_vm_writev,
             SYS_socket,   SYS_unlinkat, SYS_renameat2,     SYS_mkdirat,         SYS_linkat,    SYS_symlinkat,
             SYS_truncate, SYS_fchmodat, SYS_io_uring_setup})
        rules.Refuse(call, EPERM);
    rules.Install();
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
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    if (memoryBytes != 0)
        Limit(RLIMIT_AS, static_cast<rlim_t>(memoryBytes));
#endif
    if (c_architecture != 0)
        RefuseCalls();
}
