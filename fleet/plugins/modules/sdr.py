#!/usr/bin/python
"""Programs the SDR repository of a server's BMC."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr
short_description: Program the SDR repository of a server's BMC
version_added: "1.7.0"
description:
  - Has C(tarvekctl) on the target bring an SDR set into service, or bring a backup back.
  - The update outlives the connection. It is started detached and then waited for; a task that finds a run of the
    same input under way attaches to it instead of starting another.
  - What is in service afterwards is established by reading the BMC, not by what the programming said of itself.
options:
  src:
    description:
      - The SDR source file, configuration script or image; with I(state=restored) the backup.
      - A path on the controller, as for M(ansible.builtin.copy), unless I(remote_src=true). It is on the target for
        the time of the task alone, in a directory of the user who runs it.
    type: path
    required: true
  boards:
    description:
      - The list of the boards that I(src) is for. Where it is not given, the file C(mchk_fil) beside I(src).
      - With I(state=restored) it is needed only for a backup of another product.
    type: path
  files:
    description:
      - What a configuration script names and therefore has to lie beside it. Only for files of the controller; on the
        target they are beside I(src) already.
    type: list
    elements: path
    default: []
  sha256:
    description:
      - The checksums of the files by their plain names, 64 hexadecimal digits each. With a file that is missing or
        has other bytes, nothing is done.
    type: dict
    default: {}
  remote_src:
    description: Whether I(src) and I(boards) are on the target already.
    type: bool
    default: false
  force:
    description: Program whatever the versions are. With identical records nothing is done all the same.
    type: bool
    default: false
  state:
    description: Whether an input is to be programmed or a backup to be brought back.
    type: str
    choices: [programmed, restored]
    default: programmed
  contents:
    description:
      - The controller's files by their plain names, in Base64. The controller sets it; they come with the task
        itself, which saves a connection for each of them.
    type: dict
extends_documentation_fragment:
  - tarvek.sdr.tarvekctl
attributes:
  check_mode:
    support: full
    description: Tells what C(tarvekctl plan) says.
  diff_mode:
    support: full
    description: The difference between what is served and I(src) as text, the same with and without check mode.
notes:
  - Needs the rights of root on the target, see C(become).
author:
  - the tarvek authors
'''

EXAMPLES = r'''
- name: Bring the newest SDR set into service
  tarvek.sdr.sdr:
    src: files/BOARD.SDR
    boards: files/mchk_fil
  become: true

- name: Run a script that has its files on the target
  tarvek.sdr.sdr:
    src: /srv/sdr/EXAMPLE.CFG
    remote_src: true
  become: true

- name: Go back to what a server had before
  tarvek.sdr.sdr:
    src: sdr-fleet/backups/web1/20260701T120000Z.BAK
    state: restored
  become: true
'''

RETURN = r'''
changed:
  description: Whether the BMC serves other records than before; in check mode whether it would.
  returned: always
  type: bool
status:
  description:
    - The exit status of C(tarvekctl). 0 done, 2 nothing to do; else the task failed. 1 the BMC or its driver, 3 the
      input is wrong, 4 the machine is not one for it, 5 another run is under way, 6 interrupted or unknown.
    - Null where C(tarvekctl) gave no result.
  returned: always
  type: int
outcome:
  description: The same in a word, one of done, nothing, refused, failed, interrupted, busy and usage.
  returned: always
  type: str
in_service:
  description: What the BMC serves, one of input, previous, other and unknown.
  returned: always
  type: str
differs:
  description: Whether what is served differs from the input; null where that is not known.
  returned: always
  type: bool
version_before:
  description: The version that was served before.
  returned: always
  type: str
version_after:
  description: The version that is served now.
  returned: always
  type: str
version_input:
  description: The version of the input.
  returned: in check mode, when the input was read
  type: str
message:
  description: What happened, what state the server is in, and what to do, a sentence or more each.
  returned: always
  type: dict
  contains:
    what:
      description: What happened.
      type: str
    state:
      description: What state the server is in.
      type: str
    remedy:
      description: What to do, with the command to type.
      type: str
msg:
  description: The three sentences in one text.
  returned: always
  type: str
result_code:
  description: The result code of C(tarvek).
  returned: always
  type: str
error:
  description: The number and the text of the first numbered error of C(tarvek), or null.
  returned: always
  type: dict
run:
  description: The run on the target, for C(tarvekctl show).
  returned: always
  type: str
log:
  description: The path of the run's log on the target.
  returned: always
  type: str
backup:
  description: The path on the target of the backup that the run made of what was served before.
  returned: always
  type: str
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.tarvek.sdr.plugins.module_utils.sdr_set import SET_ARGUMENTS, do_task
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import COMMON_ARGUMENTS

ARGUMENTS = dict(
    COMMON_ARGUMENTS,
    **dict(SET_ARGUMENTS,
           src=dict(type='path', required=True),
           remote_src=dict(type='bool', default=False),
           state=dict(type='str', choices=['programmed', 'restored'], default='programmed')))


def main():
    """The module."""
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    answer = do_task(module, module.params, module.check_mode)
    if answer.pop('failed', False):
        module.fail_json(**answer)
    module.exit_json(**answer)


if __name__ == '__main__':
    main()
