"""The steps of the role sdr_rollout: on the controller, over a target that is none, and what they do on a target."""
import base64
import hashlib
import json
import os
from unittest import mock

import pytest
from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible.parsing.dataloader import DataLoader
from ansible_collections.tarvek.sdr.plugins.action import sdr_step
from ansible_collections.tarvek.sdr.plugins.modules import sdr_step as on_target
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from conftest import action_of, result, target_of

UP_TO_DATE = result('plan', 2, outcome='nothing', differs=False, version_before='01.03', version_input='01.03',
                    msg='Planned.')
DRIFTED = dict(UP_TO_DATE, differs=True)
DUE = result('plan', differs=True, version_before='01.02', version_input='01.03', msg='Planned.')
PROGRAMMED = result('update', changed=True, in_service='input', msg='Done.')
IMAGE = dict(status=0, content=base64.b64encode(b'image'), sha256=hashlib.sha256(b'image').hexdigest())


class Host:
    """A host on which steps are taken, and the role's variables."""

    def __init__(self, folder):
        (folder / 'A.SDR').write_text('a', encoding='ascii')
        (folder / 'B.SDR').write_text('b', encoding='ascii')
        self.ledger = book.Ledger(str(folder / 'fleet'))
        self.inputs = {'01A3': dict(src=str(folder / 'A.SDR'), version='01.03'),
                       '01B0': dict(src=str(folder / 'B.SDR'))}
        self.vars = dict(on_drift='fail', on_unfit='fail', force=False, planning=False, until='', package='',
                         package_file='', before='', after='', tarvekctl='/there/tarvekctl', dir=self.ledger.folder,
                         record='/there/rollout.json', inputs=self.inputs)
        self.asked = []
        self.answers = {}

    def says(self, module, answer):
        """What a module answers from now on: that, or what it raises."""
        self.answers[module] = answer

    def sees(self, plan=None, board='01a3', **more):
        """What the machine is and what was planned."""
        self.says('plan', dict(dict(status=0, msg='Told.', board=board, version_before=None, version_after='01.02',
                                    run_before='R1', plan=plan and dict(plan)), **more))

    def take(self, step, check=False, host='a', **registered):
        """Takes a step. Returns its result."""
        action = action_of(sdr_step, dict(step=step), check)
        setattr(action, '_templar', mock.MagicMock(template=lambda value: value))
        setattr(action, '_loader', DataLoader())

        def reach(module, module_args, task_vars):
            del task_vars
            assert module == 'tarvek.sdr.sdr_step'
            module = module_args['step']
            self.asked.append((module, getattr(action, '_task').check_mode, module_args,
                               self.ledger.get(book.OPEN, 'a')))
            answer = self.answers.get(module, dict(changed=False))
            if isinstance(answer, Exception):
                raise answer
            return dict(answer)
        target_of(action).side_effect = reach
        names = dict(self.vars, **registered)
        return action.run(task_vars=dict(
            inventory_hostname=host, **dict(('sdr_rollout_' + name, value) for name, value in names.items())))


@pytest.fixture(name='host')
def a_host(tmp_path):
    """A host of a rollout that is going on."""
    host = Host(tmp_path)
    host.ledger.begin(os.getppid())
    return host


# ---- look and plan

def test_the_machine_says_what_its_board_gets(host):
    host.sees()
    host.says('program', DUE)
    seen = host.take('plan')
    assert (seen['due'], seen['follows'], seen['src']) == (True, 'update.yml', host.inputs['01A3']['src'])
    assert [(module, check) for module, check, _, _ in host.asked] == [('plan', True), ('program', True)]
    assert sorted(host.asked[1][2]['contents']) == ['A.SDR']


@pytest.mark.parametrize('known', [True, False])
def test_the_set_for_the_board_that_is_expected_saves_a_question(host, known):
    if known:
        host.ledger.conclude('a', outcome='nothing', board='01a3')
    else:
        host.vars['inputs'] = {'01A3': host.inputs['01A3']}
    host.sees(DUE)
    assert host.take('plan')['due'] is True
    (module, _, args, _), = host.asked
    assert (module, args['board'].lower(), sorted(args['contents'])) == ('plan', '01a3', ['A.SDR'])


def test_the_set_for_another_board_than_expected_is_not_taken(host):
    host.ledger.conclude('a', outcome='nothing', board='01a3')
    host.sees(None, board='01b0')
    host.says('program', DUE)
    assert host.take('plan')['src'] == host.inputs['01B0']['src']
    assert sorted(host.asked[1][2]['contents']) == ['B.SDR']


def test_a_board_without_an_entry_is_skipped_and_noted(host):
    host.sees(None, board='0777')
    seen = host.take('plan')
    assert (seen['due'], seen['outcome'], seen['msg']) == (False, 'skipped', 'No entry fits its board, 0777.')
    assert len(host.asked) == 1
    assert host.ledger.get(book.OUTCOMES, 'a')['outcome'] == 'skipped'


@pytest.mark.parametrize('board', [None, 7, ['01A3'], {'a': 'b'}])
def test_a_board_of_another_shape_gets_nothing(host, board):
    host.sees(None, board=board)
    assert host.take('plan')['outcome'] == 'skipped'


def test_a_machine_that_is_not_fit_is_skipped_where_that_is_meant(host):
    host.vars['on_unfit'] = 'skip'
    host.sees(None, status=4)
    assert host.take('plan')['outcome'] == 'skipped'
    assert host.asked[0][2]['strict'] is False


def test_a_machine_that_is_not_fit_fails(host):
    host.sees(None, status=4, failed=True)
    assert host.take('plan')['failed']
    assert host.asked[0][2]['strict'] is True
    assert host.ledger.failed() == ['a']


def test_that_there_is_nothing_to_do_is_noted(host):
    host.sees(UP_TO_DATE)
    seen = host.take('plan')
    assert (seen['due'], seen['outcome'], seen['changed']) == (False, 'nothing', False)
    assert host.ledger.get(book.OUTCOMES, 'a')['board'] == '01a3'


@pytest.mark.parametrize('on_drift, due, outcome, failed', [
    ('fail', None, 'nothing', True), ('report', False, 'drift', None), ('force', True, None, None)])
def test_drift_is_what_is_chosen(host, on_drift, due, outcome, failed):
    host.vars['on_drift'] = on_drift
    host.sees(DRIFTED)
    seen = host.take('plan')
    assert (seen.get('due'), seen.get('outcome'), seen.get('failed')) == (due, outcome, failed)
    assert host.ledger.failed() == (['a'] if failed else [])
    if due:
        assert seen['force'] is True


def test_a_plan_that_fails_tells_why(host):
    host.sees(result('plan', 3, failed=True, msg='No set.'))
    seen = host.take('plan')
    assert (seen['failed'], seen['status'], seen['msg']) == (True, 3, 'No set.')
    assert 'due' not in seen


@pytest.mark.parametrize('name, value', [('on_drift', 'reprot'), ('on_unfit', 'ignore'), ('inputs', {'1A3': {}}),
                                         ('inputs', {'01A3': dict(src='/nonexistent/A.SDR', sha265={})}),
                                         ('inputs', 'x'), ('force', 'flase'), ('planning', 'maybe')])
def test_a_wrong_variable_fails_before_anything_is_asked(host, name, value):
    host.vars[name] = value
    assert host.take('plan')['failed']
    assert not host.asked
    assert host.ledger.failed() == ['a']


def test_an_answer_cannot_choose_what_follows(host):
    host.sees(UP_TO_DATE, due=True, follows='/etc/evil.yml', outcome='done', before='/etc/evil.yml')
    seen = host.take('plan')
    assert (seen['due'], seen['outcome']) == (False, 'nothing')
    host.sees(DUE, due=True, follows='/etc/evil.yml', before='/etc/evil.yml')
    seen = host.take('plan')
    assert (seen['follows'], seen['before'], seen['after']) == ('update.yml', '', '')


def test_a_task_file_is_found_before_anything_is_done(host, tmp_path):
    (tmp_path / 'drain.yml').write_text('[]', encoding='ascii')
    (tmp_path / 'broken.yml').write_text('- a: [', encoding='ascii')
    host.vars['before'] = str(tmp_path / 'drain.yml')
    host.sees(DUE)
    seen = host.take('plan')
    assert (seen['follows'], seen['before']) == ('update_with_hooks.yml', str(tmp_path / 'drain.yml'))
    (tmp_path / 'unknown.yml').write_text('- nonexistent.module.at_all: {}', encoding='ascii')
    (tmp_path / 'deep.yml').write_text('- block: [{block: [{no_such_module: 1}]}]', encoding='ascii')
    (tmp_path / 'words.yml').write_text('- word', encoding='ascii')
    (tmp_path / 'number.yml').write_text('- 1: 2', encoding='ascii')
    (tmp_path / 'behind.yml').write_text('- include_tasks: x.yml\n- nonexistent.module.at_all: {}', encoding='ascii')
    (tmp_path / 'import.yml').write_text('- block: [{import_tasks: drain.yml}]', encoding='ascii')
    for wrong in ('reboot.yml', 'broken.yml', 'A.SDR', 'unknown.yml', 'deep.yml', 'words.yml', 'number.yml',
                  'behind.yml', 'import.yml'):
        host.vars['after'] = str(tmp_path / wrong)
        failure = host.take('plan')
        assert failure['failed'] and wrong in failure['msg']


@pytest.mark.parametrize('text', [
    '---', '[]', '- ping:', '- include_tasks: other.yml', '- include_role: {name: other}',
    '- debug: {msg: "{{ x }}"}',
    '- block: [{ping: }]\n  rescue: [{debug: }]\n  always: [{fail: }]', '- local_action: ping',
    '- tarvek.sdr.sdr_info:',
    '- shell: reboot\n  loop: "{{ some }}"\n  when: other'])
def test_a_task_file_that_ansible_reads_is_taken(host, tmp_path, text):
    (tmp_path / 'drain.yml').write_text(text, encoding='ascii')
    host.vars['before'] = str(tmp_path / 'drain.yml')
    host.sees(DUE)
    seen = host.take('plan')
    assert seen.get('before') == str(tmp_path / 'drain.yml'), seen


def test_a_package_comes_first_where_one_is_wanted(host):
    host.sees(DUE)
    assert host.take('begin')['follows'] == 'update.yml'
    host.vars['package'] = 'tarvek'
    host.asked.clear()
    first = host.take('begin')
    assert (first['due'], first['follows'], host.asked) == (True, 'package.yml', [])
    assert host.take('plan')['follows'] == 'update.yml'


def test_a_plan_alone_is_told_as_a_change_with_its_difference_and_notes_nothing(host):
    host.vars['planning'] = True
    host.sees(dict(DUE, diff=dict(prepared='Fan 1: renamed')))
    seen = host.take('plan', check=True)
    assert (seen['changed'], seen['diff']) == (True, dict(prepared='Fan 1: renamed'))
    assert 'diff' not in seen['plan']
    host.sees(UP_TO_DATE)
    assert host.take('plan', check=True)['changed'] is False
    assert not host.ledger.hosts(book.OUTCOMES)


def test_check_mode_holds_nobody(host):
    host.sees(None, failed=True)
    host.take('plan', check=True)
    assert not host.ledger.hosts(book.QUARANTINE)


def test_a_role_without_a_rollout_notes_outcomes_and_holds_nobody(host):
    host.ledger.end()
    host.sees(None, failed=True)
    host.take('plan')
    assert not host.ledger.hosts(book.QUARANTINE)
    host.sees(UP_TO_DATE)
    host.take('plan')
    assert host.ledger.hosts(book.OUTCOMES) == ['a']


def test_a_lost_target_holds_nobody_by_itself(host):
    host.says('plan', AnsibleConnectionFailure('lost'))
    with pytest.raises(AnsibleActionFail) as lost:
        host.take('plan')
    assert lost.value.result['unreachable'] is True
    assert not host.ledger.hosts(book.QUARANTINE)


def test_a_step_is_one_of_them(host):
    with pytest.raises(AnsibleActionFail, match='step is one of'):
        host.take('_hold')


# ---- backup, update

SEEN = dict(status=0, board='01a3', src='A.SDR', run_before='R1', force=False, plan=DUE, version_before=None,
            version_after='01.02', after='/reboot.yml')


def test_a_backup_comes_to_the_controller(host):
    host.says('backup', IMAGE)
    fetched = host.take('backup')['fetched']
    assert fetched == host.ledger.newest_backup('a')
    with open(fetched, 'rb') as stream:
        assert stream.read() == b'image'


def test_without_the_backup_itself_no_update_follows(host):
    host.says('backup', dict(status=0))
    assert 'No backup came over' in host.take('backup')['msg']
    host.says('backup', dict(status=2))  # an empty repository
    assert 'failed' not in host.take('backup')


@pytest.mark.parametrize('odd', [ValueError('odd'), KeyError('odd'), TypeError('odd')])
def test_whatever_fails_is_told_and_holds_the_others(host, odd):
    host.says('backup', odd)
    failure = host.take('backup')
    assert failure['failed'] and 'odd' in failure['msg']
    assert host.ledger.failed() == ['a']


def test_a_backup_replaces_none(host, monkeypatch):
    monkeypatch.setattr(book, 'stamp', lambda: '20260701T120000Z')
    book.write_whole(host.ledger.backup_path('a', '20260701T120000Z'), b'before')
    assert 'exists already' in host.take('backup')['msg']
    assert not host.asked


def test_check_mode_fetches_no_backup(host):
    assert host.take('backup', check=True)['skipped']
    assert not host.asked


def test_what_fails_before_the_update_holds_the_others_at_once(host):
    host.says('backup', dict(failed=True, msg='broke'))
    host.take('backup')
    assert host.ledger.failed() == ['a']


def test_a_host_is_open_before_its_target_is_reached_and_stays_so(host):
    host.says('program', PROGRAMMED)
    host.take('update', plan=SEEN)
    (module, check, args, entry), = host.asked
    assert (module, check, args['force'], sorted(args['contents'])) == ('program', False, False, ['A.SDR'])
    assert (entry['run_before'], entry['src'], entry['after']) == ('R1', 'A.SDR', '/reboot.yml')
    assert host.ledger.hosts(book.OPEN) == ['a']


def test_a_failure_is_told_to_the_others_at_once(host):
    host.says('program', dict(failed=True, msg='broke', in_service='previous'))
    host.take('update', plan=SEEN)
    assert host.ledger.failed() == ['a']
    assert host.ledger.get(book.QUARANTINE, 'a')['in_service'] == 'previous'


def test_after_a_failure_of_another_no_update_begins(host):
    host.ledger.fail('b', msg='broke')
    told = host.take('update', plan=SEEN)
    assert (told['held'], told['changed']) == ('b', False)
    assert not host.asked and not host.ledger.hosts(book.OPEN)
    assert host.take('conclude', plan=SEEN, update=told)['outcome'] == 'held'


def test_check_mode_opens_nothing(host):
    host.take('update', check=True, plan=SEEN)
    assert host.asked[0][1] is True and not host.ledger.hosts(book.OPEN)


# ---- after

def test_what_is_served_is_read_again_and_compared(host):
    host.says('program', dict(DUE, in_service='input'))
    told = host.take('verify', plan=SEEN, update=PROGRAMMED)
    assert (told['failed'], told['changed'], host.asked[0][1], host.asked[0][2]['force']) == (False, False, True, True)
    host.says('program', dict(DUE, in_service='previous'))
    told = host.take('verify', plan=SEEN, update=PROGRAMMED)
    assert told['failed'] and 'serves other records than the input' in told['msg']
    assert host.ledger.failed() == ['a']


@pytest.mark.parametrize('step', ['verify', 'record'])
@pytest.mark.parametrize('update', [dict(held='b', changed=False), dict(skipped=True, changed=False), {}])
def test_where_nothing_was_changed_nothing_is_verified_or_recorded(host, step, update):
    assert host.take(step, plan=SEEN, update=update)['skipped']
    assert host.take(step, check=True, plan=SEEN, update=PROGRAMMED)['skipped']
    assert not host.asked


def test_the_outcome_is_noted_on_the_target_and_on_the_controller(host):
    host.take('record', plan=SEEN, update=PROGRAMMED, saved=dict(fetched='/here/T.BAK'))
    assert host.asked[0][2]['dest'] == '/there/rollout.json'
    assert host.asked[0][2]['outcome']['backup'] == '/here/T.BAK'
    host.ledger.put(book.OPEN, 'a')
    assert host.take('conclude', plan=SEEN, update=PROGRAMMED)['outcome'] == 'done'
    assert host.ledger.get(book.OUTCOMES, 'a')['in_service'] == 'input'
    assert not host.ledger.hosts(book.OPEN)


def test_check_mode_concludes_nothing(host):
    host.take('conclude', check=True, plan=SEEN, update=PROGRAMMED)
    assert not host.ledger.hosts(book.OUTCOMES)


def test_a_failure_is_noted_on_the_target_if_that_is_possible(host):
    host.ledger.put(book.QUARANTINE, 'a', msg='It broke.')
    host.says('record', dict(failed=True, msg='No room.'))
    told = host.take('record_failure', failure=dict(outcome=dict(outcome='failed', msg='It broke.')))
    assert (told['failed'], host.asked[0][2]['outcome']['msg']) == (False, 'It broke.')
    assert host.ledger.get(book.QUARANTINE, 'a')['msg'] == 'It broke.'
    assert host.take('record_failure', check=True, failure=dict(outcome=dict(outcome='failed')))['skipped']


# ---- restore

def test_without_a_backup_a_restore_is_skipped(host):
    update = host.take('restore')
    assert (update['skipped'], host.take('look')['skipped'], host.asked) == (True, True, [])
    assert host.take('verify', update=update)['skipped']
    assert host.take('conclude', update=update)['outcome'] == 'skipped'


def test_the_newest_backup_of_then_or_before_is_restored_and_verified(host):
    for time in ('20260701T120000Z', '20260801T120000Z'):
        book.write_whole(host.ledger.backup_path('a', time), time.encode())
    host.vars['until'] = '20260731T000000Z'
    host.says('program', dict(PROGRAMMED, outcome='done'))
    update = host.take('restore', look=dict(run_before='R7'))
    _, check, args, entry = host.asked.pop()
    assert (check, args['state'], sorted(args['contents'])) == (False, 'restored', ['20260701T120000Z.BAK'])
    assert entry['run_before'] == 'R7'
    assert not host.take('verify', update=update)['failed']
    assert (host.asked[0][1], host.asked[0][2]['state']) == (True, 'restored')
    assert host.take('conclude', update=update)['outcome'] == 'done'


def test_a_time_that_is_none_restores_nothing(host):
    for until in ('2026-07-31', 20260731, True):
        host.vars['until'] = until
        assert 'no time' in host.take('restore')['msg']
    assert not host.asked


# ---- on the target

def machine(tarvekctl, **status):
    """Has tarvekctl answer as on a machine of board 01A3."""
    tarvekctl.says('status', result('status', **dict(dict(board='01a3', version_after='01.02'), **status)))
    tarvekctl.says('doctor', result('doctor', findings=[]))
    tarvekctl.says('history', result('history', runs=[result('update', run='R1')]))
    tarvekctl.says('plan', DUE)


def test_the_machine_is_looked_at_and_planned_for_in_one_go(run_module, tarvekctl):
    machine(tarvekctl)
    answer = run_module(on_target, check=True, step='plan', board='01A3', src='/data/B.SDR', strict=True)
    assert (answer['board'], answer['version_after'], answer['run_before']) == ('01a3', '01.02', 'R1')
    assert answer['plan']['version_input'] == '01.03'
    assert tarvekctl.calls()[-1] == ['--json', 'plan', '/data/B.SDR']


@pytest.mark.parametrize('board', ['01b0', '', None])
def test_nothing_is_planned_with_the_set_of_another_board(run_module, tarvekctl, board):
    machine(tarvekctl, board=board)
    assert run_module(on_target, check=True, step='plan', board='01A3', src='/data/B.SDR')['plan'] is None
    assert not [call for call in tarvekctl.calls() if 'plan' in call]


def test_a_machine_that_is_not_fit_is_not_planned_for(run_module, tarvekctl):
    machine(tarvekctl)
    tarvekctl.says('doctor', result('doctor', 4, findings=[]))
    answer = run_module(on_target, check=True, step='plan', board='01A3', src='/data/B.SDR')
    assert (answer['status'], answer['plan'], 'failed' in answer) == (4, None, False)
    assert run_module(on_target, check=True, step='plan', board='01A3', src='/data/B.SDR', strict=True)['failed']


def test_a_run_that_is_under_way_is_waited_for(run_module, tarvekctl):
    machine(tarvekctl, run='R7')
    tarvekctl.says('wait', result('update', run='R7'))
    run_module(on_target, step='look')
    assert tarvekctl.calls().count(['--json', 'wait', 'R7']) == 1


def test_programming_is_what_the_module_sdr_does(run_module, tarvekctl):
    tarvekctl.says('restore', result('restore', run='R1'))
    tarvekctl.says('wait', PROGRAMMED)
    tarvekctl.says('plan', DUE)
    assert run_module(on_target, step='program', src='/data/A.BAK', state='restored')['changed'] is True
    assert run_module(on_target, check=True, step='program', src='/data/B.SDR')['version_input'] == '01.03'
    assert [call[1] for call in tarvekctl.calls()] == ['restore', 'wait', 'plan']


def test_without_tarvekctl_it_fails(run_module):
    assert run_module(on_target, step='look', executable='/nonexistent/tarvekctl')['failed']


def test_the_record_is_whole_and_for_its_owner_alone(run_module, tmp_path):
    there = tmp_path / 'rollout.json'
    there.write_text('before', encoding='ascii')
    assert 'failed' not in run_module(on_target, step='record', dest=str(there), outcome=dict(outcome='done'))
    assert json.loads(there.read_text(encoding='ascii')) == dict(outcome='done')
    assert there.stat().st_mode & 0o777 == 0o600
    assert sorted(os.listdir(tmp_path)) == ['fake', 'rollout.json']


def test_a_record_that_cannot_be_written_fails_and_leaves_nothing(run_module, tmp_path, monkeypatch):
    def full(descriptor):
        raise OSError(28, 'No space left on device')
    monkeypatch.setattr(on_target.os, 'fsync', full)
    answer = run_module(on_target, step='record', dest=str(tmp_path / 'rollout.json'), outcome=dict(outcome='done'))
    assert answer['failed'] and 'No space left on device' in answer['msg']
    assert os.listdir(tmp_path) == ['fake']
    monkeypatch.undo()
