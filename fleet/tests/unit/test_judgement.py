"""What a rollout finds means."""
import os

import pytest
from ansible.errors import AnsibleError
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import (
    chosen, describe, drifts, gate_complaints, input_for, is_due, outcome_of, restore_outcome_of, settle)
from conftest import result


@pytest.fixture(name='ledger')
def a_ledger(tmp_path):
    """A ledger with a rollout."""
    ledger = book.Ledger(str(tmp_path / 'fleet'))
    ledger.begin(os.getpid())
    return ledger


def look(last=None, run=None, **more):
    """What sdr_info says."""
    return dict(dict(ansible_facts=dict(tarvek_sdr=dict(status=result('status', run=run), last=last))), **more)


# ---- what was left open

def test_a_run_that_history_alone_shows_under_way_is_open():
    under_way = dict(result('update', run='R2', changed=None, in_service='unknown'), percent=40)
    assert settle(dict(run_before='R1'), look(last=under_way))[0] == 'open'


def test_a_history_that_is_gone_or_cannot_be_read_is_not_taken_for_nothing_begun():
    assert settle(dict(run_before='R1'), look(last=None))[0] == 'open'
    unread = look(last=None)
    unread['ansible_facts']['tarvek_sdr']['history_known'] = False
    assert settle({}, unread)[0] == 'open'


@pytest.mark.parametrize('odd', [7, True, ['x'], 'x', {'a': 'b'}])
def test_an_answer_of_another_shape_leaves_the_host_open(odd):
    for seen in (look(last=odd), look(last=dict(result('update', run='R2'), message=[odd])),
                 dict(ansible_facts=dict(tarvek_sdr=odd)), dict(ansible_facts=dict(tarvek_sdr=dict(status=odd)))):
        assert settle(dict(run_before='R1'), seen)[0] == 'open'


# ---- the gate

def test_nothing_holds_the_first_wave(ledger):
    assert not gate_complaints(ledger, True)


def test_an_open_host_holds(ledger):
    ledger.put(book.OPEN, 'web7')
    complaints = gate_complaints(ledger, True)
    assert len(complaints) == 1
    assert 'web7' in complaints[0] and 'sdr_rollout_set_aside' in complaints[0]


def test_a_host_that_an_earlier_rollout_left_open_holds_as_well(ledger):
    ledger.put(book.OPEN, 'web7', rollout='another')
    assert gate_complaints(ledger, True)


def test_a_failure_of_this_rollout_holds_and_is_named_once(ledger):
    ledger.put(book.OPEN, 'web7')
    ledger.fail('web7', msg='broke')
    complaints = gate_complaints(ledger, True)
    assert len(complaints) == 1
    assert 'sdr_rollout_clear' in complaints[0]


def test_a_host_that_is_quarantined_from_before_does_not_hold(ledger):
    ledger.put(book.QUARANTINE, 'web7', rollout='another')
    assert not gate_complaints(ledger, True)


@pytest.mark.parametrize('outcome', ['skipped', 'drift', 'held'])
def test_waves_that_have_proven_nothing_hold(ledger, outcome):
    ledger.add_wave(['web1'])
    ledger.conclude('web1', outcome=outcome)
    assert gate_complaints(ledger, True)
    assert not gate_complaints(ledger, False)


def test_a_wave_in_which_nobody_was_reached_holds(ledger):
    ledger.add_wave(['web1'])
    assert gate_complaints(ledger, True)


@pytest.mark.parametrize('outcome', ['done', 'nothing'])
def test_one_good_host_proves(ledger, outcome):
    ledger.add_wave(['web1', 'web2'])
    ledger.conclude('web1', outcome='skipped')
    ledger.conclude('web2', outcome=outcome)
    assert not gate_complaints(ledger, True)


def test_an_earlier_rollouts_success_proves_nothing(ledger):
    ledger.conclude('web1', outcome='done')
    ledger.end()
    ledger.begin(os.getpid())
    ledger.add_wave(['web1'])
    assert gate_complaints(ledger, True)


# ---- settling

def test_a_run_that_ended_well_closes():
    verdict, outcome = settle(dict(run_before='R1'), look(result('update', run='R2', in_service='input')))
    assert (verdict, outcome['in_service'], outcome['run']) == ('done', 'input', 'R2')


def test_a_run_that_had_nothing_to_do_closes():
    assert settle(dict(run_before=None), look(result('update', 2, outcome='nothing', run='R2')))[0] == 'nothing'


def test_no_run_since_means_that_nothing_was_begun():
    assert settle(dict(run_before='R1'), look(result('update', run='R1')))[0] == 'not begun'
    assert settle(dict(run_before=None), look())[0] == 'not begun'


@pytest.mark.parametrize('status', [1, 3, 4, 5, 6])
def test_a_run_that_failed_fails(status):
    verdict, outcome = settle(dict(run_before='R1'), look(result('update', status, run='R2')))
    assert (verdict, outcome['status'], outcome['msg']) == ('failed', status, 'What. State. Remedy.')


def test_without_its_file_the_newest_run_is_judged():
    assert settle({}, look(result('update', 1, run='R2')))[0] == 'failed'
    assert settle(None, look(result('update', run='R2')))[0] == 'done'


@pytest.mark.parametrize('seen', [dict(unreachable=True), dict(failed=True, msg='no tarvekctl'), {},
                                  look(result('update', run='R2'), run='R3')])
def test_what_is_not_known_stays_open(seen):
    assert settle(dict(run_before='R1'), seen)[0] == 'open'


def test_many_names_are_cut():
    text = describe([('open', ['h%d' % number for number in range(30)]), ('none', [])])
    assert text.startswith('open: 30 (h0, ') and text.endswith('and 10 more).')


# ---- what is due

INPUTS = {'01A3': dict(src='a.SDR'), '01b0': dict(src='b.SDR')}


def found(status=0, board='01a3', src='a.SDR', planned=None):
    """What the step plan found."""
    return dict(status=status, msg='Told.', board=board, version_before=None, version_after='01.02', src=src,
                plan=planned)


def plan(status=0, served='01.02', wanted='01.03', differs=True):
    """What plan says."""
    return result('plan', status, outcome={0: 'done', 2: 'nothing'}.get(status), differs=differs,
                  version_before=served, version_after=served, version_input=wanted, msg='Planned.')


@pytest.mark.parametrize('board, src', [('01a3', 'a.SDR'), ('01A3', 'a.SDR'), ('01B0', 'b.SDR')])
def test_a_board_gets_its_input_in_any_case(board, src):
    assert input_for(INPUTS, board)['src'] == src


@pytest.mark.parametrize('board', ['0777', '', None, '1A3', '*'])
def test_no_board_gets_what_is_not_its(board):
    assert not input_for(INPUTS, board)


@pytest.mark.parametrize('inputs', [{256: dict(src='a')}, {'1A3': dict(src='a')}, {'.*..': dict(src='a')},
                                    {'01A3': {}}, {'01A3': 'a.SDR'}, {'01A3': dict(src='a'), '01a3': dict(src='b')},
                                    {'01A3': dict(src='a', sha265={})}])
def test_a_wrong_mapping_fails_instead_of_guessing(inputs):
    with pytest.raises(AnsibleError):
        input_for(inputs, '01a3')


def test_drift_is_the_same_version_with_other_bytes():
    assert drifts(plan(2, '01.03', '01.03'))
    assert not drifts(plan(2, '01.03', '01.03', differs=False))
    assert not drifts(plan(2, '01.04', '01.03'))
    assert not drifts(plan(2, None, None))
    assert not drifts(plan(0, '01.03', '01.03'))
    assert not drifts({})


@pytest.mark.parametrize('on_drift', ['fail', 'report', 'force'])
def test_an_update_is_due_when_the_plan_says_so(on_drift):
    assert is_due(plan(0), on_drift)
    assert not is_due(plan(2, '01.04', '01.03'), on_drift)
    assert not is_due({}, on_drift)
    assert is_due(plan(2, '01.03', '01.03'), on_drift) is (on_drift == 'force')


def test_a_word_that_is_none_fails():
    with pytest.raises(AnsibleError, match='sdr_rollout_on_drift is one of fail, report'):
        chosen('sdr_rollout_on_drift', 'reprot', ('fail', 'report'))
    assert chosen('x', 'fail', ('fail', 'skip')) == 'fail'


# ---- what it came to

def test_a_board_without_an_entry_is_skipped_and_named():
    outcome = outcome_of(found(board='0777', src=None), {}, {})
    assert outcome['outcome'] == 'skipped'
    assert outcome['msg'] == 'No entry fits its board, 0777.'


def test_a_machine_that_is_not_fit_is_skipped_with_what_it_lacks():
    outcome = outcome_of(found(status=4, src=None), {}, {})
    assert (outcome['outcome'], outcome['msg']) == ('skipped', 'It is not fit for an update: Told.')


def test_an_update_is_told_with_both_backups():
    update = result('update', changed=True, in_service='input', version_before='01.02', version_after='01.03',
                    run='R1', backup='/there.BAK', msg='Done.')
    outcome = outcome_of(found(planned=plan()), update, dict(fetched='/here.BAK'))
    assert (outcome['outcome'], outcome['changed'], outcome['version_after']) == ('done', True, '01.03')
    assert (outcome['backup'], outcome['backup_there']) == ('/here.BAK', '/there.BAK')


def test_nothing_to_do_drift_and_held_are_told():
    assert outcome_of(found(planned=plan(2, '01.04')), {}, {})['outcome'] == 'nothing'
    assert outcome_of(found(planned=plan(2, '01.03', '01.03')), {}, {})['outcome'] == 'drift'
    held = dict(held='web1', msg='Not begun: web1 has failed.', changed=False)
    assert outcome_of(found(planned=plan()), held, {})['outcome'] == 'held'


def test_a_forced_drift_is_done():
    update = result('update', changed=True, in_service='input', msg='Done.')
    assert outcome_of(found(planned=plan(2, '01.03', '01.03')), update, {})['outcome'] == 'done'


def test_a_restore_is_told():
    assert restore_outcome_of(dict(skipped=True, msg='None.'))['outcome'] == 'skipped'
    assert restore_outcome_of(dict(held='a', msg='x', src='/a.BAK'))['outcome'] == 'held'
    done = result('restore', changed=True, in_service='input', msg='Done.', src='/a.BAK')
    assert restore_outcome_of(done)['outcome'] == 'done'
