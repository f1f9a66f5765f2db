"""Task files of the user, which come before and after an update."""
import os

from ansible.errors import AnsibleError
from ansible.playbook.helpers import load_list_of_blocks
from ansible.playbook.play import Play


def readable_tasks(loader, path):
    """The path of a task file that is there and can be read as one; raises AnsibleError where it cannot.

    What Ansible cannot read when it is to be included ends the play for all hosts, in the middle of their updates.
    """
    if not os.path.isfile(path):
        raise AnsibleError('The task file %s does not exist' % path)
    tasks = loader.load_from_file(path)
    if not isinstance(tasks, list):
        raise AnsibleError('The task file %s has no list of tasks' % path)
    try:
        load_list_of_blocks(tasks, play=Play(), loader=loader)
    except AnsibleError as error:
        raise AnsibleError('The task file %s cannot be read: %s' % (path, error)) from error
    except (AssertionError, AttributeError, TypeError) as error:
        if not all(isinstance(task, dict) for task in tasks):
            raise AnsibleError('The task file %s has what is no task' % path) from error
        # Static imports want a whole play to be read; they are left to it.
    return path
