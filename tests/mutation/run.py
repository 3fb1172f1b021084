#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Changes the library in small ways, one at a time, and sees whether the tests notice.

The changes are spread over all sources in proportion to their size and chosen by
chance: the same seed chooses the same ones in the same sources. A change that does
not compile, that the compiler makes nothing of, or that equivalent.txt explains, is
replaced by the next one. Work is done in copies below build/mutation; tests run in a
sandbox of their own (see sandbox.py), which needs root. What survives is shown.
"""

import argparse
import collections
import concurrent.futures
import difflib
import hashlib
import json
import os
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys
import threading
import time

import mutants

ROOT = pathlib.Path(__file__).resolve().parents[2]
OUTPUT = ROOT / "build" / "mutation"
EQUIVALENT = pathlib.Path(__file__).with_name("equivalent.txt")
SANDBOX = pathlib.Path(__file__).with_name("sandbox.py")
FOLDERS = ("core", "log", "singleapp", "http", "util", "files")
LIMIT = 95.0

# They try how the library is packed and documented, not what it does.
OTHER_TESTS = re.compile(r"package_|guide_|readme_|demo_|docs$|threat_model$|translations_|lnav_format$")

# Where tests find their temporary directory; short, since names of sockets are.
TEMPORARY = "/run/t"

# They compile sources of the library themselves, so they are built with each change.
OWN_PROGRAMS = ("tst_storage", "tst_system")

Test = collections.namedtuple("Test", "name command environment directory folder")
Result = collections.namedtuple("Result", "mutant outcome by seconds")

# The outcome of a survivor of an earlier run, until it is tried again.
NOT_TRIED = "not tried"

print_lock = threading.Lock()


def say(text):
    with print_lock:
        print(text, flush=True)


# --- choosing -----------------------------------------------------------------

def tracked_files(*paths):
    """What is in the repository or will be."""
    listing = subprocess.run(["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached",
                              "--others", "--exclude-standard", *paths],
                             cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return sorted(name for name in set(listing.split("\0")) if name and (ROOT / name).is_file())


def sources():
    """The library's own sources. Public headers declare, and all tests depend on them."""
    return [name for name in tracked_files(*FOLDERS) if name.endswith((".cpp", "_p.h"))]


def squeezed(text):
    return " ".join(text.split())


def change_of(mutant, text):
    """The lines that a mutant changes, before and after, as one line each."""
    start = text.rfind("\n", 0, mutant.start) + 1
    end = text.find("\n", mutant.end)
    after = text[start:mutant.start] + mutant.replacement + text[mutant.end:end]
    return squeezed(text[start:end]), squeezed(after)


def read_equivalent():
    known = set()
    file = reason = before = None
    for number, line in enumerate(EQUIVALENT.read_text(encoding="utf-8").splitlines(), 1):
        if line.startswith("== "):
            file, reason = line[3:], None
        elif line.startswith("-- "):
            reason = line[3:]
        elif line.startswith("- ") and file and reason:
            before = line[2:]
        elif line.startswith("+ ") and before is not None:
            known.add((file, before, line[2:]))
            before = None
        elif line and not line.startswith(("#", "   ")):
            sys.exit(f"{EQUIVALENT}:{number}: not understood: {line}")
    return known


def shuffled(candidates, generator):
    """In an order in which each kind of change has the same chance."""
    by_kind = collections.defaultdict(list)
    for mutant in candidates:
        by_kind[mutant.kind].append(mutant)
    for alike in by_kind.values():
        generator.shuffle(alike)
    while by_kind:
        kind = generator.choice(sorted(by_kind))
        yield by_kind[kind].pop()
        if not by_kind[kind]:
            del by_kind[kind]


def shares(sizes, count):
    """count in proportion to the sizes, but one at least as far as it reaches."""
    largest_first = sorted(sizes, key=lambda name: (-sizes[name], name))
    given = {name: 1 for name in largest_first[:count]}
    for _ in range(count - len(given)):
        given[max(given, key=lambda name: sizes[name] / given[name])] += 1
    return dict(sorted(given.items()))


class Choice:
    """Hands out the mutants of each source, and the next one for one that is none."""

    def __init__(self, files, count, seed, known):
        self.texts = {name: (ROOT / name).read_text(encoding="utf-8") for name in files}
        self._lock = threading.Lock()
        self._queues = {}
        self.unknown = {change for change in known if change[0] in self.texts}
        sizes = {}
        for name, text in self.texts.items():
            changes = {mutant: (name, *change_of(mutant, text))
                       for mutant in mutants.mutants_of(name, text)}
            self.unknown -= set(changes.values())
            candidates = [mutant for mutant, change in changes.items() if change not in known]
            if candidates:
                sizes[name] = sum(bool(line.strip()) and not line.strip().startswith("//")
                                  for line in text.splitlines())
                self._queues[name] = shuffled(candidates, random.Random(f"{seed} {name}"))
        self.shares = shares(sizes, count) if sizes else {}
        self._largest = max(sizes, key=lambda name: (sizes[name], name)) if sizes else None

    def next(self, name):
        """The next one; of the largest source when this one has no more."""
        with self._lock:
            return next(self._queues[name], None) or next(self._queues[self._largest], None)


# --- building -----------------------------------------------------------------

class Tree:
    """A copy of the sources with a build of the library of its own."""

    def __init__(self, number):
        self.root = OUTPUT / f"tree-{number}"
        self.source = self.root / "source"
        self.build = self.root / "build"
        self.tests = self.root / "tests"
        self.temporary = self.root / "tmp"
        self._original = None
        self.environment = {**os.environ, "CCACHE_BASEDIR": str(self.root),
                            "CCACHE_NOHASHDIR": "1", "LC_ALL": "C.UTF-8"}

    def library(self):
        return (self.build / "libZeCore.so").resolve()

    def own_programs(self):
        return [self.build / "tests" / name for name in OWN_PROGRAMS]

    def prepare(self):
        self._copy_sources()
        options = [] if shutil.which("ninja") is None else ["-G", "Ninja"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if not any((self.build / name).exists() for name in ("build.ninja", "Makefile")):
            self._run(["cmake", "-S", str(self.source), "-B", str(self.build), *options,
                       "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O0 -DNDEBUG",
                       "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"])
        self._run(self._build_command(2))
        self._original = self._digest()

    def _build_command(self, jobs):
        return ["cmake", "--build", str(self.build), "--parallel", str(jobs),
                "--target", "ZeCore", *OWN_PROGRAMS]

    def _run(self, command):
        done = subprocess.run(command, env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{' '.join(command)}\n{done.stdout[-4000:]}")

    def _copy_sources(self):
        names = set(tracked_files())
        for old in list(self.source.rglob("*")) if self.source.exists() else []:
            if old.is_file() and str(old.relative_to(self.source)) not in names:
                old.unlink()
        for name in names:
            copy = self.source / name
            content = (ROOT / name).read_bytes()
            if not copy.exists() or copy.read_bytes() != content:
                copy.parent.mkdir(parents=True, exist_ok=True)
                copy.write_bytes(content)
            shutil.copymode(ROOT / name, copy)

    def _digest(self):
        """The same for a change that the compiler makes nothing of."""
        digest = hashlib.sha256()
        for path in [self.library(), *self.own_programs()]:
            digest.update(path.read_bytes())
        return digest.digest()

    def build_with(self, name, text):
        """Builds with other contents of a source: "changed", "same" or "broken"."""
        (self.source / name).write_text(text, encoding="utf-8")
        done = subprocess.run(self._build_command(1), env=self.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.returncode != 0:
            return "broken"
        return "same" if self._digest() == self._original else "changed"

    def restore(self, name, text):
        """The next build compiles it anew."""
        (self.source / name).write_text(text, encoding="utf-8")


# --- testing ------------------------------------------------------------------

class Programs:
    """The test programs of a build, with its library replaced when they run."""

    def __init__(self, build, pattern):
        self.directory = build / "tests"
        self.library = (build / "libZeCore.so").resolve()
        self.copy = OUTPUT / "tests"
        self.tests = [test for test in self._listed(build) if re.search(pattern, test.name)]
        # The build may go on to change.
        shutil.rmtree(self.copy, ignore_errors=True)
        self.copy.mkdir(parents=True)
        for path in self.directory.iterdir():
            if path.is_file() and os.access(path, os.X_OK):
                shutil.copy2(path, self.copy)

    @staticmethod
    def _listed(build):
        """What ctest would run, with the folder of the sources of each."""
        listing = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True,
                                 capture_output=True, text=True).stdout
        for entry in json.loads(listing)["tests"]:
            if OTHER_TESTS.match(entry["name"]):
                continue
            properties = {item["name"]: item["value"] for item in entry.get("properties", ())}
            environment = dict(text.split("=", 1) for text in properties.get("ENVIRONMENT", ()))
            places = list((ROOT / "tests").glob(f"*/{entry['name']}.cpp"))
            yield Test(entry["name"], entry.get("command", ["missing"]), environment,
                       properties.get("WORKING_DIRECTORY", str(build)),
                       places[0].parent.name if places else "")


FAILURE = re.compile(rb"^(?:FAIL!|XPASS) +: \w+::(\w+)\(")


class Runner:
    """Runs tests in sandboxes."""

    def __init__(self, tree, programs):
        self._tree = tree
        self._programs = programs

    def _prepare(self):
        # shutil's rmtree() gives up on directories as deep as a mutant may leave.
        subprocess.run(["rm", "-rf", self._tree.tests, self._tree.temporary], check=True)
        shutil.copytree(self._programs.copy, self._tree.tests)
        for path in self._tree.own_programs():
            shutil.copy2(path, self._tree.tests)
        self._tree.temporary.mkdir()
        self._tree.temporary.chmod(0o1777)

    def _sandbox(self):
        tree, programs = self._tree, self._programs
        # Ends with this program, however it ends, and everything in it as well.
        return ["setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "--pid", "--ipc", "--net",
                "--fork", "--kill-child", "--mount-proc", sys.executable, "-B", str(SANDBOX),
                f"{tree.library()}:{programs.library}", f"{tree.tests}:{programs.directory}",
                f"{tree.temporary}:{TEMPORARY}", "--"]

    def run(self, test, limit, function=None):
        """"passed", "failed" or "timed out", the seconds, and the function that failed.

        Ends with the first failure that a test reports."""
        self._prepare()
        command = [*self._sandbox(), *test.command, *([function] if function else [])]
        environment = {**self._tree.environment, **test.environment,
                       "TMPDIR": TEMPORARY, "HOME": TEMPORARY}
        start = time.monotonic()
        process = subprocess.Popen(command, cwd=test.directory, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True)
        timed_out = threading.Event()

        def give_up():
            timed_out.set()
            process.kill()  # and with it everything in the sandbox

        timer = threading.Timer(limit, give_up)
        timer.start()
        failed = None
        with process.stdout:
            for line in process.stdout:
                failed = FAILURE.match(line)
                if failed:
                    process.kill()
                    break
            process.wait()
        timer.cancel()
        seconds = time.monotonic() - start
        if failed:
            return "failed", seconds, failed.group(1).decode()
        if timed_out.is_set():
            return "timed out", seconds, None
        return "failed" if process.returncode else "passed", seconds, None


class Worker:
    """Tries mutants in its tree."""

    def __init__(self, tree, programs, choice, history):
        self._tree = tree
        self._runner = Runner(tree, programs)
        self._choice = choice
        self._history = history
        self._tests = programs.tests

    def measure(self):
        """Runs the tests with the library as it is."""
        for test in self._tests:
            outcome, seconds, function = self._runner.run(test, 600)
            say(f"  {test.name}: {outcome} ({seconds:.1f} s)")
            if outcome != "passed":
                sys.exit(f"{test.name} fails without any change ({function})")
            self._history.seconds[test.name] = seconds

    def try_one(self, file, given=None):
        """The result of the next mutant of a source; None if there is no further one."""
        while True:
            mutant = given or self._choice.next(file)
            if mutant is None:
                return None
            text = self._choice.texts[mutant.file]
            try:
                built = self._tree.build_with(mutant.file, mutants.applied(text, mutant))
                result = self._judge(mutant) if built == "changed" else None
            finally:
                self._tree.restore(mutant.file, text)
            if result:
                return result
            self._history.skipped[built] += 1
            if given:
                return Result(mutant, built, "", 0.0)

    def _judge(self, mutant):
        start = time.monotonic()
        for test in self._history.ordered(self._tests, mutant.file):
            limit = 20 + 4 * self._history.seconds[test.name]
            outcome, _, function = self._runner.run(test, limit)
            # A failure that does not repeat is the test's, not the mutant's.
            if outcome == "failed" and self._runner.run(test, limit, function)[0] == "passed":
                say(f"  {test.name} ({function}) failed once in {mutant.file}")
                continue
            if outcome != "passed":
                self._history.caught(mutant.file, test.name)
                by = f"{test.name} {function or outcome}"
                return Result(mutant, "caught", by, time.monotonic() - start)
        return Result(mutant, "survived", "", time.monotonic() - start)


class History:
    """What has been learnt of the tests."""

    def __init__(self):
        self.seconds = {}
        self.skipped = collections.Counter()
        self._catches = collections.Counter()

    def caught(self, file, test):
        self._catches[file, test] += 1

    def ordered(self, tests, file):
        """Those first that have caught something here, then those of the folder, then the quick."""
        folder = file.split("/", maxsplit=1)[0]
        return sorted(tests, key=lambda test: (-self._catches[file, test.name],
                                               test.folder != folder, self.seconds[test.name]))


# --- reporting ----------------------------------------------------------------

def diff_of(mutant, text):
    changed = mutants.applied(text, mutant)
    return "".join(difflib.unified_diff(text.splitlines(keepends=True),
                                        changed.splitlines(keepends=True),
                                        f"a/{mutant.file}", f"b/{mutant.file}", n=2))


def describe(result, text):
    line = text.count("\n", 0, result.mutant.start) + 1
    before, after = change_of(result.mutant, text)
    by = f" by {result.by}" if result.by else ""
    return (f"{result.outcome}{by} ({result.seconds:.0f} s): {result.mutant.file}:{line}"
            f" {result.mutant.kind}\n    - {before}\n    + {after}")


def write_report(results, texts, title):
    survivors = [result for result in results if result.outcome == "survived"]
    summary = summary_of(results)
    report = [title, summary, ""]
    report += [diff_of(result.mutant, texts[result.mutant.file]) for result in survivors]
    report += [describe(result, texts[result.mutant.file]) for result in results]
    (OUTPUT / "report.txt").write_text("\n".join(report) + "\n", encoding="utf-8")
    entries = [{"file": result.mutant.file, "outcome": result.outcome, "by": result.by,
                "kind": result.mutant.kind,
                "change": change_of(result.mutant, texts[result.mutant.file])}
               for result in results]
    (OUTPUT / "report.json").write_text(json.dumps(entries, indent=1), encoding="utf-8")
    return survivors, summary


def caught_share(results):
    count = sum(result.outcome in ("caught", "survived") for result in results)
    caught = sum(result.outcome == "caught" for result in results)
    return caught, count, 100.0 * caught / count if count else 100.0


def summary_of(results):
    caught, count, share = caught_share(results)
    return f"{caught} of {count} mutants caught ({share:.1f} %), {count - caught} survived"


def survivors_of_last_run(texts, known):
    """Those that can still be found in the sources and are not explained by now."""
    try:
        entries = json.loads((OUTPUT / "report.json").read_text(encoding="utf-8"))
    except FileNotFoundError:
        sys.exit("--again: there is no report of a run before")
    wanted = {(entry["file"], *entry["change"]) for entry in entries
              if entry["outcome"] in ("survived", NOT_TRIED)} - known
    found = []
    for name, text in texts.items():
        for mutant in mutants.mutants_of(name, text):
            key = (name, *change_of(mutant, text))
            if key in wanted:
                wanted.discard(key)
                found.append(mutant)
    return found


# --- running ------------------------------------------------------------------

def arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.split("\n\n")[0])
    parser.add_argument("count", nargs="?", type=int, default=100, help="mutants to try (100)")
    parser.add_argument("--seed", default="1", help="what the choice begins with (1)")
    parser.add_argument("--jobs", "-j", type=int, default=1, help="mutants at a time (1)")
    parser.add_argument("--file", help="only sources with this in their path")
    parser.add_argument("--list", action="store_true", help="only show what would be tried first")
    parser.add_argument("--again", action="store_true", help="only the survivors of the last run")
    parser.add_argument("--build", default=ROOT / "build" / "release",
                        help="the build whose test programs are used (build/release)")
    parser.add_argument("--tests", default="", help="only tests whose name matches this")
    return parser.parse_args()


def run_all(tasks, workers, texts, title):
    """tasks are pairs of a source and a mutant, or None for the next one."""
    free = queue.SimpleQueue()
    for worker in workers:
        free.put(worker)
    results = []
    untried = {mutant: Result(mutant, NOT_TRIED, "", 0.0) for _, mutant in tasks if mutant}
    lock = threading.Lock()

    def run(task):
        worker = free.get()
        try:
            result = worker.try_one(*task)
        finally:
            free.put(worker)
        if result is None:
            return
        with lock:
            results.append(result)
            untried.pop(result.mutant, None)
            write_report([*results, *untried.values()], texts, title)
            say(f"[{len(results)}/{len(tasks)}] {describe(result, texts[result.mutant.file])}")

    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        waiting = [pool.submit(run, task) for task in tasks]
        try:
            for done in concurrent.futures.as_completed(waiting):
                done.result()
        except BaseException:
            pool.shutdown(cancel_futures=True)
            raise
    return sorted(results, key=lambda result: (result.mutant.file, result.mutant.start))


def main():
    options = arguments()
    files = [name for name in sources() if not options.file or options.file in name]
    if not files:
        sys.exit(f"no source of the library has {options.file} in its path")
    known = read_equivalent()
    choice = Choice(files, options.count, options.seed, known)
    for file, before, after in sorted(choice.unknown):
        say(f"{EQUIVALENT.name}: no such change of {file}: {before} -> {after}")
    if options.again:
        tasks = [(mutant.file, mutant) for mutant in survivors_of_last_run(choice.texts, known)]
    else:
        tasks = [(name, None) for name, share in choice.shares.items() for _ in range(share)]
    if not tasks:
        say("There is nothing to try")
        return
    if options.list:
        for file, given in tasks:
            mutant = given or choice.next(file)
            print(diff_of(mutant, choice.texts[mutant.file]))
        return
    if os.geteuid() != 0:
        sys.exit("the sandbox of the tests needs root; without it a mutant could do harm")

    OUTPUT.mkdir(parents=True, exist_ok=True)
    trees = [Tree(number) for number in range(1, options.jobs + 1)]
    for tree in trees:
        say(f"Building {tree.build.relative_to(ROOT)}")
        tree.prepare()
    history = History()
    programs = Programs(pathlib.Path(options.build).resolve(), options.tests)
    workers = [Worker(tree, programs, choice, history) for tree in trees]
    say("The tests without any change")
    workers[0].measure()

    title = f"{time.strftime('%Y-%m-%d', time.gmtime())}, seed {options.seed}, {len(tasks)} mutants"
    say(title)
    # In one order, whatever chance decides, so that both trees have work to the end.
    random.Random(options.seed).shuffle(tasks)
    results = run_all(tasks, workers, choice.texts, title)
    survivors, summary = write_report(results, choice.texts, title)
    for result in survivors:
        print(diff_of(result.mutant, choice.texts[result.mutant.file]))
    skipped = history.skipped
    print(f"{summary}; not counted: {skipped['broken']} that did not compile, "
          f"{skipped['same']} that the compiler made nothing of")
    print(f"The report is {(OUTPUT / 'report.txt').relative_to(ROOT)}")
    if caught_share(results)[2] < LIMIT:
        sys.exit(f"below the limit of {LIMIT} %")


if __name__ == "__main__":
    main()
