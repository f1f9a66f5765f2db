"""The simulated BMC of one server, as it is seen from outside."""

import re
import subprocess

# The requests that begin an erase of the spare copy: each of them is one programming.
_ERASE = re.compile(r"^> F8 14 .. .. 43 4C 52 AA$", re.MULTILINE)

# What changes a BMC: opening and closing the spare copy, adding to it, erasing it; the same of the repository itself.
_WRITING = re.compile(r"^> (F8 1[034]|28 2[4-9A]|28 2B)\b", re.MULTILINE)

_STORE_BYTES = 131072


class Bmc:
    """A state file, the trace of all requests, and how programs of the server get to it."""

    def __init__(self, bmcsim, folder):
        self._bmcsim = bmcsim
        self.folder = folder
        self.state = folder / "state"
        self.trace = folder / "trace"

    def create(self, product, lines, *options):
        """Makes it new, with these records: lines of hexadecimal."""
        self.state.unlink(missing_ok=True)
        load = self.folder / "records"
        load.write_text("".join(line + "\n" for line in lines), encoding="ascii")
        self._run("--create", "--product", product, "--load", str(load), *options)

    def records(self):
        """What it serves, a line of hexadecimal a record."""
        return self._run("--dump=hex").splitlines()

    def memory(self):
        """All that a writing request could have changed: what is told of it, and every byte of both stores.

        Reading changes the state file, too: it counts the reservations that were given out.
        """
        return self._run("--dump"), self.state.read_bytes()[-2 * _STORE_BYTES:]

    def file(self):
        """Every byte of the state file."""
        return self.state.read_bytes()

    def requests(self):
        """How many requests it had."""
        return self._trace().count(">")

    def programmings(self):
        """How often a programming was begun."""
        return len(_ERASE.findall(self._trace()))

    def writings(self):
        """How many requests it had that can change it."""
        return len(_WRITING.findall(self._trace()))

    def _trace(self):
        return self.trace.read_text(encoding="ascii") if self.trace.exists() else ""

    def _run(self, *options):
        done = subprocess.run([self._bmcsim, "--state", self.state, *options], check=True, capture_output=True,
                              encoding="utf-8", errors="backslashreplace")
        return done.stdout
