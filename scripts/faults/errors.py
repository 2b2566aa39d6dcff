"""Which errors each system call can have, and which calls are left alone."""
import errno

SHORT = "short"  # a read or write that moves fewer bytes than asked for

# By call. A list in the order of how often the error is met in the field.
ERRORS = {
    "access": ["EACCES", "EIO", "ENOMEM"],
    "brk": ["ENOMEM"],
    "chdir": ["EACCES", "EIO", "ENOMEM"],
    "clock_nanosleep": ["EINTR"],
    "clone": ["EAGAIN", "ENOMEM"],
    "clone3": ["EAGAIN", "ENOMEM"],
    "close": ["EIO", "EINTR"],
    "close_range": ["ENOSYS"],
    "connect": ["ECONNREFUSED", "EACCES", "EINTR"],
    "dup2": ["EBUSY", "EMFILE"],
    "execve": ["EACCES", "ENOMEM", "EIO"],
    "faccessat2": ["EACCES", "EIO", "ENOMEM"],
    "fchmod": ["EACCES", "EIO"],
    "fcntl": ["EMFILE"],
    "flock": ["EINTR", "ENOLCK", "EWOULDBLOCK"],
    "fork": ["EAGAIN", "ENOMEM"],
    "fstat": ["EIO", "ENOMEM"],
    "fsync": ["EIO", "ENOSPC", "EINTR"],
    "ftruncate": ["EIO", "EINTR", "EACCES"],
    "futex": ["EINTR"],  # waits only: a wake-up cannot fail
    "getcwd": ["ENOENT", "ENOMEM"],
    "getdents64": ["EIO"],
    "getrandom": ["EAGAIN", "EINTR"],
    "ioctl": ["EIO", "ENOTTY", "EINTR", "ENOMEM"],
    "lseek": ["EINVAL", "EIO"],
    "lstat": ["EACCES", "EIO", "ENOMEM"],
    "madvise": ["ENOMEM"],
    "mkdir": ["EACCES", "ENOSPC", "ENOMEM", "EIO"],
    "mmap": ["ENOMEM", "EACCES"],
    "mprotect": ["ENOMEM"],
    "mremap": ["ENOMEM"],
    "newfstatat": ["EACCES", "EIO", "ENOMEM", "ENOENT"],
    "open": ["EMFILE", "EACCES", "EIO", "EINTR", "ENOMEM"],
    "openat": ["EMFILE", "EACCES", "EIO", "EINTR", "ENOMEM"],
    "pidfd_open": ["ENOSYS", "EPERM", "EMFILE"],
    "pipe2": ["EMFILE", "ENFILE"],
    "poll": ["EINTR", "ENOMEM"],
    "pread64": ["EIO", "EINTR", SHORT],
    "pwrite64": ["ENOSPC", "EIO", "EINTR", SHORT],
    "read": ["EIO", "EINTR", SHORT],
    "readlink": ["EACCES", "EIO", "ENOMEM"],
    "readlinkat": ["EACCES", "EIO", "ENOMEM"],
    "rename": ["ENOSPC", "EIO", "EACCES"],
    "rt_sigtimedwait": ["EINTR", "EINVAL"],
    "sendto": ["ECONNREFUSED", "EINTR", "ENOMEM"],
    "socket": ["EMFILE", "EACCES", "ENOMEM"],
    "stat": ["EACCES", "EIO", "ENOMEM"],
    "statfs": ["EIO", "EACCES", "EINTR", "ENOMEM"],
    "statx": ["EACCES", "EIO", "ENOMEM", "ENOENT"],
    "unlink": ["EACCES", "EIO", "ENOMEM"],
    "vfork": ["EAGAIN", "ENOMEM"],
    "wait4": ["EINTR"],
    "waitid": ["EINTR"],
    "write": ["ENOSPC", "EIO", "EINTR", SHORT],
    "writev": ["ENOSPC", "EIO", "EINTR"],
}
# Opening to create needs room.
WHEN_CREATING = ["ENOSPC"]

# They have no failure that the program could cause or meet, or end it.
LEFT_ALONE = {
    "arch_prctl", "dup", "execve", "exit_group", "getpid", "getuid", "munmap", "prctl", "prlimit64", "rt_sigaction",
    "rt_sigprocmask", "rt_sigreturn", "set_robust_list", "set_tid_address", "setsid", "umask", "uname",
}

# A sanitizer's runtime makes them too (the C library itself never calls open), and ends the process when one fails.
OF_SANITIZERS = {"madvise", "mmap", "mprotect", "mremap", "open"}


def errors_of(call):
    """The faults for one call of a listing."""
    name = call["name"]
    if name in ("clone", "clone3", "vfork", "fork") or name not in ERRORS:
        return ERRORS.get(name, [])
    if name == "newfstatat" and not call["text"]:
        return ERRORS["fstat"]  # of a descriptor
    found = list(ERRORS[name])
    if name == "openat" and int(call["arguments"][2], 16) & 0o100:
        found += WHEN_CREATING
    if SHORT in found and int(call["arguments"][2], 16) < 2:
        found.remove(SHORT)
    return found


def may_be_of_sanitizer(call):
    return call["name"] in OF_SANITIZERS or call["text"].endswith("/environ")


def number(name):
    return getattr(errno, name)
