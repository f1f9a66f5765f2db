"""The controller is killed in the middle of a wave."""

from scenario import Scenario


class Killed(Scenario):
    """A power cut of the controller."""

    number = 4
    names = ("node01", "node02", "node03", "node05", "node10")
    waves = (1, 3, "100%")
    held = ("node02", "node05")
    wave = ("node02", "node03", "node05")

    def hook(self):
        """A task file that comes after each update."""
        hook = self.fleet.controller.folder / "after.yml"
        hook.write_text("- name: Hook after\n  ansible.builtin.debug: {msg: here}\n", encoding="ascii")
        return str(hook)

    def test_run_again_it_attaches_and_finishes_and_nothing_is_programmed_twice(self):
        """One update ends while there is no controller, another one while the next controller waits for it."""
        third = self.fleet.files(("node10",))
        for name in self.held:
            self.fleet[name].hold_at("oem-add@5")
        play = self.start("rollout", sdr_rollout_waves=self.waves, sdr_rollout_after=self.hook())
        for name in self.held:
            self.fleet[name].wait_until_held()
        self.fleet["node03"].wait_until_done()
        play.kill()
        self.assertEqual(self.fleet.ledger.open(), list(self.wave))
        self.fleet.now_due("node01", "node03")
        self.expect_due()

        self.fleet["node02"].go_on()
        self.fleet["node02"].wait_until_idle()
        self.fleet.now_due("node02")
        self.expect_due()

        again = self.start("rollout", sdr_rollout_waves=self.waves)
        again.wait_until_started("node05", "Wait for a run under way, then look at the machine")
        self.expect_due()
        self.expect_never_asked(third)
        self.fleet["node05"].go_on()
        self.expect_status(again, 0)
        self.fleet.now_due(*self.names)
        self.expect_due()
        self.expect_programmed(**dict.fromkeys(self.names, 1))
        self.assertEqual({name: len(self.fleet[name].runs()) for name in self.wave}, dict.fromkeys(self.wave, 1))
        self.assertEqual((self.fleet.ledger.open(), self.fleet.ledger.quarantined()), ([], []))
        settled = {entry["host"]: entry["result"]["verdict"] for entry in again.events("ok")
                   if entry["task"] == "Note what became of its update"}
        self.assertEqual(settled, dict.fromkeys(self.wave, "done"))
        self.assertEqual(sorted(entry["host"] for entry in again.events("ok", task="Hook after")), sorted(self.wave))
