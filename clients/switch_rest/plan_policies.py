"""What policies need."""

from collections.abc import Iterable, Iterator
from typing import Any

from switch_rest import desired, resources
from switch_rest.checks import ABSENT
from switch_rest.session import path_of
from switch_rest.steps import Phase, Scope, Step, add, remove
from switch_rest.view import View

_POLICY_TYPE_TEXTS = {
    "openflow": "OpenFlow policy",
    "gen": "Gen (IPv6) policy",
    "egress": "Egress policy",
}
# What the answer calls the variables that make a policy, and what it tells when they are not given.
_MATCHES = {
    "matchVlanId": ("vlan_id", 0),
    "matchVlanPrio": ("vlan_priority", 0),
    "matchSrcMac": ("src_mac", "00:00:00:00:00:00"),
    "matchDstMac": ("dst_mac", "00:00:00:00:00:00"),
    "matchSrcIp": ("src_ip", "0.0.0.0"),
    "matchSrcIpMask": ("src_ip_mask", "0.0.0.0"),
    "matchDstIp": ("dst_ip", "0.0.0.0"),
    "matchDstIpMask": ("dst_ip_mask", "0.0.0.0"),
}
_ACTIONS = {
    "actionDrop": ("drop", None),
    "actionNewVlanPrio": ("rewrite_priority", "vlan_priority"),
    "actionNewSrcMac": ("rewrite_src_mac", "src_mac"),
    "actionNewDstMac": ("rewrite_dst_mac", "dst_mac"),
    "actionRedirPort": ("redirect_another_port", "redirect_if_num"),
    "actionSendToCpuRule": ("redirect_cpu", None),
}


def _comparable(value: Any) -> Any:
    """MAC addresses are told without leading zeros."""
    is_mac = isinstance(value, str) and value.count(":") == 5
    return ":".join(p.zfill(2) for p in value.lower().split(":")) if is_mac else value


def is_policy(wanted: desired.Policy, held: resources.Policy) -> bool:
    """Whether the two say the same."""
    if (held.type, held.priority) != (_POLICY_TYPE_TEXTS[wanted.type], wanted.priority):
        return False
    for variable, (name, otherwise) in _MATCHES.items():
        if _comparable(held.match[name]) != wanted.match.get(variable, otherwise):
            return False
    if held.actions != {_ACTIONS[variable][0] for variable in wanted.action}:
        return False
    if held.rule != wanted.action.get("actionSendToCpuRule", 0):
        return False
    return all(
        _comparable(held.values[told]) == wanted.action[variable]
        for variable, (_, told) in _ACTIONS.items()
        if told and variable in wanted.action
    )


def policy_steps(view: View, wanted: list[desired.Policy] | None, scope: Scope) -> Iterator[Step]:
    if wanted is None:
        return
    left = list(view.policies())
    for index, policy in enumerate(wanted):
        held = next((one for one in left if is_policy(policy, one)), None)
        if held:
            left.remove(held)
        if policy.absent:
            if held:
                yield _policy_remove(held)
            continue
        place = f"policy {index + 1}" if held is None else f"policy id {held.id}"
        if held is None:
            number = desired.POLICY_TYPES[policy.type]
            values = {"policyType": number, "policyPrio": policy.priority}
            values |= policy.match | policy.action  # type: ignore[arg-type]
            yield add(Phase.POLICY_CREATE, place, "/tcam/policy", **values)
        yield from _policy_ports(place, policy.ports, held)
    if scope.prune:
        yield from map(_policy_remove, left)


def _policy_remove(held: resources.Policy) -> Step:
    path = path_of("/tcam/policy/{id}", id=held.id)
    return remove(Phase.POLICY_REMOVE, f"policy id {held.id}", path)


def _policy_ports(
    place: str, ports: Iterable[int], held: resources.Policy | None
) -> Iterator[Step]:
    number = f"{{{place}}}" if held is None else str(held.id)
    for port in ports:
        before = ABSENT if held is None else "not told"
        yield Step(
            Phase.POLICY_PORT,
            f"{place} port {port}",
            before,
            "present",
            "POST",
            f"/tcam/policy/{number}/port/{port}",
            {},
            unseen=held is not None,
        )
