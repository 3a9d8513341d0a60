"""From a file to a switch: differences, the order of requests, idempotence and pruning."""

from typing import Any

import pytest
import yaml
from engines import Engine, running

from switch_rest import NotPossible, connect, desired, resources
from switch_rest.apply import Done, apply
from switch_rest.plan import plan
from switch_rest.steps import Scope
from switch_rest.view import View

LEAF = """
hostname: leaf1
vlans:
  10: {name: lab}
  20: {name: storage}
interfaces:
  3: {description: server 1, pvid: 10, vlans: {10: untagged, 20: tagged}}
  4: {enabled: false, mtu: 9000, speed: 100, accept_frame_type: tagged, vlans: {20: tagged}}
  5: {routing: true, ipv4: 198.51.100.1/31, ipv6: "2001:db8:5::1/64"}
  56: {vlans: {20: tagged}}
lags:
  2: [47, 12]
routing: {ipv4: true, ipv6: true}
vlan_interfaces:
  10:
    ipv4: 192.0.2.1/24
    ipv4_secondary: [203.0.113.1/24, 203.0.114.1/24]
    ipv6: ["2001:DB8:10::1/64"]
  20: {}
bgp:
  local_as: 4200000001
  router_id: 10.0.0.1
  hold_time: 9
  keep_alive_time: 3
  local_preference: 3000000000
  log_neighbor_changes: true
  neighbors:
    192.0.2.2: {asn: 65002, next_hop_self: true, update_source: {vlan: 10}}
    2001:db8:10::2: {asn: 4200000002, activate: true}
  networks: {10.20.0.0/16: rmap1}
  redistribute: {ipv4: {connected: {metric: 10}, ospf: {match: [internal, nssa-2]}}}
policies:
  - type: openflow
    priority: 5
    match: {src_mac: "0:11:22:AA:bb:cc", dst_ip: 10.0.0.0/8, vlan: 10}
    action: {vlan_priority: 5, redirect: 6, dst_mac: "02:00:00:00:00:01"}
    ports: [3, 4]
  - {type: gen, action: {cpu_rule: 7}}
logging:
  cli: true
  console_severity: error
  syslog: true
  hosts: {10.0.0.9: {port: 5140, severity: info}}
"""


def steps_and_changes(
    engine: Engine, text: str, scope: Scope = Scope(), present: bool = True
) -> tuple[list[Done], int]:
    """What was done, and how many requests it took, with the login."""
    wanted = desired.parse(yaml.safe_load(text), present)
    with connect(engine.url, "admin", "admin") as switch:
        view = View(switch)
        return apply(view, plan(view, wanted, scope)), switch.requests_sent


def changes(*arguments: Any) -> list[str]:
    return [one.step.place for one in steps_and_changes(*arguments)[0] if one.changed]


def test_a_whole_switch_and_once_more(engine: Engine) -> None:
    done, _ = steps_and_changes(engine, LEAF)
    phases = [one.step.phase for one in done]
    assert phases == sorted(phases) and len(done) == 56
    with connect(engine.url, "admin", "admin") as switch:
        # 48 has the VLANs of its port channel
        assert resources.vlan(switch, 20).members == {3: True, 4: True, 48: True}
        port = resources.interface(switch, 4)
        assert (port.admin_state, port.mtu, port.speed) == ("disable", 9000, "full 100tx")
        assert resources.interface(switch, 5).addresses.ipv4 == "198.51.100.1/31"
        assert [set(one.members) for one in resources.lags(switch)] == [{48}, {47, 12}]
        routed = {one.vlan: one.addresses for one in resources.vlan_interfaces(switch)}
        assert routed[10].ipv4_secondary == ("203.0.113.1/24", "203.0.114.1/24")
        assert routed[10].ipv6 == ("2001:db8:10::1/64",) and routed[20].ipv4 is None
        neighbor = resources.neighbor(switch, "192.0.2.2")
        assert (neighbor.asn, neighbor.next_hop_self) == (65002, True)
        assert resources.neighbor(switch, "2001:db8:10::2").activate
        first, second = resources.policies(switch)
        assert first.match["dst_ip_mask"] == "255.0.0.0" and first.values["redirect_if_num"] == 6
        assert second.actions == {"redirect_cpu"} and second.rule == 7
    again, requests = steps_and_changes(engine, LEAF)
    assert not any(one.changed for one in again)
    assert all(one.step.unseen for one in again) and len(again) == 5
    # The login, one for each thing that is told, one for each that is not.
    assert requests == 1 + 25 + 5


def test_what_is_not_named_stays_unless_pruned(engine: Engine) -> None:
    steps_and_changes(engine, LEAF)
    smaller = """
vlans: {10: {}}
interfaces: {3: {pvid: 10, vlans: {10: untagged}}}
lags: {2: [12]}
vlan_interfaces: {10: {ipv4: 192.0.2.1/24, ipv4_secondary: [203.0.114.1/24]}}
policies: [{type: gen, action: {cpu_rule: 7}}]
logging: {hosts: {}}
"""
    assert changes(engine, smaller) == []
    assert changes(engine, smaller, Scope(replace=True)) == [
        "lag 2 port 47",
        "interface 3 vlan 1",
        "interface 3 vlan 20",
        "vlan interface 10 address 203.0.113.1/24",
    ]
    assert changes(engine, smaller, Scope(replace=True, prune=True)) == [
        "vlan interface 20",
        "policy id 1",
        "logging host 10.0.0.9",
        "vlan 20",
    ]
    assert changes(engine, smaller, Scope(replace=True, prune=True)) == []
    gone = "{vlans: {10: {}}, lags: {2: [12]}, vlan_interfaces: {10: {}}, interfaces: {5: {ipv4: 198.51.100.1/31}}}"
    assert changes(engine, gone, Scope(), False) == [
        "lag 2 port 12",
        "interface 5 address 198.51.100.1/31",
        "vlan interface 10",
        "vlan 10",
    ]
    networks = "bgp: {networks: {10.20.0.0/16: absent}, redistribute: {ipv4: {ospf: absent}}}"
    assert len(changes(engine, networks)) == 2 and changes(engine, networks) == []


def test_a_refusal_ends_it_and_the_next_run_goes_on() -> None:
    faults = {"rpcclt_openapiIfMtuSizeSet": {"result": -26, "times": 1}}
    with running(1, {"faults": faults}) as [engine]:
        with pytest.raises(NotPossible, match="PUT /if/4/mtuSize"):
            steps_and_changes(engine, LEAF)
        assert "interface 4 mtu" in (left := changes(engine, LEAF))
        assert "vlan 10" not in left and changes(engine, LEAF) == []


@pytest.mark.parametrize(
    "text, message",
    [
        ("[]", "the file: a record"),
        ("vlan: {}", "there is no vlan; known are hostname, vlans"),
        ("vlans: {4095: {}}", "vlans.4095: a number from 1 to 4094"),
        ("vlans: {10: {name: ''}}", "vlans.10.name: a text"),
        ("interfaces: {3: {mtu: true}}", "interfaces.3.mtu: a number"),
        ("interfaces: {3: {vlans: {10: both}}}", "interfaces.3.vlans.10: one of tagged"),
        ("vlan_interfaces: {10: {ipv4: 192.0.2.1}}", "ipv4: an IPv4 address with its prefix"),
        ("vlan_interfaces: {10: {ipv6: [10.0.0.1/8]}}", r"ipv6\[0\]: an IPv6 address"),
        ("bgp: {networks: {10.20.0.1/16: x}}", "a network such as"),
        ("bgp: {neighbors: {10.0.0.2: {update_source: {}}}}", "either vlan or interface"),
        ("policies: [{}]", r"policies\[0\].type: is missing"),
        ("policies: [{type: gen, match: {src_mac: 1:2:3}}]", "src_mac: a MAC address"),
    ],
)
def test_files_that_are_not_right(text: str, message: str) -> None:
    with pytest.raises(desired.ConfigError, match=message):
        desired.parse(yaml.safe_load(text))
