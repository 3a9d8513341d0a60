# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: bgp
short_description: BGP of a switch
description: Brings the section C(bgp) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: local_as, router_id, hold_time, keep_alive_time, local_preference, log_neighbor_changes, neighbors by address, networks with their route map and redistribute by family and protocol. The API tells neither networks nor redistribution, and cannot remove neighbors.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set bgp
  tarvexia.switch.bgp:
    config:
      local_as: 65001
      neighbors:
        192.0.2.2: {asn: 65002}
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
