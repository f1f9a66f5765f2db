"""Builds a copy of the source tree again and again, and runs the tests of each build."""

import dataclasses
import json
import os
import pathlib
import re
import shutil
import threading
import time

from commands import Commands
from source_tree import is_product

# A copy is compiled fast rather than well. Tests are listed when they are to be run, so that a
# mutant that breaks the start of every program still builds.
# Each is compiled once; the cache is for what is compiled in other copies, or again when a header
# is as it was.
CONFIGURATION = ("-G", "Ninja", "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O0",
                 "-DTARVEK_TESTS=ON", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
                 "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
CACHE_SETTINGS = {"CCACHE_DEPEND": "1", "CCACHE_NOHASHDIR": "1", "CCACHE_MAXSIZE": "2G"}
FAST_LINKERS = {"mold": "mold", "ld.lld": "lld", "ld.gold": "gold"}

SLOW_TEST_SECONDS = 0.5  # a test that takes longer waits until all others have passed
OBJECT_SECONDS = 2  # what each object that must be compiled again puts a program's tests off

# How much longer than without a mutant tests may take.
PATIENCE_FACTOR = 3
PATIENCE_SECONDS = 15

RUN = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)
TIME = re.compile(r"^\[ +(?:OK|SKIPPED) \] ([^\s,]+).*\((\d+) ms\)$", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+)", re.MULTILINE)
FILTER = "--gtest_filter="


class BuildFailed(Exception):
    """The unchanged tree cannot be built, or fails its own tests; tells what was seen."""


@dataclasses.dataclass(frozen=True)
class TestSet:
    """Tests that one program runs."""

    program: str
    arguments: tuple
    tests: tuple  # names; none for a program that is one test
    slow: bool = False

    def command(self, *options):
        if not self.tests:
            return (self.program, *self.arguments)
        return (self.program, FILTER + ":".join(self.tests), *options)

    def without(self, tests):
        return dataclasses.replace(self, tests=tuple(t for t in self.tests if t not in tests))

    def only(self, test):
        return dataclasses.replace(self, tests=(test,))


@dataclasses.dataclass(frozen=True)
class Verdict:
    kind: str  # "killed", "survived" or "not built"
    details: str = ""  # the test that killed the mutant, and how it ended


class Workshop:
    """One copy of the tree with its own build and its own scratch directory."""

    _one_builds = threading.Lock()  # the others then find everything in the cache

    def __init__(self, directory, snapshot):
        self._source = directory / "source"
        self._build = directory / "build"
        directory.mkdir(parents=True, exist_ok=True)
        self._commands = Commands(directory, {**CACHE_SETTINGS, "CCACHE_BASEDIR": str(directory),
                                              "CCACHE_DIR": str(directory.parent / "ccache")})
        self._changed = {}  # path -> the text that it shall have again
        self._objects = {}  # program -> the objects that it is made of or starts
        self._readers = {}  # path of a source file -> the objects that are compiled from it
        self._sets = []
        self._seconds = {}  # (program, test) -> how long it takes; the test "" is the program
        snapshot.write_to(self._source)

    def prepare(self):
        """Builds the unchanged tree and runs its tests."""
        linkers = [f"-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld={name}"
                   for program, name in FAST_LINKERS.items() if shutil.which(program)]
        self._tool("cmake", "-S", self._source, "-B", self._build, *CONFIGURATION, *linkers[:1])
        with self._one_builds:
            self._tool("ninja", "-C", self._build)
        self._learn_readers()
        product = set().union(*(objects for path, objects in self._readers.items()
                                if is_product(path)))
        for test_set in self._all_sets():
            self._learn_objects(test_set.program)
            if self._objects[test_set.program] & product:
                self._measure(test_set)

    def judge(self, mutant):
        """Builds the tree with the mutant in it, and runs the tests until one fails."""
        test_sets = self._sets_for(mutant.path)
        if not test_sets:
            raise BuildFailed(f"no test is built from {mutant.path}")
        self._change(mutant)
        built = set()
        for test_set in test_sets:
            if test_set.program not in built and not self._rebuild(test_set.program):
                return Verdict("not built")
            built.add(test_set.program)
            killer = self._killer(test_set)
            if killer:
                return Verdict("killed", f"{os.path.basename(test_set.program)} {killer}")
        return Verdict("survived")

    def close(self):
        self._commands.close()

    # The tree.

    def _change(self, mutant):
        for path, text in self._changed.items():
            if path != mutant.path:
                (self._source / path).write_text(text)
        text = self._changed.get(mutant.path) or (self._source / mutant.path).read_text()
        self._changed = {mutant.path: text}
        (self._source / mutant.path).write_text(mutant.apply(text))

    def _target(self, program):
        return os.path.relpath(program, self._build)

    def _rebuild(self, program):
        manner, _ = self._commands.run(("ninja", "-C", self._build, self._target(program)))
        return manner is None

    def _tool(self, *command):
        manner, output = self._commands.run(command)
        if manner:
            raise BuildFailed(f"{command[0]} {manner}\n{output[-4000:]}")
        return output

    def _learn_readers(self):
        user = None
        for line in self._tool("ninja", "-C", self._build, "-t", "deps").splitlines():
            if line and not line.startswith(" "):
                user = line.split(":")[0]
            elif line:
                path = os.path.relpath(self._build / line.strip(), self._source)
                self._readers.setdefault(path, set()).add(user)

    def _learn_objects(self, program):
        listed = self._tool("ninja", "-C", self._build, "-t", "inputs", self._target(program))
        self._objects[program] = {line for line in listed.splitlines() if line.endswith(".o")}

    # The tests.

    def _all_sets(self):
        listed = json.loads(self._tool("ctest", "--test-dir", self._build, "--show-only=json-v1"))
        found = {}
        for test in listed["tests"]:
            program, *arguments = test["command"]
            if not pathlib.Path(program).is_relative_to(self._build):
                continue  # looks at the tree, not at what was built
            names = [word[len(FILTER):] for word in arguments if word.startswith(FILTER)]
            key = (program, () if names else tuple(arguments))
            found.setdefault(key, []).extend(names)
        return [TestSet(*key, tuple(names)) for key, names in found.items()]

    def _measure(self, test_set):
        """Runs the tests as they are, and keeps them: the lengthy ones apart from the others.

        A test that fails already cannot judge a mutant, and is left out.
        """
        began = time.monotonic()
        manner, output = self._commands.run(test_set.command())
        self._seconds[test_set.program, ""] = time.monotonic() - began
        for name, ms in TIME.findall(output):
            self._seconds[test_set.program, name] = int(ms) / 1000
        failed = [name for name in FAILED.findall(output) if name in test_set.tests]
        if manner and not failed:
            raise BuildFailed(f"{test_set.program} without a mutant: {manner}\n{output[-4000:]}")
        for name in dict.fromkeys(failed):
            print(f"Left out, as it fails without a mutant: {name}", flush=True)
        test_set = test_set.without(failed)
        slow = [name for name in test_set.tests
                if self._seconds[test_set.program, name] > SLOW_TEST_SECONDS]
        if not test_set.tests or len(slow) < len(test_set.tests):
            self._sets.append(test_set.without(slow))
        if slow:
            self._sets.append(dataclasses.replace(test_set, tests=tuple(slow), slow=True))

    def _seconds_of(self, test_set):
        return sum(self._seconds[test_set.program, name] for name in test_set.tests or ("",))

    def _sets_for(self, path):
        """The tests that can tell a change of the file, those of its own unit test first."""
        own = "/" + pathlib.Path(path).stem + "_test.cpp.o"
        readers = self._readers.get(path, set())

        def rank(test_set):
            objects = self._objects[test_set.program]
            is_own = any(name.endswith(own) for name in objects)
            wait = len(objects & readers) * OBJECT_SECONDS + self._seconds_of(test_set)
            return test_set.slow, not is_own, wait

        return sorted((test_set for test_set in self._sets
                       if self._objects[test_set.program] & readers), key=rank)

    def _killer(self, test_set):
        """The test that fails, and how; "" when all pass.

        A program's tests share a process here, which the project's own runs do not let them: a
        test that fails must fail alone, too, or it is passed over.
        """
        tests = test_set
        while True:
            manner, output = self._run(tests)
            if not manner:
                return ""
            culprits = FAILED.findall(output) or RUN.findall(output)[-1:]
            if not tests.tests or not culprits:
                return f"({manner})"
            manner, _ = self._run(tests.only(culprits[0]))
            if manner:
                return f"{culprits[0]} ({manner})"
            tests = tests.without(culprits[:1])
            if not tests.tests:
                return ""

    def _run(self, test_set):
        patience = PATIENCE_FACTOR * self._seconds_of(test_set) + PATIENCE_SECONDS
        return self._commands.run(test_set.command("--gtest_fail_fast"), patience)
