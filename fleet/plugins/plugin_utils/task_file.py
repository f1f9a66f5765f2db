"""Task files of the user, which come before and after an update."""
import os

from ansible.errors import AnsibleError


def readable_tasks(loader, path):
    """The path of a task file that is there and has a list in it; raises AnsibleError where it has not.

    What Ansible cannot read when it is to be included ends the play for all hosts, in the middle of their updates.
    """
    if not os.path.isfile(path):
        raise AnsibleError('The task file %s does not exist' % path)
    if not isinstance(loader.load_from_file(path), list):
        raise AnsibleError('The task file %s has no list of tasks' % path)
    return path
