"""./dev faults load: the daemon under the load of fifty threads, and what became of it."""
import json
import subprocess
from pathlib import Path

import load_case

FOLDER = Path(__file__).resolve().parent
PROGRAMS = {"daemon": "daemon/morla", "switch": "switch/libswitch.so", "load": "scripts/faults/load_module.so",
            "load_reader": "scripts/faults/load_reader"}
QUICK_SECONDS = 4
RING_BYTES = 6 << 20  # start-up ring, active ring, the packed one


def is_instrumented(build):
    cache = (Path(build) / "CMakeCache.txt").read_text()
    return "\nMORLA_SANITIZE:STRING=\n" not in cache


def run(build, minutes, is_quick):
    """Prints the figures; returns the bad lives as (group, life, problems), or None where it cannot run."""
    build = Path(build).resolve()
    seconds = QUICK_SECONDS if is_quick else round(minutes * 60)
    ways = [] if is_quick else list(load_case.WAYS)
    tools = {name: str(build / path) for name, path in PROGRAMS.items()}
    # A sanitizer keeps what was freed, for a while.
    tools["is_memory_checked"] = not is_instrumented(build)
    size = RING_BYTES + load_case.LOG_BYTES_PER_SECOND * seconds
    command = [str(build / "tests/support/private_root"), f"--tmpfs={load_case.daemon_case.LOG.parent}:{size}"]
    command += [f"--program={program}" for program in ("/usr/bin/python3", "/usr/bin/gzip")]
    command += ["--", "/usr/bin/python3", "-B", str(FOLDER / "load_case.py"), json.dumps(tools), str(seconds), *ways]
    bad = []
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        for line in process.stdout:
            answer = json.loads(line)
            print(f"\nunder load: {answer['life']}")
            for what, number in answer["figures"].items():
                print(f"    {number:>13,} {what}")
            if answer["problems"]:
                bad.append(("load", answer["life"], answer["problems"]))
    if process.returncode == 77:
        return None
    if process.returncode != 0:
        bad.append(("load", "", [f"ended with {process.returncode}"]))
    return bad
