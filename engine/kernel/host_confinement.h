// SPDX-License-Identifier: Apache-2.0
#pragma once

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

// The means by which host processes take from themselves what their guests do not need. For programs that link nothing.
namespace HostConfinement {

#if defined(__x86_64__)
inline constexpr unsigned c_architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
inline constexpr unsigned c_architecture = AUDIT_ARCH_AARCH64;
#else
// System calls are not known here, and none is refused.
inline constexpr unsigned c_architecture = 0;
#endif

inline void Limit(int resource, rlim_t value) {
    rlimit const limit{value, value};
    setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
}

// The same for all hosts: no life without the engine, no descriptors but the socket's, no dumps, no files that grow,
// and `memoryBytes` of address space (0: without limit). Sanitizers need more of it than there is, and set no limit.
inline void LimitProcess([[maybe_unused]] unsigned long long memoryBytes) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    close_range(HostSocket::c_descriptor + 1, ~0u, 0);
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_FSIZE, 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    if (memoryBytes != 0)
        Limit(RLIMIT_AS, static_cast<rlim_t>(memoryBytes));
#endif
}

// Rules over system calls, as the kernel's seccomp takes them: the first that fits holds. Arguments are looked at in
// their lower halves, where all that is asked for here stands; the machines that are known have these first.
class CallRules {
public:
    // The fate of calls that no rule names: they may be made or fail with EPERM. Where they fail, calls of another
    // machine's kind end the process.
    enum class Others { MayBeMade, Fail };
    explicit CallRules(Others others) : m_others(others) {
        Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
        AddJump(BPF_JEQ, c_architecture, 1, 0);
        Add(BPF_RET | BPF_K, others == Others::Fail ? SECCOMP_RET_KILL_PROCESS : SECCOMP_RET_ALLOW);
        LoadCall();
    }
    void Allow(int call) { AddRule(call, SECCOMP_RET_ALLOW); }
    void Refuse(int call, int error) { AddRule(call, ToReturn(error)); }
    // Where some of the bits of an argument are set or, with `areSet` false, where none is.
    void AllowByBits(int call, unsigned argument, unsigned bits, bool areSet) {
        AddRuleByBits(call, argument, bits, areSet, SECCOMP_RET_ALLOW);
    }
    void RefuseByBits(int call, unsigned argument, unsigned bits, bool areSet, int error) {
        AddRuleByBits(call, argument, bits, areSet, ToReturn(error));
    }
    void RefuseUnlessEqual(int call, unsigned argument, unsigned value, int error) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 4);
        LoadArgument(argument);
        AddJump(BPF_JEQ, value, 1, 0);
        Add(BPF_RET | BPF_K, ToReturn(error));
        LoadCall();
    }
    // From now on they hold, for all threads that begin later. False where the machine cannot refuse calls.
    bool Install() {
        Add(BPF_RET | BPF_K, m_others == Others::Fail ? ToReturn(EPERM) : SECCOMP_RET_ALLOW);
        sock_fprog const program{static_cast<unsigned short>(m_rules.size()), m_rules.data()};
        return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    }

private:
    static unsigned ToReturn(int error) {
        return SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA);
    }
    void Add(unsigned code, unsigned value) {
        m_rules.push_back(sock_filter{static_cast<unsigned short>(code), 0, 0, value});
    }
    void AddJump(unsigned test, unsigned value, unsigned char ifTrue, unsigned char ifFalse) {
        m_rules.push_back(sock_filter{static_cast<unsigned short>(BPF_JMP | test | BPF_K), ifTrue, ifFalse, value});
    }
    void AddRule(int call, unsigned result) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 1);
        Add(BPF_RET | BPF_K, result);
    }
    void AddRuleByBits(int call, unsigned argument, unsigned bits, bool areSet, unsigned result) {
        AddJump(BPF_JEQ, static_cast<unsigned>(call), 0, 4);
        LoadArgument(argument);
        AddJump(BPF_JSET, bits, areSet ? 0 : 1, areSet ? 1 : 0);
        Add(BPF_RET | BPF_K, result);
        LoadCall();
    }
    void LoadCall() { Add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)); }
    void LoadArgument(unsigned argument) {
        Add(BPF_LD | BPF_W | BPF_ABS,
            static_cast<unsigned>(offsetof(seccomp_data, args) + sizeof(__u64) * std::size_t{argument}));
    }

    Others m_others;
    std::vector<sock_filter> m_rules;
};

} // namespace HostConfinement
