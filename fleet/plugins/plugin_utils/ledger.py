"""The files of a rollout on the controller.

    lock                     the rollout that is going on, and the process that leads it
    waves.json               the hosts of its waves so far
    open/HOST.json           an update of HOST was begun, and is not known to have ended well
    quarantine/HOST.json     HOST failed; it is left out until it is cleared by name
    outcomes/HOST.json       what the last rollout came to on HOST
    outcomes.jsonl           what every rollout came to on every host, a line each
    backups/HOST/TIME.BAK    what HOST served before an update

Each file is written aside, synced and renamed, so that it is there whole or not at all, whatever ends the
controller. The names of hosts are escaped, so that none leads out of its directory.
"""
import datetime
import errno
import fcntl
import json
import os
import re
import socket
import tempfile
import uuid
from urllib.parse import quote, unquote

OPEN = 'open'
QUARANTINE = 'quarantine'
OUTCOMES = 'outcomes'
BACKUPS = 'backups'

# Outcomes after which a host is as it should be.
GOOD = ('done', 'nothing')

_PRIVATE = 0o700
_JSON = '.json'
_STAMP = re.compile(r'[0-9]{8}T[0-9]{6}Z')
_BACKUP_SUFFIX = '.BAK'


class LedgerError(Exception):
    """A sentence for people."""


def now():
    """The time, for people and for sorting."""
    return datetime.datetime.utcnow().strftime('%Y-%m-%dT%H:%M:%SZ')


def stamp():
    """The time as the name of a file."""
    return datetime.datetime.utcnow().strftime('%Y%m%dT%H%M%SZ')


def listed(value):
    """A list, or a text with commas, as a list."""
    if isinstance(value, str):
        return [item.strip() for item in value.split(',') if item.strip()]
    return list(value or [])


def file_name(host):
    """The name of a host as that of a file."""
    name = quote(host, safe='')
    return '%2E' + name[1:] if name.startswith('.') else name


def write_whole(path, data):
    """Writes a file so that it is there whole or not at all."""
    folder = os.path.dirname(path)
    os.makedirs(folder, _PRIVATE, exist_ok=True)
    descriptor, aside = tempfile.mkstemp(prefix='.new-', dir=folder)
    try:
        with os.fdopen(descriptor, 'wb') as stream:
            stream.write(data)
            stream.flush()
            os.fsync(stream.fileno())
        os.rename(aside, path)
    except BaseException:
        os.unlink(aside)
        raise
    _sync(folder)


def _sync(folder):
    """Has a directory's names reach the disk."""
    descriptor = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


def _remove(path):
    try:
        os.unlink(path)
    except OSError as error:
        if error.errno != errno.ENOENT:
            raise
        return
    _sync(os.path.dirname(path))


def _start_of(pid):
    """When a process was started, in ticks since the boot; None where there is none."""
    try:
        with open('/proc/%d/stat' % pid, encoding='utf-8', errors='replace') as stream:
            # The name in parentheses may hold anything; the 22nd field is the 20th behind it.
            return int(stream.read().rpartition(')')[2].split()[19])
    except (OSError, ValueError, IndexError):
        return None


def _boot():
    """Which boot of which machine this is."""
    try:
        with open('/proc/sys/kernel/random/boot_id', encoding='ascii') as stream:
            return stream.read().strip()
    except OSError:
        return ''


def failure_of(result):
    """What of a task's result is kept of a failure."""
    keys = ('msg', 'status', 'in_service', 'message', 'version_before', 'version_after', 'run', 'log',
            'backup', 'error', 'result_code')
    return dict((key, result[key]) for key in keys if key in result)


class Ledger:
    """The directory with these files."""

    def __init__(self, folder, leader=None):
        """leader: the process whose rollout this is; that of another one is none to it. None: whoever leads one."""
        self.folder = os.path.abspath(os.path.expanduser(folder))
        self.leader = leader

    def path(self, *parts):
        """A path in it."""
        return os.path.join(self.folder, *parts)

    # ---- one file a host

    def put(self, kind, host, **entry):
        """Writes a host's file."""
        entry = dict(dict(rollout=self.rollout(), time=now()), host=host, **entry)
        write_whole(self.path(kind, file_name(host) + _JSON),
                    (json.dumps(entry, indent=2, sort_keys=True) + '\n').encode('utf-8'))
        return entry

    def get(self, kind, host):
        """Reads a host's file; None where there is none."""
        return self._read(self.path(kind, file_name(host) + _JSON))

    def drop(self, kind, host):
        """Removes a host's file."""
        _remove(self.path(kind, file_name(host) + _JSON))

    def hosts(self, kind):
        """The hosts that have such a file, sorted."""
        try:
            names = os.listdir(self.path(kind))
        except OSError as error:
            if error.errno == errno.ENOENT:
                return []
            raise
        return sorted(unquote(name[:-len(_JSON)]) for name in names
                      if name.endswith(_JSON) and not name.startswith('.'))

    def entries(self, kind):
        """Such files by host."""
        found = ((host, self.get(kind, host)) for host in self.hosts(kind))
        return dict((host, entry) for host, entry in found if entry is not None)

    def _read(self, path):
        try:
            with open(path, encoding='utf-8') as stream:
                entry = json.load(stream)
        except OSError as error:
            if error.errno == errno.ENOENT:
                return None
            raise
        except ValueError:
            entry = None
        # What is there and cannot be read says as much as its name does.
        return entry if isinstance(entry, dict) else {}

    # ---- outcomes

    def conclude(self, host, **outcome):
        """Notes what a rollout came to on a host, and closes the host if that is good.

        A host that an earlier play of the rollout found done stays that, though a later one has nothing to do there.
        """
        before, rollout = self.get(OUTCOMES, host) or {}, self.rollout()
        if outcome['outcome'] == 'nothing' and before.get('outcome') == 'done' \
                and rollout is not None and before.get('rollout') == rollout:
            self.drop(OPEN, host)
            return before
        entry = self.put(OUTCOMES, host, **outcome)
        line = (json.dumps(entry, sort_keys=True) + '\n').encode('utf-8')
        descriptor = os.open(self.path('outcomes.jsonl'),
                             os.O_WRONLY | os.O_APPEND | os.O_CREAT | os.O_CLOEXEC, 0o600)
        try:
            os.write(descriptor, line)
        finally:
            os.close(descriptor)
        if outcome['outcome'] in GOOD:
            self.drop(OPEN, host)
        return entry

    def fail(self, host, **outcome):
        """Quarantines a host. It stays open if it was."""
        entry = dict(outcome, outcome='failed')
        self.put(QUARANTINE, host, **entry)
        return self.conclude(host, **entry)

    def failed(self):
        """The hosts that failed in the rollout that is going on."""
        rollout = self.rollout()
        return [host for host, entry in sorted(self.entries(QUARANTINE).items())
                if rollout is not None and entry.get('rollout') == rollout]

    def concluded(self):
        """The outcomes of the rollout that is going on, by host."""
        rollout = self.rollout()
        return dict((host, entry) for host, entry in self.entries(OUTCOMES).items()
                    if rollout is not None and entry.get('rollout') == rollout)

    # ---- backups

    def backup_path(self, host, time):
        """Where a backup of a host goes."""
        return self.path(BACKUPS, file_name(host), time + _BACKUP_SUFFIX)

    def newest_backup(self, host, until=''):
        """The newest backup of a host, of `until` or before; empty where there is none."""
        if until and not _STAMP.fullmatch(until):
            raise LedgerError('%r is no time as the names of backups have it, such as 20260701T120000Z' % (until,))
        try:
            names = os.listdir(self.path(BACKUPS, file_name(host)))
        except OSError:
            return ''
        stems = (os.path.splitext(name)[0] for name in names if name.endswith(_BACKUP_SUFFIX))
        times = [time for time in stems if _STAMP.fullmatch(time) and (not until or time <= until)]
        return self.backup_path(host, max(times)) if times else ''

    # ---- the rollout

    def _lock(self):
        return self._read(self.path('lock'))

    def rollout(self):
        """The id of the rollout that is going on; None where there is none."""
        lock = self._lock() or {}
        return lock.get('rollout') if self.leader is None or self._is_own(lock) else None

    def leads(self):
        """Whether the rollout that is going on is the leader's."""
        return self._is_own(self._lock() or {})

    def _is_own(self, lock):
        return lock.get('pid') == self.leader and lock.get('machine') == socket.gethostname() and self._is_led(lock)

    def begin(self, leader):
        """Begins a rollout that the process `leader` leads.

        Raises LedgerError when another one is going on.
        """
        os.makedirs(self.folder, _PRIVATE, exist_ok=True)
        with self._guard():
            lock = self._lock()
            if lock is not None and self._is_led(lock):
                raise LedgerError('Another rollout with %s is going on: process %s on %s, since %s.'
                                  % (self.folder, lock.get('pid'), lock.get('machine'), lock.get('time')))
            lock = dict(rollout=str(uuid.uuid4()), time=now(), pid=leader, start=_start_of(leader),
                        boot=_boot(), machine=socket.gethostname())
            self._write('lock', lock)
            self._write('waves.json', dict(rollout=lock['rollout'], waves=[]))
        return lock['rollout']

    def end(self):
        """Ends the rollout."""
        _remove(self.path('lock'))

    def waves(self):
        """The hosts of the waves of the rollout that is going on, a list each."""
        kept = self._read(self.path('waves.json')) or {}
        return kept.get('waves', []) if kept.get('rollout') == self.rollout() else []

    def add_wave(self, hosts):
        """Notes the hosts of a wave that begins."""
        self._write('waves.json', dict(rollout=self.rollout(), waves=self.waves() + [hosts]))

    def _write(self, name, entry):
        write_whole(self.path(name), (json.dumps(entry, sort_keys=True) + '\n').encode('utf-8'))

    @staticmethod
    def _is_led(lock):
        """Whether the process that holds a lock may still be there."""
        if lock.get('machine') != socket.gethostname():
            return True  # cannot be told from here
        if lock.get('boot') != _boot():
            return False
        start = lock.get('start')
        return start is not None and _start_of(lock.get('pid', 0)) == start

    def _guard(self):
        return _Guard(self.path('lock.guard'))


class _Guard:
    """Keeps others out while the lock is looked at and taken."""

    def __init__(self, path):
        self.path = path
        self.descriptor = None

    def __enter__(self):
        self.descriptor = os.open(self.path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
        fcntl.flock(self.descriptor, fcntl.LOCK_EX)

    def __exit__(self, *unused):
        os.close(self.descriptor)
