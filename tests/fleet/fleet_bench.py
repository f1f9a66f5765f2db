"""Measures what a rollout costs its controller: run by scripts/fleet-bench, as the first process of its namespaces."""

import argparse
import contextlib
import math
import os
import pathlib
import resource
import subprocess
import sys
import threading
import time

from controller import GOOD, kill_connections
from fleet import BOARD_A, OLD, Fleet

SIZES = (10, 20, 40, 80)
FORKS = 20

# How ssh agrees on keys: OpenSSH's default costs more than all else of a connection, and would hide what plays cost.
EXCHANGE = "curve25519-sha256"
DEFAULT_EXCHANGE = "sntrup761x25519-sha512@openssh.com"
CONNECTIONS = 20

# Few servers are measured several times: as many as make this many servers.
REPEATED = 40

# What is promised.
MOST_OF_TRIVIAL = 1.3
MOST_OF_FIRST = 0.5
MOST_GROWTH = 1.15  # of a server's share, from the fewest servers to the most

# What is worked out from it.
FLEETS = (1000, 10000, 100000)
PROCESSORS = 8
MANY_FORKS = 200
UPDATE = 120  # seconds
NIGHT = 8 * 3600

BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"
PAGE = pathlib.Path(__file__).resolve().parent.parent.parent / "docs/fleet.md"

LOOK_EVERY = 0.3  # seconds
MIB = 1024  # KiB


class Cost:
    """What one run of Ansible cost."""

    def __init__(self, processor, wall, memory):
        self.processor = processor
        self.wall = wall
        self.memory = memory


def memory_of(session):
    """What the processes of a session have of the memory, shared parts divided, in KiB."""
    total = 0
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError, ValueError):
            if os.getsid(int(process.name)) == session:
                lines = process.joinpath("smaps_rollup").read_text("ascii").splitlines()
                total += sum(int(line.split()[1]) for line in lines if line.startswith("Pss:"))
    return total


class Watch(threading.Thread):
    """Looks at a session's memory again and again."""

    def __init__(self, play):
        super().__init__()
        self._play = play
        self._ended = threading.Event()
        self.peak = 0

    def run(self):
        while not self._ended.wait(LOOK_EVERY):
            self.peak = max(self.peak, memory_of(self._play.process))

    def end(self):
        """Ends it, and returns the most that it has seen."""
        self._ended.set()
        self.join()
        return self.peak


def reap():
    """Takes in what has lost its parent, ssh's connections among them, so that their time counts."""
    with contextlib.suppress(ChildProcessError):
        while os.waitpid(-1, os.WNOHANG)[0]:
            pass


def processor_time():
    """Of all children that have ended: seconds."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def measure(fleet, playbook):
    """Runs a playbook from its first connection on. Returns its cost and the run."""
    kill_connections()
    reap()
    before, began = processor_time(), time.monotonic()
    play = fleet.controller.start(playbook)
    watch = Watch(play)
    watch.start()
    play.wait()
    wall = time.monotonic() - began
    memory = watch.end()
    kill_connections()
    reap()
    if play.status != GOOD:
        sys.exit(f"{playbook} ended with status {play.status}:\n{play.output()[-4000:]}")
    return Cost(processor_time() - before, wall, memory), play


def write_trivial(fleet, tasks):
    """Writes the play of trivial tasks."""
    here = pathlib.Path(__file__).resolve().parent
    one = "    - name: Do next to nothing {0}\n      ansible.builtin.ping:\n"
    text = (here / "trivial.yml").read_text("ascii").replace("TASKS\n", "".join(
        one.format(number) for number in range(1, tasks + 1)))
    (fleet.controller.folder / "trivial.yml").write_text(text, encoding="ascii")


def least(rows):
    """Of the same measured several times what it costs when nothing else disturbs it."""
    best = dict(rows[0])
    for kind in ("first", "trivial", "again"):
        best[kind] = min((row[kind] for row in rows), key=lambda cost: cost.processor)
    return best


def measure_size(fleet, names):
    """A rollout, a play of as many trivial tasks, and a rollout in which nothing is to be done."""
    fleet.begin(names)
    first, play = measure(fleet, "rollout")
    fleet.now_due(*names)
    if fleet.wrong():
        sys.exit("\n".join(fleet.wrong()))
    tasks = len(play.tasks(names[-1]))
    write_trivial(fleet, tasks)
    trivial, _ = measure(fleet, "trivial")
    again, play = measure(fleet, "rollout")
    if play.changed():
        sys.exit(f"the second rollout has changed something: {play.changed()}")
    return dict(size=len(names), tasks=tasks, first=first, trivial=trivial, again=again)


def connection_costs(fleet):
    """What a connection costs with either exchange of keys, in Markdown."""
    costs = []
    for exchange in (EXCHANGE, DEFAULT_EXCHANGE):
        before = processor_time()
        for _ in range(CONNECTIONS):
            fleet.controller.connect(next(iter(fleet)).address, "-o", f"KexAlgorithms={exchange}")
        costs.append((processor_time() - before) / CONNECTIONS)
    return (f"A server's connection is {costs[0]:.2f} s of that, with {EXCHANGE}; with what OpenSSH 9 takes by itself,"
            f"\n{DEFAULT_EXCHANGE.partition('@')[0]}, it is {costs[1]:.2f} s, for any play.\n")


def table(rows):
    """The results in Markdown."""
    lines = ["| Servers | Tasks a server | Trivial play | Rollout | of trivial | a server | Wall time a server "
             "| Memory | Second rollout | of the first |",
             "|---|---|---|---|---|---|---|---|---|---|"]
    for row in rows:
        first, trivial, again, size = row["first"], row["trivial"], row["again"], row["size"]
        lines.append(
            f"| {size} | {row['tasks']} | {trivial.processor:.1f} s | {first.processor:.1f} s "
            f"| {first.processor / trivial.processor:.2f} | {first.processor / size:.2f} s "
            f"| {first.wall / size:.2f} s | {first.memory / MIB:.0f} MiB | {again.processor:.1f} s "
            f"| {again.processor / first.processor:.2f} |")
    return "\n".join(lines) + "\n"


def worked_out(rows):
    """What the largest fleet that was measured says of larger ones, in Markdown."""
    most = rows[-1]
    first, again = (most[kind].processor / most["size"] for kind in ("first", "again"))
    fork = most["first"].memory / MIB / min(FORKS, most["size"])
    lines = [f"One controller with {PROCESSORS} such processors and {MANY_FORKS} forks, which take "
             f"{fork * MANY_FORKS / MIB:.1f} GiB; an update takes {UPDATE // 60} minutes on its server, "
             f"and a night has {NIGHT // 3600} hours:", "",
             "| Servers | Processor time | so it takes at least | Waiting alone | Controllers for a night "
             "| With nothing to do |",
             "|---|---|---|---|---|---|"]
    for servers in FLEETS:
        computing, waiting = servers * first / PROCESSORS, servers * UPDATE / MANY_FORKS
        controllers = math.ceil(max(computing, waiting) / NIGHT)
        lines.append(f"| {servers:,} | {span(servers * first)} | {span(computing)} | {span(waiting)} | {controllers} "
                     f"| {span(servers * again / PROCESSORS)} |")
    return "\n".join(lines) + "\n"


def span(seconds):
    """A span of time for people."""
    if seconds < 60:
        return f"{seconds:.0f} s"
    if seconds < 2 * 3600:
        return f"{seconds / 60:.0f} min"
    return f"{seconds / 3600:.0f} h"


def broken(rows):
    """Which promises are not kept, in words."""
    found = []
    for row in rows:
        size, first = row["size"], row["first"].processor
        if first > MOST_OF_TRIVIAL * row["trivial"].processor:
            found.append(f"{size} servers: a rollout costs more than {MOST_OF_TRIVIAL} times a play of trivial tasks")
        if row["again"].processor > MOST_OF_FIRST * first:
            found.append(f"{size} servers: the second rollout costs more than {MOST_OF_FIRST} of the first")
    few, many = rows[0], rows[-1]
    if many["first"].processor / many["size"] > MOST_GROWTH * few["first"].processor / few["size"]:
        found.append(f"a server among {many['size']} costs more than {MOST_GROWTH} times one among {few['size']}")
    return found


def write(text):
    """Puts the table into the page."""
    page = PAGE.read_text("utf-8")
    head, rest = page.split(BEGIN + "\n", 1)
    _, tail = rest.split(END, 1)
    PAGE.write_text(f"{head}{BEGIN}\n{text}{END}{tail}", encoding="utf-8")


def main():
    """Measures."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    for name in ("tarvek", "tarvekctl", "bmcsim", "sshd", "work", "keep"):
        parser.add_argument(f"--{name}", type=pathlib.Path)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("sizes", nargs="*", type=int, metavar="SERVERS")
    options = parser.parse_args()
    sizes = sorted(options.sizes or SIZES)

    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", options.work], check=True)
    programs = [options.tarvek, options.tarvekctl, options.bmcsim, options.bmcsim.parent / "libbmcsim.so"]
    kinds = {f"server{number:03}": (BOARD_A, OLD, 2, 2) for number in range(1, sizes[-1] + 1)}
    fleet = Fleet(options.work, programs, options.sshd, options.keep or options.work / "runs", kinds=kinds, forks=FORKS,
                  ssh_options=f"  KexAlgorithms {EXCHANGE}\n")
    rows = []
    for size in sizes:
        rows.append(least([measure_size(fleet, list(kinds)[:size]) for _ in range(max(1, REPEATED // size))]))
        print(table(rows[-1:]).splitlines()[-1], flush=True)
    text = f"{table(rows)}\n{connection_costs(fleet)}\n{worked_out(rows)}"
    fleet.end()
    print(f"\n{text}")
    if options.write:
        write(text)
    complaints = broken(rows)
    print("\n".join(complaints) or "All promises are kept.")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
