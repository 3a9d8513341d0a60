# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: vlans
short_description: VLANs of a switch
description: Brings the section C(vlans) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: VLANs by number; each has an optional name.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set vlans
  tarvexia.switch.vlans:
    config:
      10: {name: lab}
      20: {name: storage}
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
