"""Machines that QEMU emulates: each boots, runs one scenario, and hands over what it left."""

import dataclasses
import io
import os
import pathlib
import re
import shutil
import subprocess
import tarfile
import threading
import time

import debian_kernel

HERE = pathlib.Path(__file__).resolve().parent
GUEST = HERE / "guest"
UNIT = HERE.parents[1] / "packaging" / "systemd" / "tarvek-update@.service"

PATIENCE_SECONDS = 280  # for one machine's whole life
KILLED = -9

KERNEL_ARGUMENTS = (
    "console=ttyS0 quiet panic=-1 nokaslr no_timer_check i8042.nokbd i8042.noaux"
    " cryptomgr.notests=1 audit=0 lsm="
)
STAMP = re.compile(r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d  ")

# Programs of the host that the guests need, besides those that ship.
GUEST_PROGRAMS = ("busybox", "ipmitool", "ipmi-sensors")


# What of the host's systemd the guests need that have it: programs, and units of the boot.
SYSTEMD = pathlib.Path("/lib/systemd")
SYSTEMD_PROGRAMS = ("/lib/systemd/systemd", "/lib/systemd/systemd-journald", "/usr/bin/journalctl",
                    "/usr/bin/systemctl")
SYSTEMD_UNITS = ("sysinit.target", "basic.target", "local-fs.target", "paths.target",
                 "shutdown.target", "slices.target", "sockets.target", "swap.target",
                 "timers.target", "umount.target", "systemd-journald.service",
                 "systemd-journald.socket", "systemd-journald-dev-log.socket")


@dataclasses.dataclass(frozen=True)
class Machine:
    """What a machine is, and what happens on it."""

    scenario: str  # guest/scenarios/<scenario>.sh
    bmc: tuple = ("--records", "40", "--version-text", "01.02")  # options that make its BMC
    load: str = ""  # the input file that holds its BMC's records
    faults: str = ""  # the BMC's fault plan
    interface: str = "isa-ipmi-kcs"  # the QEMU device between machine and BMC
    device: str = "ipmi-bmc-extern"  # the QEMU device that is its BMC; "" for none
    on_both: bool = True  # the scenario says nothing about time: simulate it as well
    systemd: bool = False  # it runs systemd, and the scenario is one of its services
    bmc_returns: bool = False  # a BMC that died is started again when the guest says that it may


class ToolRun:
    """One run of the tool: the files of its results directory."""

    def __init__(self, files):
        self.files = files

    def text(self, name):
        if name not in self.files:
            return f"(there is no {name})"
        return self.files[name].decode("latin-1")

    @property
    def status(self):
        return int(self.text("status"))

    @property
    def seconds(self):
        return int(self.text("seconds"))

    @property
    def lock(self):
        return self.text("lock").strip()

    @property
    def console(self):
        return self.text("console")

    def log(self, name="tarvek.log"):
        """A history log's lines without their time stamps."""
        return [STAMP.sub("", line, count=1) for line in self.text(name).splitlines()]

    def record_area(self):
        """The records in the backup image, back to back."""
        return self.files["BMCSDR.BAK"][128:]


@dataclasses.dataclass
class Record:
    """What a scenario left: on the machine, or over the simulated driver."""

    files: dict  # path below the results directory -> bytes
    trace: list  # lines of the BMC's trace
    repository: list  # the records that the BMC serves in the end, in hex, without IDs
    description: str  # the same BMC as bmcsim describes it to people
    console: str = ""  # the machine's console
    programs: str = ""  # what QEMU and bmcsim had to say
    bmc_status: int = 0  # exit status of the machine's bmcsim
    before_return: str = ""  # `description` when a BMC that had died came back

    def run(self, name):
        prefix = name + "/"
        return ToolRun({path[len(prefix):]: content for path, content in self.files.items()
                        if path.startswith(prefix)})

    def run_names(self):
        return sorted({path.split("/")[0] for path in self.files if "/" in path})

    def requests(self):
        return [line[2:] for line in self.trace if line.startswith("> ")]

    def answers(self):
        return [line[2:] for line in self.trace if line.startswith("< ")]


class Workshop:
    """Builds what all machines share, and runs them."""

    def __init__(self, directory, tarvek, tarvekctl, bmcsim, inputs):
        """`directory` takes everything; `inputs` maps names of input files to their bytes."""
        self.directory = pathlib.Path(directory)
        self.tarvek = pathlib.Path(tarvek).resolve()
        self.tarvekctl = pathlib.Path(tarvekctl).resolve()
        self.bmcsim = pathlib.Path(bmcsim).resolve()
        self.inputs = self.directory / "inputs"
        self.inputs.mkdir()
        for name, content in inputs.items():
            (self.inputs / name).write_bytes(content)
        self.kernel = debian_kernel.fetch()
        self.initrd = self.directory / "initrd"
        self.systemd_initrd = self.directory / "initrd.systemd"
        self._build_initrd()
        self._running = set()
        self._closed = False
        self._guard = threading.Lock()
        self._host_lock = threading.Lock()  # the tool's lock is one name for the whole host

    def _build_initrd(self):
        root = self.directory / "root"
        for name in ("bin", "usr/sbin", "dev", "proc", "sys", "modules", "var/lib"):
            (root / name).mkdir(parents=True)
        for name in ("init", "life", "functions.sh"):
            shutil.copy(GUEST / name, root)
        shutil.copytree(GUEST / "scenarios", root / "scenarios")
        shutil.copytree(self.inputs, root / "inputs")
        for module in debian_kernel.MODULES:
            shutil.copy(self.kernel / (module + ".ko"), root / "modules")
        for name, program in (("tarvek", self.tarvek), ("tarvekctl", self.tarvekctl)):
            _add_program(program, root / "usr/sbin" / name, root)
        for name in GUEST_PROGRAMS:
            _add_program(_program(name), root / "bin" / name, root)
        self.initrd.write_bytes(_archive(root))
        # The kernel unpacks archives that follow one another.
        self.systemd_initrd.write_bytes(self.initrd.read_bytes() + _archive(self._systemd_root()))

    def _systemd_root(self):
        """What a guest with systemd has besides the others."""
        root = self.directory / "systemd-root"
        units = root / "lib/systemd/system"
        for place in (units, root / "etc", root / "tmp", root / "var/tmp"):
            place.mkdir(parents=True)
        for program in SYSTEMD_PROGRAMS:
            place = root / program.lstrip("/")
            place.parent.mkdir(parents=True, exist_ok=True)
            _add_program(pathlib.Path(program), place, root)
        for unit in SYSTEMD_UNITS:
            shutil.copy(SYSTEMD / "system" / unit, units)
        shutil.copytree(GUEST / "systemd", units, dirs_exist_ok=True)
        template = UNIT.with_name(UNIT.name + ".in").read_text()
        (units / UNIT.name).write_text(
            template.replace("@CMAKE_INSTALL_FULL_SBINDIR@", "/usr/sbin"))
        (root / "etc/machine-id").write_text("0123456789abcdef0123456789abcdef\n")
        return root

    def boot(self, name, machine):
        """Runs the machine to its end; gives its Record."""
        place = self.directory / name
        place.mkdir()
        with self._bmc(place, machine) as bmc:
            command = ["qemu-system-x86_64", *self._qemu_arguments(place, machine)]
            qemu = self.start_process(command, place / "qemu.log")
            try:
                before_return = self._attend(qemu, bmc, machine, place)
            finally:
                self.end_process(qemu)
        record = self._record(place, machine, _untar(place / "results.tar"))
        record.console = _content(place / "console").decode(errors="replace")
        record.programs = "".join(_content(place / name).decode(errors="replace")
                                  for name in ("qemu.log", "bmcsim.log"))
        record.bmc_status = bmc.status
        record.before_return = before_return
        return record

    def _qemu_arguments(self, place, machine):
        arguments = [
            "-accel", "tcg", "-machine", "pc", "-m", "512", "-smp", "1",
            "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
            "-kernel", self.kernel / "kernel",
            "-initrd", self.systemd_initrd if machine.systemd else self.initrd,
            "-append", f"{KERNEL_ARGUMENTS} scenario={machine.scenario}"
                       + (" manager=systemd" if machine.systemd else ""),
            "-serial", f"file:{place / 'console'}", "-serial", f"file:{place / 'results.tar'}",
        ]
        if not machine.device:
            return arguments
        device = machine.device + ",id=bmc"
        if _is_ours(machine):
            arguments += ["-chardev", f"socket,id=wire,path={place / 'socket'},reconnect=1"]
            device += ",chardev=wire"
        else:
            device += f",sdrfile={self.inputs / 'FOREIGN.bin'}"
        return arguments + ["-device", device, "-device", machine.interface + ",bmc=bmc"]

    def _attend(self, qemu, bmc, machine, place):
        """Waits for the guest's end; brings its BMC back when it died and may.

        Gives the description of a BMC that came back, as it was just before.
        """
        before_return = ""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while qemu.poll() is None and time.monotonic() < deadline:
            time.sleep(0.05)
            if machine.bmc_returns and bmc.died() and b"may come" in _content(place / "console"):
                before_return = self._dump(place, "--dump")
                bmc.start(faults="")
        return before_return

    def simulate(self, name, machine):
        """Runs the machine's scenario on this host, over the simulated driver; gives its Record."""
        place = self.directory / (name + ".simulated")
        for directory in ("bin", "work", "results"):
            (place / directory).mkdir(parents=True)
        self._create_bmc(place, machine)
        launcher = [self.bmcsim, "--state", place / "state", "--trace", place / "trace",
                    "--clock", "virtual"]
        if machine.faults:
            launcher += ["--fault", machine.faults]
        words = " ".join(f"'{word}'" for word in [*launcher, "--", self.tarvek])
        (place / "bin" / "tarvek").write_text(f'#!/bin/sh\nexec {words} "$@"\n')
        (place / "bin" / "tarvek").chmod(0o755)
        environment = dict(os.environ, TZ="UTC", INPUTS=str(self.inputs),
                           RESULTS=str(place / "results"),
                           PATH=f"{place / 'bin'}:{os.environ['PATH']}")
        scenario = GUEST / "scenarios" / (machine.scenario + ".sh")
        with self._host_lock:
            subprocess.run(["sh", "-c", '. "$0"; . "$1"', GUEST / "functions.sh", scenario],
                           cwd=place / "work", env=environment, check=True,
                           stdin=subprocess.DEVNULL, timeout=PATIENCE_SECONDS)
        files = {str(path.relative_to(place / "results")): path.read_bytes()
                 for path in (place / "results").rglob("*") if path.is_file()}
        return self._record(place, machine, files)

    def _record(self, place, machine, files):
        if not _is_ours(machine):
            return Record(files, [], [], "")
        trace = place / "trace"
        return Record(files, trace.read_text().splitlines() if trace.exists() else [],
                      self._dump(place, "--dump=hex").splitlines(), self._dump(place, "--dump"))

    def _dump(self, place, how):
        return subprocess.run([self.bmcsim, "--state", place / "state", how], check=True,
                              text=True, stdout=subprocess.PIPE).stdout

    def _create_bmc(self, place, machine):
        load = ["--load", self.inputs / machine.load] if machine.load else []
        subprocess.run([self.bmcsim, "--state", place / "state", "--create", *machine.bmc, *load],
                       check=True)

    def _bmc(self, place, machine):
        if not _is_ours(machine):
            return _NoBmc()
        self._create_bmc(place, machine)
        return _ServedBmc(self, place, machine)

    def start_process(self, command, log):
        """Starts a process of ours; none any more once the workshop is closed."""
        with self._guard:
            if self._closed:
                raise RuntimeError("interrupted")
            with open(log, "ab") as output:
                process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                           stderr=output)
            self._running.add(process)
            return process

    def end_process(self, process):
        process.kill()
        process.wait()
        with self._guard:
            self._running.discard(process)

    def close(self):
        """Ends whatever still runs."""
        with self._guard:
            self._closed = True
            for process in self._running:
                process.kill()


class _NoBmc:
    """In the place of a BMC of ours: there is none."""

    status = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        pass


class _ServedBmc:
    """bmcsim as a machine's BMC."""

    def __init__(self, workshop, place, machine):
        self._workshop = workshop
        self._place = place
        self._faults = machine.faults
        self._process = None
        self.status = None  # once it has ended

    def __enter__(self):
        self.start(self._faults)
        return self

    def __exit__(self, *_):
        self._process.terminate()
        try:
            self.status = self._process.wait(timeout=10)
        finally:
            self._workshop.end_process(self._process)

    def start(self, faults):
        command = [self._workshop.bmcsim, "--state", self._place / "state",
                   "--trace", self._place / "trace", "--serve", self._place / "socket"]
        if faults:
            command += ["--fault", faults]
        socket = self._place / "socket"
        socket.unlink(missing_ok=True)
        self._process = self._workshop.start_process(command, self._place / "bmcsim.log")
        while not socket.exists() and self._process.poll() is None:
            time.sleep(0.01)

    def died(self):
        return self._process.poll() == KILLED


def _is_ours(machine):
    return machine.device == "ipmi-bmc-extern"


def _program(name):
    path = shutil.which(name)
    if path is None:
        raise FileNotFoundError(f"there is no program {name}")
    return pathlib.Path(path)


def _archive(root):
    """A directory as the kernel's initial file system."""
    names = subprocess.run(["find", "."], cwd=root, check=True, stdout=subprocess.PIPE).stdout
    return subprocess.run(["cpio", "--quiet", "-o", "-H", "newc", "-R", "0:0"], cwd=root,
                          input=names, check=True, stdout=subprocess.PIPE).stdout


def _add_program(program, place, root):
    """Puts a program at a place of a guest's, and what it needs to where it is on this host."""
    shutil.copy(program, place)
    for library in _libraries(program):
        there = root / library.relative_to("/")
        there.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(library, there)


def _libraries(program):
    """The shared libraries that a program needs, as ldd names them; none for a static one."""
    listing = subprocess.run(["ldd", program], text=True, check=False, stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL).stdout
    return [pathlib.Path(path) for path in re.findall(r"(/\S+) \(0x", listing)]


def _content(path):
    return path.read_bytes() if path.exists() else b""


def _untar(path):
    """The files of a tar by their names; none when the guest did not get so far."""
    files = {}
    try:
        with tarfile.open(fileobj=io.BytesIO(_content(path))) as archive:
            for member in archive:
                if member.isfile():
                    files[member.name.removeprefix("./")] = archive.extractfile(member).read()
    except tarfile.TarError:
        pass
    return files
