"""Documentation of the option that all modules share that run on a target."""


class ModuleDocFragment:
    """The fragment."""

    DOCUMENTATION = r'''
options:
  executable:
    description: The C(tarvekctl) of the target.
    type: path
    default: /usr/sbin/tarvekctl
'''
