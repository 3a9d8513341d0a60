# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: interfaces
short_description: Interfaces of a switch
description: Brings the section C(interfaces) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: Interfaces by number, with description, enabled, mtu, speed, auto_neg, accept_frame_type, pvid, vlans (tagged, untagged or absent by VLAN), routing, ipv4, ipv4_secondary and ipv6.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set interfaces
  tarvexia.switch.interfaces:
    config:
      3: {description: server 1, pvid: 10, vlans: {10: untagged, 20: tagged}}
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
