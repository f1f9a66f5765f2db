"""Variables of a rollout, for tasks on the controller: those of the inventory's hosts.

The controller itself may be none of them; in its own variables `inventory_dir`, for one, is not defined then.
"""
from ansible.errors import AnsibleError

DEFAULT_DIR = 'sdr-fleet'
_NOBODY = 'sdr_nobody'


def of_host(task_vars, host, name, default):
    """A variable of a host. Raises AnsibleError where it cannot be worked out."""
    known = task_vars['hostvars'][host]
    value = known[name] if name in known else default
    if isinstance(value, str) and ('{{' in value or '{%' in value):
        raise AnsibleError('The variable %s of %s cannot be worked out: %s' % (name, host, value))
    return value


def of_fleet(task_vars, name, default):
    """A variable that is the same for all hosts: that of the task's host, or else of the first that has it."""
    own, hosts = task_vars['inventory_hostname'], task_vars['groups']['all']
    candidates = ([own] if own in hosts else []) + [host for host in hosts if host != _NOBODY]
    # One after the other: to work out a host's variables takes its time.
    having = next((host for host in candidates if name in task_vars['hostvars'][host]), None)
    return default if having is None else of_host(task_vars, having, name, default)
