# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: vlan_interfaces
short_description: VLAN routing interfaces of a switch
description: Brings the section C(vlan_interfaces) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: Routing interfaces by VLAN, with ipv4, ipv4_secondary and ipv6, each address with its prefix length.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set vlan_interfaces
  tarvexia.switch.vlan_interfaces:
    config:
      10: {ipv4: 192.0.2.1/24}
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
