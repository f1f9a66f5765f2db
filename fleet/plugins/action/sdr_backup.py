"""Has the module sdr_backup run on the target, and fetches the backup."""
import base64
import hashlib
import os

from ansible.errors import AnsibleActionFail
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import write_whole
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = dict(self._task.args)
        fetch = args.pop('fetch', None)
        with self.holding(args.pop('ledger', None), task_vars) as ledger:
            if not fetch and not args.get('dest'):
                raise AnsibleActionFail('dest or fetch is needed')
            if self._task.check_mode or not fetch:
                result.update(self._run_module(args, task_vars))
            else:
                self._fetch(args, os.path.abspath(os.path.expanduser(fetch)), result, task_vars)
            self.hold(ledger, result, task_vars)
        return result

    def _fetch(self, args, fetch, result, task_vars):
        if os.path.lexists(fetch) and not boolean(args.get('overwrite', False), strict=False):
            raise AnsibleActionFail('%s exists already on the controller' % fetch)
        result.update(self._run_module(dict(args, return_content=True), task_vars))
        content = result.pop('content', None)
        if content is not None:
            self._keep(base64.b64decode(content), fetch, result)

    def _run_module(self, args, task_vars):
        return self._execute_module('tarvek.sdr.sdr_backup', module_args=args, task_vars=task_vars)

    @staticmethod
    def _keep(data, here, result):
        """Writes the backup on the controller, as it was on the target."""
        if hashlib.sha256(data).hexdigest() != result['sha256']:
            raise AnsibleActionFail('The backup came over with other bytes')
        write_whole(here, data)
        result['fetched'] = here
