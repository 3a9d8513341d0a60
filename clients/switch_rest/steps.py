"""The steps of a plan: requests, and the phases in which they are safe to make."""

from dataclasses import dataclass
from enum import IntEnum, auto
from typing import Any

from switch_rest.checks import ABSENT
from switch_rest.session import Value


class Phase(IntEnum):
    PORT_DOWN = auto()
    VLAN_CREATE = auto()
    VLAN_NAME = auto()
    LAG_LEAVE = auto()
    LAG_JOIN = auto()
    PORT = auto()
    VLAN_JOIN = auto()
    VLAN_TAGGING = auto()
    PVID = auto()
    FRAME_TYPE = auto()
    VLAN_LEAVE = auto()
    ADDRESS_REMOVE = auto()
    PRIMARY_REMOVE = auto()
    ROUTE_REMOVE = auto()
    ROUTE_CREATE = auto()
    PRIMARY = auto()
    ADDRESS = auto()
    ROUTING = auto()
    BGP = auto()
    BGP_NEIGHBOR = auto()
    BGP_NEIGHBOR_SETTING = auto()
    BGP_ACTIVATE = auto()
    BGP_ROUTES = auto()
    POLICY_CREATE = auto()
    POLICY_PORT = auto()
    POLICY_REMOVE = auto()
    OTHER = auto()
    PORT_UP = auto()
    VLAN_REMOVE = auto()


@dataclass(frozen=True)
class Scope:
    """How far "and nothing else" goes. replace: what the file names holds just what the file says
    (memberships, members, addresses, ports). prune: so do the lists that it names (VLANs, VLAN
    routing interfaces, policies, logging hosts)."""

    replace: bool = False
    prune: bool = False


@dataclass(frozen=True)
class Step:
    """One request. In the path, {vlan 10} stands for a number that an earlier step brings."""

    phase: Phase
    place: str
    before: str
    after: str
    method: str
    path: str
    values: dict[str, Value]
    # The API does not tell what is set: the request is made each time, and where it answers that
    # nothing changed (98, for what is to go 99) that is no change.
    unseen: bool = False


def on_or_off(value: bool) -> str:
    return "enabled" if value else "disabled"


def put(phase: Phase, place: str, change: tuple[Any, Any], path: str, value: Value) -> Step:
    before, after = change
    return Step(phase, place, str(before), str(after), "PUT", path, {"value": value})


def add(phase: Phase, place: str, path: str, **values: Value) -> Step:
    return Step(phase, place, ABSENT, "present", "POST", path, values)


def remove(phase: Phase, place: str, path: str, **values: Value) -> Step:
    return Step(phase, place, "present", ABSENT, "DELETE", path, values)
