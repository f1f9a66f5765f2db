"""What befalls servers and controllers in the middle of a rollout."""

import time

from controller import FAILED
from scenario import Scenario

LOOK = "Look and plan"


class Mishap(Scenario):
    """Three servers, each of them a wave."""

    number = 5
    names = ("node01", "node02", "node03")
    waves = (1, 1, 1)
    victim = "node02"
    third = ("node03",)

    def start_and_hold(self):
        """Starts a rollout, and returns it when the victim's update is in the middle."""
        self.fleet[self.victim].hold_at("oem-add@5")
        play = self.start("rollout", sdr_rollout_waves=self.waves)
        self.fleet[self.victim].wait_until_held()
        return play

    def expect_held_back(self, play, third):
        """The rollout has stopped before the third wave, and knows why."""
        self.assertNotEqual(play.wait().status, 0)
        self.expect_never_asked(third)
        self.assertEqual(self.fleet.ledger.open(), [self.victim])

    def finish(self, **extra):
        """Runs the rollout again, to its end."""
        return self.play("rollout", sdr_rollout_waves=self.waves, **extra)

    def expect_all_done(self):
        """Each server is up to date, programmed once."""
        self.fleet.now_due(*self.names)
        self.expect_due()
        self.expect_programmed(**dict.fromkeys(self.names, 1))
        self.assertEqual((self.fleet.ledger.open(), self.fleet.ledger.quarantined()), ([], []))


class LostNetwork(Mishap):
    """A server's network drops during its update and comes back."""

    def test_it_stays_away_until_the_next_run(self):
        """The update ends without its controller; the next wave is held until it is asked."""
        third = self.fleet.files(self.third)
        play = self.start_and_hold()
        victim = self.fleet[self.victim]
        victim.unplug()
        victim.go_on()
        victim.wait_until_idle()
        self.expect_held_back(play, third)
        self.assertEqual(play.unreachable(), [self.victim])
        self.fleet.now_due("node01", self.victim)
        self.expect_due()
        self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves)  # it is still away
        self.expect_never_asked(third)
        self.assertEqual(self.fleet.ledger.open(), [self.victim])
        victim.plug()
        self.finish()
        self.expect_all_done()

    def test_it_comes_back_at_once(self):
        """The rollout goes on as if nothing had been."""
        play = self.start_and_hold()
        victim = self.fleet[self.victim]
        victim.unplug()
        time.sleep(1)
        victim.plug()
        victim.go_on()
        self.expect_status(play, 0)
        self.expect_all_done()


class DeadServer(Mishap):
    """A server dies for good during its update."""

    def test_it_holds_the_next_wave_until_it_is_set_aside_by_name(self):
        """And nothing else does."""
        third = self.fleet.files(self.third)
        play = self.start_and_hold()
        self.fleet[self.victim].switch_off()
        self.expect_held_back(play, third)
        self.fleet.now_due("node01")
        self.expect_due()
        again = self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves)
        self.assertIn(self.victim, again.output())
        self.expect_never_asked(third)
        self.assertEqual(self.fleet.ledger.open(), [self.victim])
        self.finish(sdr_rollout_set_aside=self.victim)
        self.fleet.now_due(*self.third)
        self.expect_due()
        self.assertEqual(self.fleet.ledger.quarantined(), [self.victim])
        self.expect_programmed(**dict.fromkeys(self.names, 1))


class FullDisk(Mishap):
    """A server has no room left."""

    fill = "dd if=/dev/zero of=/var/lib/tarvek/filler bs=1M 2>/dev/null || true"

    def test_it_is_full_before(self):
        """It is not fit for an update: nothing of it is touched."""
        third = self.fleet.files(self.third)
        victim = self.fleet[self.victim]
        victim.run("sh", "-c", self.fill)
        before = self.fleet.memories((self.victim,))
        self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves)
        self.expect_never_asked(third)
        self.expect_untouched(before, before)
        self.expect_cleared()

    def test_it_fills_up_after_it_was_found_fit(self):
        """The update is refused before anything is written."""
        third = self.fleet.files(self.third)
        hook = self.fleet.controller.folder / "fill.yml"
        hook.write_text(f"- name: Fill the disk\n  ansible.builtin.shell: {self.fill}\n  changed_when: false\n"
                        f"  when: inventory_hostname == '{self.victim}'\n", encoding="ascii")
        before = self.fleet.memories((self.victim,))
        self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves, sdr_rollout_before=str(hook))
        self.expect_never_asked(third)
        self.expect_untouched(before, before)
        self.assertEqual(self.fleet.ledger.outcome(self.victim)["in_service"], "previous")
        self.expect_cleared()

    def expect_cleared(self):
        """It is quarantined, and with room and cleared it is updated like the others."""
        self.assertEqual(self.fleet.ledger.quarantined(), [self.victim])
        self.assertEqual(self.fleet.ledger.outcome(self.victim)["status"], 4)
        self.fleet.now_due("node01")
        self.expect_due()
        self.fleet[self.victim].path("/var/lib/tarvek/filler").unlink()
        self.finish(sdr_rollout_clear=self.victim)
        self.expect_all_done()


class TwoControllers(Mishap):
    """Two controllers at the same time."""

    def test_the_second_one_with_the_same_files_is_refused(self):
        """It changes nothing, and the first one ends as if it had been alone."""
        play = self.start_and_hold()
        second = self.play("rollout", status=FAILED)
        self.assertIn("Another rollout", second.output())
        self.assertEqual({entry["host"] for entry in second.events("start")}, {"localhost"})
        self.assertEqual(self.fleet.ledger.open(), [self.victim])
        self.fleet[self.victim].go_on()
        self.expect_status(play, 0)
        self.expect_all_done()

    def test_one_with_files_of_its_own_attaches(self):
        """No server is programmed twice."""
        play = self.start_and_hold()
        other = self.start("rollout", sdr_rollout_waves=self.waves,
                           sdr_rollout_dir=str(self.fleet.controller.folder / "other"))
        other.wait_until_started(self.victim, LOOK)
        self.fleet[self.victim].go_on()
        self.expect_status(play, 0)
        self.expect_status(other, 0)
        self.expect_all_done()
        self.assertEqual(len(self.fleet[self.victim].runs()), 1)
