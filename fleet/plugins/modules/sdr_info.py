#!/usr/bin/python
"""Tells about a server's BMC and its SDR repository."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr_info
short_description: Tell what SDR set a server's BMC serves, and what the server lacks for an update
version_added: "1.7.0"
description:
  - Returns what C(tarvekctl status) and C(tarvekctl doctor) say on the target as facts. It changes nothing.
  - What they find wrong is an answer, not a failure, unless I(strict=true).
options:
  wait:
    description: Whether to wait first for a run that is under way, and to return its result (I(last)).
    type: bool
    default: false
  strict:
    description: Whether to fail when an update would not work here, or when the BMC cannot be read.
    type: bool
    default: false
  boards:
    description: A hardware list on the target to look the board up in.
    type: path
extends_documentation_fragment:
  - tarvek.sdr.tarvekctl
attributes:
  check_mode:
    support: full
    description: Changes nothing in any mode.
  diff_mode:
    support: none
    description: Changes nothing.
notes:
  - Needs the rights of root on the target, see C(become).
author:
  - the tarvek authors
'''

EXAMPLES = r'''
- name: Ask what is served
  tarvek.sdr.sdr_info:
  become: true

- name: Tell it
  ansible.builtin.debug:
    msg: "Board {{ tarvek_sdr.status.board }} serves {{ tarvek_sdr.status.version_after }}."

- name: Wait for an update that another controller began, and go on only if the server is fit for the next
  tarvek.sdr.sdr_info:
    wait: true
    strict: true
  become: true
'''

RETURN = r'''
ansible_facts:
  description: The facts.
  returned: when tarvekctl could be run
  type: dict
  contains:
    tarvek_sdr:
      description: What is known of the BMC.
      type: dict
      contains:
        status:
          description:
            - The result object of C(tarvekctl status), among others with status, message, version_after, board,
              script, driver, drift, run and percent. Where its status is not 0, what follows message is null.
          type: dict
        doctor:
          description: The result object of C(tarvekctl doctor), with status, message and findings.
          type: dict
        last:
          description: The result object of the newest run on the target, or null; without its difference.
          type: dict
        history_known:
          description: Whether the runs on the target could be read.
          type: bool
msg:
  description: In a sentence what was found, or why the task failed.
  returned: always
  type: str
status:
  description: The exit status of the first of the two commands that did not end with 0, else 0.
  returned: always
  type: int
message:
  description: Its three sentences, what happened, what state the server is in, and what to do.
  returned: always
  type: dict
in_service:
  description: Previous; nothing is changed by asking.
  returned: always
  type: str
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.tarvek.sdr.plugins.module_utils.machine import describe, gather
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import COMMON_ARGUMENTS, DONE, Tarvekctl

ARGUMENTS = dict(
    COMMON_ARGUMENTS,
    wait=dict(type='bool', default=False),
    strict=dict(type='bool', default=False),
    boards=dict(type='path'),
)


def main():
    """The module."""
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    facts = gather(Tarvekctl(module), module.params['wait'], module.params['boards'])
    answer = describe(facts)
    if answer['status'] is not None:
        answer['ansible_facts'] = dict(tarvek_sdr=facts)
    if answer['status'] is None or (module.params['strict'] and answer['status'] != DONE):
        module.fail_json(**answer)
    module.exit_json(**answer)


if __name__ == '__main__':
    main()
