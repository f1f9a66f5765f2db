"""Writes the report of a fleet on the controller."""
import os

from ansible.errors import AnsibleActionFail
from ansible.plugins.action import ActionBase
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils import report
from ansible_collections.tarvek.sdr.plugins.plugin_utils.fleet_vars import DEFAULT_DIR, of_fleet, of_host


class ActionModule(ActionBase):
    """The action."""

    TRANSFERS_FILES = False

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = self._task.args
        if not args.get('look'):
            raise AnsibleActionFail('look is missing')
        ledger = book.Ledger(args.get('dir') or of_fleet(task_vars, 'sdr_rollout_dir', DEFAULT_DIR))
        looks = self._looks(book.listed(args.get('hosts')), args['look'], task_vars['hostvars'])
        inputs, result['warnings'] = self._inputs([host for host, _ in looks], task_vars)
        rows = report.rows_of(looks, ledger, inputs)
        whole = report.report_of(rows, book.now())
        folder = os.path.abspath(os.path.expanduser(args.get('dest') or ledger.folder))
        files = dict((form, os.path.join(folder, 'report.' + form)) for form in report.FORMS)
        if not self._task.check_mode:
            for form, path in files.items():
                book.write_whole(path, report.FORMS[form](whole).encode('utf-8'))
        result.update(changed=False, files=files, summary=whole['summary'],
                      msg='%s Report: %s' % (report.in_words(whole), files['html']))
        return result

    @staticmethod
    def _inputs(hosts, task_vars):
        """What each host's board gets, by host; and complaints of variables that cannot be worked out."""
        inputs, complaints = {}, []
        for host in hosts:
            try:
                inputs[host] = of_host(task_vars, host, 'sdr_rollout_inputs', {})
            except Exception as error:  # pylint: disable=broad-except  # a template can do anything
                complaints.append('What %s gets cannot be worked out: %s' % (host, error))
        return inputs, complaints

    @staticmethod
    def _looks(hosts, name, hostvars):
        """What each host that took part said: a list of pairs."""
        found = ((host, hostvars[host].get(name)) for host in hosts if host in hostvars)
        return [(host, look) for host, look in found if look is not None]
