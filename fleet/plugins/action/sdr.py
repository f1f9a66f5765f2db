"""Has the module sdr run on the target, with the files of the task in its arguments."""
from ansible.module_utils.parsing.convert_bool import boolean
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def run(self, tmp=None, task_vars=None):
        """Runs the task."""
        result = super().run(tmp, task_vars)
        del tmp
        args = dict(self._task.args)
        remote = boolean(args.pop('remote_src', False), strict=False)
        result.update(self._execute_module(
            'tarvek.sdr.sdr', module_args=dict(args, remote_src=True) if remote else self.with_contents(args),
            task_vars=task_vars))
        return result
