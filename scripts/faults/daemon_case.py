"""One run of the daemon under a fault, in a private root, and what must hold behind it."""
import gzip
import os
import re
import shutil
import socket
from pathlib import Path

import rules

LOG = Path("/var/log/quorvat/log.zentd")
LOCK = Path("/run/lock/zentd.lock")
PID = Path("/run/zentd.pid")
MODULES = Path("/opt/morla/modules")
CONFIG = Path("/etc/velmor/OskariaSuite/TraceConfig")

# What the waiting daemon may have open, each once, and mapped.
OPEN = [re.compile(p) for p in (
    r"/dev/null", r"pipe:\[\d+\]", r"/tmp/std\w+", r"/run/lock/zentd\.lock", r"/var/log/quorvat/log\.zentd",
    r"/var/log/quorvat/log\.zentd_a", r"/proc/\d+/status", r"socket:\[\d+\]", r"anon_inode:\[eventfd\]", r"/run/utmp",
    r"/proc/meminfo", r"/proc/loadavg")]  # which a module's thread may be reading just then
LEFT_IN_LOG_FOLDER = {"log.zentd", "log.zentd_a", "log.zentd_i", "log.zentd_i.gz"}

# By group: the arguments, whether there is a ring, a module, a driver's device, and systemctl.
GROUPS = {
    "background": {"arguments": [], "ring": True, "systemctl": True, "device": True},
    "foreground": {"arguments": ["-n", "-rescan"]},
    "modules": {"arguments": ["-n"], "ring": True, "module": True},
}


def clear_tmp():
    """The checkout may lie below /tmp, too: what leads to it stays."""
    for path in Path("/tmp").iterdir():
        if path not in Path(__file__).resolve().parents:
            shutil.rmtree(path) if path.is_dir() else path.unlink()


def clear():
    for folder in ("/var/log/quorvat", "/etc/quorvat", "/etc/velmor", "/run/lock", "/run/faults", "/opt", "/dev/pci"):
        shutil.rmtree(folder, ignore_errors=True)
    for path in (PID, Path("/usr/bin/systemctl"), Path("/run/utmp")):
        path.unlink(missing_ok=True)
    clear_tmp()
    for folder in ("/var/log/quorvat", "/etc/quorvat", "/run/lock", MODULES):
        os.makedirs(folder, exist_ok=True)


def prepare(group, tools):
    """A system on which the daemon of that group starts."""
    clear()
    kind = GROUPS[group]
    Path("/usr/sbin/runlevel").write_text("#!/bin/sh\necho N 5\n")
    os.chmod("/usr/sbin/runlevel", 0o755)
    if kind.get("ring"):
        CONFIG.mkdir(parents=True)
        (CONFIG / "global_trace.ini").write_text("[GlobalDebugSettings]\nDynamicUpdate=1\n[EndOfFile]\n")
        (CONFIG / "zentd.ini").write_text(
            "[zentd]\nFileDebugLevel=5\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
            "MemoryTracesFlag=1\n[EndOfFile]\n")
    if kind.get("systemctl"):
        Path("/usr/bin/systemctl").write_text("")
        Path("/etc/quorvat/RunLevel").write_text("6\n")
    if kind.get("device"):
        os.makedirs("/dev/pci")
        Path("/dev/pci/smbus").write_text("")
    if kind.get("module"):
        shutil.copy(tools["heartbeat"], MODULES)
        os.chmod(MODULES / os.path.basename(tools["heartbeat"]), 0o755)
    Path("/etc/quorvat/switch.ini").write_text(f"[Modules]\nDirectory={MODULES}\n[heartbeat]\nIntervalSeconds=1\n")


def command(group, tools):
    return [tools["daemon"], *GROUPS[group]["arguments"]], {"LD_LIBRARY_PATH": os.path.dirname(tools["switch"])}


class SystemLog:
    """Takes what the daemon tells the system log."""

    def __init__(self):
        Path("/dev/log").unlink(missing_ok=True)
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self._socket.bind("/dev/log")

    def take(self):
        lines = []
        try:
            while True:
                lines.append(self._socket.recv(4096).decode(errors="replace"))
        except BlockingIOError:
            return "\n".join(lines)


def _trace_text():
    """What went to the rings, the start-up ring's compressed copy included."""
    text = b""
    for name in ("log.zentd_i", "log.zentd_a"):
        path = LOG.parent / name
        text += path.read_bytes() if path.exists() else b""
    packed = LOG.parent / "log.zentd_i.gz"
    if packed.exists():
        try:
            text += gzip.decompress(packed.read_bytes())
        except (OSError, EOFError):
            pass
    return re.sub(rb"_{100,}", b"", text).decode(errors="replace")


def log_text():
    return LOG.read_text(errors="replace") if LOG.exists() else ""


def _look_at_held(report):
    seen = set()
    for target in report["open"]:
        if not any(allowed.fullmatch(target) for allowed in OPEN):
            yield f"held while waiting: {target}"
        if target in seen and not target.startswith(("/dev/null", "/tmp/", "pipe:", "anon_inode:")):
            yield f"held twice: {target}"
        seen.add(target)
    for target in report["maps"]:
        if not target.endswith("/log.zentd_a") and not target.startswith("/tmp/"):
            yield f"mapped while waiting: {target}"


def _look_at_files(fault, is_killed):
    unlinked = fault["name"] == "unlink" and fault["text"]
    for path in (LOCK, PID):
        if path.exists() and not is_killed and not (unlinked and path.name in unlinked):
            yield f"left: {path}"
    for path in LOG.parent.iterdir():
        if path.name not in LEFT_IN_LOG_FOLDER:
            yield f"left: {path}"


def _look_for_expected(fault, group, codes, texts):
    for expected in rules.expectations({**fault, "group": group}, fault["error"]):
        if "exit" in expected:
            if codes[-1] != expected["exit"]:
                yield f"exit code {codes[-1]}, expected {expected['exit']}"
        elif expected["place"] != "traced" or GROUPS[group].get("ring"):
            if not re.search(expected["pattern"], texts[expected["place"]]):
                yield f"not told ({expected['place']}): {expected['pattern']}"


def look(group, fault, report, error_text, system_log):
    """The result in a word, and what is wrong. `fault`: name, text, arguments, error; empty without one."""
    problems = []
    codes = [code for _, _, code in report["ends"]] or [-1]
    texts = {"error": error_text, "log": log_text(), "syslog": system_log, "traced": _trace_text()}
    for owner, how, code in report["ends"]:
        if owner == "own" and how == "signal" and not report["is_before_main"]:
            problems.append(f"ended by signal {code}")
    own = [code for owner, _, code in report["ends"] if owner == "own"]
    final = own[-1] if own else -1
    if report["hang"]:
        problems.append("hangs")
    is_loader = (127 in own and "error while loading shared libraries" in error_text) or report["is_before_main"]
    if not report["is_before_main"]:
        # 127 is that of a child that could not execute its program.
        problems += [f"exit code {code}" for code in own[:-1] if code not in (0, 1, 127)]
        problems += [f"exit code {code}" for code in own[-1:] if code not in (0, 127 if is_loader else 1, 1)]
    if 1 in own and "Error!" not in error_text and "could not be loaded!" not in texts["log"]:
        # The log is the only place where the reason stands; without it nobody can know.
        if "log.zentd" not in fault["text"] and texts["log"]:
            problems.append("refused without a word")
    has_log = bool(texts["log"]) or not fault["is_allocation"]
    if 1 not in own and has_log and not is_loader and "EXIT PROCESS" not in texts["log"] and \
            "log.zentd" not in fault["text"]:
        problems.append("the log does not tell of the end")
    problems += _look_at_held(report)
    problems += _look_at_files(fault, False)
    if fault["name"]:
        problems += _look_for_expected(fault, group, [1 if 1 in own else final], texts)
    word = "not loaded" if is_loader else "refused to start" if 1 in own else "ran and stopped"
    return word, problems
