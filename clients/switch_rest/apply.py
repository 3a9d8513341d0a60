"""Making the steps of a plan."""

import re
from collections.abc import Callable
from dataclasses import dataclass

from switch_rest.errors import AlreadySet, BadAnswer, NotPossible
from switch_rest.steps import Phase, Step
from switch_rest.resources import vlan_interface, vlan_interface_ids
from switch_rest.session import Switch
from switch_rest.view import View

_NUMBER = re.compile(r"\{(.*)\}")


@dataclass(frozen=True)
class Done:
    step: Step
    changed: bool


def apply(
    view: View, steps: list[Step], tell: Callable[[Done], None] = lambda done: None
) -> list[Done]:
    """Makes the steps one after the other. The first that is refused ends it with its error; what
    was done stays, and the next plan starts from there."""
    switch = view.switch
    numbers: dict[str, int] = {}
    known = (
        {one.logical_id for one in view.vlan_interfaces().values()}
        if any(step.phase == Phase.ROUTE_CREATE and step.method == "POST" for step in steps)
        else set()
    )
    made = []
    for step in steps:
        path = step.path
        if needed := _NUMBER.search(path):
            if needed[1].startswith("vlan ") and needed[1] not in numbers:
                numbers |= _new_vlan_interfaces(switch, known)
            path = path.replace(needed[0], str(numbers[needed[1]]))
        made.append(Done(step, _make(switch, step, path, numbers)))
        tell(made[-1])
    return made


def _make(switch: Switch, step: Step, path: str, numbers: dict[str, int]) -> bool:
    """Whether it changed anything."""
    try:
        message, _ = switch.ask(step.method, path, step.values)
    except AlreadySet:
        return False
    except NotPossible:
        if step.unseen and step.method == "DELETE":
            return False
        raise
    if step.phase == Phase.POLICY_CREATE:
        found = re.search(r"Policy ID is (\d+)", message)
        if not found:
            raise BadAnswer(f"no policy number in the answer: {message}")
        numbers[step.place] = int(found[1])
    # A redistribution is never answered with "set already": that it was told again is no change.
    return not (step.unseen and "/redistribution/" in path and step.method == "POST")


def _new_vlan_interfaces(switch: Switch, known: set[int]) -> dict[str, int]:
    """The numbers of the VLAN routing interfaces that were not there before."""
    new = [number for number in vlan_interface_ids(switch) if number not in known]
    return {f"vlan {vlan_interface(switch, number).vlan}": number for number in new}
