"""Keeps the files of a rollout on the controller, see plugin_utils/ledger.py. Asks no target."""
import os

from ansible.errors import AnsibleActionFail, AnsibleError
from ansible.plugins.action import ActionBase
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils.fleet_vars import DEFAULT_DIR, of_fleet
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import (
    describe, flag, gate_complaints, settle)
from ansible_collections.tarvek.sdr.plugins.plugin_utils.task_file import readable_tasks


class ActionModule(ActionBase):
    """The action."""

    TRANSFERS_FILES = False
    STATES = ('begun', 'gate', 'settled', 'failed', 'ended')

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = self._task.args
        state = args.get('state')
        if state not in self.STATES:
            raise AnsibleActionFail('state is one of %s' % ', '.join(self.STATES))
        result['changed'] = False
        try:
            folder = args.get('dir') or of_fleet(task_vars, 'sdr_rollout_dir', DEFAULT_DIR)
            getattr(self, '_' + state)(book.Ledger(folder, os.getppid()), args, result, task_vars)
        except (book.LedgerError, AnsibleError, OSError) as error:
            result.update(failed=True, msg=str(error))
        return result

    # ---- on the controller

    def _begun(self, ledger, args, result, task_vars):
        """Begins a rollout: nobody else leads one; hosts are cleared and set aside by name."""
        del task_vars
        clear, aside = book.listed(args.get('clear')), book.listed(args.get('set_aside'))
        quarantined = set(ledger.hosts(book.QUARANTINE))
        unknown = [host for host in clear if host not in quarantined]
        if unknown:
            raise book.LedgerError('Not quarantined, so not to be cleared: %s' % ', '.join(unknown))
        known = book.listed(args.get('hosts'))
        unknown = [host for host in aside if host not in known + ledger.hosts(book.OPEN)]
        if unknown:
            raise book.LedgerError('Neither in the inventory nor open, so not to be set aside: %s'
                                   % ', '.join(unknown))
        if not self._task.check_mode:
            # This process is a worker of the one that leads the rollout.
            result['rollout'] = ledger.begin(os.getppid())
            for host in clear:
                ledger.drop(book.OPEN, host)
                ledger.drop(book.QUARANTINE, host)
            for host in aside:
                ledger.put(book.QUARANTINE, host, outcome='set aside', rollout=None,
                           msg='Set aside by name.')
        quarantined = sorted((quarantined - set(clear)) | set(aside))
        still_open = [host for host in ledger.hosts(book.OPEN) if host not in quarantined + clear]
        if not self._task.check_mode:
            for host in quarantined:
                ledger.drop(book.OPEN, host)  # what is known of it is told by its quarantine
        result.update(open=still_open, quarantined=quarantined,
                      open_here=[host for host in still_open if host in known],
                      quarantined_here=[host for host in quarantined if host in known],
                      msg=describe([('Left open', still_open), ('Quarantined', quarantined)])
                      or 'No host is open or quarantined.')

    def _ended(self, ledger, args, result, task_vars):
        """Ends a rollout, and tells what it came to."""
        del args, task_vars
        if self._task.check_mode:
            result['msg'] = 'Nothing was changed: check mode.'
            return
        if not ledger.leads():
            raise book.LedgerError('The rollout was not begun, so it cannot end.')
        concluded = ledger.concluded()
        by_outcome = {}
        for host, entry in sorted(concluded.items()):
            by_outcome.setdefault(entry.get('outcome'), []).append(host)
        reached = set(concluded) | set(ledger.hosts(book.OPEN))
        missed = [host for wave in ledger.waves() for host in wave if host not in reached]
        bad = ledger.failed() or ledger.hosts(book.OPEN)
        named = sorted(by_outcome.items()) + [
            ('open', ledger.hosts(book.OPEN)), ('not reached', missed),
            ('quarantined', ledger.hosts(book.QUARANTINE))]
        result.update(outcomes=by_outcome, not_reached=missed, failed=bool(bad),
                      msg=describe(named) or 'There was no host.')
        ledger.end()

    # ---- once a wave

    def _gate(self, ledger, args, result, task_vars):
        """Refuses while a host is open, has failed, or the waves so far have proven nothing."""
        if not self._task.check_mode and not ledger.leads():
            raise book.LedgerError('The rollout was not begun. Take a part of the inventory with '
                                   '-e sdr_rollout_hosts=PATTERN, not with --limit, and no task by its own.')
        complaints = gate_complaints(ledger, flag('prove', args.get('prove', True)))
        if complaints and self._task.check_mode:
            # Which of them this run has judged or cleared is not written down, so it is only told.
            result['warnings'] = complaints
        elif complaints:
            result.update(failed=True, msg=' '.join(complaints), open=ledger.hosts(book.OPEN))
            return
        hosts = list(task_vars.get('ansible_play_batch') or [])
        if not self._task.check_mode:
            ledger.add_wave(hosts)
        result.update(wave=hosts, msg='Nothing holds this wave: %s' % ', '.join(hosts))

    # ---- for one host

    def _settled(self, ledger, args, result, task_vars):
        """Judges what an earlier rollout left open, by what the host says now.

        Where a task file is still to come after its update, the host is closed when that is done.
        """
        host = task_vars['inventory_hostname']
        entry = ledger.get(book.OPEN, host) or {}
        verdict, outcome = settle(entry, args.get('look') or {})
        failed, done = verdict in ('open', 'failed'), flag('after_done', args.get('after_done', False))
        if self._task.check_mode and verdict == 'open':
            result['warnings'] = [outcome['msg']]
        result.update(verdict=verdict, msg=outcome['msg'], failed=failed and not result.get('warnings'),
                      after='' if failed or done else self._task_file_to_come(entry, host))
        if self._task.check_mode or result['after']:
            return
        if verdict == 'failed':
            ledger.fail(host, **outcome)
        elif verdict == 'not begun':
            ledger.conclude(host, outcome=verdict, **outcome)
            ledger.drop(book.OPEN, host)
        elif verdict != 'open':
            ledger.conclude(host, outcome=verdict, **outcome)

    def _task_file_to_come(self, entry, host):
        try:
            return readable_tasks(self._task, self._loader, str(entry['after'])) if entry.get('after') else ''
        except AnsibleError as error:
            raise book.LedgerError('%s. It comes after the update of %s: put it back, or set the host aside by name: '
                                   '-e sdr_rollout_set_aside=%s.' % (error, host, host)) from error

    def _failed(self, ledger, args, result, task_vars):
        """Quarantines a host."""
        del args
        # Not arguments: those are templates, and what failed may have said anything. Where a role that a task file
        # names is not there, Ansible says neither what failed nor how.
        outcome = book.failure_of(task_vars.get('ansible_failed_result') or {})
        outcome['task'] = (task_vars.get('ansible_failed_task') or {}).get('name', 'a task file')
        outcome.setdefault('msg', 'The task "%s" failed.' % outcome['task'])
        host = task_vars['inventory_hostname']
        result.update(outcome=dict(outcome, outcome='failed'),
                      msg='Quarantined: %s When it is mended, clear it: -e sdr_rollout_clear=%s'
                      % (outcome.get('msg'), host))
        if not self._task.check_mode:
            ledger.fail(host, **outcome)
