#include "scripts/faults/injector/call_filter.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>

bool StopAtCalls(const std::vector<long>& calls) {
    std::vector<sock_filter> program;
    if (!calls.empty()) {
        program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
        for (const long call : calls) {
            program.push_back(
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(call), 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
        }
    }
    program.push_back(
        BPF_STMT(BPF_RET | BPF_K, calls.empty() ? SECCOMP_RET_TRACE : SECCOMP_RET_ALLOW));
    const sock_fprog filter{.len = static_cast<unsigned short>(program.size()),
                            .filter = program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) == 0;
}
