"""Saves on a target what its BMC serves."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import base64
import hashlib
import os
import shutil
import tempfile

from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import DONE, Tarvekctl, translate


def save(module, dest, options=(), return_content=False):
    """Saves to a file. Returns the answer, with what is in the file if that is wanted."""
    result = Tarvekctl(module).run('backup', dest, *options)
    answer = translate(result, False)
    if not answer.get('failed') and result['status'] == DONE:
        with open(dest, 'rb') as stream:
            data = stream.read()
        answer['sha256'] = hashlib.sha256(data).hexdigest()
        if return_content:
            answer['content'] = base64.b64encode(data).decode('ascii')
    return answer


def save_for_the_controller(module):
    """Saves to a file that goes with the task. Returns the answer with what was in it."""
    folder = tempfile.mkdtemp(prefix='sdr-', dir=module.tmpdir)
    try:
        return dict(save(module, os.path.join(folder, 'fetched.BAK'), return_content=True), backup=None)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
