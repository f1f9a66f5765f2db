"""Proves the collection on twelve simulated servers: the first process of the namespaces that scripts/fleet-test makes.

Each server is a set of namespaces (server.py), the controller is what is around them (controller.py), and each
scenario begins with new servers. After each the records of every BMC are compared byte for byte with what is due.
"""

import argparse
import pathlib
import subprocess
import sys
import time
import unittest

from fleet import Fleet
from distrust import Drift, HostileText, Liar, OtherKey
from failures import BadCanary, Hooks, LeftOut, SecondWave
from given import Checksums, Elsewhere, OnlyTried, Package, Part
from killed import Killed
from mishaps import DeadServer, FullDisk, LostNetwork, TwoControllers
from whole import Whole

SCENARIOS = (Whole, OnlyTried, Part, Elsewhere, Package, BadCanary, LeftOut, Checksums, SecondWave, Hooks, Killed,
             LostNetwork, DeadServer, FullDisk, TwoControllers, OtherKey, HostileText, Liar, Drift)


class Report(unittest.TestResult):
    """One line a scenario with what it took, and what a failed one saw."""

    def __init__(self):
        super().__init__()
        self.passed = 0
        self._began = 0.0

    def startTest(self, test):
        super().startTest(test)
        self._began = time.monotonic()

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

    def _tell(self, word, test, more=""):
        print(f"{word}: {test} ({time.monotonic() - self._began:.0f} s)")
        for line in more.splitlines():
            print(f"   | {line}")
        sys.stdout.flush()


def chosen(names):
    """The scenarios of these names or numbers; all of them without any."""
    found = [case for case in SCENARIOS if not names or case.__name__ in names or str(case.number) in names]
    unknown = [name for name in names if name not in [word for case in SCENARIOS
                                                      for word in (case.__name__, str(case.number))]]
    if unknown:
        known = ", ".join(f"{case.__name__} ({case.number})" for case in SCENARIOS)
        sys.exit(f"No such scenario: {', '.join(unknown)}. There are: {known}")
    return found


def main():
    """Runs them."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    for name in ("tarvek", "tarvekctl", "bmcsim", "sshd", "work", "keep"):
        parser.add_argument(f"--{name}", type=pathlib.Path)
    parser.add_argument("scenarios", nargs="*", metavar="SCENARIO")
    options = parser.parse_args()
    cases = chosen(options.scenarios)

    # All that is made is on a file system that goes with these namespaces.
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", options.work], check=True)
    programs = [options.tarvek, options.tarvekctl, options.bmcsim, options.bmcsim.parent / "libbmcsim.so"]
    fleet = Fleet(options.work, programs, options.sshd, options.keep or options.work / "runs")
    suite = unittest.TestSuite()
    for case in cases:
        case.fleet = fleet
        suite.addTests(unittest.defaultTestLoader.loadTestsFromTestCase(case))
    report = Report()
    began = time.monotonic()
    suite.run(report)
    fleet.end()
    failed = report.testsRun - report.passed
    print(f"{time.monotonic() - began:.0f} s")
    print(f"{report.passed} passed, {failed} failed")
    return 1 if failed or not report.passed else 0


if __name__ == "__main__":
    sys.exit(main())
