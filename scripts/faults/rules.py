"""What a daemon must say and do when a given call failed."""
import re

RING = re.compile(r"/var/log/quorvat/log\.zentd_[ai]$")

REFUSED = r"Error! Another process instance is already running!"
NO_DRIVER = r"INFO: smbus-driver is not available on this OS"
NO_COMPRESSION = r"### gziping of startup log file failed -> it doesn't matter ###"
MAP_SHARED = 1
CLONE_VM = 0x100


def _exit_code(code, errors=None):
    return {"exit": code, "errors": errors}


def _says(place, pattern, errors=None):
    return {"place": place, "pattern": pattern, "errors": errors}


def _is_ring_map(call):
    return int(call["arguments"][3], 16) & MAP_SHARED and RING.search(call["text"])


# There the compression of the start-up ring is the only thing that is executed.
def _is_in_background(call):
    return call["group"] == "background"


# Name of the call, a test of the call, what is expected. Several rules may hold for one call.
_RULES = [
    ("mkdir", lambda c: c["text"].startswith(("/var", "/run")), [_exit_code(1), _says("error", REFUSED)]),
    ("openat", lambda c: c["text"].endswith("libswitch.so") and "/lib" not in c["text"][:5],
     [_exit_code(1), _says("log", r"FATAL ERROR! Server Control SWITCH could not be loaded!")]),
    ("openat", lambda c: c["text"].endswith("/log.zentd"),
     [_exit_code(0), _says("syslog", r"ERROR: Error during opening /var/log/quorvat/log.zentd --> proceed without it")]),
    ("fcntl", lambda c: c["text"].endswith("/log.zentd"),
     [_exit_code(0), _says("syslog", r"ERROR: Error during opening /var/log/quorvat/log.zentd --> proceed without it")]),
    ("openat", lambda c: RING.search(c["text"]),
     [_exit_code(0), _says("log", r"### InitRingBuffer\(\): open of \S+ failed \(errno=\d+; .+\) ###")]),
    ("write", lambda c: RING.search(c["text"]),
     [_exit_code(0), _says("log", r"### InitRingBuffer\(\): \(2\) write m_InternalDebugBuffer to \S+ failed ###")]),
    ("mmap", _is_ring_map, [_exit_code(0), _says("log", r"### InitRingBuffer\(\): mmap of \S+ failed \(errno=\d+; .+\) ###")]),
    ("pipe2", _is_in_background, [_exit_code(0), _says("log", NO_COMPRESSION)]),
    ("clone3", _is_in_background, [_exit_code(0), _says("log", NO_COMPRESSION)]),
    ("clone", lambda c: int(c["arguments"][0], 16) & CLONE_VM == 0,
     [_exit_code(1), _says("error", r"Error! Cannot fork --> no demon !!!: .+")]),
    ("openat", lambda c: c["text"] == "/dev/pci/smbus",
     [_exit_code(0), _says("log", NO_DRIVER), _says("traced", r"cannot open /dev/pci/smbus \(errno=\d+: .+\)")]),
    ("ioctl", lambda c: c["text"] == "/dev/pci/smbus",
     [_exit_code(0), _says("log", NO_DRIVER), _says("traced", r"IOCTL_SMBUS_DRIVER_INFO \(0xC00873FF\) to /dev/pci/smbus failed \(errno=\d+: .+\)")]),
    ("rt_sigtimedwait", lambda c: c["arguments"][2] == "0x0",
     [_exit_code(0), _says("log", r"## ERROR sigwait\(\) failed \(ret=22\) ##", ["EINVAL"]),
      _says("log", r"We do so as if SIGTERM has been sent", ["EINVAL"])]),
    ("openat", lambda c: c["text"] == "/var/run/zentd.pid", [_exit_code(0)]),
]


def expectations(call, error):
    """The expectations for one injected call; `error` is the name of the error number."""
    for name, is_meant, expected in _RULES:
        if name == call["name"] and is_meant(call):
            yield from (e for e in expected if e["errors"] is None or error in e["errors"])
