"""A simulated server: namespaces of its own, an sshd, and a BMC under its tarvekctl."""

import contextlib
import os
import pathlib
import shutil
import subprocess
import time

from bmc import Bmc

HERE = pathlib.Path(__file__).resolve().parent
USER = "ops"
USER_ID = 2001
PATIENCE = 60  # seconds, for anything that takes a moment


def wait_until(holds, what):
    """Waits until it holds; fails in words if it never does."""
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise TimeoutError(f"in {PATIENCE} s it has not come about that {what}")
        time.sleep(0.02)


def first_child(process):
    """The process that another one started first; None while there is none."""
    children = pathlib.Path(f"/proc/{process}/task/{process}/children").read_text("ascii").split()
    return int(children[0]) if children else None


class Layer:
    """What every server has besides what this machine has: a user, an sshd, tarvek, and nothing of this machine's."""

    def __init__(self, folder, programs, sshd, public_key):
        self.folder = folder
        self._programs(programs)
        self._sshd(sshd)
        self._write("etc/passwd", "root:x:0:0:root:/root:/bin/sh\n"
                                  "sshd:x:2000:65534::/run/sshd:/usr/sbin/nologin\n"
                                  f"{USER}:x:{USER_ID}:{USER_ID}::/home/{USER}:/bin/sh\n"
                                  "nobody:x:65534:65534:nobody:/nonexistent:/usr/sbin/nologin\n")
        self._write("etc/group", f"root:x:0:\ntty:x:5:\nnogroup:x:65534:\n{USER}:x:{USER_ID}:\n")
        self._write("etc/shadow", f"root:*:19000:0:99999:7:::\nsshd:*:19000:0:99999:7:::\n"
                                  f"{USER}:*:19000:0:99999:7:::\nnobody:*:19000:0:99999:7:::\n", 0o640)
        self._write("etc/sudoers",
                    "Defaults env_reset\nDefaults secure_path=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin\n"
                    f"root ALL=(ALL) ALL\n{USER} ALL=(root) NOPASSWD: ALL\n", 0o440)
        self._write("var/lib/dpkg/statoverride", "")  # it may name groups of this machine that a server does not have
        self._write("etc/ssh/sshd_config",
                    "HostKey /etc/ssh/server_key\nAuthorizedKeysFile /etc/ssh/authorized_keys_of_%u\n"
                    "PermitRootLogin no\nPasswordAuthentication no\nKbdInteractiveAuthentication no\n"
                    "UsePAM no\nUseDNS no\nSubsystem sftp /usr/lib/openssh/sftp-server\n")
        self._write(f"etc/ssh/authorized_keys_of_{USER}", public_key)
        home = self.folder / "home" / USER
        home.mkdir(parents=True)
        os.chown(home, USER_ID, USER_ID)
        (self.folder / "root").mkdir(mode=0o700)

    def _write(self, name, text, mode=0o644):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="ascii")
        path.chmod(mode)

    def _programs(self, programs):
        there = self.folder / "opt/tarvek"
        there.mkdir(parents=True)
        for program in programs:
            shutil.copy(program, there)
        wrapper = self.folder / "usr/sbin/tarvekctl"
        wrapper.parent.mkdir(parents=True)
        shutil.copy(HERE / "tarvekctl_wrapper", wrapper)
        wrapper.chmod(0o755)

    def _sshd(self, sshd):
        """Takes the programs from where they were kept; those of this machine are there anyway."""
        if sshd == pathlib.Path("/usr"):
            return
        shutil.copy(sshd / "sbin/sshd", self.folder / "usr/sbin")
        for name in sorted((sshd / "lib").iterdir()):
            there = self.folder / ("usr/lib/openssh" if name.name == "sftp-server" else "usr/lib")
            there.mkdir(parents=True, exist_ok=True)
            shutil.copy(name, there, follow_symlinks=False)


class Server:
    """One server. Switched off it is nothing but a folder."""

    def __init__(self, name, address, folder, layer, key):
        self.name = name
        self.address = address
        self.folder = folder
        self._layer = layer
        self._unshare = None
        self._launcher = None
        self.init = None
        for part in ("upper", "work", "root", "bmc"):
            (folder / part).mkdir(parents=True)
        self.bmc = Bmc(layer.folder / "opt/tarvek/bmcsim", folder / "bmc")
        self.due = []  # the records that the BMC is to serve, as lines of hexadecimal
        keys = folder / "upper/etc/ssh"
        keys.mkdir(parents=True)
        shutil.copy(key, keys / "server_key")
        (keys / "server_key").chmod(0o600)

    # ---- the machine

    def switch_on(self):
        """Starts it; `wait_for_ssh` waits until it can be reached."""
        # pylint: disable-next=consider-using-with
        self._unshare = subprocess.Popen(
            ["unshare", "--net", HERE / "server_init", self.name, self.address, self.folder, self._layer.folder,
             str(os.getpid())], stdin=subprocess.DEVNULL)

    def wait_until_on(self):
        """Waits until its sshd runs."""
        def is_on():
            if self._unshare.poll() is not None:
                raise RuntimeError(f"{self.name} could not be started: status {self._unshare.returncode}")
            self.init = first_child(self._unshare.pid)
            log = self.path("/run/sshd.log")
            return self.init is not None and log.exists() and "listening" in log.read_text("utf-8")
        wait_until(is_on, f"{self.name} listens")

    def switch_off(self):
        """Cuts its power: everything on it dies at once."""
        if self._unshare is None:
            return
        # The kernel would take away the link of a dead network, too, but some time later.
        subprocess.run(["ip", "link", "delete", self.name], check=True)
        self._launcher = None
        self._unshare.kill()
        self._unshare.wait()
        self._unshare = None

    def path(self, name):
        """A path of its file system, as seen from here."""
        return pathlib.Path(f"/proc/{self.init}/root{name}")

    def run(self, *command, **options):
        """Runs a command on it as root, and returns what it said."""
        return subprocess.run(self._inside(command), check=True, capture_output=True, text=True, **options).stdout

    def _inside(self, command):
        return ["nsenter", "--target", str(self.init), "--mount", "--pid", "--net", "--uts", "--ipc", "--", *command]

    def unplug(self):
        """Takes its network away."""
        subprocess.run(["ip", "link", "set", self.name, "down"], check=True)

    def plug(self):
        """Brings its network back."""
        subprocess.run(["ip", "link", "set", self.name, "up"], check=True)

    def offer_key(self, key):
        """Has its sshd take another host key."""
        self.path("/etc/ssh/server_key").write_bytes(key.read_bytes())
        self.run("sh", "-c", "kill -HUP $(cat /run/sshd.pid)")

    # ---- its BMC

    def drive(self, driver):
        """Which driver its machine has."""
        (self.folder / "bmc/options").write_text(f"driver={driver}\n", encoding="ascii")

    def break_bmc(self, plan):
        """Puts a fault plan under every tarvekctl from now on, counted together."""
        self.mend_bmc()
        there = self.folder / "bmc/environment"
        script = ("export -p | grep -E '^export (BMCSIM_|LD_PRELOAD)' >/srv/bmc/new && mv /srv/bmc/new "
                  "/srv/bmc/environment && exec env -u LD_PRELOAD sleep infinity")
        # pylint: disable-next=consider-using-with
        self._launcher = subprocess.Popen(
            self._inside(["/opt/tarvek/bmcsim", "--state", "/srv/bmc/state", "--trace", "/srv/bmc/trace",
                          "--clock", "virtual", "--fault", plan, "--", "sh", "-c", script]),
            stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(there.exists, f"the fault plan of {self.name} is in force")

    def mend_bmc(self):
        """Takes the fault plan away again."""
        (self.folder / "bmc/environment").unlink(missing_ok=True)
        if self._launcher is not None:
            self._launcher.terminate()
            self._launcher.wait()
            self._launcher = None

    def program(self, source, board):
        """Has the raw tool program a set, behind the back of tarvekctl."""
        folder = self.path("/root")
        (folder / "BOARD.SDR").write_text(source, encoding="ascii")
        (folder / "mchk_fil").write_text(f"{board.lower()}  any\n", encoding="ascii")
        self.run("sh", "-c", "cd /root && /opt/tarvek/bmcsim --state /srv/bmc/state --clock virtual -- "
                             "/opt/tarvek/tarvek -update -force -sdr BOARD.SDR")

    # ---- an update in the middle

    def hold_at(self, request):
        """Has a tarvek stop itself before this request, until `go_on`."""
        self.break_bmc(f"{request}: signal STOP")

    def held(self):
        """The process that has stopped itself, or None."""
        for process in self.path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if process.joinpath("stat").read_text().rpartition(")")[2].split()[0] == "T":
                    return int(process.name)
        return None

    def wait_until_held(self):
        """Waits until its update is in the middle."""
        wait_until(lambda: self.held() is not None, f"{self.name} is held")

    def go_on(self):
        """Lets what has stopped go on."""
        self.run("sh", "-c", f"kill -CONT {self.held()}")

    def runs(self):
        """The runs that tarvekctl has made on it."""
        folder = self.path("/var/lib/tarvek/runs")
        return sorted(entry.name for entry in folder.iterdir()) if folder.exists() else []

    def wait_until_done(self):
        """Waits until a run on it has ended."""
        folder = self.path("/var/lib/tarvek/runs")
        wait_until(lambda: any(folder.glob("*/result.json")), f"a run on {self.name} has ended")

    def wait_until_idle(self):
        """Waits until no tarvek works on it."""
        def idle():
            for process in self.path("/proc").glob("[0-9]*"):
                with contextlib.suppress(OSError):
                    if process.joinpath("comm").read_text().strip() in ("tarvek", "tarvekctl"):
                        return False
            return True
        wait_until(idle, f"no tarvek works on {self.name}")
