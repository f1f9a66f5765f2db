"""What the role decides, by what the modules found."""
import re

from ansible.errors import AnsibleFilterError
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import (
    DONE, KEPT, drifts, outcome_of)
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import Ledger, stamp

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
