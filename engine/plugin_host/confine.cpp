// SPDX-License-Identifier: Apache-2.0
#include "engine/plugin_host/confine.h"

#include "engine/kernel/host_confinement.h"

#include <fcntl.h>
#include <sched.h>

using namespace HostConfinement;

namespace {

void RefuseCalls() {
    CallRules rules(CallRules::Others::MayBeMade);
    constexpr unsigned c_writing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
    auto const self = static_cast<unsigned>(getpid());
    rules.RefuseByBits(SYS_openat, 2, c_writing, true, EACCES);
    rules.RefuseByBits(SYS_clone, 0, CLONE_THREAD, false, EPERM);
    // Who has learnt of these falls back to the calls above.
    rules.Refuse(SYS_openat2, ENOSYS);
    rules.Refuse(SYS_clone3, ENOSYS);
    rules.RefuseUnlessEqual(SYS_kill, 0, self, EPERM);
    rules.RefuseUnlessEqual(SYS_tgkill, 0, self, EPERM);
    // Without new limits it only asks.
    rules.RefuseUnlessEqual(SYS_prlimit64, 2, 0, EPERM);
#ifdef SYS_open
    rules.RefuseByBits(SYS_open, 1, c_writing, true, EACCES);
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

} // namespace

void Confine(unsigned long long memoryBytes) {
    LimitProcess(memoryBytes);
    if (c_architecture != 0)
        RefuseCalls();
}
