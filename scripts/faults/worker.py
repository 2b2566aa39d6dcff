#!/usr/bin/env python3
"""Runs cases in a private root: reads one as a line of JSON, answers with one.

A case: {"id", "group", "fault": "none" | "list" | "CALL:N:ERROR" | "alloc:N" | "kill:N"}
"""
import json
import os
import struct
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, os.path.dirname(__file__))
# pylint: disable=wrong-import-position
import daemon_case
import errors
import kill_case
import tool_case

LIMIT = 10  # seconds
SECOND_LIMIT = 120  # on a machine that is too busy for the first: what hangs does so for ever
PATH = "/usr/bin:/usr/sbin:/bin:/sbin"
REPORT = Path("/tmp/sanitizer")  # the sanitizers' own file; the process's number is added
# Read by a build with sanitizers only. Leaks are not looked for: that takes the debugger's place, which is the injector's.
SANITIZERS = {
    "ASAN_OPTIONS": f"detect_leaks=0:use_sigaltstack=0:detect_stack_use_after_return=1:log_path={REPORT}",
    "UBSAN_OPTIONS": f"print_stacktrace=1:halt_on_error=1:log_path={REPORT}"}
NO_FAULT = {"name": "", "text": "", "arguments": ["0x0"] * 4, "error": "", "is_allocation": False}


def parse_call(words):
    return {"name": words[2], "ordinal": int(words[3]), "arguments": words[4:8], "text": " ".join(words[8:]),
            "process": words[1]}


def parse_report(text):
    report = {"calls": [], "open": [], "maps": [], "ends": [], "hang": False, "injected": None}
    for line in text.splitlines():
        kind, *words = line.split(" ")
        if kind == "call":
            report["calls"].append(parse_call(words))
        elif kind == "injected":
            report["injected"] = parse_call(words)
        elif kind == "open":
            report["open"].append(" ".join(words[1:]))
        elif kind == "map":
            report["maps"].append(" ".join(words))
        elif kind == "end":
            report["ends"].append((words[0], words[1], int(words[2])))
        elif kind == "hang":
            report["hang"] = True
    return report


def injector_options(fault):
    """The injector's options and the environment of one fault."""
    kind, *rest = fault.split(":")
    if kind == "none":
        return [], {}
    if kind == "list":
        return ["--list"], {}
    if kind == "kill":
        return [f"--kill={rest[0]}"], {}
    if kind == "alloc":
        return [], {"FAULT_ALLOCATION": rest[0]}
    if rest[1] == errors.SHORT:
        return [f"--short={kind}:{rest[0]}:1"], {}
    return [f"--fail={kind}:{rest[0]}:{errors.number(rest[1])}"], {}


class Worker:
    def __init__(self, tools):
        self.tools = tools
        self.system_log = daemon_case.SystemLog()
        self.limit = LIMIT

    def run(self, case):
        self.limit = LIMIT
        answer = self.run_once(case)
        if any("hangs" in problem for problem in answer["problems"]):
            self.limit = SECOND_LIMIT
            answer = self.run_once(case)
        return answer

    def run_once(self, case):
        if case["group"] in kill_case.KINDS:
            return kill_case.run(case, self.tools)
        suite = tool_case if case["group"] in tool_case.GROUPS else daemon_case
        suite.prepare(case["group"], self.tools)
        self.system_log.take()
        command, environment = suite.command(case["group"], self.tools)
        options, more = injector_options(case["fault"])
        environment.update(more)
        if more:
            environment.update({
                "LD_PRELOAD": self.tools["allocation_faults"], "FAULT_COUNTER": "/tmp/counter",
                "FAULT_PROGRAM": os.path.basename(command[0]), "FAULT_ALLOCATION": more.get("FAULT_ALLOCATION", "0")})
            if suite is tool_case and tool_case.has_window(case["group"]):
                environment["FAULT_WINDOW"] = "1"
        if suite is daemon_case:
            options.append("--stop")
        elif case["group"] in tool_case.TOOLS and more:
            options.append("--list")
        elif tool_case.has_window(case["group"]):
            options.append("--window")
        report, code = self.inject(options, command, environment)
        if case["fault"].startswith("kill:"):
            return self.go_on(case, suite, report)
        return self.judge(case, suite, report, code)

    def inject(self, options, command, environment):
        arguments = [self.tools["injector"], "--report=/tmp/report", f"--limit={self.limit}", *options, "--", *command]
        with open("/tmp/stdout", "wb") as out, open("/tmp/stderr", "wb") as error:
            code = subprocess.run(arguments, stdin=subprocess.DEVNULL, stdout=out, stderr=error, check=False, cwd="/",
                                  env={"PATH": PATH, **SANITIZERS, **environment}, timeout=self.limit + 30).returncode
        return parse_report(Path("/tmp/report").read_text(errors="replace")), code

    def go_on(self, case, suite, killed):
        """The next start behind a kill, without faults."""
        problems = ["hangs"] if killed["hang"] else []
        command, environment = suite.command(case["group"], self.tools)
        options = ["--stop"] if suite is daemon_case else []
        if suite is tool_case:
            command.append("behind-kill")
        answer = self.judge({"id": case["id"], "group": case["group"], "fault": "none"}, suite,
                            *self.inject(options, command, environment))
        answer["problems"] = problems + [f"behind the kill: {problem}" for problem in answer["problems"]]
        return {**answer, "what": killed["injected"], "is_injected": bool(killed["injected"])}

    def judge(self, case, suite, report, code):
        injected = report["injected"]
        kind = case["fault"].split(":")[0]
        fault = {**NO_FAULT, "is_allocation": kind == "alloc"}
        counter = Path("/tmp/counter")
        allocations, at_main = struct.unpack("QQ", counter.read_bytes()) if counter.exists() else (0, 0)
        # Without memory for the static objects the runtime ends the process before it has done anything.
        report["is_input_read"] = tool_case.opens(report["calls"]) >= case.get("opens", 1 << 62)
        report["is_before_main"] = counter.exists() and at_main == 0
        if injected and kind != "kill":
            fault = {**NO_FAULT, **injected, "error": case["fault"].split(":")[2]}
        out = Path("/tmp/stdout").read_text(errors="replace")
        error = Path("/tmp/stderr").read_text(errors="replace")
        if suite is daemon_case:
            word, problems = suite.look(case["group"], fault, report, error, self.system_log.take())
        else:
            word, problems = suite.look(case["group"], fault, report, out, error)
        problems += [path.read_text(errors="replace") for path in REPORT.parent.glob(f"{REPORT.name}.*")]
        if code != 0:
            problems.append(f"the injector ended with {code}: {error}")
        answer = {"id": case["id"], "word": word, "problems": problems, "what": injected,
                  "is_injected": bool(injected)}
        if kind == "alloc":
            answer["allocations"] = allocations
            answer["is_injected"] = allocations >= int(case["fault"].split(":")[1].rstrip("+"))
        if kind == "list":
            answer["calls"] = report["calls"]
        if case.get("verbose"):
            answer.update({"error": error, "out": out, "report": Path("/tmp/report").read_text(),
                           "log": daemon_case.log_text()})
        return answer


def main():
    worker = Worker(json.loads(sys.argv[1]))
    for line in sys.stdin:
        case = json.loads(line)
        try:
            answer = worker.run(case)
        except Exception as failure:  # pylint: disable=broad-except
            answer = {"id": case["id"], "word": "broken", "problems": [f"the worker failed: {failure!r}"], "what": None,
                      "is_injected": False}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
