# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: logging
short_description: Logging of a switch
description: Brings the section C(logging) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: cli, console, console_severity, syslog, syslog_port and hosts by address, each with port and severity.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set logging
  tarvexia.switch.logging:
    config:
      syslog: true
      hosts:
        10.0.0.9: {severity: info}
"""

RETURN = r"""
changes:
  description: What changed, or in check mode would.
  type: list
  elements: str
  returned: success
requests:
  description: How many requests were sent to the switch.
  type: int
  returned: always
"""
