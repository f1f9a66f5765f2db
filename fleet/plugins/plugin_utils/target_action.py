"""What actions that reach a target have in common."""
import contextlib
import os

from ansible.errors import AnsibleConnectionFailure, AnsibleError
from ansible.module_utils.common.text.converters import to_native
from ansible.plugins.action import ActionBase
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book


class TargetAction(ActionBase):  # pylint: disable=abstract-method  # what uses it has a run()
    """An action whose lost connection is told as that, and whose failure holds the others of a rollout at once."""

    @staticmethod
    def rollout(folder, task_vars):
        """The files of the rollout that this task belongs to; None where it belongs to none, or only tries one."""
        if not folder or task_vars.get('ansible_check_mode'):
            return None
        ledger = book.Ledger(folder)
        return ledger if ledger.is_led_by(os.getppid()) else None

    @contextlib.contextmanager
    def holding(self, folder, task_vars):
        """The rollout's files, as rollout() has them; what is raised meanwhile holds the others, too."""
        ledger = self.rollout(folder, task_vars)
        try:
            yield ledger
        except AnsibleConnectionFailure:
            raise  # a lost target is open, or was not begun
        except (AnsibleError, OSError) as error:
            self.hold(ledger, dict(failed=True, msg=to_native(error)), task_vars)
            raise

    @staticmethod
    def hold(ledger, result, task_vars):
        """Quarantines a host that has failed, for those that wait for a free fork; the role notes the whole."""
        if ledger is not None and result.get('failed'):
            ledger.put(book.QUARANTINE, task_vars['inventory_hostname'], outcome='failed', **book.failure_of(result))

    def cleanup(self, force=False):
        """Removes what Ansible has made on the target.

        A target that cannot be reached any more keeps it. Nothing is raised then: Ansible would take the lost
        connection for a failure of the task.
        """
        with contextlib.suppress(AnsibleConnectionFailure):
            super().cleanup(force)
