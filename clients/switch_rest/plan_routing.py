"""What VLAN routing interfaces and BGP need."""

from collections.abc import Iterator
from ipaddress import ip_network

from switch_rest import desired, resources
from switch_rest.checks import ABSENT
from switch_rest.plan_addresses import address_steps
from switch_rest.session import Value, path_of
from switch_rest.steps import Phase, Scope, Step, add, on_or_off, put, remove
from switch_rest.view import View


def vlan_interface_steps(
    view: View, wanted: dict[int, desired.Addresses | None] | None, scope: Scope
) -> Iterator[Step]:
    if wanted is None:
        return
    going = {vlan for vlan, addresses in wanted.items() if addresses is None}
    if scope.prune:
        going |= set(view.vlan_interfaces()) - set(wanted)
    for vlan in sorted(going.intersection(view.vlan_interfaces())):
        place = f"vlan interface {vlan}"
        yield remove(Phase.ROUTE_REMOVE, place, "/routing/vlanRtrIf", vlanId=vlan)
    for vlan, addresses in wanted.items():
        if addresses is None:
            continue
        held = view.vlan_interfaces().get(vlan)
        place = f"vlan interface {vlan}"
        if held is None:
            yield add(Phase.ROUTE_CREATE, place, "/routing/vlanRtrIf", vlanId=vlan)
        number = f"{{vlan {vlan}}}" if held is None else str(held.logical_id)
        path = f"/routing/vlanRtrIf/{number}/ip"
        there = resources.HeldAddresses() if held is None else held.addresses
        yield from address_steps(place, path, there, addresses, scope)


_BGP_PATHS = {
    "local_as": "localAS",
    "router_id": "routerId",
    "hold_time": "holdTime",
    "keep_alive_time": "keepAliveTime",
    "local_preference": "localPref",
    "log_neighbor_changes": "logNeighborChanges",
}


def as_read(number: int) -> int:
    """An AS number as the API reads numbers: those above 2147483647 go as the negative number with
    the same 32 bits, or they would be cut to that."""
    return number - resources.WORD if number >= resources.WORD // 2 else number


def bgp_steps(view: View, wanted: desired.Bgp | None) -> Iterator[Step]:
    if wanted is None:
        return
    for name, value in wanted.settings.items():
        held = view.bgp()[name]
        if held != value:
            sent = int(value) if isinstance(value, bool) else value
            if name == "local_as":
                sent = as_read(int(value))
            path = f"/bgp/{_BGP_PATHS[name]}"
            yield put(Phase.BGP, f"bgp {name}", (held, value), path, sent)
    for address, neighbor in wanted.neighbors.items():
        yield from _neighbor(view, address, neighbor)
    for network, route_map in wanted.networks.items():
        held_network = ip_network(network)
        values: dict[str, Value] = {
            "addr": str(held_network.network_address),
            "pfxLen": held_network.prefixlen,
        }
        place, path = f"bgp network {network}", "/bgp/originatedNetwork"
        if route_map is not None:
            values["routeMap"] = route_map
        yield _unseen(place, path, route_map, values, None if route_map is None else values)
    for (family, protocol), one in wanted.redistribute.items():
        place = f"bgp redistribute {family} {protocol}"
        path = path_of(f"/bgp/{family}/redistribution/{{protocol}}", protocol=protocol)
        sent_values = None if one is None else _redistribution_values(one)
        yield _unseen(place, path, "present", {}, sent_values)


def _unseen(
    place: str,
    path: str,
    after: str | None,
    to_remove: dict[str, Value],
    to_add: dict[str, Value] | None,
) -> Step:
    phase, before = Phase.BGP_ROUTES, "not told"
    if to_add is None:
        return Step(phase, place, before, ABSENT, "DELETE", path, to_remove, unseen=True)
    return Step(phase, place, before, str(after), "POST", path, to_add, unseen=True)


def _redistribution_values(one: desired.Redistribution) -> dict[str, Value]:
    values: dict[str, Value] = {desired.OSPF_MATCHES[name]: 1 for name in one.match}
    if one.metric is not None:
        values["metric"] = one.metric
    if one.route_map is not None:
        values["routeMap"] = one.route_map
    return values


def _neighbor(view: View, address: str, wanted: desired.Neighbor) -> Iterator[Step]:
    path, place = resources.neighbor_path(address, wanted.scope), f"bgp neighbor {address}"
    held = view.neighbor(address, wanted.scope)
    if wanted.asn is not None and (held is None or held.asn != wanted.asn):
        before = ABSENT if held is None else f"as {held.asn}"
        after, phase = f"as {wanted.asn}", Phase.BGP_NEIGHBOR
        yield Step(phase, place, before, after, "POST", path, {"asn": as_read(wanted.asn)})
    if wanted.next_hop_self is not None:
        before = "not told" if held is None else on_or_off(held.next_hop_self)
        after = on_or_off(wanted.next_hop_self)
        if before != after:
            yield put(
                Phase.BGP_NEIGHBOR_SETTING,
                f"{place} next_hop_self",
                (before, after),
                f"{path}/nextHopSelfMode",
                int(wanted.next_hop_self),
            )
    if wanted.update_source is not None:
        kind, number = wanted.update_source
        before = "none" if held is None else held.update_source
        if before == "none" or before != _source_name(view, kind, number):
            values: dict[str, Value] = {"type": 1 if kind == "vlan" else 2, "value": number}
            phase, source = Phase.BGP_NEIGHBOR_SETTING, f"{path}/updateSource"
            after = f"{kind} {number}"
            yield Step(phase, f"{place} update_source", before, after, "PUT", source, values)
    if wanted.activate is not None:
        before = "not told" if held is None else on_or_off(held.activate)
        after = on_or_off(wanted.activate)
        if before != after:
            change, value = (before, after), int(wanted.activate)
            activate = f"{path}/activate"
            yield put(Phase.BGP_ACTIVATE, f"{place} activate", change, activate, value)


def _source_name(view: View, kind: str, number: int) -> str | None:
    """The name under which the switch tells an update source."""
    if kind == "vlan":
        held = view.vlan_interfaces().get(number)
        if held is None:
            return None
        number = held.number
    return view.interface(number).name
