"""Has the module sdr run on the target, with the files of the task in its arguments."""
import base64
import os

from ansible.errors import AnsibleActionFail, AnsibleError
from ansible.module_utils.common.text.converters import to_native
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import DONE, NOTHING, drifts, outcome_of
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction

DEFAULT_BOARDS = 'mchk_fil'
OF_ENTRY = ('src', 'boards', 'files', 'sha256')


class ActionModule(TargetAction):
    """The action."""

    TRANSFERS_FILES = False

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = dict(self._task.args)
        entry = args.pop('entry', None) or {}
        args.update((name, entry[name]) for name in OF_ENTRY if name in entry)
        folder, refuse_drift = args.pop('ledger', None), boolean(args.pop('refuse_drift', False), strict=False)
        with self.holding(folder, task_vars) as ledger:
            if folder and not self._task.check_mode:
                return self._run_in_rollout(book.Ledger(folder), args, result, task_vars)
            result.update(self._run_module(args, task_vars))
            if refuse_drift and drifts(result):
                result['failed'] = True
            self.hold(ledger, result, task_vars)
            if ledger is not None:
                self._note_nothing(ledger, entry, result, task_vars)
        return result

    @staticmethod
    def _note_nothing(ledger, entry, plan, task_vars):
        """Notes a host on which there is nothing to do: most of them, most of the time, and that saves them a task."""
        if plan.get('failed') or plan.get('status') != NOTHING or drifts(plan):
            return
        look = dict(status=DONE, ansible_facts=task_vars.get('ansible_facts'))
        ledger.conclude(task_vars['inventory_hostname'], **outcome_of(look, entry, plan, {}, {}))
        plan['noted'] = True

    def _run_in_rollout(self, ledger, args, result, task_vars):
        """Opens the host before its update; does not begin it after a failure of another."""
        host = task_vars['inventory_hostname']
        failed = ledger.failed()
        if failed:
            result.update(changed=False, held=failed[0],
                          msg='Not begun: %s has failed.' % failed[0])
            return result
        last = ((task_vars.get('ansible_facts') or {}).get('tarvek_sdr') or {}).get('last') or {}
        ledger.put(book.OPEN, host, src=str(args.get('src')), run_before=last.get('run'))
        result.update(self._run_module(args, task_vars))
        self.hold(ledger, result, task_vars)
        return result

    def _run_module(self, args, task_vars):
        remote = boolean(args.pop('remote_src', False), strict=False)
        return self._execute_module(
            'tarvek.sdr.sdr', module_args=dict(args, remote_src=True) if remote else self._with_contents(args),
            task_vars=task_vars)

    def _with_contents(self, args):
        """The arguments with the files' plain names, and with what is in them.

        So one connection does; files that are copied would take several each.
        """
        if not args.get('src'):
            raise AnsibleActionFail('src is missing')
        try:
            src, boards = self._find(args['src']), args.get('boards')
            beside = os.path.join(os.path.dirname(src), DEFAULT_BOARDS)
            if boards:
                boards = self._find(boards)
            elif args.get('state') != 'restored' and os.path.exists(beside):
                boards = beside
            files = [src] + [self._find(name) for name in book.listed(args.get('files'))]
            files += [boards] if boards else []
            contents = dict((os.path.basename(path), self._content(path)) for path in files)
        except (AnsibleError, OSError) as error:
            raise AnsibleActionFail(to_native(error)) from error
        changed = dict(args, src=os.path.basename(src), files=[], contents=contents)
        if boards:
            changed['boards'] = os.path.basename(boards)
        return changed

    @staticmethod
    def _content(path):
        with open(path, 'rb') as stream:
            return base64.b64encode(stream.read()).decode('ascii')

    def _find(self, name):
        """A file of the controller: as it is named, or where plays have their files."""
        path = os.path.abspath(os.path.expanduser(name))
        return path if os.path.isfile(path) else self._find_needle('files', name)
