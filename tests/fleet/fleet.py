"""Twelve servers, two boards, and what each of them is to serve."""

import shutil
import subprocess

import sdr_sets
from controller import FORKS, Controller, Ledger
from server import Layer, Server

BOARD_A = "01A3"
BOARD_B = "02B4"
BOARD_UNKNOWN = "0777"

NETWORK = "10.77.0"
FIRST_ADDRESS = 11
NAMES = tuple(f"node{number:02}" for number in range(1, 13))

# What the fleet has from the beginning: board, version, how many sensors. The default waves are node01; node02; node03
# to node05; the others.
OLD = "01.02"
NEW = "01.03"
NEWER = "01.04"
KINDS = {
    "node01": (BOARD_A, OLD, 2, 2),
    "node02": (BOARD_B, OLD, 3, 1),
    "node03": (BOARD_A, OLD, 1, 4),
    "node04": (BOARD_A, OLD, 2, 2),
    "node05": (BOARD_B, "01.01", 3, 1),
    "node06": (BOARD_UNKNOWN, OLD, 2, 1),
    "node07": (BOARD_A, OLD, 2, 2),
    "node08": (BOARD_A, NEW, 0, 0),
    "node09": (BOARD_B, NEWER, 4, 4),
    "node10": (BOARD_A, "00.90", 0, 1),
    "node11": (BOARD_B, OLD, 3, 1),
    "node12": (BOARD_A, OLD, 2, 3),
}
ODD = "node04"
UNKNOWN = "node06"
WITHOUT_BMC = "node07"
UP_TO_DATE = "node08"
AHEAD = "node09"
NOT_TO_BE_UPDATED = (UNKNOWN, WITHOUT_BMC, UP_TO_DATE, AHEAD)
TO_BE_UPDATED = tuple(name for name in NAMES if name not in NOT_TO_BE_UPDATED)

# Loses its reservations, refuses to read and to be read, and is slow; tarvek copes with all of that.
ODD_PLAN = ("get-sdr@every 11: cancel; oem-add@3: cancel; oem-get-sdr@every 9: cc C5; oem-clear@2-4: stuck; "
            "any@every 10: delay 0.3")

# What a board's servers get.
TITLES = {BOARD_A: "Board A", BOARD_B: "Board B", BOARD_UNKNOWN: "Board X"}
INPUT_SENSORS = {BOARD_A: (4, 3), BOARD_B: (2, 5)}
INPUTS = {board: sdr_sets.board_set(TITLES[board], NEW, *sensors) for board, sensors in INPUT_SENSORS.items()}


def records_of(kind):
    """What a server serves in the beginning."""
    board, version, temperatures, fans = kind
    if version == NEW:
        return INPUTS[board]
    return sdr_sets.board_set(TITLES[board], version, temperatures, fans)


def difference(served, due):
    """How records that are served differ from those that are due, in words; empty when they do not."""
    for number, (left, right) in enumerate(zip(served, due), 1):
        if left != right:
            return f"record {number} is {left} instead of {right}"
    return "" if len(served) == len(due) else f"{len(served)} records instead of {len(due)}"


class Fleet:
    """The network, the servers, and the controller."""

    def __init__(self, work, programs, sshd, keep, *, kinds=None, forks=FORKS, ssh_options=""):
        self.work = work
        self._kinds = KINDS if kinds is None else kinds
        self._keys = work / "keys"
        self._keys.mkdir()
        for name in ("user", "stranger", *self._kinds):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", name, "-f", self._keys / name],
                           check=True)
        self._layer = Layer(work / "layer", programs, sshd, (self._keys / "user.pub").read_text(encoding="ascii"))
        for command in ("link add name br0 type bridge", f"address add {NETWORK}.1/24 dev br0", "link set lo up",
                        "link set br0 up"):
            subprocess.run(["ip", *command.split()], check=True)
        (work / "controller").mkdir()
        self.controller = Controller(work / "controller", self._keys, keep, forks, ssh_options)
        self.inputs = self._write_inputs(work / "inputs")
        self._servers = {}
        self.ledger = Ledger(self.controller.folder / "sdr-fleet")

    @property
    def stranger(self):
        """A key that is no server's."""
        return self._keys / "stranger"

    @staticmethod
    def _write_inputs(folder):
        """The input files of each board. Returns the role's mapping."""
        found = {}
        for board, records in INPUTS.items():
            there = folder / board
            there.mkdir(parents=True)
            source = there / "BOARD.SDR"
            source.write_text(sdr_sets.source_file("BOARD.SDR", NEW, records), encoding="ascii")
            (there / "mchk_fil").write_text(f"{board.lower()}  {TITLES[board]}\n", encoding="ascii")
            found[board] = {"src": str(source)}
        return found

    def __getitem__(self, name):
        return self._servers[name]

    def __iter__(self):
        return iter(self._servers.values())

    def begin(self, names, host_vars=None, **group_vars):
        """Switches on new servers of these names, as they are in the beginning; no rollout was ever led."""
        self.end()
        for name in names:
            address = f"{NETWORK}.{FIRST_ADDRESS + list(self._kinds).index(name)}"
            server = Server(name, address, self.work / "servers" / name, self._layer, self._keys / name)
            self._servers[name] = server
            server.due = sdr_sets.hex_lines(records_of(self._kinds[name]))
            server.bmc.create(self._kinds[name][0], server.due)
            server.switch_on()
        for server in self:
            server.wait_until_on()
            subprocess.run(["ip", "link", "set", server.name, "master", "br0", "up"], check=True)
        if ODD in names:
            self[ODD].break_bmc(ODD_PLAN)
        if WITHOUT_BMC in names:
            self[WITHOUT_BMC].drive("none")
        self.controller.know(self, self._keys)
        shutil.rmtree(self.ledger.folder, ignore_errors=True)
        self.controller.list_hosts(self, dict({WITHOUT_BMC: {"sdr_rollout_on_unfit": "skip"}}, **(host_vars or {})),
                                   **dict({"sdr_rollout_inputs": self.inputs,
                                           "sdr_rollout_dir": str(self.ledger.folder)}, **group_vars))

    def end(self):
        """Switches everything off."""
        for server in self:
            server.switch_off()
        self._servers = {}
        shutil.rmtree(self.work / "servers", ignore_errors=True)

    def now_due(self, *names):
        """From now on these servers are to serve their board's input."""
        for name in names:
            self[name].due = sdr_sets.hex_lines(INPUTS[self._kinds[name][0]])

    def wrong(self):
        """What is wrong with the records of any BMC, in words: nothing, as it should be."""
        return [f"{server.name}: {found}" for server in self
                if (found := difference(server.bmc.records(), server.due))]

    def memories(self, names=None):
        """What the BMCs hold that a write could change."""
        return {server.name: server.bmc.memory() for server in self if names is None or server.name in names}

    def files(self, names=None):
        """The BMCs' state files, whole."""
        return {server.name: server.bmc.file() for server in self if names is None or server.name in names}
