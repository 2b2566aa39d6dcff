"""One mutant: built in a copy of the checkout and handed to the tests, those first that are most likely to notice."""
from pathlib import Path

MOST_OBJECTS = 6  # of those that a header goes into


class Trial:
    def __init__(self, checkout, mutation, kills):
        self.checkout = checkout
        self.mutation = mutation
        self.kills = kills
        self.path = checkout.source / mutation.file
        self.source = self.path.read_text()

    def run(self):
        """(result, test, how): result is `uncompilable`, `equal`, `noticed` or `survived`."""
        objects = self.own_first(self.checkout.objects.get(self.mutation.file, []))
        if not objects:
            return "equal", "", "in no object"
        if self.source[self.mutation.start:self.mutation.end] != self.mutation.old:
            return "uncompilable", "", "the file has changed since the draw"
        self.path.write_text(self.mutation.apply(self.source))
        try:
            return self.judge(objects)
        finally:
            self.path.write_text(self.source)

    def own_first(self, objects):
        folder = self.mutation.file.split("/", maxsplit=1)[0]
        ordered = sorted(objects, key=lambda name: (not name.startswith(folder + "/"), name))
        return ordered[:MOST_OBJECTS]

    def judge(self, objects):
        changed = ""
        for name in objects:
            is_built, _ = self.checkout.make(name, is_mutant=True)
            if not is_built:
                return "uncompilable", "", ""
            if self.checkout.hash_of(name) != self.checkout.hashes[name]:
                changed = name
                break
        if not changed:
            return "equal", "", "the same objects"
        for test in self.order():
            word = self.tried(test)
            if word != "passed":
                return ("uncompilable" if word == "unbuilt" else "noticed"), test, word
        return ("equal", "", "the same when optimized") if self.is_same_optimized(changed) else ("survived", "", "")

    def is_same_optimized(self, name):
        if self.mutation.file.endswith(".h"):
            return False
        mutant = self.checkout.optimized(name)
        self.path.write_text(self.source)
        return mutant is not None and mutant == self.checkout.optimized(name)

    def order(self):
        folder = self.mutation.file.split("/", maxsplit=1)[0]
        header = str(Path(self.mutation.file).with_suffix(".h"))

        def promise(name):
            test = self.checkout.tests[name]
            chance = (5 * self.kills.get((self.mutation.file, name), 0) + self.kills.get((folder, name), 0)
                      + 2 * (test["folder"] == folder) + 4 * (header in test["headers"]) + 0.1)
            return (test["target"] == "all", test["seconds"] > 10, -chance / (test["seconds"] + 1))

        tests = self.checkout.tests
        if not self.checkout.has_all_tests:  # --own: what is far away is tried again later, if at all
            near = (folder, "end_to_end") if folder == "daemon" else (folder,)
            tests = [name for name, test in tests.items() if test["folder"] in near or header in test["headers"]]
        return sorted(tests, key=promise)

    def tried(self, name):
        test = self.checkout.tests[name]
        is_built, _ = self.checkout.make(test["target"], is_mutant=True)
        if not is_built:
            return "unbuilt"
        limit = 10 + 5 * test["seconds"]
        word, _ = self.checkout.try_test(name, limit)
        if word == "failed":  # a busy machine may upset a test once
            word, _ = self.checkout.try_test(name, limit)
        return word
