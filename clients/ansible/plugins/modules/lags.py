# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: lags
short_description: Port channels of a switch
description: Brings the section C(lags) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: Port channels by number, each with the list of its ports.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set lags
  tarvexia.switch.lags:
    config:
      2: [12, 13]
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
