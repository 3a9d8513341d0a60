"""What the actions share: the session with the host's switch, and the way from a module's
arguments to steps."""

import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

from ansible.plugins.action import ActionBase

try:
    import switch_rest
except ImportError:  # in the tree the library lives beside the collection
    sys.path.insert(0, str(Path(__file__).resolve().parents[3]))
    import switch_rest

from switch_rest.apply import apply
from switch_rest.checks import ConfigError
from switch_rest.desired import parse
from switch_rest.plan import plan
from switch_rest.steps import Scope, Step
from switch_rest.view import View

SCOPES = {
    "merged": Scope(),
    "replaced": Scope(replace=True),
    "overridden": Scope(replace=True, prune=True),
    "deleted": Scope(),
}
Result = dict[str, Any]


class SwitchAction(ActionBase):
    """An action that needs no connection of Ansible's: it runs on the controller."""

    TRANSFERS_FILES = False
    _requires_connection = False
    _supports_check_mode = True
    _supports_diff = True

    arguments: dict[str, Any] = {}

    def work(self, switch: switch_rest.Switch, arguments: Result, check_mode: bool) -> Result:
        raise NotImplementedError

    def run(self, tmp: Any = None, task_vars: Result | None = None) -> Result:
        result: Result = super().run(tmp, task_vars)
        _, arguments = self.validate_argument_spec(self.arguments)
        variables = task_vars or {}

        def value(name: str, otherwise: Any) -> Any:
            return self._templar.template(variables.get(name, otherwise))

        name = value("switch_url", value("ansible_host", variables.get("inventory_hostname")))
        user = str(value("ansible_user", "admin"))
        tls = str(value("switch_tls", "pin"))
        trust = switch_rest.Trust(
            authorities=None if tls in ("pin", "verify") else tls,
            first_use=tls == "pin",
            tell=self._display.warning,
        )
        try:
            with switch_rest.connect(
                str(name),
                user,
                lambda: str(value("ansible_password", "")),
                keys=switch_rest.KeyStore(),
                trust=trust,
                timeout=float(value("switch_timeout", 30)),
            ) as switch:
                result |= {"switch": {"url": switch.url, "user": user}}
                try:
                    result |= self.work(switch, arguments, self._task.check_mode)
                finally:
                    result["requests"] = switch.requests_sent
        except switch_rest.NoConnection as error:
            result |= {"unreachable": True, "msg": str(error)}
        except (switch_rest.SwitchError, ConfigError, ValueError) as error:
            result |= {"failed": True, "msg": str(error)}
        return result


class SectionAction(SwitchAction):
    """Brings one section of the switch to what the arguments say."""

    section = ""
    arguments = {
        "config": {"type": "raw", "required": True},
        "state": {"type": "str", "choices": list(SCOPES), "default": "merged"},
    }

    def work(self, switch: switch_rest.Switch, arguments: Result, check_mode: bool) -> Result:
        state = arguments["state"]
        wanted = parse({self.section: arguments["config"]}, state != "deleted")
        view = View(switch)
        steps = plan(view, wanted, SCOPES[state])
        if check_mode:
            changed = [step for step in steps if not step.unseen]
        else:
            changed = [done.step for done in apply(view, steps) if done.changed]
        return {
            "changed": bool(changed),
            "changes": [f"{one.place}: {one.before} -> {one.after}" for one in changed],
            "diff": {
                "before": lines(changed, lambda step: step.before),
                "after": lines(changed, lambda step: step.after),
            },
        }


def lines(steps: list[Step], told: Callable[[Step], str]) -> str:
    return "".join(f"{step.place}: {told(step)}\n" for step in steps)
