"""One run of a scenario or of a tool under a fault, in a private root, and what must hold behind it."""
import json
import os
import subprocess

import daemon_case

SCENARIOS = ["registry-save", "registry-read", "ini-set", "ini-new-section", "ini-delete", "ini-create", "ring",
             "log", "update", "lock", "lock-stale", "process", "process-queries"]
# A reader of traces gets its line here: a command of morlactl on files that prepare() writes.
TOOLS = {"inventory": ["inventory", "--json"]}
GROUPS = [*SCENARIOS, *TOOLS]

_machine = []  # the machine of files is made once


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
    if how == "signal" and fault["is_allocation"] and group in TOOLS and report["is_input_read"]:
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
        problems += _look_at_tool(code, fault, out, error)
    return word, problems


def _look_at_tool(code, fault, out, error):
    if code not in (0, 1, 2):
        yield f"exit code {code}"
    elif code != 0 and not error.strip() and fault["text"] != os.devnull:
        yield f"exit code {code} without a word"
    elif code == 0 and fault["name"] != "write":
        try:
            json.loads(out)
        except ValueError:
            yield f"told done, but the output is no JSON: {out[:200]!r}"
