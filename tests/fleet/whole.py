"""Report, plan, rollout, and back again, on a mixed fleet."""

import csv

from fleet import (AHEAD, BOARD_A, BOARD_B, BOARD_UNKNOWN, KINDS, NAMES, NEW, NEWER, OLD, TO_BE_UPDATED, UNKNOWN,
                   UP_TO_DATE, WITHOUT_BMC)
from page import Page
from scenario import Scenario

MOST_TASKS = 8


class Whole(Scenario):
    """The whole story of a rollout in which nothing goes wrong."""

    number = 1

    def test_report_plan_rollout_again_restore(self):
        """In this order."""
        beginning = {server.name: server.due for server in self.fleet}
        self.report()
        self.plan()
        self.rollout()
        self.again()
        self.restore(beginning)

    def report(self):
        """Says who holds which version, and changes nothing."""
        before = self.fleet.memories()
        play = self.play("report")
        self.expect_untouched(before)
        self.assertEqual(play.changed(), [])
        report = self.fleet.ledger.report()
        held = {row["host"]: (row["board"], row["version"]) for row in report["hosts"]}
        due = {name: (kind[0].lower(), kind[1]) for name, kind in KINDS.items()}
        due[WITHOUT_BMC] = (None, None)
        self.assertEqual(held, due)
        self.assertEqual(report["summary"]["hosts"], len(NAMES))
        self.assertEqual(report["summary"]["drift"], [])
        self.assertEqual(report["summary"]["quarantined"], [])
        self.assertEqual(report["summary"]["unreachable"], [])
        self.assertEqual(report["summary"]["ok"], [name for name in NAMES if name != WITHOUT_BMC])
        counted = {entry["board"]: {found["version"]: found["hosts"] for found in entry["versions"]}
                   for entry in report["boards"]}
        self.assertEqual(counted, {BOARD_A.lower(): {OLD: 4, NEW: 1, "00.90": 1},
                                   BOARD_B.lower(): {OLD: 2, "01.01": 1, NEWER: 1}, BOARD_UNKNOWN.lower(): {OLD: 1}})
        with (self.fleet.ledger.folder / "report.csv").open(encoding="utf-8", newline="") as stream:
            rows = list(csv.DictReader(stream))
        self.assertEqual({row["host"]: (row["board"] or None, row["version"] or None) for row in rows}, due)
        page = Page((self.fleet.ledger.folder / "report.html").read_text(encoding="utf-8"))
        for name, (board, version) in due.items():
            self.assertIn([name, board or "", version or ""], [[row[0], row[2], row[3]] for row in page.rows(6)])

    def plan(self):
        """Says what a rollout would do, and changes nothing."""
        before = self.fleet.memories()
        runs = {server.name: server.runs() for server in self.fleet}
        play = self.play("plan")
        self.expect_untouched(before)
        self.assertEqual({server.name: server.runs() for server in self.fleet}, runs)
        self.assertEqual(play.changed(), sorted(TO_BE_UPDATED))
        self.assertEqual(self.fleet.ledger.open(), [])
        self.assertEqual(self.fleet.ledger.backups("node01"), [])
        shown = play.events("ok", "node01", "Look and plan")[0]["result"]
        self.assertIn(f'"SDR Version {OLD}" → "SDR Version {NEW}"', shown["diff"]["prepared"])

    def rollout(self):
        """Brings every server up to date whose board has an input, and says so."""
        left = self.fleet.memories((UNKNOWN, WITHOUT_BMC, UP_TO_DATE, AHEAD))
        play = self.play("rollout")
        self.fleet.now_due(*TO_BE_UPDATED)
        self.expect_due()
        self.expect_untouched(left, left)
        self.expect_programmed(**dict.fromkeys(TO_BE_UPDATED, 1))
        self.assertEqual(play.changed(), sorted(TO_BE_UPDATED))
        self.assertEqual(self.fleet.ledger.open(), [])
        self.assertEqual(self.fleet.ledger.quarantined(), [])
        due = dict.fromkeys(TO_BE_UPDATED, "done")
        due.update({UNKNOWN: "skipped", WITHOUT_BMC: "skipped", UP_TO_DATE: "nothing", AHEAD: "nothing"})
        self.assertEqual(self.fleet.ledger.outcomes(), due)
        self.assertIn(BOARD_UNKNOWN.lower(), self.fleet.ledger.outcome(UNKNOWN)["msg"])
        for name in NAMES:
            self.assertEqual(len(self.fleet.ledger.backups(name)), 1 if name in TO_BE_UPDATED else 0, name)
            self.assertLessEqual(len(play.tasks(name)), MOST_TASKS, play.tasks(name))
            self.expect_record_on_target(name)

    def expect_record_on_target(self, name):
        """Where something was done the target knows, too."""
        record = self.fleet[name].path("/var/lib/tarvek/rollout.json")
        self.assertEqual(record.exists(), name in TO_BE_UPDATED, name)
        if record.exists():
            self.assertIn('"outcome": "done"', record.read_text(encoding="utf-8"))

    def again(self):
        """Nothing is changed."""
        before = self.fleet.memories()
        play = self.play("rollout")
        self.assertEqual(play.changed(), [])
        self.assertEqual({name: memory for name, memory in self.fleet.memories().items() if memory != before[name]}, {})
        self.expect_programmed(**dict.fromkeys(TO_BE_UPDATED, 1))
        outcomes = self.fleet.ledger.outcomes()
        self.assertEqual({outcomes[name] for name in TO_BE_UPDATED}, {"nothing"})

    def restore(self, beginning):
        """Every BMC serves what it served in the beginning."""
        play = self.play("restore")
        for server in self.fleet:
            server.due = beginning[server.name]
        self.expect_due()
        self.expect_programmed(**dict.fromkeys(TO_BE_UPDATED, 2))
        self.assertEqual(play.changed(), sorted(TO_BE_UPDATED))
        self.assertEqual(self.fleet.ledger.open(), [])
