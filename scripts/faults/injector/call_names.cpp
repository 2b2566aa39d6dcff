#include "scripts/faults/injector/call_names.h"

#include <sys/syscall.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string>

namespace {

struct Call {
    std::string_view Name;
    long Number;
    int PathArgument = -1;
};

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): the name as a text and as a number
#define CALL(name, ...)                              \
    Call {                                           \
#        name, SYS_##name __VA_OPT__(, ) __VA_ARGS__ \
    }

constexpr Call kCalls[] = {
    CALL(access, 0),
    CALL(bind),
    CALL(brk),
    CALL(chdir, 0),
    CALL(clock_nanosleep),
    CALL(clone),
    CALL(clone3),
    CALL(close),
    CALL(close_range),
    CALL(connect),
    CALL(dup),
    CALL(dup2),
    CALL(execve, 0),
    CALL(exit_group),
    CALL(faccessat2, 1),
    CALL(fchmod),
    CALL(fcntl),
    CALL(flock),
    CALL(fork),
    CALL(fstat),
    CALL(fstatfs),
    CALL(fsync),
    CALL(ftruncate),
    CALL(futex),
    CALL(getcwd),
    CALL(getdents64),
    CALL(getpid),
    CALL(getrandom),
    CALL(getuid),
    CALL(ioctl),
    CALL(lseek),
    CALL(lstat, 0),
    CALL(madvise),
    CALL(mkdir, 0),
    CALL(mmap),
    CALL(mprotect),
    CALL(mremap),
    CALL(munmap),
    CALL(newfstatat, 1),
    CALL(open, 0),
    CALL(openat, 1),
    CALL(pidfd_open),
    CALL(pipe2),
    CALL(poll),
    CALL(ppoll),
    CALL(prctl),
    CALL(pread64),
    CALL(prlimit64),
    CALL(pwrite64),
    CALL(read),
    CALL(readlink, 0),
    CALL(readlinkat, 1),
    CALL(rename, 0),
    CALL(rt_sigaction),
    CALL(rt_sigprocmask),
    CALL(rt_sigtimedwait),
    CALL(sendto),
    CALL(set_robust_list),
    CALL(setsid),
    CALL(socket),
    CALL(stat, 0),
    CALL(statfs, 0),
    CALL(statx, 1),
    CALL(umask),
    CALL(uname),
    CALL(unlink, 0),
    CALL(vfork),
    CALL(wait4),
    CALL(waitid),
    CALL(write),
    CALL(writev),
};

#undef CALL

}  // namespace

long CallNumber(std::string_view name) {
    const auto* const call = std::ranges::find(kCalls, name, &Call::Name);
    return call != std::end(kCalls) ? call->Number : -1;
}

std::string_view CallName(long number) {
    const auto* const call = std::ranges::find(kCalls, number, &Call::Number);
    if (call != std::end(kCalls)) {
        return call->Name;
    }
    static std::map<long, std::string> others;
    return others.try_emplace(number, std::to_string(number)).first->second;
}

int PathArgument(long number) {
    const auto* const call = std::ranges::find(kCalls, number, &Call::Number);
    return call != std::end(kCalls) ? call->PathArgument : -1;
}
