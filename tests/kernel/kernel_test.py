"""Runs the tool on Linux's own IPMI driver, in machines that QEMU emulates.

Every machine boots Debian's kernel with an initramfs that holds the programs that ship, and runs
one scenario (guest/scenarios), on one of them as a service of systemd. Its BMC is bmcsim, behind
QEMU's external-BMC device. Scenarios that say nothing about time run once more on this host, over
the simulated driver, and must leave the same there. checks.py tells what must be seen.
"""

import argparse
import concurrent.futures
import contextlib
import pathlib
import signal
import sys
import tempfile
import time
import unittest

import checks
import debian_kernel
from machine import Workshop

# Machines mostly wait; a boot takes two seconds of one processor.
MACHINES_AT_ONCE = 8

# Those that live longest begin first.
LONG_LIVES = (checks.Control, checks.StuckKcs, checks.Systemd, checks.Update, checks.Beside,
              checks.Late, checks.Dead)


class Farm:
    """Runs all machines, a few at a time, and hands out their records as they are asked for."""

    def __init__(self, workshop, cases):
        self._workshop = workshop
        self._pool = concurrent.futures.ThreadPoolExecutor(MACHINES_AT_ONCE)
        ordered = sorted(cases, key=lambda case: case not in LONG_LIVES)
        self._booted = {case: self._pool.submit(self._boot, case) for case in ordered}
        self._simulated = {case: self._pool.submit(self._simulate, case) for case in ordered
                           if case.machine.on_both}

    def _boot(self, case):
        return self._workshop.boot(case.__name__, case.machine)

    def _simulate(self, case):
        return self._workshop.simulate(case.__name__, case.machine)

    def record(self, case):
        return self._booted[case].result()

    def simulated(self, case):
        return self._simulated[case].result()

    def close(self):
        self._workshop.close()
        self._pool.shutdown(cancel_futures=True)


class Report(unittest.TestResult):
    """One line a test, and what a failed one saw."""

    def __init__(self):
        super().__init__()
        self.passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1
        self._tell("ok", test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._tell("FAILED", test, self.failures[-1][1])

    def addError(self, test, err):
        super().addError(test, err)
        self._tell("FAILED", test, self.errors[-1][1])

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._tell("SKIPPED", test)

    @staticmethod
    def _tell(verdict, test, details=""):
        title = type(test).__doc__.strip().splitlines()[0]
        print(f"{verdict:8}{title}: {test.shortDescription()}", flush=True)
        if details:
            print(details, flush=True)

    def failed(self):
        return len(self.failures) + len(self.errors)

    def summary(self):
        return f"{self.passed} passed, {self.failed()} failed, {len(self.skipped)} skipped"


def tests_of(case):
    """A case's tests, the common ones first, in the order in which they are written."""
    names = [name for kind in reversed(case.__mro__) for name in vars(kind)
             if name.startswith("test_")]
    return [case(name) for name in dict.fromkeys(names)]


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tarvek", required=True, help="the program that ships")
    parser.add_argument("--tarvekctl", required=True, help="the program that leads it")
    parser.add_argument("--bmcsim", required=True, help="the simulated BMC's launcher")
    parser.add_argument("--tarvek-sdr", required=True, help="the program that reads files")
    parser.add_argument("--keep", metavar="DIRECTORY",
                        help="leave what the machines left in this new directory")
    parser.add_argument("--skip", metavar="REASON", help="skip every test, loudly")
    parser.add_argument("cases", nargs="*", metavar="CASE",
                        help="only these classes of checks.py, e.g. Update")
    return parser.parse_args()


def chosen_cases(names):
    unknown = set(names) - {case.__name__ for case in checks.CASES}
    if unknown:
        sys.exit(f"there is no case {', '.join(sorted(unknown))}")
    return [case for case in checks.CASES if not names or case.__name__ in names]


def skip_all(suite, reason, report):
    print(f"SKIPPED, all of it: {reason}", flush=True)
    for test in suite:
        report.addSkip(test, reason)


@contextlib.contextmanager
def work_directory(keep):
    if keep:
        pathlib.Path(keep).mkdir()
        yield keep
        return
    with tempfile.TemporaryDirectory(prefix="tarvek-kernel-") as directory:
        yield directory


def run_all(options, cases, suite, report):
    with work_directory(options.keep) as directory:
        workshop = Workshop(directory, options.tarvek, options.tarvekctl, options.bmcsim,
                            checks.INPUTS)
        farm = checks.MachineCase.farm = Farm(workshop, cases)
        checks.Decoders.tarvek_sdr = pathlib.Path(options.tarvek_sdr).resolve()
        began = time.monotonic()
        try:
            suite.run(report)
        finally:
            farm.close()
        print(f"{len(cases)} machines in {time.monotonic() - began:.0f} s")


def main():
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    options = arguments()
    cases = chosen_cases(options.cases)
    suite = unittest.TestSuite(test for case in cases for test in tests_of(case))
    report = Report()
    try:
        if options.skip:
            skip_all(suite, options.skip, report)
        else:
            run_all(options, cases, suite, report)
    except debian_kernel.Unavailable as reason:
        skip_all(suite, reason, report)
    except KeyboardInterrupt:
        sys.exit("interrupted")
    print(report.summary())
    return 1 if report.failed() else 0


if __name__ == "__main__":
    sys.exit(main())
