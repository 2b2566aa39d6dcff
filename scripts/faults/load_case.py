#!/usr/bin/env python3
"""The daemon under load, in a private root whose log directory is a small file system of its own.

usage: load_case.py TOOLS SECONDS [WAY...]: one life of so many seconds, and a short one for each way to spoil the
configuration. Prints lines of JSON: the figures of each life and what was wrong.
"""
import itertools
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import daemon_case

APPLICATION = daemon_case.CONFIG / "zentd.ini"
GLOBAL = daemon_case.CONFIG / "global_trace.ini"
RING = Path("/var/log/quorvat/log.zentd_a")
FILLER = Path("/var/log/quorvat/filler")
THREADS = 50
FEW_THREADS = 8  # of the short lives: to start and to stop costs seconds where fifty are in the way
ALWAYS_EVERY_MS = 100  # 50 threads: 500 entries a second, some 80 KB, for the log
LOG_BYTES_PER_SECOND = 80_000
TICK = 0.1  # seconds: a SIGHUP each
LIMIT = 120
TOLERANCE = 0.01  # from the first to the last minute
OUTCRY = re.compile(r"(ERROR: \w+Sanitizer|runtime error|WARNING: ThreadSanitizer|terminate called).*")


def application(level, memory=0):
    return (f"[zentd]\nFileDebugLevel={level}\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
            f"MemoryTracesFlag={memory}\n[EndOfFile]\n")


def global_text(period=1):
    return f"[GlobalDebugSettings]\nDynamicUpdate={period}\n[EndOfFile]\n"


def put(path, content):
    """The whole file at once: one that is caught half written would be given up by the daemon."""
    new = path.with_name("new")
    new.write_bytes(content if isinstance(content, bytes) else content.encode())
    remove(path)
    os.replace(new, path)


def remove(path):
    if path.is_dir():
        shutil.rmtree(path)


def vanish(path):
    path.unlink()


def become_folder(path):
    path.unlink()
    path.mkdir()


def become_fifo(path):
    path.unlink()
    os.mkfifo(path)


# How a configuration is spoilt; each drops the file from the daemon's watch for good.
WAYS = {
    "application file without end": (APPLICATION, lambda p: put(p, application(2).replace("[EndOfFile]", ""))),
    "application file vanished": (APPLICATION, vanish),
    "application file a folder": (APPLICATION, become_folder),
    "application file a FIFO": (APPLICATION, become_fifo),
    "application file empty": (APPLICATION, lambda p: put(p, "")),
    "application file binary": (APPLICATION, lambda p: put(p, os.urandom(5000).replace(b"]", b"x"))),
    "application file cut": (APPLICATION, lambda p: put(p, application(2)[:-4])),
    "application file without section": (APPLICATION, lambda p: put(p, application(2).replace("zentd", "other"))),
    "application file too large": (APPLICATION, lambda p: put(p, b"\n" * (65 << 20) + application(2).encode())),
    "global file vanished": (GLOBAL, vanish),
    "global file without end": (GLOBAL, lambda p: put(p, "[GlobalDebugSettings]\nDynamicUpdate=0\n")),
}


def shown(name):
    """A value of the ring's header, which each wrap writes anew."""
    for _ in range(200):
        with open(RING, "rb") as file:
            found = re.search(rf"\b{name} +: (\S+)\n".encode(), file.read(16384))
        if found:
            return found[1].decode()
        time.sleep(0.005)
    return None


def fill_up():
    """Leaves no byte on the file system of the log."""
    with open(FILLER, "wb", buffering=0) as file:
        for size in (1 << 16, 1 << 12, 1):
            try:
                while True:
                    file.write(b"x" * size)
            except OSError:
                pass


class Life:
    """One daemon with its reader."""

    def __init__(self, tools, threads, log_limit):
        self.tools = tools
        self.threads = threads
        self.problems = []
        self.samples = []
        self.figures = {"SIGHUP": 0, "configurations written": 0, "times without a byte on the disk": 0,
                        "threads": threads}
        daemon_case.clear()
        self._prepare()
        environment = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        environment.update({"PATH": "/usr/bin:/usr/sbin", "LD_LIBRARY_PATH": os.path.dirname(tools["switch"])})
        if log_limit:
            environment["HX_LOG_FILE_MAX_SIZE"] = str(log_limit)
        self.reader = subprocess.Popen([tools["load_reader"]], stdout=subprocess.PIPE, text=True)
        with open("/tmp/daemon_errors", "wb") as errors:
            self.daemon = subprocess.Popen([tools["daemon"], "-n"], stdin=subprocess.DEVNULL, stdout=errors,
                                           stderr=errors, env=environment, cwd="/")
        self.wait(lambda: daemon_case.PID.exists() and RING.exists() and shown("Application Init Done"),
                  "does not start")

    def _prepare(self):
        Path("/usr/sbin/runlevel").write_text("#!/bin/sh\necho N 5\n")
        os.chmod("/usr/sbin/runlevel", 0o755)
        daemon_case.CONFIG.mkdir(parents=True)
        put(APPLICATION, application(3))
        put(GLOBAL, global_text())
        shutil.copy(self.tools["load"], daemon_case.MODULES)
        os.chmod(daemon_case.MODULES / os.path.basename(self.tools["load"]), 0o755)
        Path("/etc/quorvat/switch.ini").write_text(
            f"[Modules]\nDirectory={daemon_case.MODULES}\nStopTimeoutMs=60000\n[load]\n"
            f"Threads={self.threads}\nAlwaysEveryMs={ALWAYS_EVERY_MS}\n")

    def wait(self, condition, problem, seconds=LIMIT):
        end = time.monotonic() + seconds
        while not condition():
            if self.daemon.poll() is not None or time.monotonic() > end:
                self.problems.append(problem)
                return
            time.sleep(0.02)

    def hang_up(self):
        self.daemon.send_signal(signal.SIGHUP)
        self.figures["SIGHUP"] += 1

    def configure(self, level, memory=0):
        put(APPLICATION, application(level, memory))
        put(GLOBAL, global_text())
        self.figures["configurations written"] += 1

    def sample(self):
        process = Path(f"/proc/{self.daemon.pid}")
        try:
            status = dict(re.findall(r"(\w+):\s+(\d+)", (process / "status").read_text()))
            rollup = dict(re.findall(r"(\w+):\s+(\d+) kB", (process / "smaps_rollup").read_text()))
            opened = []
            for entry in (process / "fd").iterdir():
                try:
                    opened.append(os.readlink(entry))
                except OSError:
                    pass  # closed meanwhile
        except (OSError, KeyError):
            return
        # While a changed configuration is read, it is open.
        lasting = sorted(name for name in opened if not name.startswith(str(daemon_case.CONFIG)))
        self.samples.append({"resident": int(status["VmRSS"]), "private": int(rollup["Private_Dirty"]),
                             "threads": int(status["Threads"]), "open": lasting})

    def end(self):
        begin = time.monotonic()
        self.daemon.send_signal(signal.SIGTERM)
        try:
            code = self.daemon.wait(LIMIT)
            self.figures["ms from SIGTERM to the end"] = round(1000 * (time.monotonic() - begin))
        except subprocess.TimeoutExpired:
            self.daemon.kill()
            code = "a hang"
        if code != 0:
            self.problems.append(f"the daemon ended with {code}")
        if "EXIT PROCESS" not in daemon_case.log_text():
            self.problems.append("the log lacks the end")
        said = Path("/tmp/daemon_errors").read_text(errors="replace")
        if OUTCRY.search(said):
            self.problems.append(said[:20000])
        for path in (daemon_case.LOCK, daemon_case.PID):
            if path.exists():
                self.problems.append(f"{path} is left")
        self.reader.send_signal(signal.SIGTERM)
        out = self.reader.communicate()[0]
        for line in out.splitlines():
            kind, _, rest = line.partition(": ")
            if kind == "figure":
                number, _, what = rest.partition(" ")
                self.figures[what] = int(number)
            else:
                self.problems.append(line[:400])
        if self.reader.returncode != 0 and "breaches" not in self.figures:
            self.problems.append(f"the reader ended with {self.reader.returncode}")
        if self.figures.get("ring: entries of the load", 0) < 100:
            self.problems.append("the ring is nearly empty")

    def answer(self, name):
        return {"life": name, "figures": self.figures, "problems": self.problems}


def look_at_samples(life, is_memory_checked):
    """From the first minute to the last one, or from the first to the last third of a shorter life."""
    samples = life.samples[1:]
    if not samples:
        life.problems.append("it did not live long enough to be looked at")
        return
    share = min(60, max(len(samples) // 3, 1))
    for kind in ("resident", "private"):
        begin, end = (sum(s[kind] for s in part) / share for part in (samples[:share], samples[-share:]))
        life.figures[f"KiB {kind} at first"] = round(begin)
        life.figures[f"KiB {kind} at last"] = round(end)
        life.figures[f"KiB {kind} at most"] = max(s[kind] for s in samples)
        if is_memory_checked and abs(end - begin) > begin * TOLERANCE:
            life.problems.append(f"memory is not flat: {kind} {begin:.0f} KiB, then {end:.0f} KiB")
    life.figures["descriptors"] = len(samples[-1]["open"])
    for sample in samples:
        if sample["open"] != samples[0]["open"] or sample["threads"] != samples[0]["threads"]:
            life.problems.append(f"open at first {samples[0]['open']}, then {sample['open']}; "
                                 f"threads {samples[0]['threads']}, then {sample['threads']}")
            break


class Configurations:
    """What stands in the files, second by second: another level each, a vanished file, a broken one."""

    def __init__(self, life, seconds):
        self.life = life
        self.vanishing = seconds // 3
        self.breaking = seconds * 3 // 4
        self.levels = itertools.cycle([1, 6, 2, 5, 3, 4])
        self.shown = set()
        self.shown_at_last = set()

    def next(self, second):
        self.shown.add(shown("Trace Level Saved"))
        if second > self.breaking + 1:  # the daemon has looked at it
            self.shown_at_last.add(shown("Trace Level Saved"))
        if second == self.vanishing:
            GLOBAL.unlink()
        elif second == self.breaking:
            put(APPLICATION, application(6).replace("[EndOfFile]", ""))
        else:
            self.life.configure(next(self.levels), int(second % 4 == 0))

    def judge(self, seconds):
        if seconds >= 30 and self.shown != {"1", "2", "3", "4", "5", "6"}:
            self.life.problems.append(f"not every level came into force: {self.shown}")
        if len(self.shown_at_last) > 1:
            self.life.problems.append(f"a file that was given up is followed: {self.shown_at_last}")


def run_long(tools, seconds, is_memory_checked):
    """The log grows for the first half of the life, wherever the disk has room, and wraps in the second one."""
    threads = FEW_THREADS if seconds < 20 else THREADS
    life = Life(tools, threads, LOG_BYTES_PER_SECOND * seconds // 2)
    configurations = Configurations(life, seconds)
    begin = time.monotonic()
    for tick in range(round(seconds / TICK)):
        time.sleep(max(begin + (tick + 1) * TICK - time.monotonic(), 0))
        if life.daemon.poll() is not None:
            break
        life.hang_up()
        if tick % 10 == 0:
            life.sample()
            configurations.next(tick // 10)
        if tick % 50 == 10:
            fill_up()
            life.figures["times without a byte on the disk"] += 1
        elif tick % 50 == 25:
            FILLER.unlink()
    FILLER.unlink(missing_ok=True)
    configurations.judge(seconds)
    life.end()
    look_at_samples(life, is_memory_checked)
    return life.answer(f"{seconds} seconds")


def run_way(tools, way):
    """A change is followed; then the file is spoilt, then made good again, under full load and with signals."""
    life = Life(tools, FEW_THREADS, 0)
    path, spoil = WAYS[way]

    def hang_up_until(condition, problem, seconds=LIMIT):
        """An even number of signals, after which tracing is on."""
        end = time.monotonic() + seconds
        while not condition() and time.monotonic() < end and life.daemon.poll() is None:
            life.hang_up()
            time.sleep(TICK)
            life.hang_up()
            time.sleep(TICK)
        if problem and not condition():
            life.problems.append(problem)

    life.configure(5)
    hang_up_until(lambda: shown("Trace Level Saved") == "5", "a change was not followed")
    spoil(path)
    hang_up_until(lambda: False, "", 1.5)
    remove(path)
    life.configure(2)
    follows = path == GLOBAL  # the other file is watched as before
    if follows:
        hang_up_until(lambda: shown("Trace Level Saved") == "2", "the application file is not followed any more")
    else:
        hang_up_until(lambda: False, "", 1.5)
        if shown("Trace Level Saved") != "5":
            life.problems.append(f"a file that was given up is followed: {shown('Trace Level Saved')}")
    life.end()
    return life.answer(way)


def main():
    tools = json.loads(sys.argv[1])
    seconds = int(sys.argv[2])
    for way in sys.argv[3:]:
        print(json.dumps(run_way(tools, way)), flush=True)
    print(json.dumps(run_long(tools, seconds, tools["is_memory_checked"] and seconds >= 180)), flush=True)


if __name__ == "__main__":
    main()
