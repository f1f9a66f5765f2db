"""What the files of a rollout mean."""
import os

import pytest
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import describe, gate_complaints, settle
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
