"""What a rollout is given: a package, checksums, templates in variables, and the word that it is only a try."""

import hashlib
import pathlib
import subprocess

from controller import FAILED
from fleet import BOARD_A
from scenario import Scenario


def sum_of(path):
    """A file's SHA-256."""
    return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()


class Checksums(Scenario):
    """The reviewed variables have checksums of what is programmed."""

    number = 2
    names = ("node01", "node03")

    def inputs(self, **sums):
        """What the board gets, with checksums, and its folder as a template, as the example has it."""
        source = pathlib.Path(self.fleet.inputs[BOARD_A]["src"])
        (self.fleet.controller.folder / "files").unlink(missing_ok=True)
        (self.fleet.controller.folder / "files").symlink_to(source.parent)
        right = {name: sum_of(source.parent / name) for name in ("BOARD.SDR", "mchk_fil")}
        return {BOARD_A: {"src": "{{ inventory_dir }}/files/BOARD.SDR", "boards": "{{ inventory_dir }}/files/mchk_fil",
                          "version": "01.03", "sha256": dict(right, **sums)}}

    def test_with_other_bytes_nothing_is_done_and_with_the_right_ones_all(self):
        """The canary fails without having been touched, and holds the others."""
        before = self.fleet.memories(("node01",))
        others = self.fleet.files(("node03",))
        play = self.play("rollout", status=FAILED, sdr_rollout_inputs=self.inputs(mchk_fil="0" * 64))
        self.assertIn("mchk_fil has the SHA-256", play.output())
        self.expect_untouched(before, before)
        self.expect_never_asked(others)
        self.assertEqual((self.fleet.ledger.quarantined(), self.fleet.ledger.open()), (["node01"], []))
        self.play("rollout", sdr_rollout_inputs=self.inputs(), sdr_rollout_clear="node01")
        self.fleet.now_due(*self.names)
        self.expect_programmed(**dict.fromkeys(self.names, 1))


class OnlyTried(Scenario):
    """Check mode: what would be done is told, with the difference, and nothing is written anywhere."""

    number = 1
    names = ("node01", "node02", "node08")

    def test_a_rollout_that_is_only_tried_writes_nothing(self):
        """Neither on the servers nor on the controller."""
        before = self.fleet.memories()
        play = self.play("rollout", "--check", "--diff")
        self.assertEqual(play.changed(), ["node01", "node02"])
        self.assertIn('"SDR Version 01.02" → "SDR Version 01.03"', play.output())
        self.expect_untouched(before)
        self.assertEqual({server.name: server.runs() for server in self.fleet}, dict.fromkeys(self.names, []))
        self.assertFalse(self.fleet.ledger.folder.exists(), "the controller has noted something")

    def test_a_restore_that_is_only_tried_writes_nothing(self):
        """Also where there is something to restore."""
        self.play("rollout")
        self.fleet.now_due(*self.names)
        before, outcomes = self.fleet.memories(), self.fleet.ledger.outcomes()
        runs = {server.name: server.runs() for server in self.fleet}
        play = self.play("restore", "--check")
        self.assertEqual(play.changed(), ["node01", "node02"])
        self.assertEqual(self.fleet.memories(), before)
        self.assertEqual({server.name: server.runs() for server in self.fleet}, runs)
        self.assertEqual((self.fleet.ledger.outcomes(), self.fleet.ledger.open()), (outcomes, []))


class Part(Scenario):
    """A part of the inventory is taken."""

    number = 1
    names = ("node01", "node02", "node03")

    def test_what_is_quarantined_is_left_out_of_it_as_well(self):
        """However the pattern is written."""
        self.fleet["node02"].break_bmc("F8/10/02: cc D5")
        self.play("rollout", status=FAILED, sdr_rollout_hosts="node02")
        self.assertEqual(self.fleet.ledger.quarantined(), ["node02"])
        self.fleet["node02"].mend_bmc()
        self.play("rollout", sdr_rollout_hosts="node02,node03")
        self.fleet.now_due("node03")
        self.play("rollout", sdr_rollout_hosts="node01:node02")
        self.fleet.now_due("node01")
        self.expect_programmed(node01=1, node02=1, node03=1)
        self.assertEqual(self.fleet.ledger.quarantined(), ["node02"])

    def test_a_restore_takes_one_and_the_time_and_what_is_quarantined(self):
        """The others are left as they are."""
        beginning = {server.name: server.due for server in self.fleet}
        self.play("rollout")
        self.fleet.now_due(*self.names)
        until = self.fleet.ledger.backups("node02")[-1].stem
        self.play("restore", sdr_rollout_hosts="node02", sdr_rollout_until="20000101T000000Z")
        self.expect_due()
        self.assertEqual(self.fleet.ledger.outcomes()["node02"], "skipped")
        self.play("restore", sdr_rollout_hosts="node02", sdr_rollout_until=until, sdr_rollout_set_aside="node02")
        self.fleet["node02"].due = beginning["node02"]
        self.expect_due()
        self.assertEqual(self.fleet.ledger.quarantined(), ["node02"])

    def test_a_limit_is_refused(self):
        """It would leave out what belongs to the controller."""
        before = self.fleet.files(self.names)
        play = self.play("rollout", "--limit", "node01", status=FAILED)
        self.assertIn("sdr_rollout_hosts", play.output())
        self.expect_never_asked(before)


class Elsewhere(Scenario):
    """The variables name their files by the inventory's directory, as in the example, and Ansible starts elsewhere."""

    number = 1
    names = ("node01", "node02")
    group_vars = {"sdr_rollout_dir": "{{ inventory_dir }}/sdr-fleet"}

    def test_all_playbooks_find_the_same_files(self):
        """Those of the inventory."""
        folder = self.fleet.controller.folder / "elsewhere"
        folder.mkdir(exist_ok=True)
        self.fleet.controller.start_in = folder
        self.addCleanup(setattr, self.fleet.controller, "start_in", self.fleet.controller.folder)
        inputs = dict(self.fleet.inputs)
        inputs[BOARD_A] = dict(inputs[BOARD_A], version="01.09",
                               src=inputs[BOARD_A]["src"] + "{{ inventory_dir | regex_replace('.*', '') }}")
        self.fleet["node02"].break_bmc("F8/10/02: cc D5")
        self.play("rollout", status=FAILED, sdr_rollout_inputs=inputs)
        self.fleet.now_due("node01")
        self.expect_due()
        self.play("report", sdr_rollout_inputs=inputs)
        summary = self.fleet.ledger.report()["summary"]
        self.assertEqual((summary["quarantined"], summary["stragglers"]), (["node02"], ["node01"]))
        self.assertEqual(list(folder.iterdir()), [])


class Package(Scenario):
    """The role installs a package file first."""

    number = 1
    names = ("node01", "node03")
    installed = "/usr/share/doc/fleet-probe/here"

    def build(self):
        """Builds a package. Returns its path."""
        folder = self.fleet.controller.folder / "probe"
        (folder / "DEBIAN").mkdir(parents=True)
        (folder / "DEBIAN/control").write_text(
            "Package: fleet-probe\nVersion: 1\nArchitecture: all\nMaintainer: Nobody <nobody@example.com>\n"
            "Description: shows that it is there\n", encoding="ascii")
        (folder / self.installed[1:]).parent.mkdir(parents=True)
        (folder / self.installed[1:]).write_text("here\n", encoding="ascii")
        package = folder.with_suffix(".deb")
        subprocess.run(["dpkg-deb", "--root-owner-group", "--build", folder, package], check=True,
                       stdout=subprocess.DEVNULL)
        return package

    def test_with_another_checksum_it_is_refused_and_with_the_right_one_installed(self):
        """Then the update follows."""
        package = str(self.build())
        others = self.fleet.files(self.names)
        play = self.play("rollout", status=FAILED, sdr_rollout_package_file=package,
                         sdr_rollout_package_sha256="0" * 64)
        self.assertIn("has not the SHA-256", play.output())
        self.expect_never_asked(others)
        self.assertEqual(self.fleet.ledger.quarantined(), ["node01"])
        self.assertFalse(self.fleet["node01"].path(self.installed).exists())
        self.play("rollout", sdr_rollout_package_file=package, sdr_rollout_package_sha256=sum_of(package),
                  sdr_rollout_clear="node01")
        for name in self.names:
            self.assertTrue(self.fleet[name].path(self.installed).exists(), name)
        self.fleet.now_due(*self.names)
        self.expect_programmed(**dict.fromkeys(self.names, 1))
