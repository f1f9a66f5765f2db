"""Task files of the user, which come before and after an update."""
import os
import types

from ansible.errors import AnsibleError
from ansible.playbook.helpers import load_list_of_blocks

_PARTS = ('block', 'rescue', 'always')
# Ansible takes no static import below an include whose name is known only to a host.
_STATIC = ('import_tasks', 'ansible.builtin.import_tasks')

# Names of files in it are looked at by Ansible itself, with the variables that it has then.
_NO_VARIABLES = types.SimpleNamespace(get_vars=lambda **unused: {})


def readable_tasks(task, loader, path):
    """The path of a task file that is there and can be read as one; raises AnsibleError where it cannot.

    What Ansible cannot read when it is to be included ends the play for all hosts, in the middle of their updates.

    task: the task after which it is to be included, from which it has its role and its collections.
    """
    if not os.path.isfile(path):
        raise AnsibleError('The task file %s does not exist' % path)
    tasks = loader.load_from_file(path) or []
    parent = task._parent  # pylint: disable=protected-access  # what includes it loads it so
    try:
        _refuse_static(tasks)
        load_list_of_blocks(tasks, play=parent._play, parent_block=parent,  # pylint: disable=protected-access
                            role=task._role, variable_manager=_NO_VARIABLES,  # pylint: disable=protected-access
                            loader=loader)
    except Exception as error:  # whatever it is: later it would be worse
        raise AnsibleError('The task file %s cannot be read: %s' % (path, error)) from error
    return path


def _refuse_static(tasks):
    for task in tasks:
        found = [name for name in _STATIC if name in (task or {})]
        if found:
            raise AnsibleError('%s cannot stand in it; include_tasks can' % found[0])
        if not all(isinstance(name, str) for name in task or {}):
            raise AnsibleError('what is no task stands in it')
        for part in _PARTS:
            _refuse_static((task or {}).get(part) or [])
