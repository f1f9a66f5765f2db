"""The actions, which run on the controller, over a target that is none."""
import base64
import hashlib
import os
from unittest import mock

import pytest
from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure, AnsibleError
from ansible.parsing.dataloader import DataLoader
from ansible_collections.tarvek.sdr.plugins.action import sdr, sdr_backup, sdr_info, sdr_ledger, sdr_report
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from conftest import action_of, result, target_of


def arguments_of(action):
    """What the module was given."""
    return target_of(action).call_args.kwargs['module_args']


@pytest.fixture(name='files')
def some_files(tmp_path):
    """A set and its hardware list."""
    for name in ('B.SDR', 'mchk_fil', 'list', 'more.SDR'):
        (tmp_path / name).write_text(name, encoding='ascii')
    return tmp_path


# ---- sdr

def encoded(*names):
    """What the files of these names have in them."""
    return dict((name, base64.b64encode(name.encode()).decode()) for name in names)


def test_the_input_and_the_list_beside_it_come_with_the_task(files):
    action = action_of(sdr, dict(src=str(files / 'B.SDR'), force=True))
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert arguments_of(action) == dict(src='B.SDR', boards='mchk_fil', files=[], force=True,
                                        contents=encoded('B.SDR', 'mchk_fil'))


def test_the_list_that_is_named_and_what_a_script_needs_come_with_it(files):
    action = action_of(sdr, dict(src=str(files / 'B.SDR'), boards=str(files / 'list'), files=[str(files / 'more.SDR')]))
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert arguments_of(action)['boards'] == 'list'
    assert arguments_of(action)['contents'] == encoded('B.SDR', 'more.SDR', 'list')


def test_files_of_one_name_cannot_lie_side_by_side(files):
    (files / 'other').mkdir()
    (files / 'other' / 'B.SDR').write_text('another', encoding='ascii')
    action = action_of(sdr, dict(src=str(files / 'B.SDR'), files=[str(files / 'other' / 'B.SDR')]))
    with pytest.raises(AnsibleActionFail, match='they have one name'):
        action.run(task_vars={})
    action = action_of(sdr, dict(src=str(files / 'B.SDR'), files=[str(files / 'B.SDR')]))
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert sorted(arguments_of(action)['contents']) == ['B.SDR', 'mchk_fil']


def test_a_task_makes_no_directory_of_its_own_on_the_target(files):
    action = action_of(sdr, dict(src=str(files / 'B.SDR')))
    made = mock.MagicMock()
    setattr(action, '_make_tmp_path', made)
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert not made.called


def test_a_restore_takes_no_list_that_nobody_named(files):
    action = action_of(sdr, dict(src=str(files / 'B.SDR'), state='restored'))
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert 'boards' not in arguments_of(action)
    assert arguments_of(action)['contents'] == encoded('B.SDR')


def test_files_of_the_target_are_left_where_they_are():
    action = action_of(sdr, dict(src='/there/B.SDR', remote_src=True))
    target_of(action).return_value = dict(changed=False)
    action.run(task_vars={})
    assert arguments_of(action) == dict(src='/there/B.SDR', remote_src=True)


def test_a_missing_file_reaches_no_target():
    action = action_of(sdr, dict(src='/nonexistent/B.SDR'))
    setattr(action, '_find_needle', mock.MagicMock(side_effect=AnsibleError('not found')))
    with pytest.raises(AnsibleActionFail, match='not found'):
        action.run(task_vars={})
    assert not target_of(action).called


@pytest.mark.parametrize('plugin, args', [(sdr, dict(src='/there/B.SDR', remote_src=True)), (sdr_info, {}),
                                          (sdr_backup, dict(dest='/there/A.BAK'))])
def test_a_lost_target_is_lost_also_when_its_temporary_files_cannot_be_removed(plugin, args):
    action = action_of(plugin, args)
    target_of(action).side_effect = AnsibleConnectionFailure('lost')
    getattr(action, '_remove_tmp_path').side_effect = AnsibleConnectionFailure('lost')
    with pytest.raises(AnsibleActionFail) as lost:
        action.run(task_vars={})
    assert (lost.value.result['unreachable'], lost.value.result['msg']) == (True, 'lost')
    assert 'failed' not in lost.value.result and hasattr(lost.value.result['msg'], '__UNSAFE__')
    action.cleanup()
    assert getattr(action, '_remove_tmp_path').called


@pytest.fixture(name='ledger')
def a_ledger(tmp_path):
    """A ledger with a rollout."""
    ledger = book.Ledger(str(tmp_path / 'fleet'))
    ledger.begin(os.getppid())
    return ledger


# ---- sdr_backup

def backup_of(args, answer, content=b'image', check=False):
    """A backup of a target."""
    action = action_of(sdr_backup, args, check)

    def reach(module_name, module_args, task_vars):
        del module_name, task_vars
        if not module_args.get('return_content') or 'sha256' not in answer:
            return dict(answer)
        return dict(answer, content=base64.b64encode(content))
    target_of(action).side_effect = reach
    return action, action.run(task_vars={})


SAVED = dict(status=0, backup=None, sha256=hashlib.sha256(b'image').hexdigest())


def test_a_backup_comes_to_the_controller_and_not_into_the_result(tmp_path):
    here = tmp_path / 'backups' / 'a' / 'T.BAK'
    _, told = backup_of(dict(fetch=str(here)), SAVED)
    assert here.read_bytes() == b'image'
    assert (told['fetched'], told['backup']) == (str(here), None)
    assert 'content' not in told


def test_a_backup_with_other_bytes_is_none(tmp_path):
    with pytest.raises(AnsibleActionFail, match='other bytes'):
        backup_of(dict(fetch=str(tmp_path / 'T.BAK')), SAVED, b'imagE')
    assert not os.listdir(tmp_path)


def test_an_existing_backup_is_not_replaced(tmp_path):
    (tmp_path / 'T.BAK').write_bytes(b'old')
    with pytest.raises(AnsibleActionFail, match='exists'):
        backup_of(dict(fetch=str(tmp_path / 'T.BAK')), SAVED)
    backup_of(dict(fetch=str(tmp_path / 'T.BAK'), overwrite=True), SAVED)
    assert (tmp_path / 'T.BAK').read_bytes() == b'image'


def test_of_an_empty_repository_nothing_is_fetched(tmp_path):
    _, told = backup_of(dict(fetch=str(tmp_path / 'T.BAK')), dict(status=2, backup=None))
    assert 'fetched' not in told
    assert not os.listdir(tmp_path)


def test_check_mode_fetches_nothing(tmp_path):
    backup_of(dict(fetch=str(tmp_path / 'T.BAK')), dict(changed=False), check=True)
    assert not os.listdir(tmp_path)


def test_a_backup_needs_a_place():
    with pytest.raises(AnsibleActionFail):
        backup_of({}, SAVED)


# ---- sdr_ledger

def ask(ledger, state, host='a', check=False, failure=None, **args):
    """What the ledger answers."""
    action = action_of(sdr_ledger, dict(args, dir=ledger.folder, state=state), check)
    failed_task = dict(name='Update') if failure else None
    setattr(action, '_loader', DataLoader())
    return action.run(task_vars=dict(inventory_hostname=host, ansible_play_batch=['a', 'b'],
                                     ansible_failed_result=failure, ansible_failed_task=failed_task))


@pytest.fixture(name='idle')
def an_idle_ledger(ledger):
    """A ledger without a rollout."""
    ledger.end()
    return ledger


def test_a_rollout_begins_by_telling_what_is_left(idle):
    idle.put(book.OPEN, 'a')
    idle.put(book.QUARANTINE, 'b')
    idle.put(book.OPEN, 'gone')
    told = ask(idle, 'begun', hosts=['a', 'b', 'c'])
    assert (told['open'], told['open_here'], told['quarantined_here']) == (['a', 'gone'], ['a'], ['b'])


def test_a_quarantined_host_is_closed_when_the_next_rollout_begins(idle):
    idle.put(book.OPEN, 'b')
    idle.put(book.QUARANTINE, 'b')
    assert ask(idle, 'begun', hosts=['b'])['open'] == []
    assert not idle.hosts(book.OPEN)


def test_hosts_are_cleared_by_name(idle):
    idle.put(book.QUARANTINE, 'a')
    idle.put(book.QUARANTINE, 'b')
    idle.put(book.OPEN, 'a')
    told = ask(idle, 'begun', clear='a', hosts=['a', 'b'])
    assert (told['quarantined'], told['open']) == (['b'], [])
    assert idle.hosts(book.QUARANTINE) == ['b']


def test_only_what_is_quarantined_is_cleared(idle):
    idle.put(book.OPEN, 'a')
    assert ask(idle, 'begun', clear='a')['failed']
    assert idle.hosts(book.OPEN) == ['a']


def test_a_dead_host_is_set_aside_by_name_and_holds_nothing(idle):
    idle.put(book.OPEN, 'a')
    ask(idle, 'begun', set_aside='a', hosts=['a'])
    assert idle.hosts(book.QUARANTINE) == ['a']
    assert not ask(idle, 'gate').get('failed')


def test_a_second_leader_is_refused(ledger):
    told = ask(ledger, 'begun')
    assert told['failed'] and 'Another rollout' in told['msg']


def test_check_mode_begins_nothing(idle):
    idle.put(book.QUARANTINE, 'a')
    told = ask(idle, 'begun', check=True, clear='a')
    assert told['quarantined'] == []
    assert idle.hosts(book.QUARANTINE) == ['a']
    assert idle.rollout() is None


def test_the_gate_counts_waves_and_refuses(ledger):
    assert ask(ledger, 'gate')['wave'] == ['a', 'b']
    assert ledger.waves() == [['a', 'b']]
    ledger.put(book.OPEN, 'a')
    assert ask(ledger, 'gate')['failed']
    assert ledger.waves() == [['a', 'b']]


def test_no_wave_begins_without_a_rollout(idle):
    assert 'not with --limit' in ask(idle, 'gate')['msg']
    idle.begin(1)
    assert ask(idle, 'gate')['failed']
    assert not ask(idle, 'gate', check=True).get('failed')


@pytest.mark.parametrize('last, kind', [(result('update', run='R2'), None), (result('update', run='R1'), None),
                                        (result('update', 1, run='R2'), book.QUARANTINE)])
def test_a_settled_host_is_closed_or_quarantined(ledger, last, kind):
    ledger.put(book.OPEN, 'a', run_before='R1')
    facts = dict(tarvek_sdr=dict(status=result('status'), last=last))
    told = ask(ledger, 'settled', look=dict(ansible_facts=facts))
    assert told['failed'] is (kind is not None)
    assert ledger.hosts(book.QUARANTINE) == (['a'] if kind else [])
    assert ledger.hosts(book.OPEN) == (['a'] if kind else [])


def test_a_host_with_a_task_file_to_come_is_closed_after_it(ledger, tmp_path):
    hook = tmp_path / 'reboot.yml'
    hook.write_text('[]', encoding='ascii')
    ledger.put(book.OPEN, 'a', run_before='R1', after=str(hook))
    look = dict(ansible_facts=dict(tarvek_sdr=dict(status=result('status'), last=result('update', run='R2'))))
    assert ask(ledger, 'settled', look=look)['after'] == str(hook)
    assert (ledger.hosts(book.OPEN), ledger.hosts(book.OUTCOMES)) == (['a'], [])
    assert ask(ledger, 'settled', look=look, after_done=True)['after'] == ''
    assert (ledger.hosts(book.OPEN), ledger.hosts(book.OUTCOMES)) == ([], ['a'])
    hook.unlink()
    ledger.put(book.OPEN, 'b', run_before='R1', after=str(hook))
    assert 'does not exist' in ask(ledger, 'settled', host='b', look=look)['msg']
    assert ledger.hosts(book.OPEN) == ['b']


def test_no_task_file_comes_after_an_update_that_failed(ledger):
    ledger.put(book.OPEN, 'a', run_before='R1', after='/reboot.yml')
    look = dict(ansible_facts=dict(tarvek_sdr=dict(status=result('status'), last=result('update', 1, run='R2'))))
    assert ask(ledger, 'settled', look=look)['after'] == ''
    assert ledger.hosts(book.QUARANTINE) == ['a']


def test_a_host_that_cannot_be_reached_stays_open_and_is_not_quarantined(ledger):
    ledger.put(book.OPEN, 'a')
    assert ask(ledger, 'settled', look=dict(unreachable=True))['failed']
    assert (ledger.hosts(book.OPEN), ledger.hosts(book.QUARANTINE)) == (['a'], [])


def test_the_end_tells_outcomes_and_who_was_not_reached(ledger):
    ask(ledger, 'gate')
    ledger.conclude('a', outcome='done')
    told = ask(ledger, 'ended')
    assert (told['outcomes'], told['not_reached'], told['failed']) == (dict(done=['a']), ['b'], False)
    assert ledger.rollout() is None


@pytest.mark.parametrize('kind', [book.OPEN, book.QUARANTINE])
def test_the_end_fails_when_not_all_went_well(ledger, kind):
    ledger.put(kind, 'a')
    assert ask(ledger, 'ended')['failed'] is True


def test_the_end_of_another_ones_rollout_is_left_to_it(ledger):
    ledger.end()
    ledger.begin(1)
    assert ask(ledger, 'ended')['failed'] is True
    assert ledger.rollout() is not None


def test_only_what_is_known_is_set_aside(idle):
    idle.put(book.OPEN, 'gone')
    assert 'not to be set aside: b' in ask(idle, 'begun', set_aside='b', hosts=['a'])['msg']
    assert idle.rollout() is None
    ask(idle, 'begun', set_aside='a,gone', hosts=['a'])
    assert idle.hosts(book.QUARANTINE) == ['a', 'gone']


def test_what_a_failed_task_said_is_noted_as_it_is(ledger):
    text = "{{ lookup('pipe', 'id') }}"
    told = ask(ledger, 'failed', failure=dict(msg=text, status=4))
    assert text in told['msg']
    noted = ledger.get(book.QUARANTINE, 'a')
    assert (noted['msg'], noted['status'], noted['task']) == (text, 4, 'Update')


def test_a_failure_that_ansible_says_nothing_of_is_noted_as_well(ledger):
    assert 'The task "a task file" failed.' in ask(ledger, 'failed')['msg']
    assert ledger.failed() == ['a']


@pytest.mark.parametrize('task_host, listed, folder', [
    ('localhost', ['switch', 'a', 'b'], 'of-a'), ('b', ['a', 'b'], 'of-b'), ('switch', ['switch', 'a'], 'of-a'),
    ('localhost', ['localhost'], 'of-localhost'), ('localhost', ['a', 'localhost'], 'of-localhost')])
def test_without_a_directory_it_is_that_of_the_hosts(tmp_path, task_host, listed, folder):
    hosts = dict((name, dict(sdr_rollout_dir=str(tmp_path / ('of-' + name)))) for name in ('a', 'b', 'localhost'))
    for name in hosts:
        book.Ledger(str(tmp_path / ('of-' + name))).put(book.QUARANTINE, 'of-' + name)
    action = action_of(sdr_ledger, dict(state='begun'))
    told = action.run(task_vars=dict(inventory_hostname=task_host, hostvars=dict(hosts, switch={}),
                                     groups=dict(all=listed + ['sdr_nobody'])))
    assert told['quarantined'] == [folder]


def test_a_directory_that_cannot_be_worked_out_is_refused(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    action = action_of(sdr_ledger, dict(state='begun'))
    told = action.run(task_vars=dict(inventory_hostname='a', hostvars=dict(a=dict(sdr_rollout_dir='{{ typo }}/x')),
                                     groups=dict(all=['a'])))
    assert told['failed'] and 'sdr_rollout_dir' in told['msg']
    assert not os.listdir(tmp_path)


def test_check_mode_tells_what_is_open_and_goes_on(ledger):
    ledger.put(book.OPEN, 'a')
    told = ask(ledger, 'settled', check=True, look=dict(unreachable=True))
    assert not told['failed'] and 'cannot be reached' in told['warnings'][0]
    told = ask(ledger, 'gate', check=True)
    assert not told.get('failed') and 'known to have ended well: a' in told['warnings'][0]


def test_a_full_disk_fails(ledger, monkeypatch):
    def full(descriptor):
        raise OSError(28, 'No space left on device')
    monkeypatch.setattr(book.os, 'fsync', full)
    told = ask(ledger, 'failed')
    assert told['failed'] and 'No space left' in told['msg']


# ---- sdr_report

def test_the_report_is_of_those_that_were_asked(ledger, tmp_path):
    looks = {'a': dict(look=dict(unreachable=True, msg='x')), 'b': {}}
    args = dict(look='look', hosts=['a', 'b', 'c'], dest=str(tmp_path / 'out'))
    action = action_of(sdr_report, args)
    for host in looks.values():
        host['sdr_rollout_dir'] = ledger.folder
    ledger.put(book.QUARANTINE, 'a', msg='It broke.')
    looks['a']['sdr_rollout_inputs'] = '{{ typo }}'
    told = action.run(task_vars=dict(hostvars=looks, groups=dict(all=['a', 'b']), inventory_hostname='localhost'))
    assert len(told['warnings']) == 1 and 'What a gets' in told['warnings'][0]
    assert told['summary']['quarantined'] == ['a']
    assert told['summary']['unreachable'] == ['a']
    assert told['summary']['hosts'] == 1
    assert sorted(os.listdir(tmp_path / 'out')) == ['report.csv', 'report.html', 'report.json']
