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
      - The SDR source file, configuration script or image; with I(state=restored) the backup. Needed unless I(entry)
        has it.
      - A path on the controller, as for M(ansible.builtin.copy), unless I(remote_src=true). It is on the target for
        the time of the task alone, in a directory of the user who runs it.
    type: path
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
  entry:
    description:
      - I(src), I(boards), I(files) and I(sha256) in one, as C(sdr_rollout_inputs) has them for a board. What else is in
        it is passed over.
    type: dict
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
  ledger:
    description:
      - The directory of a rollout's files on the controller. The host is opened there before the update begins,
        and the update does not begin (I(held)) when another host of the rollout has failed.
      - With a plan, a failure holds the others at once, and it is noted that nothing is to be done (C(noted)).
      - The role C(tarvek.sdr.sdr_rollout) sets it.
    type: path
  refuse_drift:
    description: Whether a plan that finds the version of the input with other bytes fails; an update is not held up.
    type: bool
    default: false
  contents:
    description:
      - The controller's files by their plain names, in Base64. The controller sets it; they come with the task
        itself, which saves a connection for each of them.
    type: dict
  executable:
    description: The C(tarvekctl) of the target.
    type: path
    default: /usr/sbin/tarvekctl
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
held:
  description: The update was not begun, since another host of the rollout has failed; its name.
  returned: when it was held
  type: str
'''

import base64
import hashlib
import os
import shutil
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.text.converters import to_native
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import (
    COMMON_ARGUMENTS, DONE, Tarvekctl, translate)

ARGUMENTS = dict(
    COMMON_ARGUMENTS,
    src=dict(type='path'),
    boards=dict(type='path'),
    files=dict(type='list', elements='path', default=[]),
    sha256=dict(type='dict', default={}),
    remote_src=dict(type='bool', default=False),
    force=dict(type='bool', default=False),
    state=dict(type='str', choices=['programmed', 'restored'], default='programmed'),
    ledger=dict(type='path'),
    refuse_drift=dict(type='bool', default=False),
    entry=dict(type='dict'),
    contents=dict(type='dict', no_log=True),  # neither secret nor to be read by people
)


def sum_of(path):
    """The SHA-256 of a file."""
    digest = hashlib.sha256()
    with open(path, 'rb') as stream:
        for block in iter(lambda: stream.read(65536), b''):
            digest.update(block)
    return digest.hexdigest()


def wrong_sums(folder, sums):
    """A complaint for each file in the folder that is not as its checksum has it."""
    complaints = []
    for name, wanted in sorted(sums.items()):
        try:
            found = sum_of(os.path.join(folder, os.path.basename(name)))
        except (IOError, OSError) as error:
            complaints.append('%s cannot be read: %s' % (name, error.strerror))
            continue
        if found != str(wanted).lower():
            complaints.append('%s has the SHA-256 %s instead of %s' % (name, found, wanted))
    return complaints


def options_of(params):
    """The options of plan, update and restore."""
    options = []
    if params['boards']:
        options += ['--boards', params['boards']]
    if params['force'] and params['state'] == 'programmed':
        options.append('--force')
    return options


def plan(tarvekctl, params):
    """What would be done."""
    mode = ['--restore'] if params['state'] == 'restored' else []
    return tarvekctl.run('plan', params['src'], *(mode + options_of(params)))


def carry_out(tarvekctl, params):
    """Does it in a run of its own, which a lost connection does not end, and waits for that."""
    verb = 'restore' if params['state'] == 'restored' else 'update'
    result = tarvekctl.run(verb, params['src'], '--detach', *options_of(params))
    if result['status'] == DONE and result['run']:
        return tarvekctl.run('wait', result['run'])
    return result


def unpack(contents, folder):
    """Writes the files that came with the task into a folder. Returns their paths by their names."""
    places = {}
    for name, content in contents.items():
        places[name] = os.path.join(folder, os.path.basename(name))
        with open(places[name], 'wb') as stream:
            stream.write(base64.b64decode(content))
    return places


def without_folder(value, folder):
    """A value with a folder's path taken out of every text in it: what is told of copies is meant of the files."""
    if isinstance(value, dict):
        return dict((key, without_folder(item, folder)) for key, item in value.items())
    if isinstance(value, list):
        return [without_folder(item, folder) for item in value]
    return value.replace(os.path.join(folder, ''), '') if isinstance(value, type(folder)) else value


def refusal(complaint, remedy):
    """The answer when nothing was begun."""
    return dict(failed=True, msg='%s. Nothing was changed.' % complaint, status=None, outcome='refused',
                in_service='previous',
                message=dict(what=complaint + '.', state='Nothing was changed.', remedy=remedy))


def do_task(module, params):
    """Does what the task asks for. Returns the answer."""
    complaints = wrong_sums(os.path.dirname(params['src']), params['sha256'])
    if complaints:
        return refusal(to_native('; '.join(complaints)), 'Get the right files, or correct their checksums.')
    tarvekctl = Tarvekctl(module)
    if module.check_mode:
        result = plan(tarvekctl, params)
        changed = result['status'] == DONE
    else:
        result = carry_out(tarvekctl, params)
        changed = bool(result['changed'])
    answer = translate(result, changed)
    if module._diff and result.get('difference_text'):  # pylint: disable=protected-access
        answer['diff'] = dict(prepared=result['difference_text'])
    return answer


def do_task_with_copies(module, params):
    """The same with files that came with the task, and go with it."""
    folder = None
    try:
        folder = tempfile.mkdtemp(prefix='sdr-', dir=module.tmpdir)
        places = unpack(params['contents'], folder)
    except (IOError, OSError) as error:
        answer = refusal('%s cannot be written: %s' % (folder or 'A temporary directory', to_native(error.strerror)),
                         'Make room there.')
    else:
        for name in ('src', 'boards'):
            params[name] = params[name] and places[params[name]]
        answer = without_folder(do_task(module, params), folder)
    finally:
        if folder:
            shutil.rmtree(folder, ignore_errors=True)
    return answer


def main():
    """The module."""
    module = AnsibleModule(argument_spec=ARGUMENTS, supports_check_mode=True)
    params = module.params
    if not params['src']:
        module.fail_json(msg='src is missing')  # the controller has it out of an entry
    if params['contents'] is not None:
        answer = do_task_with_copies(module, params)
    else:
        for name in ('src', 'boards'):  # whole paths, which are no options
            params[name] = params[name] and os.path.abspath(params[name])
        answer = do_task(module, params)
    if answer.pop('failed', False):
        module.fail_json(**answer)
    module.exit_json(**answer)


if __name__ == '__main__':
    main()
