"""Does one step of the role sdr_rollout, by the role's variables and what its steps before have found.

The role's decisions are made here and in plugin_utils/judgement.py, not in templates: Ansible compiles each expression
of each task for each host, which costs its controller more than the step itself.
"""
import os

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure, AnsibleError
from ansible.module_utils.common.text.converters import to_native
from ansible_collections.tarvek.sdr.plugins.plugin_utils import ledger as book
from ansible_collections.tarvek.sdr.plugins.plugin_utils.judgement import (
    DONE, OF_SET, chosen, drifts, flag, input_for, is_due, outcome_of, restore_outcome_of)
from ansible_collections.tarvek.sdr.plugins.plugin_utils.target_action import TargetAction
from ansible_collections.tarvek.sdr.plugins.plugin_utils.task_file import readable_tasks

ON_DRIFT = ('fail', 'report', 'force')
ON_UNFIT = ('fail', 'skip')

# The role's task files that a plan has follow.
PACKAGE, UPDATE, UPDATE_WITH_HOOKS = 'package.yml', 'update.yml', 'update_with_hooks.yml'
SKIPPED = dict(skipped=True, changed=False)


class ActionModule(TargetAction):
    """The action."""

    _vars = _host = _ledger = None
    STEPS = ('begin', 'plan', 'look', 'backup', 'update', 'restore', 'verify', 'record', 'record_failure', 'conclude')

    def act(self, task_vars):
        """What it does."""
        step = self._task.args.get('step')
        if step not in self.STEPS:
            raise AnsibleActionFail('step is one of %s' % ', '.join(self.STEPS))
        self._vars, self._host = task_vars, task_vars['inventory_hostname']
        self._ledger = book.Ledger(self._value('dir'), os.getppid())
        try:
            result = getattr(self, '_' + step)()
        except AnsibleConnectionFailure:
            raise  # a lost target is open, or was not begun
        except Exception as error:  # pylint: disable=broad-except  # whatever fails is told, and holds the others
            result = self._failure(error)
        if result.get('failed') and self._leads():
            # For those that wait for a free fork; the role notes the whole.
            self._ledger.put(book.QUARANTINE, self._host, outcome='failed', **book.failure_of(result))
        return result

    @staticmethod
    def _failure(error):
        """What is raised as an answer: one is no template, whatever it has in it, but an exception's text could be."""
        known = isinstance(error, (AnsibleError, book.LedgerError, OSError))
        what = to_native(error) if known else 'Something is not of the shape that it should have (%s: %s)' % (
            type(error).__name__, to_native(error))
        return dict(failed=True, changed=False, msg=what, status=None,
                    message=dict(what=what, state='', remedy=''))

    # ---- the role's variables

    def _value(self, name):
        """One of the role's variables."""
        try:
            return self._templar.template(self._vars['sdr_rollout_' + name])
        except KeyError as error:
            raise AnsibleActionFail('The variable %s is missing: this is a step of a role' % error) from error

    def _flag(self, name):
        return flag('sdr_rollout_' + name, self._value(name))

    def _found(self, name):
        """What a step before has registered; empty where it was none of this host's."""
        return self._vars.get('sdr_rollout_' + name) or {}

    # ---- others are held

    def _leads(self):
        """Whether this is a step of the rollout that is going on, and not only tried."""
        return not self._task.check_mode and self._ledger.leads()

    # ---- the target

    def _on_target(self, step, **args):
        """Has the module of this name do its part there."""
        return self._execute_module(
            'tarvek.sdr.sdr_step', task_vars=self._vars,
            module_args=dict(args, step=step, executable=self._value('tarvekctl')))

    def _ask(self, step, **args):
        """The same in check mode."""
        meant = self._task.check_mode
        self._task.check_mode = True
        try:
            return self._on_target(step, **args)
        finally:
            self._task.check_mode = meant

    # ---- before

    def _look(self):
        """Looks at a machine that is to be restored, if there is a backup of it."""
        if not self._backup_to_restore():
            return SKIPPED
        seen = self._on_target('look')
        seen.pop('plan', None)
        return seen

    def _begin(self):
        """Has the package come first, where one is wanted; else plans."""
        if self._value('package') or self._value('package_file'):
            return dict(changed=False, due=True, follows=PACKAGE)
        return self._plan()

    def _plan(self):
        """Looks at the machine, plans what its board gets, and notes it where nothing is to be done."""
        on_drift = chosen('sdr_rollout_on_drift', self._value('on_drift'), ON_DRIFT)
        strict = chosen('sdr_rollout_on_unfit', self._value('on_unfit'), ON_UNFIT) == 'fail'
        inputs, planning, forced = self._value('inputs'), self._flag('planning'), self._flag('force')
        if not isinstance(inputs, dict):
            raise AnsibleActionFail('sdr_rollout_inputs is no mapping of boards')
        expected = self._expected_board(inputs)
        seen = self._ask('plan', strict=strict, board=expected, **self._set_for(inputs, expected, forced))
        entry = input_for(inputs, seen.get('board'))
        if not seen.get('failed') and seen.get('status') == DONE and entry and not seen.get('plan'):
            # Another board than expected.
            seen['plan'] = self._ask('program', **self._set_for(inputs, seen['board'], forced))
        plan = seen.get('plan') or {}
        diff = plan.pop('diff', None)
        if plan.get('failed') or (on_drift == 'fail' and drifts(plan)):
            return dict(seen, **dict(plan, failed=True))
        if seen.get('failed'):
            return seen
        seen.update(src=entry.get('src'), due=is_due(plan, on_drift), force=forced or drifts(plan),
                    changed=planning and plan.get('status') == DONE)
        if planning and diff:
            seen['diff'] = diff
        return self._conclude_plan(seen)

    def _expected_board(self, inputs):
        """The board that a host had the last time, or the only one; the set for it travels with the question.

        What is done is decided by what the machine says, see the module. The guess saves a connection.
        """
        known = (self._ledger.get(book.OUTCOMES, self._host) or {}).get('board')
        boards = list(inputs)
        return str(known or (boards[0] if len(boards) == 1 else ''))

    def _set_for(self, inputs, board, forced):
        """The arguments that bring the set for a board to the target; none where nothing is for it."""
        entry = input_for(inputs, board)
        if not entry:
            return {}
        return self.with_contents(dict(((name, entry[name]) for name in OF_SET if name in entry), force=forced))

    def _conclude_plan(self, seen):
        """Says what follows. Where nothing does that is the end, and noted: on most hosts, most of the time."""
        if seen['due']:
            before, after = (self._find_tasks(self._value(name)) for name in ('before', 'after'))
            seen.update(before=before, after=after, follows=UPDATE_WITH_HOOKS if before or after else UPDATE)
        outcome = outcome_of(seen, {}, {})
        seen['msg'] = outcome['msg']
        if not seen['due']:
            seen['outcome'] = outcome['outcome']
            if not self._task.check_mode:
                self._ledger.conclude(self._host, **outcome)
        return seen

    def _find_tasks(self, name):
        """A task file by its path, or where plays have theirs; empty where there is none. It is read to be sure."""
        if not name:
            return ''
        path = os.path.expanduser(name)
        path = path if os.path.isabs(path) else self._find_needle('tasks', path)
        return readable_tasks(self._task, self._loader, path)

    def _backup(self):
        """Fetches a backup."""
        if self._task.check_mode:
            return SKIPPED
        here = self._ledger.backup_path(self._host, book.stamp())
        if os.path.lexists(here):
            raise AnsibleActionFail('%s exists already on the controller' % here)
        return self.keep_backup(self._on_target('backup'), here)

    # ---- programming

    def _update(self):
        seen, inputs = self._found('plan'), self._value('inputs')
        return self._program(self._set_for(inputs, seen.get('board'), seen.get('force', False)),
                             src=seen.get('src'), run_before=seen.get('run_before'), after=seen.get('after'))

    def _restore(self):
        backup = self._backup_to_restore()
        if not backup:
            return dict(SKIPPED, restored=True, msg='The controller has no backup of it.')
        found = self._program(self.with_contents(dict(src=backup, state='restored')),
                              src=backup, run_before=self._found('look').get('run_before'))
        return dict(found, restored=True, src=backup)

    def _backup_to_restore(self):
        return self._ledger.newest_backup(self._host, str(self._value('until') or ''))

    def _program(self, args, **opened):
        """Opens the host before its update; does not begin it after a failure of another."""
        if self._task.check_mode:
            return self._on_target('program', **args)
        failed = self._ledger.failed()
        if failed:
            return dict(changed=False, held=failed[0], msg='Not begun: %s has failed.' % failed[0])
        self._ledger.put(book.OPEN, self._host, **opened)
        return self._on_target('program', **args)

    # ---- after

    def _verify(self):
        """Reads again what the BMC serves, and compares it with the input, byte for byte."""
        update = self._found('update')
        if self._task.check_mode or not update.get('changed'):
            return SKIPPED
        if update.get('restored'):
            args = self.with_contents(dict(src=update['src'], state='restored'))
        else:
            args = self._set_for(self._value('inputs'), self._found('plan').get('board'), True)
        found = dict(dict(failed=False), **dict(self._ask('program', **args), changed=False))
        if not found.get('failed') and found.get('in_service') != 'input':
            what = 'Read again after its update, the BMC serves other records than the input.'
            found.update(failed=True, outcome='failed', msg=what, in_service='other', message=dict(
                what=what, state='What it serves is not known to be right.',
                remedy='Compare: tarvekctl plan INPUT; the backup is on the controller.'))
        return found

    def _outcome(self):
        update = self._found('update')
        if update.get('restored'):
            return restore_outcome_of(update)
        return outcome_of(self._found('plan'), update, self._found('saved'))

    def _record(self):
        """Notes the outcome on the target."""
        if self._task.check_mode or not self._found('update').get('changed'):
            return SKIPPED
        return self._note_there(self._outcome())

    def _record_failure(self):
        """Notes on the target that it failed, if that is possible: what it failed of is what is told."""
        outcome = self._found('failure').get('outcome')
        if self._task.check_mode or not outcome:
            return SKIPPED
        return dict(self._note_there(outcome), failed=False)

    def _note_there(self, outcome):
        return self._on_target('record', dest=self._value('record'), outcome=outcome)

    def _conclude(self):
        """Notes the outcome on the controller."""
        outcome = self._outcome()
        if not self._task.check_mode:
            self._ledger.conclude(self._host, **outcome)
        return dict(changed=False, outcome=outcome['outcome'], msg=outcome['msg'])
