"""What a rollout finds means: what is due on a host, what it came to, whether a wave may begin, what was left open."""
import re

from ansible.errors import AnsibleError
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import GOOD, OPEN

DONE = 0
NOTHING = 2
_NAMES_SHOWN = 20

# The parts of a board's entry, and those that the module sdr knows.
OF_SET = ('src', 'boards', 'files', 'sha256')
OF_ENTRY = OF_SET + ('version',)

# What of a module's result is kept.
KEPT = ('changed', 'status', 'in_service', 'version_before', 'version_after', 'run', 'log', 'msg')

_BOARD = re.compile(r'^[0-9A-Fa-f]{4}$')


def names(hosts):
    """Some names of hosts, and how many there are more."""
    shown = ', '.join(hosts[:_NAMES_SHOWN])
    more = len(hosts) - _NAMES_SHOWN
    return '%s and %d more' % (shown, more) if more > 0 else shown


def describe(groups):
    """Groups of hosts with their titles, in words; without those that are empty."""
    return ' '.join('%s: %d (%s).' % (title, len(hosts), names(hosts)) for title, hosts in groups if hosts)


def gate_complaints(ledger, prove):
    """Why the next wave may not begin; empty when it may.

    prove: the waves before it must have shown that the update works.
    """
    complaints = []
    failed, left = ledger.failed(), ledger.hosts(OPEN)
    if failed:
        complaints.append('Failed in this rollout, and quarantined: %s. Mend them, then clear them by name: '
                          '-e sdr_rollout_clear=NAME; without that the next run leaves them out.' % names(failed))
    left = [host for host in left if host not in failed]
    if left:
        complaints.append('Their updates were begun and are not known to have ended well: %s. Run the playbook '
                          'again when they can be reached; or set them aside by name: '
                          '-e sdr_rollout_set_aside=NAME.' % names(left))
    outcomes = [entry.get('outcome') for entry in ledger.concluded().values()]
    if prove and not complaints and ledger.waves() and not any(outcome in GOOD for outcome in outcomes):
        complaints.append('No host of the waves so far was updated or found up to date, so they have proven '
                          'nothing. Put a host first that can be updated, or go on all the same: '
                          '-e sdr_rollout_prove=false.')
    return complaints


def unknown_end(facts, before):
    """Why nobody knows yet how a host's last run ends, in a sentence; nothing where that is known."""
    last, under_way = facts.get('last'), facts['status'].get('run')
    if under_way is None and last and last.get('percent') is not None:
        under_way = last.get('run')
    if under_way:
        return 'Run %s is still under way.' % under_way
    if not facts.get('history_known', True) or (last is None and before):
        return ('Its history of runs cannot be read, so what became of its update is not known. See what the BMC '
                'serves, then set it aside by name: -e sdr_rollout_set_aside=NAME.')
    return None


def settle(entry, look):
    """What became of a host that was left open, see _settle()."""
    try:
        return _settle(entry, look)
    except (AttributeError, KeyError, TypeError):  # what a machine says may be anything
        return 'open', dict(msg='It did not answer as tarvekctl does, so what became of its update is not known. See '
                                'what the BMC serves, then set it aside by name: -e sdr_rollout_set_aside=NAME.')


def _settle(entry, look):
    """What became of a host that was left open.

    entry: its open file; look: the result of sdr_info, which has waited for a run under way.
    Returns a verdict and what is to be noted. "open": not known yet; "not begun": nothing was started; "done" and
    "nothing": its update ended well; "failed": it did not.
    """
    if look.get('unreachable'):
        return 'open', dict(msg='It cannot be reached, so what became of its update is not known. Run the playbook '
                            'again when it can be; or set it aside by name: -e sdr_rollout_set_aside=NAME.')
    facts = (look.get('ansible_facts') or {}).get('tarvek_sdr')
    if look.get('failed') or not facts:
        return 'open', dict(msg='It could not be asked what became of its update: %s' % look.get('msg'))
    last, before = facts.get('last'), (entry or {}).get('run_before')
    unknown = unknown_end(facts, before)
    if unknown:
        return 'open', dict(msg=unknown)
    if last is None or (last.get('run') and last.get('run') == before):
        return 'not begun', dict(msg='Its update was not begun: nothing was changed.')
    kept = dict((key, last.get(key)) for key in
                ('status', 'in_service', 'message', 'version_before', 'version_after', 'run', 'log', 'backup'))
    kept['msg'] = ' '.join(last['message'].values())
    if last['status'] in (DONE, NOTHING):
        return 'done' if last['status'] == DONE else 'nothing', kept
    return 'failed', kept


def chosen(name, value, choices):
    """A variable's value; raises AnsibleError where it is none of the choices."""
    if value not in choices:
        raise AnsibleError('%s is one of %s, not %r' % (name, ', '.join(choices), value))
    return value


def flag(name, value):
    """A variable's value as a truth; raises AnsibleError where it is none: a switch that is misspelt is not off."""
    try:
        return boolean(value)
    except TypeError as error:
        raise AnsibleError('%s is yes or no, not %r' % (name, value)) from error


def input_for(inputs, board):
    """What a board gets; empty where there is no entry for it. Raises AnsibleError where the mapping is wrong."""
    found = {}
    for key, entry in inputs.items():
        if not isinstance(key, str) or not _BOARD.match(key):
            raise AnsibleError('The board %r is not four hexadecimal digits in quotes' % (key,))
        if not isinstance(entry, dict) or not entry.get('src'):
            raise AnsibleError('The entry of board %s has no src' % key)
        unknown = sorted(set(entry) - set(OF_ENTRY))
        if unknown:
            raise AnsibleError('The entry of board %s has %s; it may have %s'
                               % (key, ', '.join(map(str, unknown)), ', '.join(OF_ENTRY)))
        if key.lower() == str(board).lower():
            if found:
                raise AnsibleError('The board %s has two entries' % key)
            found = entry
    return found


def drifts(plan):
    """Whether a plan found the input's version with other bytes."""
    return bool(plan.get('status') == NOTHING and plan.get('differs') and plan.get('version_input') is not None
                and plan['version_input'] == plan.get('version_before'))


def is_due(plan, on_drift):
    """Whether an update is to be made, by its plan."""
    return plan.get('status') == DONE or (on_drift == 'force' and drifts(plan))


def outcome_of(seen, update, saved):
    """What the role came to on a host that did not fail.

    seen, update, saved: what the steps plan, update and backup found; empty where they were not taken.
    """
    outcome = dict(board=seen.get('board'), version_before=seen.get('version_before'),
                   version_after=seen.get('version_after'), in_service='previous', changed=False)
    if seen.get('status') != DONE:
        return dict(outcome, outcome='skipped', msg='It is not fit for an update: %s' % seen.get('msg'))
    if not seen.get('src'):
        return dict(outcome, outcome='skipped', msg='No entry fits its board, %s.' % seen.get('board'))
    outcome['src'] = seen['src']
    if update.get('held') is not None:
        return dict(outcome, outcome='held', msg=update['msg'])
    last = update if 'outcome' in update else seen['plan']
    for key in KEPT:
        outcome[key] = last.get(key)
    outcome.update(backup=saved.get('fetched'), backup_there=last.get('backup'))
    if last is seen['plan'] and drifts(last):
        return dict(outcome, outcome='drift')
    return dict(outcome, outcome='done' if last.get('status') == DONE else 'nothing')


def restore_outcome_of(update):
    """What a restore came to on a host that did not fail."""
    outcome = dict(src=update.get('src'), changed=False, in_service='previous', msg=update.get('msg'))
    if not update.get('src'):
        return dict(outcome, outcome='skipped')
    if update.get('held') is not None:
        return dict(outcome, outcome='held')
    for key in KEPT:
        outcome[key] = update.get(key)
    return dict(outcome, outcome=update.get('outcome') or 'nothing', backup_there=update.get('backup'))
