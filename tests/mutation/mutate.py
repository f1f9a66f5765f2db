"""Breaks the product on purpose, one small change a build, and counts what the tests notice.

A change that no test notices is either one that a test is missing for, or one that changes nothing
anyone can see; those are listed in equivalent_mutants.txt, with the reason.
"""

import argparse
import collections
import concurrent.futures
import contextlib
import itertools
import pathlib
import queue
import signal
import sys
import tempfile
import time

from choice import choose
from equivalents import key_of, read_equivalents
from mutants import find_mutants
from source_tree import Snapshot
from workshop import BuildFailed, Verdict, Workshop

EQUIVALENTS = pathlib.Path(__file__).with_name("equivalent_mutants.txt")
KILLED, SURVIVED, NOT_BUILT, EQUIVALENT = "killed", "survived", "not built", "equivalent"
KINDS = (KILLED, SURVIVED, EQUIVALENT, NOT_BUILT)


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/mutate", description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=200, metavar="N",
                        help="how many mutants to try (default 200)")
    parser.add_argument("--seed", type=int, default=1, metavar="N",
                        help="which ones (default 1)")
    parser.add_argument("--only", action="append", default=[], metavar="PATH",
                        help="only those of this folder or file; may be given again")
    parser.add_argument("--id", action="append", default=[], help="only this one; again, too")
    parser.add_argument("--listed", action="store_true",
                        help="try those that are listed as equivalent: no test may kill one")
    parser.add_argument("--list", action="store_true", help="show the chosen ones, try none")
    parser.add_argument("--jobs", type=int, default=1, metavar="N",
                        help="how many to try at a time, each in a copy of its own (default 1)")
    parser.add_argument("--minimum", type=float, default=90, metavar="PERCENT",
                        help="fail when fewer are killed (default 90)")
    parser.add_argument("--revision", metavar="COMMIT",
                        help="mutate this commit's tree, not the checkout's files")
    parser.add_argument("--work", metavar="DIRECTORY",
                        help="keep the copies and their builds there, and use them again")
    return parser.parse_args()


def is_below(path, places):
    return not places or any(path == place or path.startswith(place.rstrip("/") + "/")
                             for place in places)


def chosen_mutants(options, mutants_of, equivalents):
    wanted = {path: mutants for path, mutants in mutants_of.items() if is_below(path, options.only)}
    everything = [mutant for mutants in wanted.values() for mutant in mutants]
    if options.id:
        return [mutant for mutant in everything if mutant.id in options.id]
    if options.listed:
        return [mutant for mutant in everything if key_of(mutant) in equivalents]
    return choose(wanted, options.count, options.seed)


def show(mutant, verdict="", lead=""):
    place = f"{mutant.path}:{mutant.line}"
    print(f"{lead}{mutant.id} {place} {mutant.function}{mutant.function and ' '}"
          f"{mutant.operator}{verdict and ': '}{verdict}\n"
          f"    - {mutant.original}\n    + {mutant.mutated}", flush=True)


class Tally:
    """Takes the verdicts as they come, and shows them."""

    def __init__(self, expected):
        self._expected = expected
        self.verdicts = []  # pairs of a mutant and its verdict
        self._seconds = 0

    def add(self, mutant, verdict, seconds):
        self.verdicts.append((mutant, verdict))
        self._seconds += seconds
        by = f" by {verdict.details}" if verdict.kind == KILLED else ""
        show(mutant, f"{verdict.kind.upper() if verdict.kind == SURVIVED else verdict.kind}{by}, "
             f"{seconds:.1f} s", f"[{len(self.verdicts)}/{self._expected}] ")

    def count(self, kind):
        return sum(verdict.kind == kind for _, verdict in self.verdicts)

    def percentage(self):
        judged = self.count(KILLED) + self.count(SURVIVED)
        return 100 * self.count(KILLED) / judged if judged else 100

    def summary(self):
        self._table("operator", lambda mutant: mutant.operator)
        self._table("folder", lambda mutant: mutant.path.split("/")[0])
        timed_out = sum("timed out" in verdict.details for _, verdict in self.verdicts)
        tried = len(self.verdicts) - self.count(EQUIVALENT)
        print(f"\n{len(self.verdicts)} mutants: "
              + ", ".join(f"{self.count(kind)} {kind}" for kind in KINDS)
              + f" ({timed_out} of the killed timed out);"
              f" {self._seconds / max(tried, 1):.1f} s each")
        print(f"{self.percentage():.1f} % of those that count were killed")

    def _table(self, title, name_of):
        rows = collections.defaultdict(collections.Counter)
        for mutant, verdict in self.verdicts:
            rows[name_of(mutant)][verdict.kind] += 1
        print(f"\n{title:<12}" + "".join(f"{kind:>12}" for kind in KINDS))
        for name, row in sorted(rows.items()):
            print(f"{name:<12}" + "".join(f"{row[kind]:>12}" for kind in KINDS))


@contextlib.contextmanager
def work_directory(kept):
    if kept:
        yield pathlib.Path(kept).resolve()
        return
    with tempfile.TemporaryDirectory(prefix="tarvek-mutants-") as directory:
        yield pathlib.Path(directory).resolve()


def by_file(mutants):
    """Groups of the same file, so that a file is compiled for the next mutant only, not to restore
    it; headers, which take longest, first."""
    ordered = sorted(mutants, key=lambda mutant: (not mutant.path.endswith(".h"), mutant.path))
    return [list(group) for _, group in itertools.groupby(ordered, lambda mutant: mutant.path)]


def try_groups(workshop, groups, verdicts):
    workshop.prepare()
    while True:
        try:
            group = groups.get_nowait()
        except queue.Empty:
            return
        for mutant in group:
            began = time.monotonic()
            verdict = workshop.judge(mutant)
            verdicts.put((mutant, verdict, time.monotonic() - began))


def try_all(options, snapshot, mutants, tally):
    groups, verdicts = queue.Queue(), queue.Queue()
    for group in by_file(mutants):
        groups.put(group)
    with work_directory(options.work) as directory, contextlib.ExitStack() as stack:
        pool = stack.enter_context(concurrent.futures.ThreadPoolExecutor(options.jobs))
        shops = [Workshop(directory / str(number), snapshot) for number in range(options.jobs)]
        for shop in shops:
            stack.callback(shop.close)
        print(f"Building the tree as it is ({options.jobs}), and running its tests", flush=True)
        workers = [pool.submit(try_groups, shop, groups, verdicts) for shop in shops]
        for _ in mutants:
            tally.add(*next_verdict(verdicts, workers))


def next_verdict(verdicts, workers):
    while True:
        with contextlib.suppress(queue.Empty):
            return verdicts.get(timeout=1)
        for worker in workers:
            if worker.done():
                worker.result()  # raises what ended it


def report_stale(equivalents, mutants_of):
    present = {key_of(mutant) for mutants in mutants_of.values() for mutant in mutants}
    for stale in sorted(equivalents.keys() - present, key=str):
        print(f"No mutant any more, in {EQUIVALENTS.name}: {stale.path} {stale.function}\n"
              f"    - {stale.original}\n    + {stale.mutated}")


def main():
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    options = arguments()
    snapshot = Snapshot(options.revision)
    equivalents = read_equivalents(EQUIVALENTS.read_text())
    mutants_of = {path: find_mutants(path, text) for path, text in snapshot.product_files().items()}
    report_stale(equivalents, mutants_of)
    mutants = chosen_mutants(options, mutants_of, equivalents)
    if options.list:
        for mutant in mutants:
            show(mutant, EQUIVALENT if key_of(mutant) in equivalents else "")
        return 0
    tally = Tally(len(mutants))
    waiting = []
    for mutant in mutants:
        if key_of(mutant) in equivalents and not options.listed:
            tally.add(mutant, Verdict(EQUIVALENT), 0)
        else:
            waiting.append(mutant)
    try:
        try_all(options, snapshot, waiting, tally)
    except BuildFailed as failure:
        print(failure)
        return 1
    except KeyboardInterrupt:
        print("Interrupted")
        return 1
    tally.summary()
    if options.listed:
        return 1 if tally.count(KILLED) else 0
    return 0 if tally.percentage() >= options.minimum else 1


if __name__ == "__main__":
    sys.exit(main())
