"""The module sdr_info."""
from ansible_collections.tarvek.sdr.plugins.modules import sdr_info
from conftest import result


def status(**more):
    """What status says."""
    return result('status', **dict(dict(board='01a3', script=None, driver='openipmi', percent=None, drift=False,
                                        version_after='01.03'), **more))


def answers(tarvekctl, the_status=None, doctor=None, runs=()):
    """Has tarvekctl answer."""
    tarvekctl.says('status', the_status or status())
    tarvekctl.says('doctor', doctor or result('doctor', findings=[]))
    tarvekctl.says('history', result('history', runs=list(runs)))


def test_status_and_doctor_are_facts(run_module, tarvekctl):
    answers(tarvekctl)
    answer = run_module(sdr_info)
    facts = answer['ansible_facts']['tarvek_sdr']
    assert facts['status']['board'] == '01a3'
    assert facts['doctor']['findings'] == []
    assert facts['last'] is None
    assert (answer['changed'], answer['status']) == (False, 0)


def test_the_newest_run_is_told_without_its_difference(run_module, tarvekctl):
    answers(tarvekctl, runs=[result('update', run='R1'), result('update', run='R2', difference_text='long')])
    last = run_module(sdr_info)['ansible_facts']['tarvek_sdr']['last']
    assert last['run'] == 'R2'
    assert 'difference_text' not in last


def test_what_is_wrong_is_an_answer(run_module, tarvekctl):
    answers(tarvekctl, result('status', 4), result('doctor', 4, findings=[dict(subject='node')]))
    answer = run_module(sdr_info)
    assert 'failed' not in answer
    assert answer['status'] == 4
    assert answer['ansible_facts']['tarvek_sdr']['status']['board'] is None


def test_strict_fails_with_the_doctors_sentences(run_module, tarvekctl):
    sentences = dict(what='No node.', state='Nothing was changed.', remedy='Load it.')
    answers(tarvekctl, doctor=result('doctor', 4, findings=[], message=sentences))
    answer = run_module(sdr_info, strict=True)
    assert answer['failed'] is True
    assert answer['message'] == sentences
    assert answer['status'] == 4
    assert 'tarvek_sdr' in answer['ansible_facts']


def test_strict_fails_where_the_bmc_cannot_be_read(run_module, tarvekctl):
    answers(tarvekctl, result('status', 1))
    assert run_module(sdr_info, strict=True)['failed'] is True


def test_without_tarvekctl_it_fails(run_module):
    answer = run_module(sdr_info, executable='/nonexistent/tarvekctl')
    assert answer['failed'] is True
    assert 'ansible_facts' not in answer


def test_it_waits_only_when_asked_and_only_for_a_run(run_module, tarvekctl):
    answers(tarvekctl, status(run='R7'))
    tarvekctl.says('wait', result('update', run='R7'))
    run_module(sdr_info)
    assert ['--json', 'wait', 'R7'] not in tarvekctl.calls()
    run_module(sdr_info, wait=True)
    assert tarvekctl.calls().count(['--json', 'wait', 'R7']) == 1
    answers(tarvekctl)
    run_module(sdr_info, wait=True)
    assert tarvekctl.calls().count(['--json', 'wait', 'R7']) == 1


def test_boards_go_to_the_doctor(run_module, tarvekctl):
    answers(tarvekctl)
    run_module(sdr_info, boards='/data/list')
    assert ['--json', 'doctor', '--boards', '/data/list'] in tarvekctl.calls()
