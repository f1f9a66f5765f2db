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
    if isinstance(value, str) and '{{' in value:
        raise AnsibleError('The variable %s of %s cannot be worked out: %s' % (name, host, value))
    return value


def of_fleet(task_vars, name, default):
    """A variable that is the same for all hosts: that of the task's host, or else of the first that has it."""
    hosts, own = [host for host in task_vars['groups']['all'] if host != _NOBODY], task_vars['inventory_hostname']
    having = [host for host in hosts if name in task_vars['hostvars'][host]]
    return of_host(task_vars, own if own in having else having[0], name, default) if having else default
