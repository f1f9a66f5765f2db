"""Variables of a rollout, for tasks on the controller: those of the inventory's hosts.

The controller itself is none of them; in its own variables `inventory_dir`, for one, is not defined.
"""
DEFAULT_DIR = 'sdr-fleet'
_NOT_OF_THE_FLEET = ('localhost', 'sdr_nobody')


def of_host(task_vars, host, name, default):
    """A variable of a host."""
    known = task_vars['hostvars'][host]
    return known[name] if name in known else default


def of_fleet(task_vars, name, default):
    """A variable that is the same for all hosts: that of the task's host, or else of the inventory's first."""
    hosts = [host for host in task_vars['groups']['all'] if host not in _NOT_OF_THE_FLEET]
    own = task_vars['inventory_hostname']
    if own in hosts:
        hosts = [own]
    return of_host(task_vars, hosts[0], name, default) if hosts else default
