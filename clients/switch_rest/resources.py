"""What a switch tells, as records: the names are the field's, the numbers are numbers."""

from collections.abc import Iterator
from dataclasses import dataclass, field
from ipaddress import ip_interface
from typing import Any

from switch_rest.errors import Refused
from switch_rest.session import Data, Switch, path_of

WORD = 1 << 32

# The texts of speeds in answers, and their bits a second. 25G and 100G have no text of their own.
SPEED_BITS = {
    "half 10t": 10**7,
    "full 10t": 10**7,
    "half 100tx": 10**8,
    "full 100tx": 10**8,
    "full 100fx": 10**8,
    "full 1000sx": 10**9,
    "full 2P5fx": 25 * 10**8,
    "full 10gsx": 10**10,
    "full 20gsx": 2 * 10**10,
    "full 40gsx": 4 * 10**10,
}


def items(data: Data, name: str) -> list[Data]:
    """A list of the API: its keys are positions, sometimes with gaps."""
    held = data.get(name) or {}
    return [one for one in held.values() if isinstance(one, dict)]


def without_mask_text(address: str) -> str:
    """10.0.0.1/255.255.255.0 as 10.0.0.1/24; IPv6 in its shortest form."""
    return str(ip_interface(address))


@dataclass(frozen=True)
class HeldAddresses:
    ipv4: str | None = None
    ipv4_secondary: tuple[str, ...] = ()
    ipv6: tuple[str, ...] = ()


@dataclass(frozen=True)
class Vlan:
    id: int
    name: str
    type: str
    members: dict[int, bool]  # physical interface: sends tagged frames


@dataclass(frozen=True)
class Interface:
    number: int
    name: str
    description: str
    admin_state: str
    link: str
    speed: str
    pvid: int
    accept_frame_type: str
    auto_neg: str
    duplex: str
    mac: str
    mtu: int
    addresses: HeldAddresses

    @property
    def speed_bits(self) -> int | None:
        return SPEED_BITS.get(self.speed)


@dataclass(frozen=True)
class Lag:
    id: int
    name: str
    members: tuple[int, ...]


@dataclass(frozen=True)
class VlanInterface:
    logical_id: int
    number: int
    name: str
    vlan: int
    addresses: HeldAddresses


@dataclass(frozen=True)
class Neighbor:
    address: str
    scope: int
    asn: int
    activate: bool
    next_hop_self: bool
    update_source: str


@dataclass(frozen=True)
class Policy:
    id: int
    priority: int
    type: str
    rule: int
    match: dict[str, Any]
    actions: frozenset[str]
    values: dict[str, Any] = field(default_factory=dict)


def _addresses(told: Data, primary: str, secondary: str) -> HeldAddresses:
    first = told.get(primary)
    return HeldAddresses(
        without_mask_text(first) if first else None,
        tuple(map(without_mask_text, told.get(secondary, {}).values())),
        tuple(map(without_mask_text, told.get("ipv6_addresses", {}).values())),
    )


def vlan_ids(switch: Switch) -> list[int]:
    return [one["id"] for one in items(switch.get("/vlans"), "vlans")]


def vlan(switch: Switch, number: int) -> Vlan:
    told = switch.get(path_of("/vlans/{vlan}", vlan=number))["vlan"]
    members = {one["ifNum"]: one["isTagging"] == 1 for one in items(told, "interfaces")}
    return Vlan(told["id"], told["name"], told["type"], members)


def interface_numbers(switch: Switch) -> list[int]:
    return [one["ifNum"] for one in items(switch.get("/if"), "interfaces")]


def interface(switch: Switch, number: int) -> Interface:
    told = switch.get(path_of("/if/{number}", number=number))["interface"]
    return Interface(
        told["ifNum"],
        told["interfaceName"],
        "" if told["description"] == "-" else told["description"],
        told["adminState"],
        told["linkState"],
        told["speed"],
        told["pvid"],
        told["acceptFrameType"],
        told["autoNegMode"],
        told["duplexMode"],
        told["MAC_address"],
        told["MTU_size"],
        _addresses(told, "primary_ip_address", "secondary_ip_addresses"),
    )


def counters(switch: Switch, number: int) -> dict[str, int]:
    """The low 32 bits of each counter that the interface keeps, as unsigned numbers."""
    told = switch.get(path_of("/if/{number}/counters", number=number))
    return {one["counterName"]: one["counterValue"] % WORD for one in items(told, "counters")}


def lag(switch: Switch, number: int) -> Lag:
    told = switch.get(path_of("/lag/{lag}", lag=number))["lag_interface"]
    return Lag(told["id"], told["name"], tuple(one["portNum"] for one in items(told, "members")))


def lags(switch: Switch) -> list[Lag]:
    return [lag(switch, one["id"]) for one in items(switch.get("/lag"), "lag_interfaces")]


def list_or_nothing(switch: Switch, path: str, name: str) -> list[Data]:
    """Lists of routing interfaces: where there is none the answer is a refusal with code 1."""
    try:
        return items(switch.get(path), name)
    except Refused as refused:
        if refused.code != 1:
            raise
        return []


def vlan_interface(switch: Switch, logical_id: int) -> VlanInterface:
    path = path_of("/routing/vlanRtrIf/{id}", id=logical_id)
    told = switch.get(path)["vlan_routing_interface"]
    return VlanInterface(
        told["logical_interface_id"],
        told["vlan_routing_interface_num"],
        told["vlan_routing_interface_name"],
        told["vlan_id"],
        _addresses(told, "primary_ipv4_address", "secondary_ipv4_addresses"),
    )


def vlan_interface_ids(switch: Switch) -> list[int]:
    told = list_or_nothing(switch, "/routing/vlanRtrIf", "vlan_routing_interfaces")
    return [one["logical_interface_id"] for one in told]


def vlan_interfaces(switch: Switch) -> list[VlanInterface]:
    return [vlan_interface(switch, number) for number in vlan_interface_ids(switch)]


def neighbor_path(address: str, scope: int = 0) -> str:
    if ":" in address:
        template = "/bgp/ipv6/neighbor/{address}/scope/{scope}"
        return path_of(template, address=address, scope=scope)
    return path_of("/bgp/ipv4/neighbor/{address}", address=address)


def neighbor(switch: Switch, address: str, scope: int = 0) -> Neighbor:
    told = switch.get(neighbor_path(address, scope))["neighbor_info"]
    return Neighbor(
        told["remote_address"],
        scope,
        told["remote_as"] % WORD,
        told["activate"] == "Yes",
        told["next_hop_self_mode"] == "enable",
        told["update_source"],
    )


def policy(switch: Switch, number: int) -> Policy:
    told = switch.get(path_of("/tcam/policy/{id}", id=number))["policy"]
    return Policy(
        told["policy_id"],
        told["policy_priority"],
        told["policy_type"],
        int(told["rule_num"]),
        told["classifiers"],
        frozenset(name for name, done in told["action_type"].items() if done == "Yes"),
        told["action_value"],
    )


def policies(switch: Switch) -> list[Policy]:
    told = items(switch.get("/tcam/policy"), "policies")
    return [policy(switch, one["policy_id"]) for one in told]


def boxes(switch: Switch) -> Iterator[tuple[str, list[Data]]]:
    """Fans, power supplies, temperature sensors and transceivers, each list under its name."""
    for path, name in (
        ("/boxs/fans", "fans"),
        ("/boxs/powSupplies", "power_supplies"),
        ("/boxs/tempSensors", "temp_sensors"),
        ("/boxs/sfp", "sfp_transceivers"),
    ):
        yield name, items(switch.get(path), name)
