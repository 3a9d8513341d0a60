"""Any request to a switch."""

from typing import Any

from ansible_collections.tarvexia.switch.plugins.plugin_utils.switch_action import SwitchAction
from switch_rest import AlreadySet, Switch


class ActionModule(SwitchAction):
    arguments = {
        "method": {"type": "str", "choices": ["GET", "POST", "PUT", "DELETE"], "default": "GET"},
        "path": {"type": "str", "required": True},
        "values": {"type": "dict", "default": {}},
    }

    def work(self, switch: Switch, arguments: dict[str, Any], check_mode: bool) -> dict[str, Any]:
        changes = arguments["method"] != "GET"
        if changes and check_mode:
            return {"changed": True}
        try:
            message, data = switch.ask(arguments["method"], arguments["path"], arguments["values"])
        except AlreadySet as error:
            return {"changed": False, "message": error.message, "data": {}}
        return {"changed": changes, "message": message, "data": data}
