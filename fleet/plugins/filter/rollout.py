"""What the role decides, by what the modules found."""
import re

from ansible.errors import AnsibleFilterError
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import DONE, NOTHING
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import Ledger, stamp

# What of a module's result is kept.
KEPT = ('changed', 'status', 'in_service', 'version_before', 'version_after', 'run', 'log', 'msg')

ON_DRIFT = ('fail', 'report', 'force')
ON_UNFIT = ('fail', 'skip')

_BOARD = re.compile(r'^[0-9A-Fa-f]{4}$')


def input_for(inputs, board):
    """What a board gets; empty where there is no entry for it."""
    found = {}
    for key, entry in inputs.items():
        if not isinstance(key, str) or not _BOARD.match(key):
            raise AnsibleFilterError('The board %r is not four hexadecimal digits in quotes' % (key,))
        if not isinstance(entry, dict) or not entry.get('src'):
            raise AnsibleFilterError('The entry of board %s has no src' % key)
        if board and key.lower() == board.lower():
            if found:
                raise AnsibleFilterError('The board %s has two entries' % key)
            found = entry
    return found


def is_due(plan, on_drift):
    """Whether an update is to be made, by its plan."""
    if on_drift not in ON_DRIFT:
        raise AnsibleFilterError('sdr_rollout_on_drift is one of %s, not %r' % (', '.join(ON_DRIFT), on_drift))
    return plan.get('status') == DONE or (on_drift == 'force' and drifts(plan))


def is_strict(on_unfit):
    """Whether a machine that is not fit for an update fails."""
    if on_unfit not in ON_UNFIT:
        raise AnsibleFilterError('sdr_rollout_on_unfit is one of %s, not %r' % (', '.join(ON_UNFIT), on_unfit))
    return on_unfit == 'fail'


def drifts(plan):
    """Whether a plan found the input's version with other bytes."""
    return bool(plan.get('status') == NOTHING and plan.get('differs') and plan.get('version_input') is not None
                and plan['version_input'] == plan.get('version_before'))


def outcome_of(look, entry, plan, update, saved):
    """What the role came to on a host that did not fail."""
    status = (look.get('ansible_facts') or {}).get('tarvek_sdr', {}).get('status', {})
    outcome = dict(board=status.get('board'), version_before=status.get('version_before'),
                   version_after=status.get('version_after'), in_service='previous', changed=False)
    if look.get('status') != DONE:
        return dict(outcome, outcome='skipped', msg='It is not fit for an update: %s' % look.get('msg'))
    if not entry:
        return dict(outcome, outcome='skipped', msg='No entry fits its board, %s.' % status.get('board'))
    outcome['src'] = entry['src']
    if update.get('held') is not None:
        return dict(outcome, outcome='held', msg=update['msg'])
    last = update if 'outcome' in update else plan
    for key in KEPT:
        outcome[key] = last.get(key)
    outcome.update(backup=saved.get('fetched'), backup_there=last.get('backup'))
    if last is plan and drifts(plan):
        return dict(outcome, outcome='drift')
    return dict(outcome, outcome=last['outcome'])


def restore_outcome_of(update, backup):
    """What a restore came to on a host that did not fail."""
    outcome = dict(src=backup, changed=False, in_service='previous')
    if not backup:
        return dict(outcome, outcome='skipped', msg='The controller has no backup of it.')
    if update.get('held') is not None:
        return dict(outcome, outcome='held', msg=update['msg'])
    for key in KEPT:
        outcome[key] = update.get(key)
    return dict(outcome, outcome=update['outcome'], backup_there=update.get('backup'))


def newest_backup(folder, host, until=''):
    """The newest backup of a host on the controller, of `until` or before; empty where there is none."""
    return Ledger(folder).newest_backup(host, until)


def backup_path(folder, host):
    """Where a backup that is made now goes on the controller."""
    return Ledger(folder).backup_path(host, stamp())


class FilterModule:
    """Filters of the collection."""

    def filters(self):
        """By name."""
        return dict(input_for=input_for, drifts=drifts, is_due=is_due, is_strict=is_strict, outcome_of=outcome_of,
                    restore_outcome_of=restore_outcome_of, backup_path=backup_path,
                    newest_backup=newest_backup)
