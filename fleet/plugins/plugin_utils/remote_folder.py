"""A folder on the target for the time of a task."""
import contextlib
import os

from ansible.errors import AnsibleConnectionFailure
from ansible.plugins.action import ActionBase


class RemoteFolderAction(ActionBase):  # pylint: disable=abstract-method  # what uses it has a run()
    """An action that has such a folder between make_folder() and remove_folder()."""

    @property
    def shell(self):
        """How the target's shell is spoken to; Ansible has no other way to it."""
        return self._connection._shell  # pylint: disable=protected-access

    def make_folder(self):
        """Makes it."""
        self._make_tmp_path()

    def remove_folder(self):
        """Removes it, and what is in it.

        A target that cannot be reached any more keeps it. Nothing is raised then: it would hide what became of the
        task, and Ansible would take a lost connection for a failure.
        """
        with contextlib.suppress(AnsibleConnectionFailure):
            self._remove_tmp_path(self.shell.tmpdir)
        self.shell.tmpdir = None  # or Ansible would try once more

    def place(self, name):
        """The path of a file in it."""
        return self.shell.join_path(self.shell.tmpdir, name)

    def put(self, paths):
        """Copies files of the controller into it. Returns their places by their paths."""
        places = dict((path, self._transfer_file(path, self.place(os.path.basename(path))))
                      for path in dict.fromkeys(paths))
        self._fixup_perms2([self.shell.tmpdir] + list(places.values()))
        return places
