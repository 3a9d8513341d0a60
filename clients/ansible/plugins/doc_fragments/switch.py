"""What the documents of the modules share."""


class ModuleDocFragment:
    DOCUMENTATION = r"""
requirements: [python3-requests]
options: {}
notes:
  - Runs on the controller. The host's switch is C(switch_url) or C(ansible_host); C(ansible_user),
    C(ansible_password), C(switch_tls) (C(pin), C(verify) or a file of authorities) and
    C(switch_timeout) are variables of the host. Set C(gather_facts) to false.
  - The tasks of a play share one session a host. The callback C(tarvexia.switch.end_sessions)
    ends it with the play; otherwise it lives until it has been idle for five minutes.
"""

    SECTION = r"""
options:
  state:
    description:
      - C(merged) adds and changes what is named, and leaves the rest alone.
      - C(replaced) also removes what a named thing has too much, such as members and addresses.
      - C(overridden) also removes what is not named, as far as the API lists it.
      - C(deleted) removes what is named.
    type: str
    choices: [merged, replaced, overridden, deleted]
    default: merged
"""
