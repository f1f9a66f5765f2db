"""Has the module sdr_backup run on the target, and fetches the backup."""
import base64
import hashlib
import os

from ansible.errors import AnsibleActionFail
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import write_whole
from ansible_collections.tarvek.sdr.plugins.plugin_utils.remote_folder import RemoteFolderAction

DONE = 0


class ActionModule(RemoteFolderAction):
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
            args.setdefault('dest', '/nonexistent')
            result.update(self._run_module(args, task_vars))
            return result
        fetch = os.path.abspath(os.path.expanduser(fetch))
        if os.path.lexists(fetch) and not boolean(args.get('overwrite', False), strict=False):
            raise AnsibleActionFail('%s exists already on the controller' % fetch)
        if args.get('dest'):
            return self._save(args, fetch, result, task_vars)
        try:
            self.make_folder()
            args['dest'] = self.place('fetched.BAK')
            self._save(args, fetch, result, task_vars)
            result['backup'] = None
        finally:
            self.remove_folder()
        return result

    def _save(self, args, fetch, result, task_vars):
        """Saves on the target and fetches, where there is something to save."""
        result.update(self._run_module(args, task_vars))
        if not result.get('failed') and result.get('status') == DONE:
            self._fetch(args['dest'], fetch, result, task_vars)
        return result

    def _run_module(self, args, task_vars):
        return self._execute_module('tarvek.sdr.sdr_backup', module_args=args, task_vars=task_vars)

    def _fetch(self, there, here, result, task_vars):
        """Brings the backup to the controller, and compares it."""
        answer = self._execute_module('ansible.legacy.slurp', module_args=dict(src=there),
                                      task_vars=task_vars)
        if answer.get('failed'):
            raise AnsibleActionFail('The backup cannot be fetched: %s' % answer.get('msg'))
        data = base64.b64decode(answer['content'])
        if hashlib.sha256(data).hexdigest() != result['sha256']:
            raise AnsibleActionFail('The backup came over with other bytes')
        write_whole(here, data)
        result['fetched'] = here
