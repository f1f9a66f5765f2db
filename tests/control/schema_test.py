#!/usr/bin/python3
"""Holds what tarvekctl writes as JSON to the schema that is installed.

schema_test.py TARVEKCTL BMCSIM SCHEMA EXAMPLES
"""
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import jsonschema

NOT_POSSIBLE = 77
APART = "TARVEKCTL_SCHEMA_TEST_APART"


def go_apart():
    """Goes on in namespaces of its own, where the lock is its own and all processes can be seen."""
    spaces = ["--mount", "--pid", "--fork", "--mount-proc", "--kill-child"]
    for rights in ([], ["--user", "--map-root-user"]):
        words = ["unshare", *rights, *spaces]
        if subprocess.run([*words, "mount", "-t", "tmpfs", "none", "/dev/shm"], check=False,
                          capture_output=True).returncode == 0:
            os.environ[APART] = "1"
            os.execvp("unshare", [*words, "sh", "-c",
                                  'mount -t tmpfs none /dev/shm && exec "$@"', "sh",
                                  sys.executable, "-B", *sys.argv])
    print("no namespaces are to be had")
    sys.exit(NOT_POSSIBLE)


class Machine:
    """A simulated server, and what tarvekctl says on it."""

    def __init__(self, programs, examples, directory):
        self.control, self.simulator = programs
        self.path = pathlib.Path(directory)
        self.documents = []
        for example in pathlib.Path(examples).iterdir():
            shutil.copy(example, directory)

    def bmc(self, *options):
        (self.path / "bmc").unlink(missing_ok=True)
        subprocess.run([self.simulator, "--state", "bmc", "--create", *options], cwd=self.path,
                       check=True)

    def start(self, *words, fault=None):
        plan = ["--fault", fault] if fault else []
        return subprocess.Popen(
            [self.simulator, "--state", "bmc", "--clock", "virtual", *plan, "--", self.control,
             "--state-dir", "state", "--json", *words], cwd=self.path, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, text=True)

    def end(self, process, words):
        output, _ = process.communicate(timeout=60)
        lines = [json.loads(line) for line in output.splitlines()]
        self.documents += [(" ".join(words), line) for line in lines]
        assert lines, (words, process.returncode)
        return lines[-1]

    def run(self, *words, fault=None):
        return self.end(self.start(*words, fault=fault), words)


def stopped_tool():
    """Waits until a tool has stopped (signal STOP)."""
    for _ in range(10000):
        for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
            try:
                pid, name, state = stat.read_text().split()[:3]
            except OSError:
                continue
            if name == "(tarvek)" and state == "T":
                return int(pid)
        time.sleep(0.002)
    raise RuntimeError("no tool has stopped")


def say_everything(machine):
    """Every command in every way in which it ends."""
    run = machine.run
    machine.bmc("--records", "4", "--version-text", "01.02")
    run("plan", "BOARD.SDR")
    run("plan", "EXAMPLE.CFG")
    run("doctor")
    run("doctor", "--boards", "mchk_fil")
    run("status")
    run("update", "BOARD.SDR", fault="oem-add@3: cc C1")
    run("update", "BOARD.SDR", fault="get-sdr: cc C1")
    started = machine.start("update", "BOARD.SDR", fault="oem-add@3: signal STOP")
    tool = stopped_tool()
    run("status")
    run("history")
    run("update", "OLDBOARD.SDR", "--force")
    run("show", sorted(os.listdir(machine.path / "state" / "runs"))[-1])
    os.kill(tool, signal.SIGCONT)
    done = machine.end(started, ("update", "BOARD.SDR"))
    assert done["status"] == 0, done
    run("show", done["run"])
    run("wait", done["run"])
    run("plan", "BOARD.SDR")
    run("plan", "OLDBOARD.SDR")
    run("update", "OLDBOARD.SDR")
    run("update", "gone.sdr")
    run("backup", "new.bak")
    run("backup", "new.bak")
    run("restore", done["backup"])
    detached = run("update", "BOARD.SDR", "--detach")
    run("wait", detached["run"])
    run("update", "OLDBOARD.SDR", "--force", fault="oem-add@3: signal KILL")
    run("history")
    (machine.path / "wrong.sdr").write_text(
        (machine.path / "BOARD.SDR").read_text().replace("64 5F# 00 00", "64 6E# 00 00"))
    run("plan", "wrong.sdr", "--force", "--allow-findings")
    run("show", "none")
    run("frobnicate")
    run("update")
    run("update", "BOARD.SDR", "--fast")
    run("status", "--format", "xml")
    machine.bmc("--records", "0")
    for words in (["status"], ["plan", "BOARD.SDR"], ["backup", "no.bak"], ["update", "BOARD.SDR"]):
        run(*words)
    machine.bmc("--records", "3", "--product", "01A4")
    run("update", "BOARD.SDR")
    run("doctor", fault="get-device-id: cc C1")
    run("status", fault="get-device-id: cc C1")


def main():
    programs, schema_path, examples = sys.argv[1:3], sys.argv[3], sys.argv[4]
    if APART not in os.environ:
        go_apart()
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    with tempfile.TemporaryDirectory(dir="/dev/shm") as directory:
        machine = Machine(programs, examples, directory)
        say_everything(machine)
    failed = 0
    for words, document in machine.documents:
        for error in validator.iter_errors(document):
            failed += 1
            best = jsonschema.exceptions.best_match([error])
            print(f"{words}: {best.json_path}: {best.message[:300]}\n  {json.dumps(document)[:400]}")

    # Every way to end, every word, and every key must have been there.
    results = [document for _, document in machine.documents if "phase" not in document]
    seen = {
        "status": {document["status"] for document in results},
        "outcome": {document["outcome"] for document in results},
        "command": {document["command"] for document in results},
        "in_service": {document["in_service"] for document in results},
        "phase": {document["phase"] for _, document in machine.documents if "phase" in document},
        "keys": {key for document in results for key in document},
    }
    for what, wanted in (("status", {0, 1, 2, 3, 4, 5, 6, 64}),
                         ("outcome", {"done", "nothing", "refused", "failed", "interrupted", "busy",
                                      "usage"}),
                         ("command", {"doctor", "status", "plan", "update", "restore", "backup",
                                      "history", "show", ""}),
                         ("in_service", {"input", "previous", "unknown"}),
                         ("phase", {"checking", "reading", "saving", "programming", "verifying"}),
                         ("keys", {"difference", "difference_text", "requests", "seconds", "findings",
                                   "findings_text", "board", "script", "driver", "percent", "drift",
                                   "runs", "input"})):
        if wanted - seen[what]:
            failed += 1
            print(f"never seen: {what} {sorted(map(str, wanted - seen[what]))}")
    findings = [finding for document in results if document["command"] == "plan"
                for finding in document.get("findings") or []]
    if not findings:
        failed += 1
        print("no plan has told a finding")
    stray = dict(results[0], stray=1)
    lacking = {key: value for key, value in results[0].items() if key != "differs"}
    known = dict(next(document for document in results if document["in_service"] == "unknown"),
                 changed=True)
    for wrong in (stray, lacking, known):
        if validator.is_valid(wrong):
            failed += 1
            print("the schema takes anything")
    print(f"{len(machine.documents)} objects")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
