"""What is done on a target with an SDR set or a backup: checked, planned with, programmed."""
from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import base64
import hashlib
import os
import shutil
import tempfile

from ansible.module_utils.common.text.converters import to_native
from ansible_collections.tarvek.sdr.plugins.module_utils.tarvekctl import (
    DONE, Tarvekctl, translate, without_result)

SET_ARGUMENTS = dict(
    src=dict(type='path'),
    boards=dict(type='path'),
    files=dict(type='list', elements='path', default=[]),
    sha256=dict(type='dict', default={}),
    force=dict(type='bool', default=False),
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
    return translate(dict(without_result('previous', complaint + '.', 'Nothing was changed.', remedy),
                          outcome='refused'), False)


def do_with_files(module, params, planning):
    """Plans, or does it, with files that are on the target. Returns the answer."""
    complaints = wrong_sums(os.path.dirname(params['src']), params['sha256'])
    if complaints:
        return refusal(to_native('; '.join(complaints)), 'Get the right files, or correct their checksums.')
    tarvekctl = Tarvekctl(module)
    if planning:
        result = plan(tarvekctl, params)
        changed = result['status'] == DONE
    else:
        result = carry_out(tarvekctl, params)
        changed = bool(result['changed'])
    answer = translate(result, changed)
    if module._diff and result.get('difference_text'):  # pylint: disable=protected-access
        answer['diff'] = dict(prepared=result['difference_text'])
    return answer


def do_with_copies(module, params, planning):
    """The same with files that came with the task, and go with it."""
    folder = None
    try:
        folder = tempfile.mkdtemp(prefix='sdr-', dir=module.tmpdir)
        places = unpack(params['contents'], folder)
    except (IOError, OSError) as error:
        answer = refusal('%s cannot be written: %s' % (folder or 'A temporary directory', to_native(error.strerror)),
                         'Make room there.')
    else:
        there = dict(params, **dict((name, params[name] and places[params[name]]) for name in ('src', 'boards')))
        answer = without_folder(do_with_files(module, there, planning), folder)
    finally:
        if folder:
            shutil.rmtree(folder, ignore_errors=True)
    return answer


def do_task(module, params, planning):
    """What a task asks for: a plan, or to do it."""
    if params['contents'] is not None:
        return do_with_copies(module, params, planning)
    paths = dict((name, params[name] and os.path.abspath(params[name])) for name in ('src', 'boards'))  # no options
    return do_with_files(module, dict(params, **paths), planning)
