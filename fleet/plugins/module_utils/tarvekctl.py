"""Runs tarvekctl on a target and translates its JSON. Decides nothing."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import json

from ansible.module_utils.common.text.converters import to_text

DEFAULT_EXECUTABLE = '/usr/sbin/tarvekctl'

# tarvekctl's exit statuses that are no failure.
DONE = 0
NOTHING = 2

COMMON_ARGUMENTS = dict(executable=dict(type='path', default=DEFAULT_EXECUTABLE))


def without_result(in_service, what, state, remedy):
    """What stands for the result of a tarvekctl that gave none."""
    return dict(status=None, outcome='failed', changed=None, in_service=in_service, differs=None,
                version_before=None, version_after=None, result_code=None, error=None, run=None,
                log=None, backup=None, message=dict(what=what, state=state, remedy=remedy))


def parse_result(text):
    """The result object of tarvekctl's output: its last line. None where there is none."""
    lines = [line for line in text.splitlines() if line.strip()]
    if not lines:
        return None
    try:
        result = json.loads(lines[-1])
    except ValueError:
        return None
    if not isinstance(result, dict) or 'phase' in result:
        return None
    if 'status' not in result or not isinstance(result.get('message'), dict):
        return None
    return result


class Tarvekctl:
    """The tarvekctl of this target."""

    def __init__(self, module):
        self.module = module
        self.executable = module.params['executable']

    def run(self, *arguments):
        """Runs it with --json, without a shell.

        Returns its result object. One that gave none has the status None.
        """
        command = [self.executable, '--json'] + list(arguments)
        try:
            code, output, complaint = self.module.run_command(
                command, handle_exceptions=False, expand_user_and_vars=False)
        except (IOError, OSError) as error:
            return without_result(
                'previous', '%s cannot be run: %s.' % (self.executable, error.strerror),
                'Nothing was changed.', 'Install tarvek on the machine, or name its tarvekctl: executable.')
        result = parse_result(to_text(output, errors='surrogate_or_replace'))
        if result is None:
            told = to_text(complaint, errors='surrogate_or_replace').strip()
            return without_result(
                'unknown', '%s ended with status %s and without a result%s.'
                % (' '.join(command), code, ': ' + told if told else ''),
                'What the BMC serves is not known.',
                'See what its runs came to: tarvekctl history.')
        return result


def is_failure(result):
    """Whether a result is neither "done" nor "nothing to do"."""
    return result['status'] not in (DONE, NOTHING)


def sentences(result):
    """The three sentences of a result, as one text."""
    message = result['message']
    return ' '.join(message.get(part) or '' for part in ('what', 'state', 'remedy')).strip()


def translate(result, changed):
    """A result object in the words of Ansible.

    changed: what the task is to say of itself.
    """
    answer = dict((key, value) for key, value in result.items()
                  if key not in ('schema', 'command', 'changed', 'difference', 'difference_text'))
    answer['changed'] = changed
    answer['msg'] = sentences(result)
    if is_failure(result):
        answer['failed'] = True
    return answer
