# The work is done by the action plugin of the same name.

DOCUMENTATION = r"""
module: request
short_description: Any request to a switch
version_added: 1.0.0
description:
  - Sends one request of the API. All but C(GET) count as a change unless the switch answers that the
    same setting is already set; they are not sent in check mode.
author: The maintainers of the RESTful API engine (@tarvexia)
options:
  method:
    description: The method.
    type: str
    choices: [GET, POST, PUT, DELETE]
    default: GET
  path:
    description: The path.
    type: str
    required: true
  values:
    description: The variables of the request.
    type: dict
    default: {}
extends_documentation_fragment: [tarvexia.switch.switch]
"""

EXAMPLES = r"""
- name: Save a configuration to a server
  tarvexia.switch.request:
    method: POST
    path: /upload/config
    values: {url: "http://10.0.0.9/leaf1.cfg", cfg: 4, sn: 1}
"""

RETURN = r"""
requests:
  description: How many requests were sent to the switch.
  type: int
  returned: always
message:
  description: The switch's message.
  type: str
  returned: success
data:
  description: The data of the answer.
  type: dict
  returned: success
"""
