# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: policies
short_description: TCAM policies of a switch
description: Brings the section C(policies) of a switch to what is described.
version_added: 1.0.0
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  config:
    description: A list of policies, each with type, priority, match, action and ports. A policy is known by all that it says but its ports, which the API does not tell.
    type: raw
    required: true
extends_documentation_fragment: [tarvexia.switch.switch, tarvexia.switch.switch.section]
"""

EXAMPLES = r"""
- name: Set policies
  tarvexia.switch.policies:
    config:
      - {type: openflow, match: {vlan: 10}, action: {drop: true}, ports: [3]}
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
