#!/usr/bin/python
"""Saves what a server's BMC serves."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr_backup
short_description: Save the SDR records that a server's BMC serves
version_added: "1.7.0"
description:
  - Has C(tarvekctl backup) on the target write a backup that was read twice and compared, and fetches it to the
    controller if asked to.
  - The BMC is only read, so I(changed) is never true.
options:
  dest:
    description:
      - The new file on the target. Can be left out with I(fetch); then nothing is left on the target.
    type: path
  fetch:
    description:
      - The new file on the controller; its directory is made. It appears whole or not at all, and is compared with
        the file on the target.
    type: path
  overwrite:
    description: Whether an existing I(dest) or I(fetch) is replaced.
    type: bool
    default: false
  return_content:
    description:
      - Whether the backup itself is returned, as C(content) in Base64. The controller sets it for I(fetch), and takes
        it out of the result.
    type: bool
    default: false
extends_documentation_fragment:
  - tarvek.sdr.tarvekctl
attributes:
  check_mode:
    support: full
    description: Does nothing then.
  diff_mode:
    support: none
    description: Changes nothing.
notes:
  - Needs the rights of root on the target, see C(become).
  - Of an empty repository there is nothing to save; that is no failure, and no file is made.
author:
  - the tarvek authors
'''

EXAMPLES = r'''
- name: Fetch a backup to the controller
  tarvek.sdr.sdr_backup:
    fetch: "backups/{{ inventory_hostname }}/{{ now(utc=true).strftime('%Y%m%dT%H%M%SZ') }}.BAK"
  become: true

- name: Save it on the target
  tarvek.sdr.sdr_backup:
    dest: /root/before.BAK
  become: true
'''

RETURN = r'''
changed:
  description: False; the BMC is only read.
  returned: always
  type: bool
status:
  description: The exit status of C(tarvekctl), 0 for a backup that was made, 2 for an empty repository.
  returned: not in check mode
  type: int
in_service:
  description: Previous; nothing was changed.
  returned: not in check mode
  type: str
message:
  description: What happened, what state the server is in, and what to do.
  returned: not in check mode
  type: dict
msg:
  description: The three sentences in one text.
  returned: always
  type: str
version_after:
  description: The version in the backup.
  returned: not in check mode
  type: str
backup:
  description: The path on the target; null where none was asked for or none made.
  returned: always
  type: str
fetched:
  description: The path on the controller.
  returned: when it was fetched
  type: str
sha256:
  description: The checksum of the backup.
  returned: when it was made
  type: str
'''

import os

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.tarvek.sdr.plugins.module_utils.backup import save, save_for_the_controller
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import COMMON_ARGUMENTS

ARGUMENTS = dict(
    COMMON_ARGUMENTS,
    dest=dict(type='path'),
    fetch=dict(type='path'),
    overwrite=dict(type='bool', default=False),
    return_content=dict(type='bool', default=False),
)


def main():
    """The module."""
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    params = module.params
    if module.check_mode:
        module.exit_json(changed=False, backup=None, msg='Nothing is saved in check mode.')
    if not params['dest'] and not params['return_content']:
        module.fail_json(msg='dest is missing')
    if params['dest']:
        options = ['--overwrite'] if params['overwrite'] else []
        answer = save(module, os.path.abspath(params['dest']), options, params['return_content'])
    else:
        answer = save_for_the_controller(module)
    if answer.pop('failed', False):
        module.fail_json(**answer)
    module.exit_json(**answer)


if __name__ == '__main__':
    main()
