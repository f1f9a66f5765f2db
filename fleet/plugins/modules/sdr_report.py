#!/usr/bin/python
"""Documentation of the action sdr_report, which runs on the controller."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr_report
short_description: Write who holds which SDR version as a table, as JSON and as a page
version_added: "1.7.0"
description:
  - What a host is measured by is the C(version) that its variable C(sdr_rollout_inputs) has for its board; where it has
    none, the newest one that a host of the board has.
  - Writes C(report.csv), C(report.json) and C(report.html) on the controller from what M(tarvek.sdr.sdr_info) returned
    on each host, and from what earlier rollouts noted.
  - The page stands alone and has no script. Every text in it is escaped, also control characters; no cell of the table
    is taken for a formula.
options:
  dir:
    description: The directory of rollouts on the controller; by default the variable C(sdr_rollout_dir) of the hosts,
      or C(sdr-fleet).
    type: path
  dest:
    description: The directory for the report; by default I(dir).
    type: path
  look:
    description: The name of the variable in which each host has the result of M(tarvek.sdr.sdr_info).
    type: str
    required: true
  hosts:
    description: The hosts of the report; those that do not have the variable are left out.
    type: list
    elements: str
    required: true
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
- name: Write the report
  tarvek.sdr.sdr_report:
    look: sdr_report_look
    hosts: "{{ groups.all }}"
'''

RETURN = r'''
files:
  description: The paths of the three files by their forms, csv, json and html.
  returned: always
  type: dict
summary:
  description: How many hosts there are, and the names of those that are ok, unfit, failed, unreachable, behind
    (C(stragglers)), drifted, quarantined and open.
  returned: always
  type: dict
msg:
  description: The summary in a line.
  returned: always
  type: str
'''
