# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: facts
short_description: Facts of a switch
version_added: 1.0.0
description:
  - Reads a switch into the fact C(switch).
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  gather_subset:
    description: What to read.
    type: list
    elements: str
    choices: [system, vlans, interfaces, lags, vlan_interfaces, policies, boxes]
    default: [system]
extends_documentation_fragment: [tarvexia.switch.switch]
"""

EXAMPLES = r"""
- name: Read the ports
  tarvexia.switch.facts:
    gather_subset: [system, interfaces]
"""

RETURN = r"""
requests:
  description: How many requests were sent to the switch.
  type: int
  returned: always
ansible_facts:
  description: The fact C(switch), a record with one member for each subset.
  type: dict
  returned: success
"""
