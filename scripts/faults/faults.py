#!/usr/bin/env python3
"""./dev faults: makes system calls and allocations fail one by one, and kills processes at any moment.

Runs the cases of the groups in private roots, several at a time, and prints a table: calls tried, faults injected,
what became of the runs; and every case in which something was wrong, with the command that repeats it.
"""
import argparse
import json
import os
import queue
import subprocess
import sys
import threading
import time
from collections import Counter
from pathlib import Path

import daemon_case
import errors
import load
import moments
import tool_case

FAULT_GROUPS = [*daemon_case.GROUPS, *tool_case.GROUPS]
KILLED_GROUPS = ["background", "foreground", "registry-save", "ini-set", "ini-new-section", "ini-delete", "ini-create",
                 "ring"]
FOLDER = Path(__file__).resolve().parent
PER_KIND = 24  # calls of one kind that are tried in a group that makes more of them
ALLOCATIONS = 120
KILLS = 300
QUICK = {"per_kind": 2, "allocations": 3, "kills": 4}


def tools_of(build):
    build = Path(build).resolve()
    tools = {
        "injector": "scripts/faults/fault_injector", "scenarios": "scripts/faults/fault_scenarios",
        "allocation_faults": "scripts/faults/liballocation_faults.so", "daemon": "daemon/morla",
        "switch": "switch/libswitch.so", "heartbeat": "modules/example/heartbeat.so", "morlactl": "tools/morlactl"}
    found = {name: str(build / path) for name, path in tools.items()}
    found["machine"] = str(FOLDER.parent.parent / "tests/end_to_end/inventory.sh")
    return found


class Workers:
    """Processes in private roots that work off a queue of cases."""

    def __init__(self, build, count):
        self.command = [str(Path(build).resolve() / "tests/support/private_root")]
        for program in ("/usr/bin/python3", "/usr/bin/gzip", "/usr/bin/tar"):
            self.command.append(f"--program={program}")
        self.command += ["--", "/usr/bin/python3", "-B", str(FOLDER / "worker.py"), json.dumps(tools_of(build))]
        self.count = count

    def run(self, cases):
        """Yields the answers, in the order of their arrival."""
        waiting = queue.Queue()
        for case in cases:
            waiting.put(case)
        answers = queue.Queue()
        threads = [threading.Thread(target=self._serve, args=(waiting, answers), daemon=True)
                   for _ in range(min(self.count, max(len(cases), 1)))]
        for thread in threads:
            thread.start()
        for _ in cases:
            yield answers.get()

    def _serve(self, waiting, answers):
        with subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as worker:
            while True:
                try:
                    case = waiting.get_nowait()
                except queue.Empty:
                    break
                print(json.dumps(case), file=worker.stdin, flush=True)
                line = worker.stdout.readline()
                if not line:
                    code = worker.wait()
                    answers.put({"id": case["id"], "word": "broken", "is_injected": False,
                                 "problems": [f"the worker ended with {code}"], "what": None})
                    if code == 77:
                        continue
                    return self._serve(waiting, answers)
                answers.put(json.loads(line))
            worker.stdin.close()
        return None


def sample(ordinals, limit):
    """All, or the first half of the limit, the last one, and others at even distances."""
    if len(ordinals) <= limit:
        return ordinals
    head = ordinals[:(limit + 1) // 2]
    rest = ordinals[len(head):]
    count = limit - len(head)
    step = len(rest) / max(count, 1)
    return head + [rest[min(int((i + 1) * step) - 1, len(rest) - 1)] for i in range(count)]


def behind_loader(calls):
    """The calls that the program itself makes: behind the loader, whose last one gives back its cache."""
    for index, call in enumerate(calls):
        if call["name"] == "munmap":
            return calls[index + 1:]
    return calls


def plan_faults(group, listing, limits):
    calls = listing["calls"] if tool_case.has_window(group) else behind_loader(listing["calls"])
    kinds = {}
    for call in calls:
        if errors.errors_of(call) and not (limits["is_instrumented"] and errors.may_be_of_sanitizer(call)):
            kinds.setdefault(call["name"], []).append(call)
    for name, of_kind in kinds.items():
        for call in sample(of_kind, limits["per_kind"]):
            for error in errors.errors_of(call):
                yield f"{name}:{call['ordinal']}:{error}"
    for number in sample(list(range(1, listing["allocations"] + 1)), limits["allocations"]):
        yield f"alloc:{number}"


def plan_kills(listing, limits):
    for number in sample(list(range(1, len(listing["calls"]) + 1)), limits["kills"]):
        yield f"kill:{number}"


class Run:
    def __init__(self, workers, limits):
        self.workers = workers
        self.limits = limits
        self.bad = []
        self.missed = 0

    def list_calls(self, groups):
        # A sanitizer brings an allocator of its own, which cannot be made to fail from outside.
        faults = ("list",) if self.limits["is_instrumented"] else ("list", "alloc:0")
        listings = {group: {"allocations": 0} for group in groups}
        cases = [{"id": f"{group} {fault}", "group": group, "fault": fault}
                 for group in groups for fault in faults]
        for answer in self.workers.run(cases):
            group, fault = answer["id"].split(" ")
            listings[group].update({key: answer[key] for key in ("calls", "allocations") if key in answer})
            if answer["problems"]:
                self.bad.append((group, fault, answer["problems"]))
        return {group: listing for group, listing in listings.items() if "calls" in listing}

    def run_faults(self, groups, killed_groups):
        listings = self.list_calls(list(dict.fromkeys([*groups, *killed_groups])))
        planned = {}
        for group, listing in listings.items():
            if group in groups:
                planned[group] = list(plan_faults(group, listing, self.limits))
            if group in killed_groups:
                planned[f"{group} killed"] = list(plan_kills(listing, self.limits))
        cases = [{"id": f"{title} {fault}", "title": title, "group": title.split(" ")[0], "fault": fault,
                  "opens": tool_case.opens(listings[title.split(" ")[0]]["calls"])}
                 for title, faults in planned.items() for fault in faults]
        titles = {case["id"]: case for case in cases}
        words = {title: Counter() for title in planned}
        injected = Counter()
        for done, answer in enumerate(self.workers.run(cases), 1):
            case = titles[answer["id"]]
            words[case["title"]][answer["word"]] += 1
            injected[case["title"]] += answer["is_injected"]
            self.missed += not answer["is_injected"]
            if answer["problems"]:
                self.bad.append((case["group"], case["fault"], answer["problems"]))
            if sys.stderr.isatty() and done % 20 == 0:
                print(f"\r{done}/{len(cases)}", end="", file=sys.stderr, flush=True)
        print(f"\n{'group':24} {'calls':>6} {'alloc.':>7} {'tried':>6} {'met':>6}  what became of it")
        for title in planned:
            listing = listings[title.split(" ")[0]]
            became = ", ".join(f"{count} {word}" for word, count in words[title].most_common())
            print(f"{title:24} {len(listing['calls']):6} {listing['allocations']:7} {len(planned[title]):6}"
                  f" {injected[title]:6}  {became}")

    def run_moments(self, names, counts):
        cases = list(moments.cases(names, counts))
        totals = {}
        for answer in self.workers.run(cases):
            name = answer["id"].split(" ")[0]
            total = totals.setdefault(name, Counter())
            total.update(answer.get("figures", {}))
            if answer["problems"]:
                self.bad.append((name, answer["id"], answer["problems"]))
        print(f"\n{'at any moment':24} what became of it")
        for name, total in totals.items():
            print(f"{name:24} " + ", ".join(f"{count} {word}" for word, count in total.items()))

    def report(self, seconds):
        for group, fault, problems in self.bad:
            print(f"\nBAD  ./dev faults --repeat {group} {fault}" if group != "load" else f"\nBAD  load: {fault}")
            for problem in problems[:6]:
                print(f"     {problem[:300]}")
        print(f"\n{len(self.bad)} bad cases, {self.missed} faults that were not met, {seconds:.0f} s")
        return 1 if self.bad else 0


def repeat(workers, group, fault):
    case = {"id": "repeat", "group": group, "fault": fault, "verbose": True}
    if group in tool_case.TOOLS:
        for answer in workers.run([{**case, "fault": "list"}]):
            case["opens"] = tool_case.opens(answer["calls"])
    for answer in workers.run([case]):
        for key in ("error", "out", "log", "report"):
            print(f"--- {key}\n{answer.get(key, '')}")
        answer = {k: v for k, v in answer.items() if k not in ("error", "out", "log", "report", "calls")}
        print(f"--- result\n{json.dumps(answer, indent=2)}")
        return 1 if answer["problems"] else 0
    return 1


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev faults", description="Groups: " + ", ".join(
        [*FAULT_GROUPS, "kill", *moments.NAMES]) + "; none: all of them. And load, which runs when it is named.")
    parser.add_argument("groups", nargs="*", metavar="GROUP")
    parser.add_argument("--build", default="build", help=argparse.SUPPRESS)
    parser.add_argument("--jobs", type=int, default=8, help="private roots at a time")
    parser.add_argument("--every", action="store_true", help="no samples: each call of every kind")
    parser.add_argument("--quick", action="store_true", help="the short selection of the ordinary tests")
    parser.add_argument("--count", type=int, help="how often the groups of moments are repeated")
    parser.add_argument("--minutes", type=float, default=10, help="of load")
    parser.add_argument("--repeat", nargs=2, metavar=("GROUP", "FAULT"), help="one case, with all that it leaves")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    workers = Workers(arguments.build, min(arguments.jobs, 4) if arguments.quick else arguments.jobs)
    if arguments.repeat:
        return repeat(workers, *arguments.repeat)
    known = [*FAULT_GROUPS, "kill", *moments.NAMES]
    wanted = arguments.groups or known
    for group in wanted:
        if group not in [*known, "load"]:
            sys.exit(f"./dev faults: no group {group}")
    limits = {"per_kind": PER_KIND, "allocations": ALLOCATIONS, "kills": KILLS}
    if arguments.every:
        limits = dict.fromkeys(limits, sys.maxsize)
    if arguments.quick:
        limits = dict(QUICK)
    limits["is_instrumented"] = load.is_instrumented(arguments.build)
    begin = time.monotonic()
    run = Run(workers, limits)
    groups = [g for g in wanted if g in FAULT_GROUPS]
    if groups or "kill" in wanted:
        run.run_faults(groups, KILLED_GROUPS if "kill" in wanted else [])
    names = [g for g in wanted if g in moments.NAMES]
    if names:
        run.run_moments(names, moments.counts(arguments.quick, arguments.count))
    if "load" in wanted:
        bad = load.run(arguments.build, arguments.minutes, arguments.quick)
        if bad is None:
            return 77
        run.bad += bad
    return run.report(time.monotonic() - begin)


if __name__ == "__main__":
    os.environ.setdefault("PYTHONDONTWRITEBYTECODE", "1")
    sys.exit(main())
