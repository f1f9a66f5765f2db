"""What is known of a target: its status, its doctor, its newest run."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import DONE, sentences

# What status says only where it reached the BMC.
STATUS_KEYS = ('board', 'script', 'driver', 'percent', 'drift')

# What of a run is long.
DIFFERENCES = ('difference', 'difference_text')


def brief(result):
    """A result without its difference."""
    return dict((key, value) for key, value in result.items() if key not in DIFFERENCES)


def gather(tarvekctl, wait, hardware_list=None):
    """The facts. With `wait`, a run that is under way is waited for first; the board is looked up in the list."""
    status = tarvekctl.run('status')
    if wait and status.get('run'):
        tarvekctl.run('wait', status['run'])
        status = tarvekctl.run('status')
    for key in STATUS_KEYS:
        status.setdefault(key, None)
    boards = ['--boards', hardware_list] if hardware_list else []
    doctor = tarvekctl.run('doctor', *boards)
    doctor.setdefault('findings', [])
    history = tarvekctl.run('history')
    runs = history.get('runs') or [None]  # the oldest first
    return dict(status=status, doctor=doctor, last=runs[-1] and brief(runs[-1]),
                history_known=history['status'] == DONE)


def describe(facts):
    """The facts in the words of a task's answer: the first complaint, or what is served."""
    failing = [facts[part] for part in ('doctor', 'status') if facts[part]['status'] != DONE]
    telling = failing[0] if failing else facts['status']
    return dict(changed=False, msg=sentences(telling), status=telling['status'], message=telling['message'],
                in_service=telling['in_service'])
