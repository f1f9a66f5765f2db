"""What actions that reach a target have in common."""
import contextlib

from ansible.errors import AnsibleConnectionFailure
from ansible.plugins.action import ActionBase


class TargetAction(ActionBase):  # pylint: disable=abstract-method  # what uses it has a run()
    """An action whose lost connection is told as that."""

    def cleanup(self, force=False):
        """Removes what Ansible has made on the target.

        A target that cannot be reached any more keeps it. Nothing is raised then: Ansible would take the lost
        connection for a failure of the task.
        """
        with contextlib.suppress(AnsibleConnectionFailure):
            super().cleanup(force)
