"""Servers that are not what they seem, and records that nobody has programmed."""

import csv
import json

import sdr_sets
from controller import FAILED, UNREACHABLE
from fleet import BOARD_A, BOARD_B, INPUTS, NEW
from page import Page
from scenario import Scenario

PLAIN_ELEMENTS = {"html", "head", "meta", "title", "style", "body", "h1", "h2", "p", "ul", "li", "b", "i", "div",
                  "span", "table", "thead", "tbody", "tr", "th", "td", "br"}


def touching(path):
    """A template that makes a file."""
    return f"{{{{ lookup('pipe', 'touch {path}') }}}}"


class OtherKey(Scenario):
    """A server offers another key than the one that is known of it."""

    number = 6
    names = ("node01", "node02", "node03")
    waves = (1, 2)

    def test_in_the_last_wave_it_alone_is_left_as_it_is(self):
        """It is not even asked, and named at the end; the others are updated."""
        stranger = self.fleet["node03"]
        stranger.offer_key(self.fleet.stranger)
        before = self.fleet.files(("node03",))
        play = self.play("rollout", status=UNREACHABLE, sdr_rollout_waves=self.waves)
        self.assertEqual(play.unreachable(), ["node03"])
        self.assertIn("not reached: 1 (node03)", play.output())
        self.fleet.now_due("node01", "node02")
        self.expect_due()
        self.expect_never_asked(before)
        self.play("report")
        self.assertEqual(self.fleet.ledger.report()["summary"]["unreachable"], ["node03"])
        self.expect_never_asked(before)

    def test_as_the_canary_it_holds_all_others(self):
        """Nothing was shown to work, so nobody is updated."""
        self.fleet["node01"].offer_key(self.fleet.stranger)
        before = self.fleet.files(self.names)
        self.play("rollout", status=UNREACHABLE, sdr_rollout_waves=self.waves)
        self.expect_never_asked(before)


class HostileText(Scenario):
    """What BMCs say is text in the report, whatever it is."""

    number = 6
    names = ("node01", "node02", "node03")
    marked_up = ("<s a>", '"><script>alert(document.cookie)</script><img src=x:')
    formula = ("=1+1!", "=HYPERLINK(1)")

    @property
    def template(self):
        """One that says that it was taken for one."""
        return "{{7}}", touching(self.astray)

    def test_it_stays_text(self):
        """In each form of the report; and a rollout is not led astray."""
        self.serve("node02", BOARD_B, *self.marked_up)
        self.serve("node03", BOARD_A, *self.formula)
        self.serve("node01", BOARD_A, *self.template)
        before = self.fleet.memories()
        self.play("report")
        self.expect_untouched(before)
        self.expect_as_json()
        self.expect_as_csv()
        self.expect_as_html()
        play = self.play("plan")
        self.expect_untouched(before)
        self.assertIn(self.template[0], play.events("ok", "node01", "Tell it")[0]["result"]["msg"])
        self.assertFalse(self.astray.exists(), "a template was taken for one")

    def serve(self, name, board, version, script):
        """Has a BMC say such things."""
        server = self.fleet[name]
        server.due = sdr_sets.hex_lines(sdr_sets.board_set("Board", version, 1, 1, script))
        server.bmc.create(board, server.due)

    def expect_as_json(self):
        """As it is."""
        rows = {row["host"]: row for row in self.fleet.ledger.report()["hosts"]}
        for name, (version, script) in (("node01", self.template), ("node02", self.marked_up),
                                        ("node03", self.formula)):
            self.assertEqual((rows[name]["version"], rows[name]["script"]), (version, script))

    def expect_as_csv(self):
        """As it is, but no formula."""
        with (self.fleet.ledger.folder / "report.csv").open(encoding="utf-8", newline="") as stream:
            rows = {row["host"]: row for row in csv.DictReader(stream)}
        self.assertEqual((rows["node02"]["version"], rows["node02"]["script"]), self.marked_up)
        self.assertEqual((rows["node03"]["version"], rows["node03"]["script"]),
                         tuple("'" + text for text in self.formula))

    def expect_as_html(self):
        """A cell's text; no element and no attribute comes of it."""
        page = Page((self.fleet.ledger.folder / "report.html").read_text(encoding="utf-8"))
        self.assertLessEqual(page.elements, PLAIN_ELEMENTS)
        self.assertEqual([name for _, name in page.attributes if name.startswith("on") or name in ("src", "href")], [])
        cells = {row[0]: row[3] for row in page.rows(6)}
        self.assertEqual((cells["node02"], cells["node03"]), (self.marked_up[0], self.formula[0]))
        self.assertIn(self.marked_up[0], [row[1] for row in page.rows(4)])


class Liar(Scenario):
    """A server whose answers are not those of the modules that it was sent."""

    number = 6
    names = ("node01", "node02", "node03")
    waves = (1, "100%")
    liar = "node02"
    host_vars = {liar: {"ansible_python_interpreter": "/opt/liar"}}
    interpreter = """#!/usr/bin/python3
import json, subprocess, sys
said = subprocess.run(["/usr/bin/python3"], stdin=sys.stdin, stdout=subprocess.PIPE, text=True).stdout
answer = json.loads(said.splitlines()[-1])
answer.update(json.load(open("/opt/lies")))
print(json.dumps(answer))
"""

    @property
    def template(self):
        """A text that says so when it is taken for a template."""
        return touching(self.astray)

    def lie(self, **lies):
        """Has each of its answers have these parts, whatever else is in it."""
        server = self.fleet[self.liar]
        server.path("/opt/liar").write_text(self.interpreter, encoding="ascii")
        server.path("/opt/liar").chmod(0o755)
        server.path("/opt/lies").write_text(json.dumps(lies), encoding="ascii")

    def expect_not_led_astray(self, *done):
        """The others are served as if it were honest, and the controller has done nothing that it was told."""
        self.fleet.now_due(*done)
        self.expect_due()
        self.assertFalse(self.astray.exists(), "the controller has done what a server told it")
        self.assertEqual({self.fleet.ledger.outcomes()[name] for name in done}, {"done"})

    def test_what_ansible_would_act_upon_is_not_taken(self):
        """Variables, files and statistics stay the controller's."""
        other = {"01A3": {"src": "/etc/hostname"}, "02B4": {"src": "/etc/hostname"}}
        self.lie(ansible_stats=5, results=[5], add_host=5, include=self.template, held="node01", restored=True,
                 src=self.template, ansible_facts={
                     "sdr_rollout_inputs": other, "sdr_rollout_dir": str(self.astray),
                     "sdr_rollout_before": "/etc/hostname", "ansible_connection": "local"})
        self.play("rollout", sdr_rollout_waves=self.waves)
        self.expect_not_led_astray(*self.names)
        self.expect_programmed(**dict.fromkeys(self.names, 1))

    def test_an_answer_of_another_shape_breaks_nothing(self):
        """It is passed over, as nothing that it says fits an entry."""
        self.lie(board=["02B4"], plan="x", message=5, msg={"a": self.template}, diff=7, warnings=7, status=0)
        self.play("rollout", sdr_rollout_waves=self.waves)
        self.expect_not_led_astray("node01", "node03")
        self.assertEqual(self.fleet.ledger.outcomes()[self.liar], "skipped")

    def test_what_a_server_says_instead_of_a_connection_is_no_template(self):
        """Neither to the report, nor where its update was left open."""
        server = self.fleet[self.liar]
        server.path("/opt/words").write_text(self.template, encoding="ascii")
        for path in server.path("/etc/ssh").glob("authorized_keys_of_*"):
            text = path.read_text(encoding="ascii")
            path.write_text(f'command="cat /opt/words; exit 1" {text}', encoding="ascii")
        self.play("report", ansible_pipelining=False)
        row, = (row for row in self.fleet.ledger.report()["hosts"] if row["host"] == self.liar)
        self.assertEqual(row["state"], "unreachable")
        self.assertIn("touch", row["message"])
        left = self.fleet.ledger.folder / "open" / f"{self.liar}.json"
        left.parent.mkdir()
        left.write_text("{}", encoding="ascii")
        self.play("rollout", status=FAILED, ansible_pipelining=False)
        self.assertFalse(self.astray.exists(), "the controller has done what a server told it")

    def test_a_failure_that_looks_like_a_template_is_told_as_it_is(self):
        """And quarantined as any other."""
        self.lie(failed=True, msg=self.template, module_stderr=self.template)
        play = self.play("rollout", status=FAILED, sdr_rollout_waves=(1, 1, 1))
        self.assertIn("touch", play.output())
        self.expect_not_led_astray("node01")
        self.assertEqual(self.fleet.ledger.quarantined(), [self.liar])
        self.assertEqual(self.fleet.ledger.outcome(self.liar)["msg"], self.template)


class Drift(Scenario):
    """A server has the version that is wanted, and other bytes."""

    number = 6
    names = ("node01", "node02", "node03")
    waves = (1, 1, "100%")
    drifted = "node02"

    def drift(self):
        """Has it so."""
        server = self.fleet[self.drifted]
        server.due = sdr_sets.hex_lines(sdr_sets.board_set("Board B", NEW, 1, 1))
        server.bmc.create(BOARD_B, server.due)
        return self.fleet.memories((self.drifted,))

    def test_by_default_it_fails_and_with_force_it_is_programmed(self):
        """Nothing is touched until that is said."""
        before = self.drift()
        third = self.fleet.files(("node03",))
        self.play("rollout", status=FAILED, sdr_rollout_waves=self.waves)
        self.expect_untouched(before, before)
        self.expect_never_asked(third)
        self.assertEqual(self.fleet.ledger.quarantined(), [self.drifted])
        self.play("rollout", sdr_rollout_waves=self.waves, sdr_rollout_clear=self.drifted, sdr_rollout_on_drift="force")
        self.fleet.now_due(*self.names)
        self.expect_programmed(**dict.fromkeys(self.names, 1))

    def test_where_it_is_only_to_be_reported_the_rollout_goes_on(self):
        """And leaves it as it is."""
        before = self.drift()
        self.play("rollout", sdr_rollout_waves=self.waves, sdr_rollout_on_drift="report")
        self.expect_untouched(before, before)
        self.fleet.now_due("node01", "node03")
        self.assertEqual(self.fleet.ledger.outcomes(), {"node01": "done", self.drifted: "drift", "node03": "done"})

    def test_what_was_changed_since_it_was_programmed_is_reported(self):
        """By the report, of the one server."""
        self.play("rollout", sdr_rollout_waves=("100%",))
        self.fleet.now_due(*self.names)
        self.play("report")
        self.assertEqual(self.fleet.ledger.report()["summary"]["drift"], [])
        changed = INPUTS[BOARD_B][:-1]
        self.fleet[self.drifted].program(sdr_sets.source_file("BOARD.SDR", NEW, changed), BOARD_B)
        self.fleet[self.drifted].due = sdr_sets.hex_lines(changed)
        self.play("report")
        self.assertEqual(self.fleet.ledger.report()["summary"]["drift"], [self.drifted])
