"""What VLANs, ports and port channels need."""

from collections.abc import Iterator
from typing import Any

from switch_rest import desired
from switch_rest.checks import ABSENT
from switch_rest.plan_addresses import address_steps
from switch_rest.session import Value, path_of
from switch_rest.steps import Phase, Scope, Step, add, on_or_off, put, remove
from switch_rest.view import View


def vlan_steps(
    view: View, wanted: dict[int, desired.Vlan | None] | None, scope: Scope
) -> Iterator[Step]:
    if wanted is None:
        return
    for number, vlan in wanted.items():
        place, path = f"vlan {number}", path_of("/vlans/{vlan}", vlan=number)
        exists = number in view.vlan_ids()
        if vlan is None:
            if exists:
                yield remove(Phase.VLAN_REMOVE, place, path)
            continue
        if not exists:
            yield add(Phase.VLAN_CREATE, place, path)
        if vlan.name is not None:
            name = view.vlan(number).name if exists else ""
            if name != vlan.name:
                change = (name, vlan.name)
                yield put(Phase.VLAN_NAME, f"{place} name", change, f"{path}/name", vlan.name)
    for number in view.vlan_ids() if scope.prune else ():
        # VLAN 1 always is, and dynamic ones are the switch's own.
        if number != 1 and number not in wanted and view.vlan(number).type == "static":
            path = path_of("/vlans/{vlan}", vlan=number)
            yield remove(Phase.VLAN_REMOVE, f"vlan {number}", path)


def interface_steps(
    view: View, wanted: dict[int, desired.Interface], scope: Scope
) -> Iterator[Step]:
    for number, interface in wanted.items():
        yield from _port_settings(view, number, interface)
        yield from _memberships(view, number, interface, scope)
        path = path_of("/routing/if/{number}", number=number)
        place = f"interface {number}"
        if interface.routing is not None:
            on = number in view.routed_ports()
            if on != interface.routing:
                phase = Phase.ROUTE_CREATE if interface.routing else Phase.ROUTE_REMOVE
                change = (on_or_off(on), on_or_off(interface.routing))
                mode = int(interface.routing)
                yield put(phase, f"{place} routing", change, f"{path}/adminMode", mode)
        if interface.addresses != desired.Addresses():
            held = view.interface(number).addresses
            yield from address_steps(place, f"{path}/ip", held, interface.addresses, scope)


def _port_settings(view: View, number: int, interface: desired.Interface) -> Iterator[Step]:
    path, place = path_of("/if/{number}", number=number), f"interface {number}"

    def set_to(phase: Phase, name: str, change: tuple[Any, Any], item: str, value: Value) -> Step:
        return put(phase, f"{place} {name}", change, f"{path}/{item}", value)

    if interface.description is not None:
        change = (view.interface(number).description, interface.description)
        if change[0] != change[1]:
            yield set_to(Phase.PORT, "description", change, "description", interface.description)
    if interface.mtu is not None and view.interface(number).mtu != interface.mtu:
        change_mtu = (view.interface(number).mtu, interface.mtu)
        yield set_to(Phase.PORT, "mtu", change_mtu, "mtuSize", interface.mtu)
    if interface.auto_neg is not None:
        held = view.interface(number).auto_neg
        if (held == "enable") != interface.auto_neg:
            change = (held, on_or_off(interface.auto_neg))
            value = int(interface.auto_neg)
            yield set_to(Phase.PORT, "auto_neg", change, "autoNegMode", value)
    if interface.speed is not None:
        value, told = desired.SPEEDS[interface.speed]
        held = view.interface(number).speed
        if held != told:
            yield set_to(Phase.PORT, "speed", (held, interface.speed), "speed", value)
    if interface.pvid is not None and view.interface(number).pvid != interface.pvid:
        change_pvid = (view.interface(number).pvid, interface.pvid)
        yield set_to(Phase.PVID, "pvid", change_pvid, "pvid", interface.pvid)
    if interface.accept_frame_type is not None:
        change = (view.interface(number).accept_frame_type, interface.accept_frame_type)
        if change[0] != change[1]:
            value = desired.FRAME_TYPES[interface.accept_frame_type]
            name, item = "accept_frame_type", "acceptFrameType"
            yield set_to(Phase.FRAME_TYPE, name, change, item, value)
    if interface.enabled is not None:
        enabled = view.interface(number).admin_state == "enable"
        if enabled != interface.enabled:
            phase = Phase.PORT_UP if interface.enabled else Phase.PORT_DOWN
            change = (on_or_off(enabled), on_or_off(interface.enabled))
            yield set_to(phase, "state", change, "adminState", int(interface.enabled))


def _memberships(
    view: View, number: int, interface: desired.Interface, scope: Scope
) -> Iterator[Step]:
    if interface.vlans is None:
        return
    wanted = dict(interface.vlans)
    if scope.replace:
        wanted |= {vlan: ABSENT for vlan in view.vlans_of(number) if vlan not in wanted}
    for vlan, mode in wanted.items():
        is_new = vlan not in view.vlan_ids()
        held = ABSENT if is_new else view.membership(number, vlan)
        if held == mode:
            continue
        place = f"interface {number} vlan {vlan}"
        path = path_of("/if/{number}/vlan/{vlan}", number=number, vlan=vlan)
        if mode == ABSENT:
            yield remove(Phase.VLAN_LEAVE, place, path)
            continue
        if held == ABSENT:
            yield Step(Phase.VLAN_JOIN, place, held, mode, "POST", path, {})
        # A member of a new VLAN sends untagged; how one of an old VLAN will is not told before.
        if mode == "tagged" or not is_new:
            tagging = f"{path}/taggingMode"
            value = int(mode == "tagged")
            yield put(Phase.VLAN_TAGGING, f"{place} tagging", (held, mode), tagging, value)


def lag_steps(view: View, wanted: dict[int, dict[int, bool]], scope: Scope) -> Iterator[Step]:
    leaving, joining = set(), []
    for number, members in wanted.items():
        held = view.lag(number).members
        leaving |= {(number, port) for port in held if not members.get(port, not scope.replace)}
        joining += [(number, port) for port, stays in members.items() if stays and port not in held]
    for _, port in joining:  # a port is in one at most
        leaving |= {(other.id, port) for other in view.lags() if port in other.members}
    for number, port in sorted(leaving):
        yield remove(Phase.LAG_LEAVE, *_member(number, port))
    for number, port in joining:
        yield add(Phase.LAG_JOIN, *_member(number, port))


def _member(lag: int, port: int) -> tuple[str, str]:
    path = path_of("/lag/{lag}/port/{port}", lag=lag, port=port)
    return f"lag {lag} port {port}", path
