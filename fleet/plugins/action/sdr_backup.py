"""Has the module sdr_backup run on the target, and fetches the backup."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import base64
import hashlib
import os

from ansible.errors import AnsibleActionFail
from ansible.module_utils.parsing.convert_bool import boolean
from ansible.plugins.action import ActionBase
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import write_whole

DONE = 0


class ActionModule(ActionBase):
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
        try:
            if not args.get('dest'):
                self._make_tmp_path()
                args['dest'] = self._connection._shell.join_path(self._connection._shell.tmpdir,
                                                                 'fetched.BAK')
                passing = True
            else:
                passing = False
            result.update(self._run_module(args, task_vars))
            if not result.get('failed') and result.get('status') == DONE:
                self._fetch(args['dest'], fetch, result, task_vars)
            if passing:
                result['backup'] = None
        finally:
            self._remove_tmp_path(self._connection._shell.tmpdir)
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
