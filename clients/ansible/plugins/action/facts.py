"""Facts of a switch."""

from collections.abc import Callable
from typing import Any

from ansible_collections.tarvexia.switch.plugins.plugin_utils.switch_action import SwitchAction
from switch_rest import Switch, resources
from switch_rest.plain import plain


def system(switch: Switch) -> dict[str, Any]:
    return {
        **switch.get("/base")["infomation"],
        **switch.get("/base/idname")["idname"],
        **switch.get("/system")["infomation"],
    }


SUBSETS: dict[str, Callable[[Switch], Any]] = {
    "system": system,
    "vlans": lambda switch: [resources.vlan(switch, n) for n in resources.vlan_ids(switch)],
    "interfaces": lambda switch: [
        resources.interface(switch, n) for n in resources.interface_numbers(switch)
    ],
    "lags": resources.lags,
    "vlan_interfaces": resources.vlan_interfaces,
    "policies": resources.policies,
    "boxes": lambda switch: dict(resources.boxes(switch)),
}


class ActionModule(SwitchAction):
    arguments = {
        "gather_subset": {
            "type": "list",
            "elements": "str",
            "choices": list(SUBSETS),
            "default": ["system"],
        }
    }

    def work(self, switch: Switch, arguments: dict[str, Any], check_mode: bool) -> dict[str, Any]:
        facts = {name: plain(SUBSETS[name](switch)) for name in arguments["gather_subset"]}
        return {"ansible_facts": {"switch": facts}}
