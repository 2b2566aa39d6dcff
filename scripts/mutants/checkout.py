"""A copy of the checkout in which mutants are built and tested; the working tree itself is never touched."""
import hashlib
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import time
from pathlib import Path

FOLDERS = ["base", "trace", "daemon", "os", "hardware"]
# What these look at is not the code that is mutated (or, sdk_end_to_end, they build for longer than all others run).
LEFT_OUT = {"abi_gate", "house_rules", "man_pages", "run_level_note", "sdk_end_to_end", "sdk_headers",
            "service_exposure"}
MEMORY = 6 << 30  # bytes of one process: a mutant must not take the machine


def limit_resources():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def output_of(command):
    """The object of an entry of compile_commands.json."""
    return re.search(r" -o (\S+)", command["command"])[1]


class Checkout:
    running = set()  # process groups that were started here and have not ended
    def __init__(self, root, folder, has_all_tests=True, seconds=900):
        self.root = Path(root)
        self.source = Path(folder)
        self.build = self.source / "build"  # as everywhere: ccache then knows what is not mutated
        self.seconds = seconds
        self.has_all_tests = has_all_tests
        self.environment = {**os.environ, "CCACHE_NOHASHDIR": "1", "CCACHE_BASEDIR": str(folder),
                            "MUTANTS_COPY": str(folder), "GTEST_FAIL_FAST": "1",
                            "TMPDIR": str(self.build / "scratch")}
        self.digest = ""  # of all sources
        self.tests = {}
        self.objects = {}
        self.hashes = {}  # of the objects without a mutant

    # --- the copy

    def synchronize(self):
        """Makes the copy's sources those of the working tree; what is the same keeps its time."""
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=self.root, check=True,
                                capture_output=True, text=True).stdout.split("\0")
        names = {name for name in listed if name and (self.root / name).is_file()}
        digest = hashlib.sha256()
        for name in sorted(names):
            digest.update(name.encode() + (self.root / name).read_bytes())
            here, there = self.root / name, self.source / name
            if not there.is_file() or there.read_bytes() != here.read_bytes():
                there.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(here, there)
                shutil.copymode(here, there)
        for path in [path for path in self.source.rglob("*") if path.is_file() and self.build not in path.parents]:
            if str(path.relative_to(self.source)) not in names:
                path.unlink()
        self.digest = digest.hexdigest()

    def configure(self):
        (self.build / "scratch").mkdir(parents=True, exist_ok=True)
        launcher = Path(__file__).parent / "compile.sh"
        linker = "-Wl,--strip-debug" + (" -fuse-ld=gold" if shutil.which("ld.gold") else "")
        options = [f"-DCMAKE_{language}_COMPILER_LAUNCHER={launcher}" for language in ("C", "CXX")]
        options += [f"-DCMAKE_{kind}_LINKER_FLAGS={linker}" for kind in ("EXE", "MODULE", "SHARED")]
        code, text = self.run(["cmake", "-S", str(self.source), "-B", str(self.build), "-G", "Ninja", *options])
        if code != 0:
            raise RuntimeError(f"the copy cannot be configured:\n{text}")

    def prepare(self):
        """Builds, and learns which tests pass, how long they take, and which objects each source goes into."""
        self.synchronize()
        self.configure()
        tests = self.list_tests()
        targets = ["all"] if self.has_all_tests else sorted(
            {"morla", *(test["target"] for test in tests.values() if test["target"] != "all")})
        is_built, text = self.make(*targets)
        if not is_built:
            raise RuntimeError(f"the copy does not build:\n{text[-3000:]}")
        self.learn_objects()
        learned = self.build / f"learned-{len(tests)}.json"
        known = json.loads(learned.read_text()) if learned.exists() else {}
        if known.get("digest") == self.digest:
            self.hashes = known["hashes"]
            self.tests = {name: {**tests[name], "seconds": seconds} for name, seconds in known["seconds"].items()}
            return
        self.hashes = {name: self.hash_of(name) for names in self.objects.values() for name in names}
        self.learn_tests(tests)
        learned.write_text(json.dumps({"digest": self.digest, "hashes": self.hashes, "seconds": {
            name: test["seconds"] for name, test in self.tests.items()}}))

    def learn_objects(self):
        of_products = tuple(f"{folder}/CMakeFiles/" for folder in FOLDERS)
        target = ""
        for line in subprocess.run(["ninja", "-C", str(self.build), "-t", "deps"], check=True, capture_output=True,
                                   text=True).stdout.split("\n"):
            if line.startswith(" "):
                path = os.path.normpath(self.build / line.strip())
                if target.startswith(of_products) and path.startswith(f"{self.source}/"):
                    self.objects.setdefault(path[len(str(self.source)) + 1:], []).append(target)
            elif line:
                target = line.split(":")[0]

    def list_tests(self):
        listing = json.loads(subprocess.run(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"], check=True,
                                            capture_output=True, text=True).stdout)
        targets = set(re.findall(r"^(\S+): ", subprocess.run(
            ["ninja", "-C", str(self.build), "-t", "targets", "all"], check=True, capture_output=True,
            text=True).stdout, re.M))
        included = self.headers_of_tests()
        tests = {}
        for test in listing["tests"]:
            name = test["name"]
            folder = Path(next(p["value"] for p in test["properties"] if p["name"] == "WORKING_DIRECTORY")).name
            is_own = folder in FOLDERS or name == "daemon_end_to_end_test"
            if name not in LEFT_OUT and (self.has_all_tests or (is_own and name in targets)):
                tests[name] = {"target": name if name in targets else "all", "folder": folder,
                               "headers": included.get(name, set())}
        return tests

    def learn_tests(self, tests):
        for name, test in tests.items():
            word = ""
            for _ in range(3):  # on a busy machine one of them may fail
                started = time.monotonic()
                word, text = self.try_test(name, 600)
                if word == "passed":
                    break
            if word == "passed":
                self.tests[name] = {**test, "seconds": time.monotonic() - started}
            else:
                print(f"left out, since it fails without a mutant: {name}\n{text[-600:]}", flush=True)

    def headers_of_tests(self):
        headers = {}
        for command in json.loads((self.build / "compile_commands.json").read_text()):
            match = re.match(r"tests/.*CMakeFiles/([^/]+)\.dir/", output_of(command))
            if match:
                text = Path(command["file"]).read_text()
                headers.setdefault(match[1], set()).update(re.findall(r'#include "([^"]+)"', text))
        return headers

    # --- what runs in it

    def run(self, command, seconds=None, environment=None, before=None):
        """Exit code and output; the code is None when the time was over. The process leads a group of its own, which
        is ended with it."""
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env={**self.environment, **(environment or {})}, start_new_session=True,
                              preexec_fn=before) as process:
            self.running.add(process.pid)
            try:
                out, _ = process.communicate(timeout=seconds or self.seconds)
                code = process.returncode
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                out, _ = process.communicate()
                code = None
            self.running.discard(process.pid)
        return code, out.decode(errors="replace")

    @classmethod
    def end_all(cls):
        for group in list(cls.running):
            try:
                os.killpg(group, signal.SIGKILL)
            except ProcessLookupError:
                pass

    def make(self, *targets, is_mutant=False):
        # A mutant's objects are never wanted again.
        code, text = self.run(["ninja", "-C", str(self.build), "-j1" if is_mutant else "-j2", *targets], 3600,
                              {"CCACHE_READONLY": "1"} if is_mutant else None)
        return code == 0, text

    def try_test(self, name, seconds):
        """In a namespace of processes: whatever a mutant signals or leaves, it is its own."""
        command = ["unshare", "--pid", "--fork", "--kill-child=KILL", "--mount-proc"]
        if os.getuid() != 0:
            command.insert(1, "--map-root-user")
        code, text = self.run([*command, "ctest", "--test-dir", str(self.build), "--output-on-failure", "-R",
                               f"^{re.escape(name)}$"], seconds, before=limit_resources)
        if code is None:
            return "hang", text
        return ("passed" if code == 0 else "failed"), text

    def hash_of(self, target):
        path = self.build / target
        return hashlib.sha256(path.read_bytes()).hexdigest() if path.exists() else ""

    def optimized(self, target):
        """The code that the compiler makes of the object's source when it optimizes, as one text."""
        for command in json.loads((self.build / "compile_commands.json").read_text()):
            if output_of(command) == target:
                parts = [part for part in shlex.split(command["command"]) if not part.endswith("compile.sh")]
                parts[parts.index("-o") + 1] = "/dev/stdout"
                parts[parts.index("-c")] = "-S"
                code, text = self.run([*parts, "-O2", "-g0", "-w"])
                return text if code == 0 else None
        return None
