"""What actions that reach a target have in common."""
import base64
import contextlib
import hashlib
import os

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure, AnsibleError
from ansible.module_utils.common.text.converters import to_native, to_text
from ansible.plugins.action import ActionBase
from ansible.utils.unsafe_proxy import wrap_var
from ansible_collections.tarvek.sdr.plugins.plugin_utils.answer import taken
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import NOTHING
from ansible_collections.tarvek.sdr.plugins.plugin_utils.ledger import listed, write_whole

DEFAULT_BOARDS = 'mchk_fil'


class TargetAction(ActionBase):
    """An action whose files travel in the arguments and results of its module: one connection does."""

    TRANSFERS_FILES = False

    def run(self, tmp=None, task_vars=None):
        """Runs the task.

        What is raised when the target is lost has what a server said: marked, so that it is never taken for a template.
        """
        result = super().run(tmp, task_vars)
        del tmp
        try:
            result.update(self.act(task_vars))
        except AnsibleConnectionFailure as error:
            lost = AnsibleActionFail()
            lost.result = dict(unreachable=True, changed=False, msg=wrap_var(to_text(error)))
            raise lost from error
        return result

    def act(self, task_vars):
        """What the action does. Returns what it comes to."""
        raise NotImplementedError

    def cleanup(self, force=False):
        """Removes what Ansible has made on the target.

        A target that cannot be reached any more keeps it. Nothing is raised then: Ansible would take the lost
        connection for a failure of the task.
        """
        with contextlib.suppress(AnsibleConnectionFailure):
            super().cleanup(force)

    # ---- to the target

    def _execute_module(self, *args, **kwargs):
        """Runs a module, and takes of its answer what is known."""
        return taken(super()._execute_module(*args, **kwargs))

    def with_contents(self, args):
        """The arguments of the module sdr with the files' plain names, and with what is in them."""
        if not args.get('src'):
            raise AnsibleActionFail('src is missing')
        try:
            src, boards = self._find(args['src']), args.get('boards')
            beside = os.path.join(os.path.dirname(src), DEFAULT_BOARDS)
            if boards:
                boards = self._find(boards)
            elif args.get('state') != 'restored' and os.path.exists(beside):
                boards = beside
            files = [src] + [self._find(name) for name in listed(args.get('files'))] + ([boards] if boards else [])
            changed = dict(args, src=os.path.basename(src), files=[], contents=self._contents(files))
        except (AnsibleError, OSError) as error:
            raise AnsibleActionFail(to_native(error)) from error
        if boards:
            changed['boards'] = os.path.basename(boards)
        return changed

    @staticmethod
    def _contents(files):
        """What is in files, by their plain names: on the target they lie side by side."""
        paths = {}
        for path in files:
            other = paths.setdefault(os.path.basename(path), path)
            if not os.path.samefile(other, path):
                raise AnsibleActionFail('%s and %s cannot lie side by side: they have one name' % (other, path))
        contents = {}
        for name, path in paths.items():
            with open(path, 'rb') as stream:
                contents[name] = base64.b64encode(stream.read()).decode('ascii')
        return contents

    def _find(self, name):
        """A file of the controller: as it is named, or where plays have their files."""
        path = os.path.abspath(os.path.expanduser(name))
        return path if os.path.isfile(path) else self._find_needle('files', name)

    # ---- from the target

    @staticmethod
    def keep_backup(result, here):
        """Keeps on the controller the backup that came with a result."""
        content = result.pop('content', None)
        if content is None and not result.get('failed') and result.get('status') != NOTHING:
            raise AnsibleActionFail('No backup came over')
        if content is not None:
            data = base64.b64decode(content)
            if hashlib.sha256(data).hexdigest() != result.get('sha256'):
                raise AnsibleActionFail('The backup came over with other bytes')
            write_whole(here, data)
            result['fetched'] = here
        return result
