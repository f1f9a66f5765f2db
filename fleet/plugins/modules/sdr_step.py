#!/usr/bin/python
"""What the steps of the role sdr_rollout do on its target. One module, so that the controller packs only one."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr_step
short_description: Do one step of the role sdr_rollout
version_added: "1.7.0"
description:
  - What the role C(tarvek.sdr.sdr_rollout) is built on, and of use there alone. The steps take what they need from the
    role's variables and from what the steps before have registered, and note in the rollout's files what they find.
  - A step that fails holds the other hosts of the rollout at once.
options:
  step:
    description:
      - C(begin) has C(package.yml) follow where a package is wanted, and else does what C(plan) does.
      - C(plan) waits for a run that is under way, looks at the machine, plans what its board gets, and notes a host on
        which nothing is to be done; C(look) does without the plan; C(backup) fetches a backup to the controller;
        C(update) and C(restore) open the host and program, unless another host has failed; C(verify) reads again what
        is served; C(record) notes the outcome on the target, C(record_failure) a failure if that is possible, and
        C(conclude) the outcome on the controller.
      - Where nothing was changed, C(verify) and C(record) are skipped.
      - On the target they come down to C(look), C(plan), C(backup), C(program) and C(record).
    type: str
    choices: [begin, plan, look, backup, update, restore, verify, record, record_failure, conclude]
    required: true
  board:
    description: The controller sets it; the product ID of the board that I(src) is for.
    type: str
  strict:
    description: The controller sets it; whether to fail when an update would not work here.
    type: bool
    default: false
  src:
    description: The controller sets it, as the following; see M(tarvek.sdr.sdr).
    type: path
  boards:
    description: See M(tarvek.sdr.sdr).
    type: path
  files:
    description: See M(tarvek.sdr.sdr).
    type: list
    elements: path
    default: []
  sha256:
    description: See M(tarvek.sdr.sdr).
    type: dict
    default: {}
  force:
    description: See M(tarvek.sdr.sdr).
    type: bool
    default: false
  contents:
    description: See M(tarvek.sdr.sdr).
    type: dict
  state:
    description: See M(tarvek.sdr.sdr).
    type: str
    choices: [programmed, restored]
    default: programmed
  dest:
    description: The controller sets it; the file on the target in which the outcome is noted.
    type: path
  outcome:
    description: The controller sets it; what is noted there.
    type: dict
extends_documentation_fragment:
  - tarvek.sdr.tarvekctl
attributes:
  check_mode:
    support: full
    description: Writes nothing then.
  diff_mode:
    support: full
    description: As M(tarvek.sdr.sdr).
author:
  - the tarvek authors
'''

EXAMPLES = r'''
- name: Look and plan
  tarvek.sdr.sdr_step:
    step: begin
  register: sdr_rollout_plan
'''

RETURN = r'''
run_before:
  description: The newest run on the target before the update.
  returned: with C(begin), C(plan) and C(look), if the machine was looked at
  type: str
src:
  description: The input, or the backup that is restored.
  returned: with C(begin), C(plan) and C(restore)
  type: str
before:
  description: The task file that comes before the update; empty where there is none. C(after) likewise.
  returned: when something is due
  type: str
fetched:
  description: The backup on the controller.
  returned: with C(backup)
  type: str
status:
  description: With C(begin) and C(plan) that of M(tarvek.sdr.sdr_info), with other steps that of what they did.
  returned: with all steps but C(record) and C(conclude)
  type: int
board:
  description: The board's product ID.
  returned: with C(begin) and C(plan)
  type: str
plan:
  description: What M(tarvek.sdr.sdr) returns in check mode; null where nothing was planned.
  returned: with C(begin) and C(plan), if the machine was looked at
  type: dict
due:
  description: Whether something is to be done.
  returned: with C(begin) and C(plan), if they did not fail
  type: bool
follows:
  description: The role's task file that does it.
  returned: when something is due
  type: str
held:
  description: The update was not begun, since another host of the rollout has failed; its name.
  returned: when it was held
  type: str
outcome:
  description: What the rollout came to on the host, in a word.
  returned: with C(conclude), and with C(plan) where nothing is to be done
  type: str
msg:
  description: What happened, for people.
  returned: when something was done, or failed
  type: str
'''

import json
import os
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.tarvek.sdr.plugins.module_utils.backup import save_for_the_controller
from ansible_collections.tarvek.sdr.plugins.module_utils.machine import describe, gather
from ansible_collections.tarvek.sdr.plugins.module_utils.sdr_set import SET_ARGUMENTS, do_task
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import COMMON_ARGUMENTS, DONE, Tarvekctl


ARGUMENTS = dict(
    COMMON_ARGUMENTS,
    **dict(SET_ARGUMENTS,
           step=dict(type='str', choices=['look', 'plan', 'backup', 'program', 'record'], required=True),
           state=dict(type='str', choices=['programmed', 'restored'], default='programmed'),
           board=dict(type='str'),
           strict=dict(type='bool', default=False),
           dest=dict(type='path'),
           outcome=dict(type='dict')))


def look_and_plan(module):
    """Looks at the machine, and plans with the set that came with the task if it is for the machine's board."""
    params = module.params
    facts = gather(Tarvekctl(module), True)
    status, last = facts['status'], facts['last']
    answer = dict(describe(facts), board=status['board'], version_before=status.get('version_before'),
                  version_after=status.get('version_after'), run_before=(last or {}).get('run'), plan=None)
    if answer['status'] is None or (params['strict'] and answer['status'] != DONE):
        answer['failed'] = True
    elif answer['status'] == DONE and params['src'] and params['board'].lower() == (status['board'] or '').lower():
        answer['plan'] = do_task(module, params, True)
    return answer


def write_whole(dest, outcome):
    """Writes the outcome so that it is there whole or not at all, and only its owner reads it."""
    descriptor, aside = tempfile.mkstemp(prefix='.rollout-', dir=os.path.dirname(dest))
    try:
        with os.fdopen(descriptor, 'wb') as stream:
            stream.write((json.dumps(outcome, indent=4, sort_keys=True) + '\n').encode('ascii'))
            stream.flush()
            os.fsync(stream.fileno())
        os.rename(aside, dest)
    except (IOError, OSError):
        os.unlink(aside)
        raise


def program(module):
    """Plans in check mode, and else programs."""
    return do_task(module, module.params, module.check_mode)


def record(module):
    """Notes the outcome on the target."""
    params = module.params
    try:
        write_whole(params['dest'], params['outcome'])
    except (IOError, OSError) as error:
        return dict(failed=True, msg='The outcome cannot be noted as %s: %s' % (params['dest'], error.strerror))
    return dict(changed=False, msg='Noted as %s.' % params['dest'])


DOING = dict(look=look_and_plan, plan=look_and_plan, backup=save_for_the_controller, program=program, record=record)


def main():
    """The module."""
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    answer = DOING[module.params['step']](module)
    if answer.pop('failed', False):
        module.fail_json(**answer)
    module.exit_json(**answer)


if __name__ == '__main__':
    main()
