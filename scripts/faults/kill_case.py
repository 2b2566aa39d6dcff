"""Daemons that are killed, stopped and started against each other at any moment, in a private root."""
import fcntl
import os
import random
import signal
import subprocess
import time
from pathlib import Path

import daemon_case

REFUSAL = "Error! Another process instance is already running!"
LIMIT = 60  # seconds; only what hangs waits for so long


def _text_of(path):
    try:
        return path.read_text()
    except FileNotFoundError:
        return ""


def _spawn(tools, background=False):
    command, environment = daemon_case.command("foreground", tools)
    arguments = command[:1] if background else [command[0], "-n"]
    return subprocess.Popen(arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                            env={"PATH": "/usr/bin:/usr/sbin", **environment}, cwd="/", text=True)


def _wait(condition, seconds=LIMIT):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.002)
    return True


def _is_locked():
    """True while an instance holds the lock."""
    try:
        with open(daemon_case.LOCK, encoding="ascii") as file:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return False
    except FileNotFoundError:
        return False
    except BlockingIOError:
        return True


def daemons(tools):
    """The processes that run the daemon's program."""
    found = []
    for folder in Path("/proc").iterdir():
        if folder.name.isdigit():
            try:
                if os.readlink(folder / "exe") == tools["daemon"]:
                    found.append(int(folder.name))
            except OSError:
                pass
    return found


def zombies():
    count = 0
    for folder in Path("/proc").iterdir():
        if folder.name.isdigit():
            try:
                count += (folder / "stat").read_text().rsplit(")", 1)[1].split()[0] == "Z"
            except OSError:
                pass
    return count


def _end(process, number):
    process.send_signal(number)
    try:
        process.communicate(timeout=LIMIT)
    except subprocess.TimeoutExpired:
        process.kill()
        process.communicate()
        return False
    return True


def _after_end(tools, is_orderly, problems):
    """What holds behind the end of the last daemon."""
    if daemons(tools):
        problems.append(f"still there: {daemons(tools)}")
    if _is_locked():
        problems.append("the lock is held by nobody alive")
    if is_orderly:
        for path in (daemon_case.LOCK, daemon_case.PID):
            if path.exists():
                problems.append(f"left: {path}")
    elif daemon_case.PID.exists():
        text = _text_of(daemon_case.PID).strip()
        if text and Path(f"/proc/{text}").exists():
            problems.append(f"the pid file names {text}, which lives and is no daemon")


def start_works(tools, problems):
    """The next start: it runs, and ends in order."""
    process = _spawn(tools)
    if not _wait(lambda: "Waiting for signals" in daemon_case.log_text() or process.poll() is not None):
        problems.append("the next start hangs")
    if process.poll() is not None:
        problems.append(f"the next start ends with {process.returncode}: {process.stderr.read()}")
        return
    if _text_of(daemon_case.LOCK) != f"zentd#{process.pid}" or _text_of(daemon_case.PID) != f"{process.pid}\n":
        problems.append("lock or pid file of the next start name another")
    if not _end(process, signal.SIGTERM) or process.returncode != 0:
        problems.append(f"the next start ends with {process.returncode}")
    _after_end(tools, True, problems)


def run_starts(tools, count, dice, problems):
    """Starts and stops in a row, in the background and in the foreground."""
    for number in range(count):
        daemon_case.prepare("foreground", tools)
        is_background = number % 2 == 0
        process = _spawn(tools, is_background)
        if is_background:
            if process.wait(LIMIT) != 0:
                problems.append(f"the parent ends with {process.returncode}")
        _wait(lambda: "Waiting for signals" in daemon_case.log_text())
        running = daemons(tools)
        if len(running) != 1 or _text_of(daemon_case.PID) != f"{running[0]}\n":
            problems.append(f"running: {running}, pid file: {_text_of(daemon_case.PID)!r}")
        for pid in running:
            os.kill(pid, dice.choice([signal.SIGTERM, signal.SIGINT]))
        if not _wait(lambda: not daemons(tools)):
            problems.append("does not stop")
        process.communicate()
        _after_end(tools, True, problems)
    return {"starts and stops": count}


def run_pairs(tools, count, dice, problems):
    """Two starts at once, on no lock file, on a stale one, and while an instance is ending."""
    daemon_case.prepare("foreground", tools)
    figures = {"pairs": count, "winners killed": 0, "winners stopped": 0, "both refused by one that was ending": 0}
    ending = None
    for _ in range(count):
        racers = [_spawn(tools), _spawn(tools)]
        if ending is not None:
            _wait(lambda: ending.poll() is not None)
        # Each has ended or holds the lock.
        if not _wait(lambda r=racers: all(p.poll() is not None or _text_of(daemon_case.LOCK) == f"zentd#{p.pid}"
                                          for p in r)):
            problems.append("two live, or one waits for ever")
        losers = [p for p in racers if p.poll() is not None]
        winners = [p for p in racers if p.poll() is None]
        for loser in losers:
            text = loser.communicate()[1]
            if loser.returncode != 1 or REFUSAL not in text:
                problems.append(f"the loser ends with {loser.returncode}: {text}")
        if len(winners) != 1 and not (ending is not None and not winners):
            problems.append(f"{len(winners)} live")
        figures["both refused by one that was ending"] += not winners
        ending = None
        for winner in winners:
            _wait(lambda: "running as x86_64" in daemon_case.log_text())
            if _text_of(daemon_case.LOCK) != f"zentd#{winner.pid}":
                problems.append(f"the lock file holds {_text_of(daemon_case.LOCK)!r}, the winner is {winner.pid}")
            if f"argv[0] = \"{tools['daemon']}\"" not in daemon_case.log_text():
                problems.append("the winner's log lacks its begin")
            if dice.random() < 0.7:
                _end(winner, signal.SIGKILL)
                figures["winners killed"] += 1
            else:
                _wait(lambda: "Waiting for signals" in daemon_case.log_text())
                winner.send_signal(signal.SIGTERM)
                _wait(lambda: "EXIT PROCESS" in daemon_case.log_text(), dice.random() * 0.05)
                ending = winner
                figures["winners stopped"] += 1
    if ending is not None:
        ending.communicate(timeout=LIMIT)
    daemon_case.LOG.unlink(missing_ok=True)
    start_works(tools, problems)
    return figures


def _run_signal(number, tools, count, dice, problems):
    ended = 0
    for _ in range(count):
        daemon_case.prepare(dice.choice(["foreground", "background"]), tools)
        process = _spawn(tools)
        time.sleep(dice.random() * dice.choice([0.01, 0.05, 1.2]))
        if not _end(process, number):
            problems.append("does not end")
        is_orderly = process.returncode == 0
        ended += is_orderly
        if process.returncode not in (0, -number):
            problems.append(f"ends with {process.returncode}")
        _wait(lambda: not daemons(tools))
        _after_end(tools, is_orderly, problems)
        daemon_case.LOG.unlink(missing_ok=True)
        if dice.random() < 0.25:
            start_works(tools, problems)
    return {"starts": count, "ended in order": ended, "ended by the signal": count - ended}


def run_sigterm(tools, count, dice, problems):
    return _run_signal(signal.SIGTERM, tools, count, dice, problems)


def run_sigkill(tools, count, dice, problems):
    return _run_signal(signal.SIGKILL, tools, count, dice, problems)


def run_writer(tools, count, dice, problems):
    """A process that writes entries is killed; what was told as written is there."""
    daemon_case.clear()
    result = subprocess.run([tools["scenarios"], "writer", str(count), str(dice.randrange(1 << 31))],
                            capture_output=True, text=True, check=False, cwd="/", timeout=600)
    problems += [line for line in result.stdout.splitlines() if line.startswith("breach: ")]
    if result.returncode != 0 and not problems:
        problems.append(f"ended with {result.returncode}: {result.stderr}")
    return {" ".join(line.split(" ")[2:]): int(line.split(" ")[1])
            for line in result.stdout.splitlines() if line.startswith("figure: ")}


KINDS = {"writer": run_writer, "starts": run_starts, "pairs": run_pairs, "sigterm": run_sigterm,
         "sigkill": run_sigkill}


def run(case, tools):
    _, count, seed = case["fault"].split(":")
    problems = []
    figures = KINDS[case["group"]](tools, int(count), random.Random(int(seed)), problems)
    if not _wait(lambda: zombies() == 0, 2):  # the namespace's first process buries orphans
        problems.append(f"{zombies()} zombies")
    return {"id": case["id"], "word": "", "problems": problems, "figures": figures, "what": None, "is_injected": True}
