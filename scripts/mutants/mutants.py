#!/usr/bin/env python3
"""./dev mutants: gives the code small faults, one at a time, and looks whether the tests notice.

The mutants are drawn by the seed: lines that hold something to change, over all files of the folders, and of each
line one change. A mutant that does not compile, or is compiled to the same code, is not counted; another one is drawn.
What was found goes into build/mutants/results.jsonl, so that a run that was cut off goes on where it was.
"""
import argparse
import json
import signal
import sys
import threading
import time
from collections import Counter
from pathlib import Path

from checkout import FOLDERS, Checkout
from mutations import drawn_from
from trial import Trial

ROOT = Path(__file__).resolve().parents[2]
COUNTED = ("noticed", "survived")


class Results:
    """One line of JSON for each mutant that was tried; a later line replaces an earlier one."""

    def __init__(self, path):
        self.path = path
        self.of = {}
        self.kills = Counter()
        self.lock = threading.Lock()
        if path.exists():
            for line in path.read_text().splitlines():
                self.learn(json.loads(line))

    def learn(self, entry):
        self.of[entry["order"]] = entry
        if entry["result"] == "noticed":
            self.kills[entry["file"], entry["test"]] += 1
            self.kills[entry["file"].split("/")[0], entry["test"]] += 1

    def add(self, entry):
        with self.lock:
            self.learn(entry)
            with self.path.open("a") as file:
                print(json.dumps(entry), file=file)


def known_equivalents():
    """Survivors that were looked at and behave as the original does: file, line's text, change, and the reason."""
    known = {}
    for line in (Path(__file__).parent / "equivalent.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            file, text, new, why = line.split(" @ ")
            known[file, text, new] = why
    return known


def drawn(folders, seed):
    mutations = []
    for folder in folders:
        for path in sorted([*(ROOT / folder).rglob("*.cpp"), *(ROOT / folder).rglob("*.h")]):
            mutations += drawn_from(str(path.relative_to(ROOT)), path.read_text(), seed)
    return sorted(mutations, key=lambda mutation: mutation.order)


def text_of(mutation):
    return (ROOT / mutation.file).read_text().splitlines()[mutation.line - 1].strip()


def folder_of(mutation):
    return mutation.file.split("/", maxsplit=1)[0]


class Run:
    def __init__(self, options, results):
        self.options = options
        self.results = results
        self.mutations = drawn(options.folders or FOLDERS, options.seed)
        self.lock = threading.Lock()
        self.taken = set()
        known = known_equivalents()
        self.again = [mutation for mutation, entry in self.counted() if entry["result"] == "survived"
                      and (mutation.file, text_of(mutation), short(mutation.new)) not in known]
        # First those that not all tests have seen yet.
        self.again.sort(key=lambda mutation: results.of[mutation.order].get("scope") == "all")

    def counted(self):
        """The first mutants of the draw that count, as many as the sample has."""
        found = [(mutation, self.results.of[mutation.order]) for mutation in self.mutations
                 if self.results.of.get(mutation.order, {}).get("result") in COUNTED]
        return found[:self.options.sample]

    def next_mutation(self):
        """None at the end of the sample."""
        with self.lock:
            if self.options.again:
                return self.again.pop(0) if self.again else None
            done = under_way = 0
            for mutation in self.mutations:
                result = self.results.of.get(mutation.order, {}).get("result")
                under_way += mutation.order in self.taken
                done += result in COUNTED
                if done + under_way >= self.options.sample:
                    return None
                if result is None and mutation.order not in self.taken:
                    self.taken.add(mutation.order)
                    return mutation
            return None

    def work(self, number):
        checkout = Checkout(ROOT, ROOT / f"build/mutants/copy-{number}", not self.options.own)
        checkout.prepare()
        print(f"copy {number}: {len(checkout.tests)} tests", flush=True)
        while mutation := self.next_mutation():
            started = time.monotonic()
            result, test, how = Trial(checkout, mutation, self.results.kills).run()
            seconds = round(time.monotonic() - started, 1)
            entry = {"order": mutation.order, "file": mutation.file, "line": mutation.line, "kind": mutation.kind,
                     "old": mutation.old, "new": mutation.new, "result": result, "test": test, "how": how,
                     "scope": "own" if self.options.own else "all", "seconds": seconds}
            before = self.results.of.get(mutation.order, {})
            if (result, entry["scope"], before.get("result"), before.get("scope")) != (
                    "survived", "own", "survived", "all"):  # what all tests have let pass stays so
                self.results.add(entry)
            with self.lock:
                self.taken.discard(mutation.order)
            print(f"{result:12} {mutation.file}:{mutation.line}: {mutation.kind} {short(mutation.old)} -> "
                  f"{short(mutation.new)}  {test} {how} {seconds} s", flush=True)

    def run(self):
        workers = [threading.Thread(target=self.work, args=(number,), daemon=True)
                   for number in range(self.options.jobs)]
        for worker in workers:
            worker.start()
        while any(worker.is_alive() for worker in workers):
            time.sleep(0.5)

    def report(self):
        table = {folder: Counter() for folder in [*(self.options.folders or FOLDERS), "all"]}
        known, survivors = known_equivalents(), []
        for mutation, entry in self.counted():
            word = entry["result"]
            text = text_of(mutation)
            if word == "survived":
                why = known.get((mutation.file, text, short(mutation.new)))
                survivors.append((mutation, text, why))
                table["all"]["own tests only"] += why is None and entry.get("scope") != "all"
                word = "equivalent" if why else word
            for name in (folder_of(mutation), "all"):
                table[name].update([word, "tried", entry["how"]])
        print(f"\n{'folder':10} {'tried':>6} {'noticed':>8} {'by hang':>8} {'survived':>9} {'equivalent':>11}"
              f" {'share':>7}")
        for name, row in table.items():
            share = 100 * row["noticed"] / max(row["tried"], 1)
            print(f"{name:10} {row['tried']:6} {row['noticed']:8} {row['hang']:8} {row['survived']:9} "
                  f"{row['equivalent']:11} {share:6.1f}%")
        if table["all"]["own tests only"]:
            print(f"{table['all']['own tests only']} of those that survived were tried with the tests of their folder"
                  " only")
        for mutation, text, why in sorted(survivors, key=lambda s: (s[2] or "", s[0].file, s[0].line)):
            print(f"{'equivalent' if why else 'SURVIVED'}  {mutation.file}:{mutation.line}: {mutation.kind} "
                  f"{short(mutation.old)} -> {short(mutation.new)}\n    {text}" + (f"\n    {why}" if why else ""))
        return table["all"]


def short(text):
    return " ".join(text.split())[:60] or "nothing"


def main():
    parser = argparse.ArgumentParser(prog="./dev mutants")
    parser.add_argument("folders", nargs="*", metavar="FOLDER", help=f"of {', '.join(FOLDERS)}; none: all of them")
    parser.add_argument("--sample", type=int, default=400, help="mutants that count (400)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2, help="copies of the checkout that are worked in (2)")
    parser.add_argument("--again", action="store_true", help="try those again that survived")
    parser.add_argument("--own", action="store_true",
                        help="with the tests of the mutant's folder alone; --again tries all of them on survivors")
    parser.add_argument("--report", action="store_true", help="only print what is known")
    options = parser.parse_args()
    if unknown := set(options.folders) - set(FOLDERS):
        parser.error(f"no such folder: {', '.join(sorted(unknown))}")
    (ROOT / "build/mutants").mkdir(parents=True, exist_ok=True)
    run = Run(options, Results(ROOT / "build/mutants/results.jsonl"))
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    if not options.report:
        try:
            run.run()
        finally:
            Checkout.end_all()
    return 0 if run.report()["tried"] > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
