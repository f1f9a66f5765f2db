"""What of a module's answer is taken."""
import pytest
import yaml
from ansible_collections.tarvek.sdr.plugins.modules import sdr, sdr_backup, sdr_info
from ansible_collections.tarvek.sdr.plugins.plugin_utils.answer import taken
from conftest import result


@pytest.mark.parametrize('module', [sdr, sdr_backup, sdr_info])
def test_all_that_is_documented_is_taken(module):
    examples = dict(bool=True, int=3, str='x', dict=dict(what='x', number=1, tarvek_sdr={}))
    documented = dict((name, examples[entry['type']]) for name, entry in yaml.safe_load(module.RETURN).items()
                      if name != 'fetched')  # the controller's
    assert sorted(taken(documented)) == sorted(documented)


def test_an_answer_of_tarvekctl_is_taken_as_it_is():
    answer = dict(result('update', 1), msg='x', failed=True, error=dict(number=51, text='x'), differs=None)
    assert taken(answer) == dict((key, value) for key, value in answer.items() if key not in ('schema', 'command'))


@pytest.mark.parametrize('name', ['ansible_stats', 'results', 'add_host', 'add_group', 'include', 'held', 'restored',
                                  'src', 'fetched', 'due', 'follows', 'before', 'failed_when_result', 'unreachable'])
def test_what_ansible_or_the_role_would_act_upon_is_not_taken(name):
    assert taken({name: '/etc/passwd', 'status': 0}) == dict(status=0)


def test_of_facts_only_the_modules_own_are_taken():
    facts = dict(sdr_rollout_inputs={}, ansible_connection='local', tarvek_sdr=dict(status={}))
    assert taken(dict(ansible_facts=facts)) == dict(ansible_facts=dict(tarvek_sdr=dict(status={})))


@pytest.mark.parametrize('odd', [7, 'x', ['x'], {'a': ['b']}, None, True])
def test_an_answer_of_another_shape_has_the_known_ones(odd):
    answer = taken(dict.fromkeys(
        ('failed', 'status', 'msg', 'message', 'diff', 'plan', 'ansible_facts', 'warnings'), odd))
    assert answer['failed'] in (True, None)
    assert answer.get('status') in (None, 7)
    assert isinstance(answer.get('msg', ''), (str, type(None)))
    assert answer.get('message', {}) == {} and answer.get('diff', {}) == {}
    assert answer['plan'] in (None, {})
    assert answer.get('ansible_facts', {}) == {}
    assert answer.get('warnings', ['x']) == ['x']


def test_the_plan_in_an_answer_is_taken_likewise():
    assert taken(dict(plan=dict(status=0, ansible_stats=5))) == dict(plan=dict(status=0))
