"""How a switch is to be: the records that a YAML file or a playbook is read into.

What is not named is None and left alone. An entry that says "absent" is to go."""

from collections.abc import Callable
from dataclasses import dataclass, field
from ipaddress import ip_network
from typing import Any

from switch_rest.checks import (
    ABSENT,
    Check,
    ConfigError,
    T,
    host_address,
    integer,
    interface_address,
    ipv4_form,
    list_of,
    mac,
    mapping,
    members,
    network,
    one_of,
    or_absent,
    record,
    text,
    yes_or_no,
)

VLAN_MAX = 4094
NUMBER_MAX = 4294967295

# Speeds by their name here: the number that sets them and the texts that then tell them.
SPEEDS = {
    "auto": (1, "auto neg"),
    "100-half": (2, "half 100tx"),
    "100": (3, "full 100tx"),
    "10-half": (4, "half 10t"),
    "10": (5, "full 10t"),
    "1g": (7, "full 1000sx"),
    "2.5g": (128, "full 2P5fx"),
    "10g": (8, "full 10gsx"),
    "20g": (9, "full 20gsx"),
    "40g": (10, "full 40gsx"),
    "25g": (11, "-"),
    "100g": (12, "-"),
}
FRAME_TYPES = {"all": 1, "tagged": 2, "untagged": 3}
POLICY_TYPES = {"openflow": 1, "gen": 2, "egress": 3}
SEVERITIES = {
    "emergency": (1, "Emergency conditions."),
    "alert": (2, "Alert conditions."),
    "critical": (3, "Critical conditions."),
    "error": (4, "Error conditions."),
    "warning": (5, "Warning conditions."),
    "notice": (6, "Normal but significant conditions."),
    "info": (7, "Informational messages."),
    "debug": (8, "Debug-level messages."),
}
OSPF_MATCHES = {
    "internal": "matchInternal",
    "external-1": "matchExt1",
    "external-2": "matchExt2",
    "nssa-1": "matchNssaExt1",
    "nssa-2": "matchNssaExt2",
}


@dataclass(frozen=True)
class Vlan:
    name: str | None = None


@dataclass(frozen=True)
class Addresses:
    """Addresses with prefix lengths. Of the dictionaries, False is for those that are to go."""

    ipv4: str | None = None
    ipv4_secondary: dict[str, bool] | None = None
    ipv6: dict[str, bool] | None = None


@dataclass(frozen=True)
class Interface:
    description: str | None = None
    enabled: bool | None = None
    mtu: int | None = None
    speed: str | None = None
    auto_neg: bool | None = None
    accept_frame_type: str | None = None
    pvid: int | None = None
    vlans: dict[int, str] | None = None  # "tagged", "untagged" or "absent"
    routing: bool | None = None
    addresses: Addresses = Addresses()


@dataclass(frozen=True)
class Neighbor:
    asn: int | None = None
    scope: int = 0
    activate: bool | None = None
    next_hop_self: bool | None = None
    update_source: tuple[str, int] | None = None  # ("vlan", 10) or ("interface", 5)


@dataclass(frozen=True)
class Redistribution:
    metric: int | None = None
    route_map: str | None = None
    match: tuple[str, ...] = ()


@dataclass(frozen=True)
class Bgp:
    settings: dict[str, int | str | bool] = field(default_factory=dict)
    neighbors: dict[str, Neighbor] = field(default_factory=dict)
    networks: dict[str, str | None] = field(default_factory=dict)  # network: route map
    redistribute: dict[tuple[str, str], Redistribution | None] = field(default_factory=dict)


@dataclass(frozen=True)
class Policy:
    """A policy is known by all that it says. The dictionaries hold the request's variables."""

    type: str
    priority: int
    match: dict[str, int | str]
    action: dict[str, int | str]
    ports: dict[int, bool]
    absent: bool = False


@dataclass(frozen=True)
class LogHost:
    port: int | None = None
    severity: str | None = None


@dataclass(frozen=True)
class Logging:
    cli: bool | None = None
    console: bool | None = None
    console_severity: str | None = None
    syslog: bool | None = None
    syslog_port: int | None = None
    hosts: dict[str, LogHost | None] | None = None


@dataclass(frozen=True)
class Wanted:
    hostname: str | None = None
    vlans: dict[int, Vlan | None] | None = None
    interfaces: dict[int, Interface] | None = None
    lags: dict[int, dict[int, bool]] | None = None
    routing: dict[str, bool] | None = None
    vlan_interfaces: dict[int, Addresses | None] | None = None
    bgp: Bgp | None = None
    policies: list[Policy] | None = None
    logging: Logging | None = None


# ---- the sections ----

PORT = integer(1, NUMBER_MAX)
VLAN = integer(1, VLAN_MAX)


def _vlan(value: Any, where: str) -> Vlan:
    return Vlan(**record(value, where, {"name": text(32)}))


def _address_checks(present: bool) -> dict[str, Check[Any]]:
    primary = interface_address(4)
    return {
        "ipv4": primary if present else lambda value, where: primary(value, where) and ABSENT,
        "ipv4_secondary": members(interface_address(4), present),
        "ipv6": members(interface_address(6), present),
    }


def _addresses(present: bool) -> Check[Addresses]:
    return lambda value, where: Addresses(**record(value, where, _address_checks(present)))


def _interface(present: bool) -> Check[Interface]:
    membership = one_of("tagged", "untagged", ABSENT)

    def check(value: Any, where: str) -> Interface:
        named = record(
            value,
            where,
            {
                "description": text(255),
                "enabled": yes_or_no,
                "mtu": integer(64, 65535),
                "speed": one_of(*SPEEDS),
                "auto_neg": yes_or_no,
                "accept_frame_type": one_of(*FRAME_TYPES),
                "pvid": VLAN,
                "vlans": mapping(VLAN, membership),
                "routing": yes_or_no,
                **_address_checks(present),
            },
        )
        addresses = Addresses(**{n: named.pop(n) for n in _address_checks(present) if n in named})
        if not present:  # of an interface only what was added to it can go
            named = {"vlans": dict.fromkeys(named.get("vlans", ()), ABSENT)}
        return Interface(addresses=addresses, **named)

    return check


def _update_source(value: Any, where: str) -> tuple[str, int]:
    named = record(value, where, {"vlan": VLAN, "interface": PORT})
    if len(named) != 1:
        raise ConfigError(f"{where}: either vlan or interface is expected")
    return next(iter(named.items()))


def _neighbor(value: Any, where: str) -> Neighbor:
    checks: dict[str, Check[Any]] = {
        "asn": integer(1, NUMBER_MAX - 1),
        "scope": integer(0, NUMBER_MAX),
        "activate": yes_or_no,
        "next_hop_self": yes_or_no,
        "update_source": _update_source,
    }
    return Neighbor(**record(value, where, checks))


def _redistribution(value: Any, where: str) -> Redistribution:
    checks: dict[str, Check[Any]] = {
        "metric": integer(0, NUMBER_MAX),
        "route_map": text(31),
        "match": members(one_of(*OSPF_MATCHES), True),
    }
    named = record(value, where, checks)
    matches = tuple(named.pop("match", ()))
    return Redistribution(match=matches, **named)


def _bgp(present: bool) -> Check[Bgp]:
    settings: dict[str, Check[Any]] = {
        "local_as": integer(1, NUMBER_MAX - 1),
        "router_id": ipv4_form,
        "hold_time": integer(0, 65535),
        "keep_alive_time": integer(0, 65535),
        "local_preference": integer(0, NUMBER_MAX),
        "log_neighbor_changes": yes_or_no,
    }
    redistribution = or_absent(_redistribution) if present else lambda value, where: None
    families = mapping(one_of("connected", "static", "rip", "ospf"), redistribution)
    sections: dict[str, Check[Any]] = {
        "neighbors": mapping(host_address, _neighbor),
        "networks": mapping(network, or_absent(text(31)) if present else lambda v, w: None),
        "redistribute": lambda v, w: record(v, w, {"ipv4": families, "ipv6": families}),
    }

    def check(value: Any, where: str) -> Bgp:
        named = record(value, where, {**settings, **sections})
        if not present and named.get("neighbors"):
            raise ConfigError(f"{where}.neighbors: the API cannot remove a neighbor")
        return Bgp(
            {name: named[name] for name in settings if name in named} if present else {},
            named.get("neighbors", {}),
            named.get("networks", {}),
            {
                (family, protocol): one
                for family, protocols in named.get("redistribute", {}).items()
                for protocol, one in protocols.items()
            },
        )

    return check


def _with_masks(named: dict[str, Any], name: str) -> dict[str, int | str]:
    """matchSrcIp and matchSrcIpMask from the network 10.0.0.0/8."""
    if name not in named:
        return {}
    held = ip_network(named.pop(name))
    if held.version != 4:
        raise ConfigError(f"policies: {held}: the API matches IPv4 networks only")
    variable = f"match{name.title().replace('_', '')}"
    return {variable: str(held.network_address), f"{variable}Mask": str(held.netmask)}


def _policy(present: bool) -> Check[Policy]:
    matches: dict[str, Check[Any]] = {
        "vlan": VLAN,
        "vlan_priority": integer(0, 7),
        "src_mac": mac,
        "dst_mac": mac,
        "src_ip": network,
        "dst_ip": network,
    }
    actions: dict[str, Check[Any]] = {
        "drop": yes_or_no,
        "vlan_priority": integer(0, 7),
        "src_mac": mac,
        "dst_mac": mac,
        "redirect": PORT,
        "cpu_rule": integer(0, NUMBER_MAX // 2),
    }
    match_names = {"vlan": "matchVlanId", "vlan_priority": "matchVlanPrio"}
    match_names |= {"src_mac": "matchSrcMac", "dst_mac": "matchDstMac"}
    action_names = {
        "drop": "actionDrop",
        "vlan_priority": "actionNewVlanPrio",
        "src_mac": "actionNewSrcMac",
        "dst_mac": "actionNewDstMac",
        "redirect": "actionRedirPort",
        "cpu_rule": "actionSendToCpuRule",
    }

    def check(value: Any, where: str) -> Policy:
        checks: dict[str, Check[Any]] = {
            "type": one_of(*POLICY_TYPES),
            "priority": integer(0, NUMBER_MAX // 2),
            "match": lambda v, w: record(v, w, matches),
            "action": lambda v, w: record(v, w, actions),
            "ports": members(PORT, True),
        }
        named = record(value, where, checks)
        if "type" not in named:
            raise ConfigError(f"{where}.type: is missing")
        match, action = named.get("match", {}), named.get("action", {})
        networks = _with_masks(match, "src_ip") | _with_masks(match, "dst_ip")
        if not action.get("drop", True):
            del action["drop"]
        return Policy(
            named["type"],
            named.get("priority", 0),
            {match_names[name]: one for name, one in match.items()} | networks,
            {action_names[name]: int(one) if one is True else one for name, one in action.items()},
            named.get("ports", {}),
            not present,
        )

    return check


def _log_host(value: Any, where: str) -> LogHost:
    return LogHost(
        **record(value, where, {"port": integer(1, 65535), "severity": one_of(*SEVERITIES)})
    )


def _logging(present: bool) -> Check[Logging]:
    host = or_absent(_log_host) if present else lambda value, where: None
    checks: dict[str, Check[Any]] = {
        "cli": yes_or_no,
        "console": yes_or_no,
        "console_severity": one_of(*SEVERITIES),
        "syslog": yes_or_no,
        "syslog_port": integer(1, 65535),
        "hosts": mapping(text(64), host),
    }

    def check(value: Any, where: str) -> Logging:
        named = record(value, where, checks)
        return Logging(**named) if present else Logging(hosts=named.get("hosts"))

    return check


def parse(document: Any, present: bool = True) -> Wanted:
    """Reads a document. With present off, the entries that it names are to go."""
    absent_or: Callable[[Check[T]], Check[T | None]] = (
        or_absent if present else lambda check: lambda value, where: None
    )
    checks: dict[str, Check[Any]] = {
        "hostname": text(255),
        "vlans": mapping(VLAN, absent_or(_vlan)),
        "interfaces": mapping(PORT, _interface(present)),
        "lags": mapping(integer(1, NUMBER_MAX), members(PORT, present)),
        "routing": lambda v, w: record(v, w, {"ipv4": yes_or_no, "ipv6": yes_or_no}),
        "vlan_interfaces": mapping(VLAN, absent_or(_addresses(present))),
        "bgp": _bgp(present),
        "policies": list_of(_policy(present)),
        "logging": _logging(present),
    }
    return Wanted(**record(document, "", checks))
