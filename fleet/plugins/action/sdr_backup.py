"""Has the module sdr_backup run on the target, and fetches the backup."""
import os

from ansible.errors import AnsibleActionFail
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = dict(self._task.args)
        fetch = args.pop('fetch', None)
        if not fetch and not args.get('dest'):
            raise AnsibleActionFail('dest or fetch is needed')
        if self._task.check_mode or not fetch:
            result.update(self._execute_module('tarvek.sdr.sdr_backup', module_args=args, task_vars=task_vars))
            return result
        fetch = os.path.abspath(os.path.expanduser(fetch))
        if os.path.lexists(fetch) and not boolean(args.get('overwrite', False), strict=False):
            raise AnsibleActionFail('%s exists already on the controller' % fetch)
        answer = self._execute_module(
            'tarvek.sdr.sdr_backup', module_args=dict(args, return_content=True), task_vars=task_vars)
        result.update(self.keep_backup(answer, fetch))
        return result
