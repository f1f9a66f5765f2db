"""What the role decides."""
import pytest
from ansible.errors import AnsibleFilterError
from ansible_collections.tarvek.sdr.plugins.filter import rollout
from conftest import result

INPUTS = {'01A3': dict(src='a.SDR'), '01b0': dict(src='b.SDR')}


def look(status=0, board='01a3'):
    """What sdr_info says."""
    return dict(status=status, msg='Told.',
                ansible_facts=dict(tarvek_sdr=dict(status=result('status', board=board, version_after='01.02'))))


def plan(status=0, served='01.02', wanted='01.03', differs=True):
    """What plan says."""
    return result('plan', status, outcome={0: 'done', 2: 'nothing'}.get(status), differs=differs,
                  version_before=served, version_after=served, version_input=wanted, msg='Planned.')


@pytest.mark.parametrize('board, src', [('01a3', 'a.SDR'), ('01A3', 'a.SDR'), ('01B0', 'b.SDR')])
def test_a_board_gets_its_input_in_any_case(board, src):
    assert rollout.input_for(INPUTS, board)['src'] == src


@pytest.mark.parametrize('board', ['0777', '', None, '1A3', '*'])
def test_no_board_gets_what_is_not_its(board):
    assert not rollout.input_for(INPUTS, board)


@pytest.mark.parametrize('inputs', [{256: dict(src='a')}, {'1A3': dict(src='a')}, {'.*..': dict(src='a')},
                                    {'01A3': {}}, {'01A3': 'a.SDR'}, {'01A3': dict(src='a'), '01a3': dict(src='b')}])
def test_a_wrong_mapping_fails_instead_of_guessing(inputs):
    with pytest.raises(AnsibleFilterError):
        rollout.input_for(inputs, '01a3')


def test_drift_is_the_same_version_with_other_bytes():
    assert rollout.drifts(plan(2, '01.03', '01.03'))
    assert not rollout.drifts(plan(2, '01.03', '01.03', differs=False))
    assert not rollout.drifts(plan(2, '01.04', '01.03'))
    assert not rollout.drifts(plan(2, None, None))
    assert not rollout.drifts(plan(0, '01.03', '01.03'))
    assert not rollout.drifts(dict(skipped=True))


@pytest.mark.parametrize('on_drift', rollout.ON_DRIFT)
def test_an_update_is_due_when_the_plan_says_so(on_drift):
    assert rollout.is_due(plan(0), on_drift)
    assert not rollout.is_due(plan(2, '01.04', '01.03'), on_drift)
    assert not rollout.is_due(dict(skipped=True), on_drift)
    assert rollout.is_due(plan(2, '01.03', '01.03'), on_drift) is (on_drift == 'force')


def test_a_word_that_is_none_fails():
    with pytest.raises(AnsibleFilterError):
        rollout.is_due(plan(0), 'reprot')
    with pytest.raises(AnsibleFilterError):
        rollout.is_strict('ignore')
    assert rollout.is_strict('fail') and not rollout.is_strict('skip')


def test_a_board_without_an_entry_is_skipped_and_named():
    outcome = rollout.outcome_of(look(board='0777'), {}, dict(skipped=True), {}, {})
    assert outcome['outcome'] == 'skipped'
    assert outcome['msg'] == 'No entry fits its board, 0777.'


def test_a_machine_that_is_not_fit_is_skipped_with_what_it_lacks():
    outcome = rollout.outcome_of(look(status=4), INPUTS['01A3'], dict(skipped=True), {}, {})
    assert (outcome['outcome'], outcome['msg']) == ('skipped', 'It is not fit for an update: Told.')


def test_an_update_is_told_with_both_backups():
    update = result('update', changed=True, in_service='input', version_before='01.02', version_after='01.03',
                    run='R1', backup='/there.BAK', msg='Done.')
    outcome = rollout.outcome_of(look(), INPUTS['01A3'], plan(), update, dict(fetched='/here.BAK'))
    assert (outcome['outcome'], outcome['changed'], outcome['version_after']) == ('done', True, '01.03')
    assert (outcome['backup'], outcome['backup_there']) == ('/here.BAK', '/there.BAK')


def test_nothing_to_do_drift_and_held_are_told():
    entry = INPUTS['01A3']
    assert rollout.outcome_of(look(), entry, plan(2, '01.04'), {}, {})['outcome'] == 'nothing'
    assert rollout.outcome_of(look(), entry, plan(2, '01.03', '01.03'), {}, {})['outcome'] == 'drift'
    held = dict(held='web1', msg='Not begun: web1 has failed.', changed=False)
    assert rollout.outcome_of(look(), entry, plan(), held, {})['outcome'] == 'held'


def test_a_forced_drift_is_done():
    update = result('update', changed=True, in_service='input', msg='Done.')
    assert rollout.outcome_of(look(), INPUTS['01A3'], plan(2, '01.03', '01.03'), update, {})['outcome'] == 'done'


def test_a_restore_is_told():
    assert rollout.restore_outcome_of(dict(skipped=True), '')['outcome'] == 'skipped'
    assert rollout.restore_outcome_of(dict(held='a', msg='x'), '/a.BAK')['outcome'] == 'held'
    done = result('restore', changed=True, in_service='input', msg='Done.')
    assert rollout.restore_outcome_of(done, '/a.BAK')['outcome'] == 'done'
