"""Runs programs that may do anything: allocate, write or wait for ever, or leave others behind."""

import contextlib
import os
import shutil
import signal
import subprocess
import threading

LIMITS = ("prlimit", "--core=0", f"--as={8 << 30}", f"--fsize={1 << 30}")

TIMED_OUT = "timed out"


class Commands:
    """Runs one program at a time, in a fresh scratch directory below `directory`."""

    def __init__(self, directory, environment):
        self._directory = directory
        self._environment = {**os.environ, **environment}
        self._running = None
        self._closed = False
        self._guard = threading.Lock()

    def run(self, command, patience=None):
        """Runs a program and ends whatever it has left running.

        @param patience  seconds until it is ended; None: for ever.
        @return None when it succeeded, else how it ended; and what it printed.
        """
        scratch = self._directory / "scratch"
        output = self._directory / "output"
        # The tool looks for files in the directories above its own: there is nothing in these.
        place = scratch / "1" / "2" / "3"
        shutil.rmtree(scratch, ignore_errors=True)
        place.mkdir(parents=True)
        with open(output, "wb") as stream:
            manner = self._wait(self._start(command, place, scratch, stream), patience)
        return manner, output.read_text(errors="replace")

    def close(self):
        """Ends what runs; nothing more will."""
        with self._guard:
            self._closed = True
            if self._running:
                _end_group(self._running)

    def _start(self, command, place, scratch, stream):
        with self._guard:
            if self._closed:
                raise InterruptedError
            self._running = subprocess.Popen(
                (*LIMITS, *command), cwd=place,
                env={**self._environment, "TMPDIR": str(scratch)}, stdin=subprocess.DEVNULL,
                stdout=stream, stderr=stream, start_new_session=True)
            return self._running

    def _wait(self, process, patience):
        manner = None
        try:
            status = process.wait(patience)
            if status != 0:
                manner = f"status {status}" if status > 0 else signal.Signals(-status).name
        except subprocess.TimeoutExpired:
            manner = TIMED_OUT
        finally:
            _end_group(process)
            process.wait()
        return manner


def _end_group(process):
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
