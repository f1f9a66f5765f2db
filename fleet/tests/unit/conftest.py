"""What the tests have in common: the collection under its name, and a tarvekctl that says what a test wants."""
import json
import os
import stat
import tempfile
from unittest import mock

import pytest

COLLECTION = os.path.realpath(os.path.join(os.path.dirname(__file__), '..', '..'))

_PLACE = tempfile.TemporaryDirectory()  # pylint: disable=consider-using-with  # for as long as the tests run
os.makedirs(os.path.join(_PLACE.name, 'ansible_collections', 'tarvek'))
os.symlink(COLLECTION, os.path.join(_PLACE.name, 'ansible_collections', 'tarvek', 'sdr'))
os.environ['ANSIBLE_COLLECTIONS_PATH'] = _PLACE.name

# Ansible finds collections from here on, where the variable has them.
import ansible.plugins.loader  # noqa: E402  pylint: disable=wrong-import-position,unused-import
from ansible.playbook.block import Block  # noqa: E402  pylint: disable=wrong-import-position
from ansible.playbook.play import Play  # noqa: E402  pylint: disable=wrong-import-position
from ansible.module_utils import basic  # noqa: E402  pylint: disable=wrong-import-position
from ansible.module_utils.common.text.converters import to_bytes  # noqa: E402  pylint: disable=wrong-import-position

_FAKE = '''#!/usr/bin/python3
import json, sys
place = %r
with open(place + '/calls', 'a') as calls:
    calls.write(json.dumps(sys.argv[1:]) + '\\n')
verb = [word for word in sys.argv[1:] if not word.startswith('-')][0]
with open(place + '/' + verb) as answer:
    output = answer.read()
sys.stdout.write(output)
lines = output.splitlines() or ['{}']
try:
    sys.exit(json.loads(lines[-1]).get('status') or 0)
except ValueError:
    sys.stderr.write('it broke')
    sys.exit(9)
'''


def result(command, status=0, **more):
    """A result object of tarvekctl."""
    common = dict(schema=1, command=command, status=status, outcome='done' if status == 0 else 'failed', changed=False,
                  in_service='previous', differs=None, version_before=None, version_after=None, result_code=None,
                  error=None, run=None, log=None, backup=None,
                  message=dict(what='What.', state='State.', remedy='Remedy.'))
    return dict(common, **more)


def action_of(plugin, args, check=False):
    """An action whose target records what reaches it."""
    task = mock.MagicMock(args=args, check_mode=check, async_val=0, environment=None, _parent=Block(play=Play()),
                          _role=None)
    action = plugin.ActionModule(task, mock.MagicMock(), mock.MagicMock(), mock.MagicMock(), None, None)
    for name in ('_remove_tmp_path', '_execute_module'):
        setattr(action, name, mock.MagicMock())
    return action


def target_of(action):
    """What stands for the target: the modules that were run there."""
    return vars(action)['_execute_module']


class FakeTarvekctl:
    """A tarvekctl whose answers a test gives, and whose calls it sees."""

    def __init__(self, folder):
        self.folder = str(folder)
        self.path = os.path.join(self.folder, 'tarvekctl')
        with open(self.path, 'w', encoding='ascii') as program:
            program.write(_FAKE % self.folder)
        os.chmod(self.path, stat.S_IRWXU)

    def says(self, verb, *objects):
        """What it answers: objects, one a line."""
        self.prints(verb, ''.join(json.dumps(item) + '\n' for item in objects))

    def prints(self, verb, text):
        """What it answers, as it stands."""
        with open(os.path.join(self.folder, verb), 'w', encoding='utf-8') as answer:
            answer.write(text)

    def calls(self):
        """How it was called."""
        try:
            with open(os.path.join(self.folder, 'calls'), encoding='utf-8') as calls:
                return [json.loads(line) for line in calls]
        except FileNotFoundError:
            return []


class Ended(Exception):
    """What a module ended with."""

    def __init__(self, answer):
        super().__init__(answer)
        self.answer = answer


@pytest.fixture
def tarvekctl(tmp_path):
    """A tarvekctl."""
    folder = tmp_path / 'fake'
    folder.mkdir()
    return FakeTarvekctl(folder)


@pytest.fixture
def run_module(monkeypatch, tarvekctl):  # pylint: disable=redefined-outer-name
    """Runs a module; returns what it ended with."""
    def exit_json(self, **answer):
        del self
        raise Ended(answer)

    def fail_json(self, msg, **answer):
        del self
        raise Ended(dict(answer, msg=msg, failed=True))

    def run(module, check=False, diff=False, **params):
        params = dict(dict(executable=tarvekctl.path), _ansible_check_mode=check, _ansible_diff=diff, **params)
        monkeypatch.setattr(basic, '_ANSIBLE_ARGS', to_bytes(json.dumps(dict(ANSIBLE_MODULE_ARGS=params))))
        monkeypatch.setattr(basic.AnsibleModule, 'exit_json', exit_json)
        monkeypatch.setattr(basic.AnsibleModule, 'fail_json', fail_json)
        with pytest.raises(Ended) as ended:
            module.main()
        return ended.value.answer
    return run
