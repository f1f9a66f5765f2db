#!/usr/bin/python
"""Documentation of the action sdr_ledger, which runs on the controller."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr_ledger
short_description: Keep the files of a rollout on the controller
version_added: "1.7.0"
description:
  - Notes on the controller which hosts are open, quarantined and done, and refuses waves. Asks no target.
  - It is what the playbooks C(rollout) and C(restore) and the role C(tarvek.sdr.sdr_rollout) are built on.
options:
  dir:
    description: The directory; by default the variable C(sdr_rollout_dir) of the hosts, or C(sdr-fleet).
    type: path
  state:
    description:
      - C(begun) begins a rollout, if no other one with the directory is going on; C(gate) begins a wave, or fails while
        one of the hosts is open or has failed; C(settled) judges an open host;
        C(failed) quarantines; C(ended) ends the rollout, and fails when not all went well.
    type: str
    choices: [begun, gate, settled, failed, ended]
    required: true
  clear:
    description: With C(begun), hosts to take out of the quarantine.
    type: list
    elements: str
  set_aside:
    description: With C(begun), hosts to quarantine, e.g. dead ones that are open.
    type: list
    elements: str
  hosts:
    description: With C(begun), the hosts of the inventory.
    type: list
    elements: str
  prove:
    description: With C(gate), whether a host of the waves before must have been updated or found up to date.
    type: bool
    default: true
  look:
    description: With C(settled) the result of M(tarvek.sdr.sdr_info). What C(failed) notes is
      C(ansible_failed_task) and C(ansible_failed_result).
    type: dict
  after_done:
    description: With C(settled), whether the task file that comes after an update has run, so that the host is closed.
    type: bool
    default: false
attributes:
  action:
    support: full
    description: Runs on the controller.
  check_mode:
    support: full
    description: Writes nothing then.
author:
  - the tarvek authors
'''

EXAMPLES = r'''
- name: Begin the wave only if nothing holds it
  tarvek.sdr.sdr_ledger:
    dir: sdr-fleet
    state: gate
  run_once: true
  any_errors_fatal: true
'''

RETURN = r'''
msg:
  description: What was found, with the names of hosts.
  returned: always
  type: str
open:
  description: Hosts whose updates were begun and are not known to have ended well.
  returned: with C(begun) and a C(gate) that refuses
  type: list
  elements: str
quarantined:
  description: Hosts that are left out.
  returned: with C(begun)
  type: list
  elements: str
after:
  description: The task file that comes after the update of an open host that ended well; empty where there is none.
  returned: with C(settled)
  type: str
wave:
  description: The hosts of the wave.
  returned: with a C(gate) that lets it begin
  type: list
  elements: str
outcomes:
  description: The hosts of the rollout by outcome.
  returned: with C(ended)
  type: dict
not_reached:
  description: Hosts of the rollout that could not be reached and were not touched.
  returned: with C(ended)
  type: list
  elements: str
'''
