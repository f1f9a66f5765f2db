"""Failures of a BMC, in the first wave and in the second."""

from controller import FAILED
from fleet import NAMES, TO_BE_UPDATED
from scenario import Scenario

# The BMC takes every record, and refuses to put them in service.
REFUSES_THE_END = "F8/10/02: cc D5"


class BadCanary(Scenario):
    """The first server's update fails."""

    number = 2
    canary = "node01"

    def test_exactly_one_machine_is_touched_and_serves_its_old_records(self):
        """No other one hears of the rollout."""
        self.fleet[self.canary].break_bmc(REFUSES_THE_END)
        others = self.fleet.files(set(NAMES) - {self.canary})
        play = self.play("rollout", status=FAILED)
        self.expect_due()
        self.expect_never_asked(others)
        self.expect_programmed(**{self.canary: 1})
        self.assertEqual(play.changed(), [])
        self.expect_failure_told(play)

    def expect_failure_told(self, play):
        """What happened, what state the server is in, and what to do."""
        self.assertEqual(self.fleet.ledger.quarantined(), [self.canary])
        self.assertEqual(self.fleet.ledger.outcomes(), {self.canary: "failed"})
        outcome = self.fleet.ledger.outcome(self.canary)
        self.assertEqual((outcome["status"], outcome["in_service"]), (1, "previous"))
        for sentence in ("what", "state", "remedy"):
            self.assertTrue(outcome["message"][sentence])
            self.assertIn(outcome["message"][sentence], play.output())
        backup, = self.fleet.ledger.backups(self.canary)
        self.assertGreater(backup.stat().st_size, 0)


class LeftOut(Scenario):
    """A server that has failed is left out until it is cleared by name."""

    number = 2
    names = ("node01", "node02", "node03")
    canary = "node01"

    def test_it_is_left_out_until_it_is_cleared_by_name(self):
        """And the others go on without it."""
        canary = self.fleet[self.canary]
        canary.break_bmc(REFUSES_THE_END)
        self.play("rollout", status=FAILED)
        self.play("rollout", status=FAILED, sdr_rollout_clear="node02")  # it is not the one
        requests = canary.bmc.requests()
        self.play("rollout")
        self.fleet.now_due("node02", "node03")
        self.expect_due()
        self.assertEqual(canary.bmc.requests(), requests)
        self.assertEqual(self.fleet.ledger.quarantined(), [self.canary])
        canary.mend_bmc()
        self.play("rollout", sdr_rollout_clear=self.canary)
        self.fleet.now_due(self.canary)
        self.assertEqual(self.fleet.ledger.quarantined(), [])
        self.expect_programmed(node01=2, node02=1, node03=1)


class SecondWave(Scenario):
    """A server of the second wave fails."""

    number = 3
    waves = (1, 4, "100%")
    broken = "node03"
    second = ("node02", "node03", "node04", "node05")
    third = NAMES[5:]

    def test_the_third_is_untouched_and_mended_and_cleared_all_is_done(self):
        """The rollout stops before the third wave, and a further run finishes it."""
        self.fleet[self.broken].break_bmc(REFUSES_THE_END)
        third = self.fleet.files(self.third)
        self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves)
        done = self.expect_second_wave()
        self.fleet.now_due("node01", *done)
        self.expect_due()
        self.expect_never_asked(third)
        self.expect_programmed(**dict.fromkeys(["node01", self.broken, *done], 1))
        self.assertEqual(self.fleet.ledger.quarantined(), [self.broken])

        self.fleet[self.broken].mend_bmc()
        self.play("rollout", sdr_rollout_waves=self.waves, sdr_rollout_clear=self.broken)
        self.fleet.now_due(*TO_BE_UPDATED)
        self.expect_due()
        self.expect_programmed(**dict(dict.fromkeys(TO_BE_UPDATED, 1), **{self.broken: 2}))
        self.assertEqual(self.fleet.ledger.quarantined(), [])
        self.assertEqual(self.fleet.ledger.open(), [])

    def expect_second_wave(self):
        """The others of the wave are updated, or were not begun. Returns those that are updated."""
        outcomes = self.fleet.ledger.outcomes()
        self.assertEqual(sorted(outcomes), ["node01", *self.second])
        others = [name for name in self.second if name != self.broken]
        self.assertLessEqual({outcomes[name] for name in others}, {"done", "held"})
        self.assertEqual((outcomes["node01"], outcomes[self.broken]), ("done", "failed"))
        return [name for name in others if outcomes[name] == "done"]


class Hooks(Scenario):
    """One server of a wave has task files before and after its update; the others have none."""

    number = 3
    names = ("node01", "node02", "node03", "node05")
    drained = "node03"

    def hooks(self, **tasks):
        """Writes task files, and returns the variables by which they run on the one server."""
        for name, task in tasks.items():
            (self.fleet.controller.folder / f"{name}.yml").write_text(f"- name: Hook {name}\n  {task}\n", "ascii")
        here, there = f"inventory_hostname == '{self.drained}'", self.fleet.controller.folder
        return {f"sdr_rollout_{name}": f"{{{{ '{there}/{name}.yml' if {here} else '' }}}}" for name in tasks}

    def test_they_run_around_the_update_and_on_no_other(self):
        """Each in its place."""
        note = "ansible.builtin.debug: {msg: here}"
        play = self.play("rollout", sdr_rollout_waves=[1, "100%"], **self.hooks(before=note, after=note))
        order = [task.rpartition(": ")[2] for task in play.tasks(self.drained)]
        places = [order.index(step) for step in ("Hook before", "Fetch a backup to the controller", "Update",
                                                 "Hook after", "Read again what the BMC serves, and compare",
                                                 "Note the outcome on the controller")]
        self.assertEqual(places, sorted(places), order)
        for name in set(self.names) - {self.drained}:
            self.assertFalse([task for task in play.tasks(name) if "Hook" in task], name)
        self.fleet.now_due(*self.names)
        self.expect_programmed(**dict.fromkeys(self.names, 1))

    def test_one_that_fails_before_the_update_leaves_the_server_as_it_is(self):
        """It is quarantined, and no further wave begins."""
        self.expect_undrained("ansible.builtin.fail: {msg: it cannot be drained}", "it cannot be drained")

    def test_one_that_names_a_role_that_is_not_there_fails_likewise(self):
        """Of which Ansible tells the role nothing."""
        self.expect_undrained("ansible.builtin.include_role: {name: of_nobody}", "of_nobody")

    def expect_undrained(self, task, said):
        """The one server is not touched."""
        play = self.play("rollout", status=FAILED, sdr_rollout_waves=[1, 2, "100%"], **self.hooks(before=task))
        self.assertIn(said, play.output())
        self.assertEqual(self.fleet.ledger.quarantined(), [self.drained])
        self.assertEqual(self.fleet.ledger.open(), [])
        done = [name for name, outcome in self.fleet.ledger.outcomes().items() if outcome == "done"]
        self.assertIn("node01", done)
        self.assertNotIn("node05", done)
        self.fleet.now_due(*done)
        self.expect_programmed(**dict.fromkeys(done, 1))
