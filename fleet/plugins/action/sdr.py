"""Has the module sdr run on the target, with the files of the task in its arguments."""
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import flag
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction


class ActionModule(TargetAction):
    """The action."""

    def act(self, task_vars):
        """What it does."""
        args = dict(self._task.args)
        remote = flag('remote_src', args.pop('remote_src', None) or False)
        return self._execute_module(
            'tarvek.sdr.sdr', module_args=dict(args, remote_src=True) if remote else self.with_contents(args),
            task_vars=task_vars)
