"""Has the module sdr_backup run on the target, and fetches the backup."""
import os

from ansible.errors import AnsibleActionFail
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import flag
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def act(self, task_vars):
        """What it does."""
        args = dict(self._task.args)
        fetch = args.pop('fetch', None)
        if not fetch and not args.get('dest'):
            raise AnsibleActionFail('dest or fetch is needed')
        if self._task.check_mode or not fetch:
            return self._execute_module('tarvek.sdr.sdr_backup', module_args=args, task_vars=task_vars)
        fetch = os.path.abspath(os.path.expanduser(fetch))
        if os.path.lexists(fetch) and not flag('overwrite', args.get('overwrite') or False):
            raise AnsibleActionFail('%s exists already on the controller' % fetch)
        return self.keep_backup(self._execute_module(
            'tarvek.sdr.sdr_backup', module_args=dict(args, return_content=True), task_vars=task_vars), fetch)
