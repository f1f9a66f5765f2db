"""What all scenarios share."""

import unittest

from controller import GOOD, kill_connections
from fleet import NAMES, Fleet


class Scenario(unittest.TestCase):
    """A scenario: begins with new servers, ends with a look at every BMC."""

    fleet: Fleet
    number = 0
    names = NAMES
    group_vars = {}
    host_vars = {}
    maxDiff = None

    def setUp(self):
        self.fleet.begin(self.names, self.host_vars, **self.group_vars)
        self.addCleanup(kill_connections)

    @property
    def astray(self):
        """A file of the controller that a server tries to have made."""
        return self.fleet.work / "astray"

    def tearDown(self):
        self.expect_due()

    def __str__(self):
        words = self._testMethodName.replace("test_", "", 1).replace("_", " ")
        return f"{self.number}. {type(self).__name__}: {words}"

    # ---- what is to be

    def expect_due(self):
        """Every BMC serves what is due, to the byte."""
        self.assertEqual(self.fleet.wrong(), [])

    def expect_untouched(self, before, names=None):
        """Nothing that a write could change has changed."""
        after = self.fleet.memories(names)
        self.assertEqual(sorted(after), sorted(before))
        for name, memory in after.items():
            self.assertEqual(memory[0], before[name][0], name)
            self.assertTrue(memory[1] == before[name][1], f"the records' memory of {name} has changed")
            self.assertEqual(self.fleet[name].bmc.writings(), 0, name)

    def expect_never_asked(self, before):
        """Not even a request was sent to them: the state files are the same."""
        for name, state in self.fleet.files(before).items():
            self.assertTrue(state == before[name], f"the state file of {name} has changed")
            self.assertEqual(self.fleet[name].bmc.requests(), 0, name)

    def expect_programmed(self, **times):
        """How often each BMC was programmed; not at all if not told."""
        found = {server.name: server.bmc.programmings() for server in self.fleet}
        self.assertEqual(found, {name: times.get(name, 0) for name in found})

    # ---- runs

    def play(self, playbook, *options, status=GOOD, **extra):
        """Runs a playbook that ends with this status."""
        play = self.fleet.controller.play(playbook, *options, **extra)
        self.expect_status(play, status)
        return play

    def start(self, playbook, *options, **extra):
        """Starts a playbook; it is ended with the scenario."""
        play = self.fleet.controller.start(playbook, *options, **extra)
        self.addCleanup(lambda: play.running() and play.kill())
        return play

    def expect_status(self, play, status):
        """It has ended so."""
        self.assertEqual(play.wait().status, status, play.output()[-6000:])
