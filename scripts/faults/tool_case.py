"""One run of a scenario or of a tool under a fault, in a private root, and what must hold behind it."""
import json
import os
import shutil
import subprocess
from pathlib import Path

import daemon_case

SCENARIOS = ["registry-save", "registry-read", "ini-set", "ini-new-section", "ini-delete", "ini-create", "ring",
             "log", "update", "lock", "lock-stale", "process", "process-queries"]
RING, TRACE_LOG, SWITCH = "/tmp/log.zentd_a", "/tmp/log.zentd", "/opt/libswitch.so"
TOOLS = {
    "inventory": ["inventory", "--json"],
    "trace-show": ["trace", "show", "--no-pager", RING, TRACE_LOG],
    "trace-stat": ["trace", "stat", "--json", RING, TRACE_LOG],
    "trace-check": ["trace", "check", RING, TRACE_LOG],
    "switch-check": ["switch", "check", SWITCH],
}
# What ends by the JSON library, and whose output is one text of it, or one a line.
JSON_TOOLS = ("inventory", "trace-stat")
GROUPS = [*SCENARIOS, *TOOLS]

_machine = []  # the machine of files is made once
_whole = {}  # by tool: the exit code and what it prints without a fault


def has_window(group):
    return group in SCENARIOS


def opens(calls):
    """How many files a run has opened."""
    return sum(call["name"] == "openat" for call in calls)


def prepare(group, tools):
    if group == "inventory":
        daemon_case.clear_tmp()
        if not _machine:
            subprocess.run(["/bin/bash", tools["machine"], tools["morlactl"], "machine"], check=True)
            _machine.append(True)
        return
    daemon_case.clear()
    if group.startswith("trace-"):
        write_traces()
    if group == "switch-check":
        shutil.copy(tools["switch"], SWITCH)
        os.chmod(SWITCH, 0o755)
    if group in TOOLS and group not in _whole:
        run = subprocess.run(command(group, tools)[0], capture_output=True, text=True, check=False, cwd="/")
        _whole[group] = (run.returncode, run.stdout)


def entry(number, text):
    return f"2024-03-07 14:{number // 60 % 60:02}:{number % 60:02}.042 [00F5A7C0] zentd         {text}\n"


def write_traces():
    """A ring that has wrapped, and a log file that has not."""
    header = entry(0, "Oskaria Environment:") + entry(0, "HX_SYSTEM=NotSet")
    header += entry(0, "Internal Debug values      :") + entry(0, "Ring Buffer Size           : 65536")
    header += entry(0, "# End of header.")
    gap = entry(0, "")[:-1].ljust(1023, "_") + "\n"
    front = (header + gap * 2)[:2047] + "\n" + entry(1, "### Begin of RingBuffer. ###")
    text = "x" * 200
    new = "".join(entry(number, f"new {number} {text}") for number in range(1000, 1050))
    old = "".join(entry(number, f"old {number} {text}") for number in range(900, 990))
    ring = front + new + "## TRACE-END ##\n" + old[100:]
    Path(RING).write_text(ring + "." * (64 * 1024 - len(ring)))
    Path(TRACE_LOG).write_text("".join(entry(number, f"log {number}") for number in range(2000, 2100)))
    for path in (RING, TRACE_LOG):
        os.chmod(path, 0o600)


def command(group, tools):
    if group in TOOLS:
        return [tools["morlactl"], *TOOLS[group]], {}
    return [tools["scenarios"], group], {}


def look(group, fault, report, out, error):
    own = [(how, code) for owner, how, code in report["ends"] if owner == "own"]
    problems = [f"ended by signal {code}" for how, code in own[-1:] if how == "signal"]
    if report["hang"]:
        problems.append("hangs")
    if report["is_before_main"]:
        return "not loaded", ["hangs"] if report["hang"] else []
    how, code = own[-1] if own else ("exit", -1)
    if how == "signal" and fault["is_allocation"] and group in JSON_TOOLS and report["is_input_read"]:
        # The JSON library allocates while it destroys a value, and then the runtime ends the process.
        return "ended by the JSON library", []
    is_loader = code == 127 and "error while loading shared libraries" in error
    if group in SCENARIOS:
        problems += [line for line in out.splitlines() if line.startswith("breach: ")]
        words = [line[9:] for line in out.splitlines() if line.startswith("outcome: ")]
        if not words and not problems:
            problems.append(f"no outcome; exit code {code}")
        return (words or ["none"])[-1], problems
    word = "not loaded" if is_loader else "failed with a message" if code else "done"
    if how == "exit" and not is_loader:
        problems += _look_at_tool(group, code, fault, out, error)
    return word, problems


def _look_at_tool(group, code, fault, out, error):
    whole_code, whole = _whole.get(group, (0, None))
    if code not in (0, 1, 2):
        yield f"exit code {code}"
    elif code != whole_code and not error.strip() and out == whole and fault["text"] != os.devnull:
        yield f"exit code {code} without a word"
    elif code == whole_code and fault["name"] not in ("write", "writev") and not error.strip():
        if whole is not None:
            if out != whole and group != "switch-check":
                yield f"told done, but the output is not whole: {len(out)} of {len(whole)} bytes"
            return
        try:
            json.loads(out)
        except ValueError:
            yield f"told done, but the output is no JSON: {out[:200]!r}"
