"""The controller: Ansible with the collection as it is built, an inventory, and what its runs come to."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess

from server import USER, wait_until

HERE = pathlib.Path(__file__).resolve().parent
COLLECTION = HERE.parent.parent / "fleet"
FORKS = 6
PLAY_PATIENCE = 240  # seconds, for one run of Ansible

# What Ansible's statuses mean.
GOOD = 0
FAILED = 2
UNREACHABLE = 4

# Tasks of Ansible's own that only bring in others.
_INCLUDING = ("include_tasks", "include_role", "import_role", "import_tasks")


class Play:
    """One run of ansible-playbook, under way or ended."""

    def __init__(self, process, record, output):
        self._process = process
        self._record = record
        self._output = output

    def wait(self):
        """Waits for its end. Returns itself."""
        try:
            self._process.wait(PLAY_PATIENCE)
        except subprocess.TimeoutExpired:
            self.kill()
            raise TimeoutError(f"after {PLAY_PATIENCE} s still under way:\n{self.output()[-4000:]}") from None
        return self

    def kill(self):
        """Kills it and everything of it that is left on this machine, as a power cut would."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()
        kill_connections()

    @property
    def process(self):
        """The number of its process, which leads a session of its own."""
        return self._process.pid

    def running(self):
        """Whether it is under way."""
        return self._process.poll() is None

    @property
    def status(self):
        """Its exit status."""
        return self._process.returncode

    def output(self):
        """What it said."""
        return self._output.read_text(encoding="utf-8", errors="replace")

    def events(self, event=None, host=None, task=None):
        """What came about in it, of this kind."""
        if not self._record.exists():
            return []
        lines = self._record.read_text(encoding="utf-8").split("\n")[:-1]  # what follows the last is not whole yet
        return [entry for entry in map(json.loads, lines)
                if event in (None, entry["event"]) and host in (None, entry.get("host"))
                and (task is None or (entry.get("task") or "").endswith(task))]

    def wait_until_started(self, host, task):
        """Waits until a host has begun a task."""
        wait_until(lambda: self.events("start", host, task) or not self.running(), f"{host} begins '{task}'")
        if not self.events("start", host, task):
            raise AssertionError(f"{host} has never begun '{task}':\n{self.output()[-4000:]}")

    def changed(self):
        """The hosts on which it changed something."""
        stats = self.events("stats")[-1]["hosts"]
        return sorted(host for host, counts in stats.items() if counts["changed"])

    def unreachable(self):
        """The hosts that it could not reach."""
        return sorted({entry["host"] for entry in self.events("unreachable")})

    def tasks(self, host):
        """The tasks that did something for a host; what was skipped, or only brought in others, did not."""
        return [entry["task"] for entry in self.events(host=host)
                if entry["event"] in ("ok", "failed", "ignored", "unreachable")
                and entry["action"].rpartition(".")[2] not in _INCLUDING]


def kill_connections():
    """Kills the connections that ssh keeps open for the next task, and waits until they are gone."""
    def left():
        found = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                state = process.joinpath("stat").read_text().rpartition(")")[2].split()[0]
                if process.joinpath("comm").read_text().strip() in ("ssh", "ansible-playboo") and state != "Z":
                    found.append(int(process.name))
        return found

    def none_left():
        for process in left():
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)
        return not left()
    wait_until(none_left, "all connections are gone")


class Controller:
    """A directory with all that Ansible is given, and a way to run it."""

    def __init__(self, folder, keys, keep, forks=FORKS, ssh_options=""):
        self.folder = folder
        self.start_in = folder
        self._keep = keep
        self._count = 0
        self._build_collection()
        shutil.copytree(HERE / "callback", folder / "callback")
        self._write("ansible.cfg",
                    f"[defaults]\ninventory = {folder}/inventory.json\n"
                    f"collections_path = {folder}/collections\ncallback_plugins = {folder}/callback\n"
                    "callbacks_enabled = fleet_record\nhost_key_checking = True\nretry_files_enabled = False\n"
                    f"forks = {forks}\nnocows = True\n"
                    "[ssh_connection]\npipelining = True\nretries = 0\n"
                    f"ssh_args = -F {folder}/ssh_config -o ControlMaster=auto -o ControlPersist=60s\n")
        # A lost host is noticed after six seconds; one that is only slow is not lost.
        self._write("ssh_config",
                    f"Host *\n  User {USER}\n  IdentityFile {keys}/user\n  IdentitiesOnly yes\n"
                    f"  UserKnownHostsFile {folder}/known_hosts\n  GlobalKnownHostsFile /dev/null\n"
                    "  StrictHostKeyChecking yes\n  BatchMode yes\n  ConnectTimeout 5\n"
                    f"  ServerAliveInterval 2\n  ServerAliveCountMax 3\n{ssh_options}")
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(folder), "LC_ALL": "C.UTF-8", "ANSIBLE_HOME": f"{folder}/.ansible",
            "ANSIBLE_CONFIG": f"{folder}/ansible.cfg", "ANSIBLE_NOCOLOR": "1"}

    def _write(self, name, text):
        (self.folder / name).write_text(text, encoding="utf-8")

    def _build_collection(self):
        """Builds the collection and installs it, so that what is tested is what is shipped."""
        def galaxy(*arguments):
            subprocess.run(["ansible-galaxy", "collection", *arguments], check=True, stdout=subprocess.DEVNULL,
                           env=dict(os.environ, HOME=str(self.folder), ANSIBLE_HOME=f"{self.folder}/.ansible",
                                    ANSIBLE_COLLECTIONS_PATH=str(installed)))
        built, installed = self.folder / "built", self.folder / "collections"
        galaxy("build", str(COLLECTION), "--output-path", str(built))
        archive, = built.iterdir()
        galaxy("install", str(archive), "--offline", "-p", str(installed))

    def know(self, servers, keys):
        """Writes down whose key is whose, once and for all."""
        self._write("known_hosts", "".join(
            f"{server.address} " + " ".join(
                (keys / f"{server.name}.pub").read_text(encoding="ascii").split()[:2]) + "\n" for server in servers))

    def list_hosts(self, servers, host_vars, **group_vars):
        """Writes the inventory."""
        hosts = {server.name: dict({"ansible_host": server.address}, **host_vars.get(server.name, {}))
                 for server in servers}
        group_vars.setdefault("ansible_python_interpreter", "/usr/bin/python3")
        self._write("inventory.json", json.dumps({"all": {"hosts": hosts, "vars": group_vars}}, indent=1))

    def connect(self, address, *options):
        """Makes a connection of its own, and ends it."""
        subprocess.run(["ssh", *options, "-F", self.folder / "ssh_config", "-o", "ControlPath=none", address, "true"],
                       check=True, stdin=subprocess.DEVNULL)

    def start(self, playbook, *options, **extra):
        """Starts a playbook of the collection, or one that lies in the folder, with these extra variables."""
        self._count += 1
        folder = self._keep / f"{self._count:03}-{playbook}"
        folder.mkdir(parents=True)
        output, record = folder / "output", folder / "record"
        own = self.folder / f"{playbook}.yml"
        command = ["ansible-playbook", str(own) if own.exists() else f"tarvek.sdr.{playbook}", *options]
        if extra:
            command += ["-e", json.dumps(extra)]
        with output.open("w") as stream:
            # pylint: disable-next=consider-using-with
            process = subprocess.Popen(command, cwd=self.start_in, stdin=subprocess.DEVNULL, stdout=stream,
                                       stderr=stream, env=dict(self.environment, FLEET_RECORD=str(record)),
                                       start_new_session=True)
        return Play(process, record, output)

    def play(self, playbook, *options, **extra):
        """Runs a playbook to its end."""
        return self.start(playbook, *options, **extra).wait()


class Ledger:
    """What a rollout has left in its directory."""

    def __init__(self, folder):
        self.folder = folder

    def _entries(self, kind):
        folder = self.folder / kind
        return {path.stem: json.loads(path.read_text(encoding="utf-8")) for path in sorted(folder.glob("*.json"))}

    def open(self):
        """The hosts that are open."""
        return sorted(self._entries("open"))

    def quarantined(self):
        """The hosts that are quarantined."""
        return sorted(self._entries("quarantine"))

    def outcomes(self):
        """The last outcome of each host, in a word."""
        return {host: entry["outcome"] for host, entry in self._entries("outcomes").items()}

    def outcome(self, host):
        """All of a host's last outcome."""
        return self._entries("outcomes")[host]

    def backups(self, host):
        """The backups of a host, the oldest first."""
        return sorted((self.folder / "backups" / host).glob("*.BAK"))

    def report(self):
        """What report.json says."""
        return json.loads((self.folder / "report.json").read_text(encoding="utf-8"))
