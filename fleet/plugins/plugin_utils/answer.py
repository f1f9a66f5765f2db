"""What of a module's answer is taken.

A target that is not what it seems can answer anything, also what Ansible itself acts upon: facts that override the
inventory's variables, statistics, results of loops. So an answer is taken by its known parts, each in its known shape.
"""
FLAGS = ('changed', 'failed', 'skipped', 'differs')
NUMBERS = ('status', 'rc')
TEXTS = ('msg', 'outcome', 'in_service', 'version_before', 'version_after', 'version_input', 'result_code', 'run',
         'log', 'backup', 'board', 'run_before', 'content', 'sha256', 'exception', 'module_stdout', 'module_stderr')
OBJECTS = dict(message=('what', 'state', 'remedy'), error=('number', 'text'), diff=('prepared',))

# The facts that are taken: the module's own, and which Python Ansible itself has found.
FACTS = ('tarvek_sdr', 'discovered_interpreter_python')

PLAN = 'plan'


def _is_number(value):
    return isinstance(value, int) and not isinstance(value, bool)


def _object(value, parts):
    return dict((part, value[part]) for part in parts if isinstance(value.get(part), (str, int)))


def taken(answer):
    """The known parts of an answer, as far as they have their shapes. A flag of another shape is set."""
    found = dict((key, answer[key] if answer[key] is None else bool(answer[key])) for key in FLAGS if key in answer)
    found.update((key, answer[key]) for key in NUMBERS if key in answer
                 and (answer[key] is None or _is_number(answer[key])))
    found.update((key, answer[key]) for key in TEXTS if key in answer
                 and (answer[key] is None or isinstance(answer[key], str)))
    found.update((key, _object(answer[key], parts)) for key, parts in OBJECTS.items()
                 if isinstance(answer.get(key), dict))
    if isinstance(answer.get('ansible_facts'), dict):
        facts = answer['ansible_facts']
        found['ansible_facts'] = dict((name, facts[name]) for name in FACTS if name in facts)
    if PLAN in answer:
        found[PLAN] = taken(answer[PLAN]) if isinstance(answer[PLAN], dict) else None
    if isinstance(answer.get('warnings'), list):
        found['warnings'] = [text for text in answer['warnings'] if isinstance(text, str)]
    return found
