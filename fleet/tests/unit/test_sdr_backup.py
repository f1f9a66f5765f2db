"""The module sdr_backup."""
import base64
import hashlib
import os

from ansible_collections.tarvek.sdr.plugins.module_utils import backup
from ansible_collections.tarvek.sdr.plugins.modules import sdr_backup
from conftest import result


def test_a_backup_is_no_change_and_has_a_checksum(run_module, tarvekctl, tmp_path):
    path = tmp_path / 'a.BAK'
    path.write_bytes(b'image')
    tarvekctl.says('backup', result('backup', backup=str(path)))
    answer = run_module(sdr_backup, dest=str(path))
    assert tarvekctl.calls() == [['--json', 'backup', str(path)]]
    assert answer['changed'] is False
    assert answer['sha256'] == hashlib.sha256(b'image').hexdigest()


def test_overwrite_is_an_option(run_module, tarvekctl):
    tarvekctl.says('backup', result('backup', 2))
    run_module(sdr_backup, dest='/data/a.BAK', overwrite=True)
    assert tarvekctl.calls() == [['--json', 'backup', '/data/a.BAK', '--overwrite']]


def test_an_empty_repository_is_no_failure(run_module, tarvekctl):
    tarvekctl.says('backup', result('backup', 2, outcome='nothing'))
    answer = run_module(sdr_backup, dest='/data/a.BAK')
    assert 'failed' not in answer
    assert 'sha256' not in answer


def test_a_failure_fails(run_module, tarvekctl):
    tarvekctl.says('backup', result('backup', 3))
    answer = run_module(sdr_backup, dest='/data/a.BAK')
    assert (answer['failed'], answer['status']) == (True, 3)


def test_check_mode_runs_nothing(run_module, tarvekctl):
    answer = run_module(sdr_backup, check=True, dest='/data/a.BAK')
    assert answer['changed'] is False
    assert not tarvekctl.calls()


def test_a_backup_for_the_controller_is_returned_and_leaves_nothing_there(run_module, tarvekctl, tmp_path, monkeypatch):
    folder = tmp_path / 'sdr-1'

    def make(prefix, dir):  # pylint: disable=redefined-builtin  # it is called so
        assert (prefix, dir) == ('sdr-', str(tmp_path))
        folder.mkdir()
        (folder / 'fetched.BAK').write_bytes(b'image')
        return str(folder)
    monkeypatch.setattr(backup.tempfile, 'mkdtemp', make)
    tarvekctl.says('backup', result('backup', backup=str(folder / 'fetched.BAK')))
    answer = run_module(sdr_backup, return_content=True, _ansible_tmpdir=str(tmp_path))
    assert tarvekctl.calls() == [['--json', 'backup', str(folder / 'fetched.BAK')]]
    assert base64.b64decode(answer['content']) == b'image'
    assert answer['sha256'] == hashlib.sha256(b'image').hexdigest()
    assert answer['backup'] is None
    assert os.listdir(tmp_path) == ['fake']


def test_a_backup_needs_a_place(run_module, tarvekctl):
    assert run_module(sdr_backup)['failed'] is True
    assert not tarvekctl.calls()
