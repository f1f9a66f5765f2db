"""Has the module sdr_info run on the target."""
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def act(self, task_vars):
        """What it does."""
        return self._execute_module('tarvek.sdr.sdr_info', module_args=self._task.args, task_vars=task_vars)
