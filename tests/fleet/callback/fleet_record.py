"""Notes what a run of Ansible does, a line of JSON an event, as it comes about: FLEET_RECORD names the file."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import json
import os
import time

from ansible.plugins.callback import CallbackBase

DOCUMENTATION = '''
name: fleet_record
type: notification
short_description: Notes what a run does
description: Notes each event in the file that FLEET_RECORD names.
'''


class CallbackModule(CallbackBase):
    """The notes."""

    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = 'notification'
    CALLBACK_NAME = 'fleet_record'
    CALLBACK_NEEDS_ENABLED = True

    def _note(self, event, **more):
        with open(os.environ['FLEET_RECORD'], 'a', encoding='utf-8') as stream:
            stream.write(json.dumps(dict(more, event=event, time=round(time.time(), 2)), default=str) + '\n')

    def _result(self, event, result):
        self._note(event, host=result._host.get_name(), task=result._task.get_name(), action=result._task.action,
                   result=result._result)

    def v2_playbook_on_play_start(self, play):
        self._note('play', play=play.get_name(), hosts=list(play.hosts) if isinstance(play.hosts, list) else play.hosts)

    def v2_runner_on_start(self, host, task):
        self._note('start', host=host.get_name(), task=task.get_name())

    def v2_runner_on_ok(self, result):
        self._result('ok', result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._result('ignored' if ignore_errors else 'failed', result)

    def v2_runner_on_skipped(self, result):
        self._result('skipped', result)

    def v2_runner_on_unreachable(self, result):
        self._result('unreachable', result)

    def v2_playbook_on_stats(self, stats):
        self._note('stats', hosts=dict((host, stats.summarize(host)) for host in stats.processed))
