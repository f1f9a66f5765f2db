"""The module sdr."""
import base64
import hashlib
import json
import os

import pytest
from ansible_collections.tarvek.sdr.plugins.module_utils import sdr_set
from ansible_collections.tarvek.sdr.plugins.modules import sdr
from conftest import result

DIFFERENCE = 'Fan 1: renamed\n'


def started(run='R1'):
    """What update --detach says of a run that goes on."""
    return result('update', run=run)


def done(**more):
    """What a run that programmed something came to."""
    return result('update', changed=True, in_service='input', run='R1', version_before='01.02', version_after='01.03',
                  difference_text=DIFFERENCE, **more)


def phase(percent):
    """A step of the progress."""
    return dict(schema=1, command='wait', run='R1', phase='programming', percent=percent, seconds_left=None)


def test_an_update_is_started_detached_and_waited_for(run_module, tarvekctl):
    tarvekctl.says('update', started())
    tarvekctl.says('wait', phase(10), phase(90), done())
    answer = run_module(sdr, src='/data/B.SDR', boards='/data/list')
    assert tarvekctl.calls() == [['--json', 'update', '/data/B.SDR', '--detach', '--boards', '/data/list'],
                                 ['--json', 'wait', 'R1']]
    assert answer['changed'] is True
    assert 'failed' not in answer
    assert (answer['status'], answer['in_service'], answer['version_after']) == (0, 'input', '01.03')


def test_nothing_to_do_is_no_change_and_starts_nothing(run_module, tarvekctl):
    tarvekctl.says('update', result('update', 2, outcome='nothing', in_service='input', differs=False))
    answer = run_module(sdr, src='/data/B.SDR')
    assert answer['changed'] is False
    assert 'failed' not in answer
    assert len(tarvekctl.calls()) == 1


@pytest.mark.parametrize('status', [1, 3, 4, 5, 6, 64])
def test_a_refusal_fails_with_the_status_the_sentences_and_what_is_served(run_module, tarvekctl, status):
    tarvekctl.says('update', result('update', status, in_service='previous'))
    answer = run_module(sdr, src='/data/B.SDR')
    assert answer['failed'] is True
    assert answer['changed'] is False
    assert answer['status'] == status
    assert answer['in_service'] == 'previous'
    assert answer['message'] == dict(what='What.', state='State.', remedy='Remedy.')
    assert answer['msg'] == 'What. State. Remedy.'


def test_a_failed_run_that_changed_something_is_changed(run_module, tarvekctl):
    tarvekctl.says('update', started())
    tarvekctl.says('wait', result('update', 6, changed=True, in_service='other'))
    answer = run_module(sdr, src='/data/B.SDR')
    assert (answer['failed'], answer['changed'], answer['in_service']) == (True, True, 'other')


def test_what_nobody_knows_is_not_told_as_changed(run_module, tarvekctl):
    tarvekctl.says('update', started())
    tarvekctl.says('wait', result('update', 6, changed=None, in_service='unknown'))
    answer = run_module(sdr, src='/data/B.SDR')
    assert (answer['failed'], answer['changed'], answer['in_service']) == (True, False, 'unknown')


def test_check_mode_is_plan_with_the_same_options(run_module, tarvekctl):
    tarvekctl.says('plan', result('plan', differs=True, version_input='01.03'))
    answer = run_module(sdr, check=True, src='/data/B.SDR', boards='/data/list', force=True)
    assert tarvekctl.calls() == [['--json', 'plan', '/data/B.SDR', '--boards', '/data/list', '--force']]
    assert answer['changed'] is True
    assert answer['version_input'] == '01.03'


def test_check_mode_with_nothing_to_do_changes_nothing(run_module, tarvekctl):
    tarvekctl.says('plan', result('plan', 2, differs=True, difference_text=DIFFERENCE))
    assert run_module(sdr, check=True, src='/data/B.SDR')['changed'] is False


def test_the_difference_has_one_shape_with_and_without_check_mode(run_module, tarvekctl):
    tarvekctl.says('plan', result('plan', difference_text=DIFFERENCE))
    tarvekctl.says('update', started())
    tarvekctl.says('wait', done())
    planned = run_module(sdr, check=True, diff=True, src='/data/B.SDR')
    made = run_module(sdr, diff=True, src='/data/B.SDR')
    assert planned['diff'] == made['diff'] == dict(prepared=DIFFERENCE)


def test_without_diff_mode_there_is_no_difference(run_module, tarvekctl):
    tarvekctl.says('plan', result('plan', difference_text=DIFFERENCE, difference=dict(added=[])))
    answer = run_module(sdr, check=True, src='/data/B.SDR')
    assert not [key for key in answer if key.startswith('diff') and key != 'differs']


def test_a_restore_is_a_restore(run_module, tarvekctl):
    tarvekctl.says('restore', started())
    tarvekctl.says('wait', done())
    tarvekctl.says('plan', result('plan'))
    run_module(sdr, src='/data/A.BAK', state='restored', force=True)
    run_module(sdr, check=True, src='/data/A.BAK', state='restored')
    assert tarvekctl.calls() == [['--json', 'restore', '/data/A.BAK', '--detach'], ['--json', 'wait', 'R1'],
                                 ['--json', 'plan', '/data/A.BAK', '--restore']]


@pytest.mark.parametrize('output', ['', 'Segmentation fault\n', '[1]\n', '{"schema": 1, "phase": "reading"}\n'])
def test_an_output_without_a_result_fails(run_module, tarvekctl, output):
    tarvekctl.prints('update', output)
    answer = run_module(sdr, src='/data/B.SDR')
    assert answer['failed'] is True
    assert answer['status'] is None
    assert answer['in_service'] == 'unknown'
    assert 'without a result' in answer['message']['what']


def test_a_missing_tarvekctl_is_named_and_changed_nothing(run_module):
    answer = run_module(sdr, src='/data/B.SDR', executable='/nonexistent/tarvekctl')
    assert answer['failed'] is True
    assert answer['in_service'] == 'previous'
    assert answer['message']['what'] == '/nonexistent/tarvekctl cannot be run: No such file or directory.'


def test_nothing_in_an_argument_is_expanded(run_module, tarvekctl, monkeypatch):
    monkeypatch.setenv('HOME', '/somebody')
    tarvekctl.says('plan', result('plan', 2))
    run_module(sdr, check=True, src='/data/$(id);*.SDR')
    assert tarvekctl.calls()[0][2] == '/data/$(id);*.SDR'


def test_a_path_is_never_taken_for_an_option(run_module, tarvekctl, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    tarvekctl.says('plan', result('plan', 2))
    run_module(sdr, check=True, src='--force', boards='--tool')
    assert tarvekctl.calls()[0][2:] == [str(tmp_path / '--force'), '--boards', str(tmp_path / '--tool')]


def test_files_with_the_right_checksums_are_used(run_module, tarvekctl, tmp_path):
    (tmp_path / 'B.SDR').write_bytes(b'set')
    tarvekctl.says('plan', result('plan', 2))
    answer = run_module(sdr, check=True, src=str(tmp_path / 'B.SDR'),
                        sha256={'B.SDR': hashlib.sha256(b'set').hexdigest().upper()})
    assert 'failed' not in answer


@pytest.mark.parametrize('name, complaint', [('B.SDR', 'B.SDR has the SHA-256 '), ('other', 'other cannot be read')])
def test_a_wrong_checksum_starts_nothing(run_module, tarvekctl, tmp_path, name, complaint):
    (tmp_path / 'B.SDR').write_bytes(b'set')
    answer = run_module(sdr, src=str(tmp_path / 'B.SDR'), sha256={name: '0' * 64})
    assert answer['failed'] is True
    assert answer['message']['what'].startswith(complaint)
    assert answer['in_service'] == 'previous'
    assert not tarvekctl.calls()


def packed(**contents):
    """Files that come with the task."""
    return dict((name.replace('_', '.'), base64.b64encode(text.encode()).decode()) for name, text in contents.items())


def test_files_that_come_with_the_task_lie_side_by_side_and_go_with_it(run_module, tarvekctl, tmp_path):
    tarvekctl.says('plan', result('plan', 2, message=dict(what='What.', state='State.', remedy='Type PLACE/B.SDR')))
    answer = run_module(sdr, check=True, src='B.SDR', boards='list', contents=packed(B_SDR='set', list='boards'),
                        sha256={'B.SDR': hashlib.sha256(b'set').hexdigest()}, _ansible_tmpdir=str(tmp_path))
    command = tarvekctl.calls()[0]
    folder = os.path.dirname(command[2])
    assert command[2:] == [folder + '/B.SDR', '--boards', folder + '/list']
    assert folder.startswith(str(tmp_path)) and not os.path.exists(folder)
    assert 'failed' not in answer


def test_what_is_told_of_a_copy_is_told_of_the_file(run_module, tarvekctl, tmp_path, monkeypatch):
    monkeypatch.setattr(sdr_set.tempfile, 'mkdtemp', lambda prefix, dir: make(dir + '/copies'))

    def make(folder):
        os.mkdir(folder)
        return folder
    there = str(tmp_path / 'copies/B.SDR')
    tarvekctl.says('plan', result('plan', 2, message=dict(what='In %s, line 1.' % there, state='', remedy=there)))
    answer = run_module(sdr, check=True, src='B.SDR', contents=packed(B_SDR='set'), _ansible_tmpdir=str(tmp_path))
    assert answer['message'] == dict(what='In B.SDR, line 1.', state='', remedy='B.SDR')
    assert str(tmp_path) not in json.dumps(answer)


def test_without_room_for_the_files_nothing_is_begun(run_module, tarvekctl, tmp_path, monkeypatch):
    def full(contents, folder):
        raise OSError(28, 'No space left on device')
    monkeypatch.setattr(sdr_set, 'unpack', full)
    answer = run_module(sdr, src='B.SDR', contents=packed(B_SDR='set'), _ansible_tmpdir=str(tmp_path))
    assert (answer['failed'], answer['in_service']) == (True, 'previous')
    assert 'No space left' in answer['msg']
    assert not tarvekctl.calls()
    assert os.listdir(tmp_path) == ['fake']


def test_an_input_is_needed(run_module, tarvekctl):
    assert run_module(sdr)['failed'] is True
    assert not tarvekctl.calls()
