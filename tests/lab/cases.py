"""What real ports do, one test a feature, each from nothing configured."""

import json
import os
import random
import re
import signal
import subprocess
import time
from typing import Callable

import transcript
from api import (
    FRAMES,
    Api,
    arrives,
    ask,
    capture,
    do,
    frame,
    fresh,
    get,
    inside,
    laboratory,
    log_in,
    no_ping,
    ping,
    pings,
    script,
    settle,
    stays_away,
    tagged,
)
from laboratory import ovs_command, run, wait_for

GENERAL, ACCESS, TRUNK = 1, 2, 3
ALL, TAGGED, UNTAGGED = 1, 2, 3
REFUSED = 99


def access(port: int, vlan: int) -> list[str]:
    return [
        f"interface {port} switchport mode access",
        f"interface {port} switchport access vlan {vlan}",
    ]


def trunk(port: int, vlans: str) -> list[str]:
    return [
        f"interface {port} switchport mode trunk",
        f"interface {port} switchport trunk replace {vlans}",
    ]


def text_of(value: object) -> str:
    return json.dumps(value)


# ---- VLANs and ports ----


def access_vlans(api: Api) -> None:
    """Two hosts in one VLAN reach each other, in two VLANs they do not."""
    fresh(api)
    ping(api.lab, "h1", "h2")
    ping(api.lab, "h1", "h2v6")
    do(api, "POST", "/vlans/10")
    for port in (1, 2):
        do(api, "PUT", f"/if/{port}/switchportMode", value=ACCESS)
    do(api, "PUT", "/if/1/access/vlan", value=10)
    settle(api)
    no_ping(api.lab, "h1", "h2")
    no_ping(api.lab, "h1", "h3")
    do(api, "PUT", "/if/2/access/vlan", value=10)
    ping(api.lab, "h1", "h2")
    no_ping(api.lab, "h2", "h3")


def trunks(api: Api) -> None:
    """A trunk sends its native VLAN without a tag, the others of its list with one."""
    fresh(api, "vlan 10", "vlan 20", "vlan 30", *access(1, 10), *trunk(2, "10,20"))
    arrives(api, "h1", None, "h2", tagged(10))
    arrives(api, "h2", 10, "h1", FRAMES)
    stays_away(api, "h2", 20, "h1")
    stays_away(api, "h2", 30, "h1")
    arrives(api, "h3", None, "h2", FRAMES)
    script(api, "interface 2 switchport trunk remove 10")
    stays_away(api, "h1", None, "h2")
    script(api, "interface 2 switchport trunk native vlan 10")
    arrives(api, "h1", None, "h2", FRAMES)


def general_mode(api: Api) -> None:
    """A port sends several VLANs without a tag, and others with one; untagged frames of its own are
    those of its PVID."""
    lines = ["vlan 10", "vlan 20", "vlan 30", *access(1, 10), *access(2, 20), *access(4, 30)]
    lines += [f"interface 3 vlan {vlan} include" for vlan in (10, 20, 30)]
    fresh(api, *lines, "interface 3 vlan 30 tagged", "interface 3 pvid 10")
    arrives(api, "h1", None, "h3", FRAMES)
    arrives(api, "h2", None, "h3", FRAMES)
    arrives(api, "h4", None, "h3", tagged(30))
    arrives(api, "h3", None, "h1", FRAMES)
    stays_away(api, "h3", None, "h2")
    arrives(api, "h3", 20, "h2", FRAMES)
    arrives(api, "h3", 30, "h4", FRAMES)
    arrives(api, "h3", 0, "h1", FRAMES)


def accepted_frames(api: Api) -> None:
    fresh(api, "vlan 10", "interface 1 vlan 10 include", "interface 2 vlan 10 include")
    arrives(api, "h1", None, "h2", FRAMES)
    arrives(api, "h1", 10, "h2", FRAMES)
    do(api, "PUT", "/if/1/acceptFrameType", value=TAGGED)
    settle(api)
    stays_away(api, "h1", None, "h2")
    arrives(api, "h1", 10, "h2", FRAMES)
    do(api, "PUT", "/if/1/acceptFrameType", value=UNTAGGED)
    settle(api)
    stays_away(api, "h1", 10, "h2")
    arrives(api, "h1", None, "h2", FRAMES)


def link(api: Api, port: int) -> str:
    return text_of(get(api, f"/if/{port}"))


def admin_state(api: Api) -> None:
    """A disabled port takes the link away from its host, and gives it back."""
    fresh(api)
    ping(api.lab, "h1", "h2")
    up = link(api, 1)
    do(api, "PUT", "/if/1/adminState", value=0)
    settle(api)
    no_ping(api.lab, "h1", "h2")
    assert "NO-CARRIER" in inside(api.lab, "h1", "ip", "link", "show", "eth0").stdout
    assert link(api, 1) != up
    do(api, "PUT", "/if/1/adminState", value=1)
    ping(api.lab, "h1", "h2")
    wait_for("the link", lambda: link(api, 1) == up)
    run("ip", "-n", api.lab.space("h1"), "link", "set", "eth0", "down")
    wait_for("no link", lambda: link(api, 1) != up)
    run("ip", "-n", api.lab.space("h1"), "link", "set", "eth0", "up")
    wait_for("the link again", lambda: link(api, 1) == up)
    laboratory.set_addresses(api.lab, "h1", 1)


def mtu(api: Api) -> None:
    fresh(api, "interface 1 mtu 9000", "interface 2 mtu 9000")
    for host in ("h1", "h2"):
        run("ip", "-n", api.lab.space(host), "link", "set", "eth0", "mtu", "9000")
    whole = ("-s", "8000", "-M", "do")
    ping(api.lab, "h1", "h2", *whole)
    do(api, "PUT", "/if/2/mtuSize", value=1500)
    settle(api)
    no_ping(api.lab, "h1", "h2", *whole)
    ping(api.lab, "h1", "h2")
    for host in ("h1", "h2"):
        run("ip", "-n", api.lab.space(host), "link", "set", "eth0", "mtu", "1500")


def counter(api: Api, port: int, name: int) -> int:
    counters = get(api, f"/if/{port}/counters")["counters"]
    assert isinstance(counters, dict)
    return next(int(c["counterValue"]) for c in counters.values() if c["counterId"] == name)


def counters(api: Api) -> None:
    """100 frames each way are counted as such, and little else."""
    rx, tx = 51, 53
    fresh(api)
    ping(api.lab, "h1", "h2")
    before = counter(api, 1, rx), counter(api, 1, tx)
    done = inside(api.lab, "h1", "ping", "-c", "100", "-i", "0.005", "-q", "h2")
    assert " 100 received" in done.stdout, done.stdout
    wait_for(
        "counters",
        lambda: counter(api, 1, rx) >= before[0] + 100 and counter(api, 1, tx) >= before[1] + 100,
        2,
    )
    assert counter(api, 1, rx) < before[0] + 150


# ---- groups ----


def port_channel(api: Api) -> None:
    """Two ports as one, agreed on with the other end, with a member pulled and put back."""
    lab, space = api.lab, api.lab.space("h5")
    fresh(api, "port-channel 1", "port-channel 1 member 5", "port-channel 1 member 6")
    laboratory.start_ovsdb(lab, space)
    ovs_command(lab, "ovs-vsctl", "--no-wait", "init", space=space)
    laboratory.start_vswitchd(lab, space)
    run("ip", "-n", space, "addr", "flush", "dev", "eth0")
    bond = "add-br p0 -- set bridge p0 datapath_type=netdev -- add-bond p0 b0 eth0 eth1 "
    bond += "lacp=active bond_mode=balance-tcp other_config:lacp-time=fast"
    ovs_command(lab, "ovs-vsctl", *bond.split(), space=space)
    run("ip", "-n", space, "addr", "add", "10.0.0.5/24", "dev", "p0")
    run("ip", "-n", space, "link", "set", "p0", "up")

    def members_agreed() -> int:
        return ovs_command(lab, "ovs-appctl", "lacp/show").count("current attached")

    ping(lab, "h1", "h5")
    wait_for("both members", lambda: members_agreed() == 2)
    run("ip", "-n", lab.switch, "link", "set", "port5", "down")
    run("ip", "-n", space, "link", "set", "eth0", "down")
    ping(lab, "h1", "h5")
    run("ip", "-n", space, "link", "set", "eth0", "up")
    wait_for("the member", lambda: members_agreed() == 2)
    do(api, "DELETE", "/lag/1/port/6")
    settle(api)
    ping(lab, "h1", "h5")
    do(api, "POST", "/lag/1/port/6")
    settle(api)
    wait_for("the second member again", lambda: members_agreed() == 2)
    script(api, "vlan 10", *access(1, 10))
    no_ping(lab, "h1", "h5")
    script(api, "interface 56 switchport mode access", "interface 56 switchport access vlan 10")
    ping(lab, "h1", "h5")
    for daemon in ("vswitchd", "ovsdb"):
        laboratory.stop(lab, f"{daemon}{space}")


# ---- routing ----


def routed(*ports: int) -> list[str]:
    """A VLAN for each port, with a routing interface in the network of the host on it."""
    lines = ["routing ip enable", "routing ipv6 enable"]
    for port in ports:
        interface = 225 + port
        lines += [f"vlan {10 * port}", *access(port, 10 * port)]
        lines += [f"vlan {10 * port} routing {interface}"]
        lines += [f"interface {interface} ip address 10.0.{port}.1 24"]
        lines += [f"interface {interface} ipv6 address fd00:{port}::1 64"]
    return lines


def routing(api: Api) -> None:
    lab = api.lab
    fresh(api, *routed(1, 2))
    no_ping(lab, "h1", "h2")
    ping(lab, "h1", "10.0.2.2")
    ping(lab, "h1", "fd00:2::2")
    do(api, "PUT", "/routing/ipv4/adminMode", value=0)
    settle(api)
    no_ping(lab, "h1", "10.0.2.2")
    ping(lab, "h1", "fd00:2::2")
    script(api, "routing ip enable", "interface 227 ip address 10.9.0.1 24 secondary")
    run("ip", "-n", lab.space("h2"), "addr", "add", "10.9.0.2/24", "dev", "eth0")
    ping(lab, "h1", "10.9.0.2")
    ping(lab, "h1", "10.0.2.2")

    def carrier() -> bool:
        return "LOWER_UP" in run("ip", "-n", lab.switch, "link", "show", "br0-v20")

    assert carrier()
    run("ip", "-n", lab.space("h2"), "link", "set", "eth0", "down")
    wait_for("no carrier", lambda: not carrier())
    run("ip", "-n", lab.space("h2"), "link", "set", "eth0", "up")
    wait_for("carrier", carrier)
    laboratory.set_addresses(lab, "h2", 2)
    ping(lab, "h1", "10.0.2.2")
    run("ip", "-n", lab.space("h2"), "addr", "del", "10.9.0.2/24", "dev", "eth0")
    script(api, "no interface 227 ip address 10.9.0.1 24 secondary", "no vlan 20 routing")
    no_ping(lab, "h1", "10.0.2.2")
    assert "br0-v20" not in run("ip", "-n", lab.switch, "link")


def routed_port(api: Api) -> None:
    """A port that routes by itself, without a VLAN."""
    fresh(
        api,
        *routed(1),
        "interface 2 routing enable",
        "interface 2 ip address 10.0.2.1 24",
    )
    ping(api.lab, "h1", "10.0.2.2")
    no_ping(api.lab, "h2", "h3")


# ---- BGP ----

ROUTER = """router bgp 65002
 no bgp ebgp-requires-policy
 no bgp network import-check
 neighbor 10.0.4.1 remote-as 65001
 address-family ipv4 unicast
  network 192.0.2.0/24
 exit-address-family
"""


def vty(folder: object, daemon: str, *lines: str) -> str:
    """Lines of a daemon's command line, as an operator would type them."""
    words = ["vtysh", "--vty_socket", str(folder), "-d", daemon]
    return run(*words, *(word for line in lines for word in ("-c", line)))


def kernel_routes(space: str) -> str:
    return run("ip", "-n", space, "route", "show")


def bgp(api: Api) -> None:
    lab, space = api.lab, api.lab.space("h4")
    lines = ["bgp local-as 65001", "bgp router-id 10.0.4.1", "bgp hold-time 30"]
    lines += ["bgp keep-alive 10", "bgp neighbor 10.0.4.2 scope 0 remote-as 65002"]
    fresh(api, *routed(1, 4), *lines)
    laboratory.start_frr(lab, "zebra", space)
    folder = laboratory.start_frr(lab, "bgpd", space, ROUTER)
    wait_for("a learned route", lambda: "192.0.2.0/24 " in kernel_routes(lab.switch))
    neighbour = json.loads(vty(folder, "bgpd", "show bgp neighbors json"))["10.0.4.1"]
    assert neighbour["bgpState"] == "Established"
    assert neighbour["bgpTimerHoldTimeMsecs"] == 30000, neighbour["bgpTimerHoldTimeMsecs"]
    do(api, "POST", "/bgp/ipv4/redistribution/connected")
    wait_for("a connected route", lambda: "10.0.1.0/24 " in kernel_routes(space))
    do(api, "POST", "/bgp/originatedNetwork", addr="198.51.100.0", pfxLen=24, routeMap="ALL")
    wait_for("a network", lambda: "198.51.100.0/24 " in kernel_routes(space))
    do(api, "DELETE", "/bgp/originatedNetwork", addr="198.51.100.0", pfxLen=24)
    wait_for("no network", lambda: "198.51.100.0/24" not in kernel_routes(space))
    do(api, "DELETE", "/bgp/ipv4/redistribution/connected")
    wait_for("no connected route", lambda: "10.0.1.0/24 " not in kernel_routes(space))
    vty(folder, "bgpd", "configure terminal", "router bgp 65002", "no network 192.0.2.0/24")
    wait_for("a withdrawal", lambda: "192.0.2.0/24 " not in kernel_routes(lab.switch))
    laboratory.stop(lab, f"bgpd-{lab.switch}", signal.SIGKILL)
    laboratory.start_frr(lab, "bgpd", lab.switch)
    wait_for(
        "the router after a restart",
        lambda: "neighbor 10.0.4.2 remote-as 65002"
        in vty(lab.folder / f"frr-{lab.switch}", "bgpd", "show running-config"),
    )
    do(api, "PUT", "/bgp/localAS", value=65009)
    wait_for(
        "another AS",
        lambda: "router bgp 65009"
        in vty(lab.folder / f"frr-{lab.switch}", "bgpd", "show running-config"),
    )
    laboratory.stop(lab, f"bgpd-{space}")
    laboratory.stop(lab, f"zebra-{space}")


# ---- policies and locks ----


def mac_of(api: Api, host: str) -> str:
    words = run("ip", "-n", api.lab.space(host), "link", "show", "eth0").split()
    return words[words.index("link/ether") + 1]


def policy(number: int, *settings: str, type_: int = 1, port: int = 1) -> list[str]:
    lines = [f"tcam policy {number} type {type_} slice {0 if type_ == 3 else type_}"]
    lines += [f"tcam policy {number} set {setting}" for setting in settings]
    return lines + [f"tcam policy {number} interface {port}"]


def policies(api: Api) -> None:
    lab = api.lab
    fresh(api)
    answer = do(api, "POST", "/tcam/policy", policyType=1, matchDstIp="10.0.0.2", actionDrop=1)
    number = re.search(r"ID is (\d+)", str(answer["rlt_mesg"]))
    assert number
    do(api, "POST", f"/tcam/policy/{number[1]}/port/1")
    ping(lab, "h1", "h3")
    no_ping(lab, "h1", "h2")
    flows = ovs_command(lab, "ovs-ofctl", "dump-flows", f"{lab.folder}/br0.mgmt")
    counted = re.search(rf"cookie=0x52455354{int(number[1]):08x},.*n_packets=(\d+)", flows)
    assert counted and int(counted[1]) >= 3, flows
    do(api, "DELETE", f"/tcam/policy/{number[1]}")
    ping(lab, "h1", "h2")
    do(api, "POST", "/tcam/policy", REFUSED, policyType=1, actionSendToCpuRule=1)
    do(api, "POST", "/tcam/policy", REFUSED, policyType=1, matchVlanId=4095)

    source = mac_of(api, "h1")
    fresh(api, *policy(1, f"match-src-mac {source}", "actions 1"))
    no_ping(lab, "h1", "h2")
    fresh(api, *policy(1, "match-ip-protocol 1", "match-src-port 8", "actions 1"))
    no_ping(lab, "h1", "h2")
    ping(lab, "h1", "h2v6")
    fresh(api, *policy(1, "match-ip-dscp 46", "match-ip-dscp-mask 63", "actions 1"))
    no_ping(lab, "h1", "h2", "-Q", "0xb8")
    ping(lab, "h1", "h2")
    fresh(
        api,
        *policy(1, "priority 5", "match-dst-ip 10.0.0.0", "match-dst-ip-mask 255.255.255.0")[:-1],
        "tcam policy 1 set actions 1",
        "tcam policy 1 interface 1",
        *policy(2, "priority 9", "match-dst-ip 10.0.0.2"),
        *policy(3, "priority 9", "match-ether-type 2054"),
    )
    no_ping(lab, "h1", "h3")
    ping(lab, "h1", "h2")


def rewrites(api: Api) -> None:
    """Frames sent elsewhere, into another VLAN, with another priority or other addresses."""
    lines = ["vlan 10", *trunk(2, "10"), *trunk(3, "10")]
    fresh(api, *lines, *policy(1, "match-ether-type 34997", "redirect-interface 3", "actions 2"))
    arrives(api, "h1", None, "h3", FRAMES)
    stays_away(api, "h1", None, "h2")
    stays_away(api, "h1", None, "h4")
    fresh(
        api,
        *lines,
        "interface 1 vlan 10 include",
        *policy(1, "match-ether-type 34997", "new-vlan 10", "new-vlan-priority 5", "actions 36"),
    )
    assert "vlan 10, p 5" in arrives(api, "h1", None, "h2", tagged(10))
    new = "new-src-mac 02:00:00:00:00:01", "new-dst-mac 02:00:00:00:00:02"
    fresh(api, *policy(1, "match-ether-type 34997", *new, "actions 24"))
    assert "02:00:00:00:00:01 > 02:00:00:00:00:02" in arrives(api, "h1", None, "h2", FRAMES)
    fresh(api, *lines, *access(1, 10))
    assert "vlan 10, p 0" in arrives(api, "h1", None, "h2", tagged(10))
    script(api, *policy(1, "match-vlan 10", "new-vlan-priority 3", "actions 32", type_=3, port=2))
    assert "vlan 10, p 3" in arrives(api, "h1", None, "h2", tagged(10))
    assert "vlan 10, p 0" in arrives(api, "h1", None, "h3", tagged(10))
    script(api, "tcam policy 1 set actions 33")
    stays_away(api, "h1", None, "h2")


def locking(api: Api) -> None:
    fresh(api)
    ping(api.lab, "h1", "h2")
    do(api, "POST", "/pml/if/1/vlan/1/sticky/0/mac", value="02:00:00:00:00:09")
    no_ping(api.lab, "h1", "h2")
    do(api, "POST", "/pml/if/1/vlan/1/sticky/0/mac", value=mac_of(api, "h1"))
    ping(api.lab, "h1", "h2")
    ping(api.lab, "h3", "h2")


# ---- logging ----


def logging_hosts(api: Api) -> None:
    """Log lines arrive at a host, those that are urgent enough for it."""
    fresh(
        api,
        *routed(3),
        "logging syslog enable",
        "logging host 10.0.3.2",
        "logging host 10.0.3.2 port 5140",
        "logging host 10.0.3.2 severity 5",
    )
    cause = ["true"]
    words = ["timeout", "10", "tcpdump", "-lnnA", "-c", "1", "-i", "eth0", "udp port 5140"]
    with subprocess.Popen(
        laboratory.host_command(api.lab, "h3", words),
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    ) as dump:
        assert dump.stderr is not None and dump.stdout is not None
        while "listening on" not in dump.stderr.readline():
            pass
        while dump.poll() is None:
            do(api, "PUT", "/if/1/description", value="x")
            time.sleep(0.1)
        seen = dump.stdout.read()
    assert re.search(r"<12>.*TX5454 restful_api_engine: .*description", seen, re.S), seen
    script(api, "logging host 10.0.3.2 severity 4")
    do(api, "PUT", "/if/1/description", value="y")
    assert not capture(api.lab, "h3", "udp port 5140", cause, "h1", seconds=0.7)


# ---- what must hold whatever happens ----


def engine_again(api: Api) -> None:
    api.port = laboratory.start_engine(api.lab, os.environ["ENGINE"])
    log_in(api)


def restarts(api: Api) -> None:
    """Whatever ends and comes back, the state is right again by itself; without the engine the
    traffic goes on."""
    lab = api.lab
    drop = policy(1, "match-dst-ip 10.0.0.2", "actions 1", port=3)
    fresh(api, "vlan 10", *access(1, 10), *access(2, 10), *drop, *routed(4), "write memory")
    ping(lab, "h1", "h2")
    laboratory.stop(lab, "vswitchd", signal.SIGKILL)
    assert not pings(lab, "h1", "h2")
    laboratory.start_vswitchd(lab)
    ping(lab, "h1", "h2")
    ping(lab, "h4", "10.0.4.1")
    no_ping(lab, "h3", "h2")
    laboratory.stop(lab, "ovsdb", signal.SIGKILL)
    laboratory.start_ovsdb(lab)
    ping(lab, "h1", "h2")
    script(api, *access(1, 1))
    no_ping(lab, "h1", "h2")
    script(api, *access(1, 10), "write memory")
    ping(lab, "h1", "h2")

    words = ["ping", "-c", "60", "-i", "0.05", "-q", "h2"]
    with subprocess.Popen(
        laboratory.host_command(lab, "h1", words), stdout=subprocess.PIPE, text=True
    ) as traffic:
        laboratory.stop(lab, "engine", signal.SIGKILL)
        engine_again(api)
        settle(api)
        assert traffic.stdout is not None
        assert " 60 received" in (said := traffic.stdout.read()), said
    # somebody else's flow stays, a flow of the engine's that is gone comes back
    bridge = f"{lab.folder}/br0.mgmt"
    ovs_command(lab, "ovs-ofctl", "add-flow", bridge, "cookie=0x7,priority=1,actions=NORMAL")
    ovs_command(lab, "ovs-ofctl", "del-flows", bridge, "cookie=0x5245535400000001/-1")
    wait_for("the policy again", lambda: "cookie=0x5245535400000001" in flows(api, "br0"))
    assert "cookie=0x7" in flows(api, "br0")
    ovs_command(lab, "ovs-ofctl", "del-flows", bridge, "cookie=0x7/-1")
    ovs_command(lab, "ovs-vsctl", "clear", "port", "br0-p1", "trunks")
    wait_for("the VLANs again", lambda: trunks_of(api, 1) == {10})


def flows(api: Api, bridge: str) -> str:
    return ovs_command(
        api.lab, "ovs-ofctl", "--no-stats", "dump-flows", f"{api.lab.folder}/{bridge}.mgmt"
    )


def trunks_of(api: Api, port: int) -> set[int]:
    return set(
        json.loads(ovs_command(api.lab, "ovs-vsctl", "get", "port", f"br0-p{port}", "trunks"))
    )


def reload(api: Api) -> None:
    """A saved configuration comes back with a reload, what was not saved does not."""
    fresh(api, "vlan 10", *access(1, 10), *access(2, 10), "write memory")
    script(api, *access(2, 1))
    no_ping(api.lab, "h1", "h2")
    for mode, host in ((3, "h2"), (2, "h3")):
        do(api, "POST", "/system/reload", value=mode)
        ping(api.lab, "h1", host)
        wait_for("the switch", lambda: ask(api, "GET", "/if/1")["rlt_code"] == 0)


def many(api: Api) -> None:
    """200 VLANs and 64 policies, in force and as they are meant to be."""
    vlans = set(range(100, 300))
    lines = [f"vlan {vlan}" for vlan in vlans]
    lines += [f"interface 3 vlan {vlan} include" for vlan in vlans]
    lines += trunk(2, "100-299")
    for number in range(1, 65):
        address = f"match-dst-ip 10.1.0.{number}"
        lines += policy(number, f"priority {number}", address, "actions 1")
    started = time.monotonic()
    fresh(api, *lines)
    wait_for("policies", lambda: flows(api, "br0").count("actions=drop") == 64)
    print(f"       200 VLANs and 64 policies in force after {time.monotonic() - started:.2f} s")
    assert trunks_of(api, 2) == vlans | {1}
    assert untagged_of(api, 3) == vlans | {1}
    for number in range(1, 65):
        wanted = f"priority={100 + number},pkt_mark=0x1,ip,.*nw_dst=10.1.0.{number} actions=drop"
        assert re.search(wanted, flows(api, "br0")), wanted
    arrives(api, "h2", 299, "h3", FRAMES)


def untagged_of(api: Api, port: int) -> set[int]:
    found = re.findall(
        rf"table=11, .*in_port={10000 + port},dl_vlan=(\d+) .*pop", flows(api, "br0-e")
    )
    return {int(vlan) for vlan in found}


def pvid_of(api: Api, port: int) -> int:
    found = re.search(rf"in_port={port},vlan_tci.*set_field:(\d+)->vlan_vid", flows(api, "br0-e"))
    return int(found[1]) & 0xFFF if found else 0


def compare(api: Api, seed: int) -> None:
    """Holds what Open vSwitch, the kernel and FRR say against what the API says."""
    for port in (1, 2, 3, 4):
        data = get(api, f"/if/{port}/vlan")["participations"]
        assert isinstance(data, dict)
        members = {int(row["vlanId"]) for row in data.values()}
        assert trunks_of(api, port) == (members or {4095}), (seed, port)
        settings = get(api, f"/if/{port}")
        interface = next(iter(settings.values()))
        assert isinstance(interface, dict)
        assert pvid_of(api, port) == interface["pvid"], (seed, port, interface)
        untagged = set()
        for vlan in members:
            row = next(iter(get(api, f"/if/{port}/vlan/{vlan}").values()))
            assert isinstance(row, dict)
            if not row["isTagging"]:
                untagged.add(vlan)
        assert untagged_of(api, port) == untagged, (seed, port)
        state = run("ip", "-n", api.lab.switch, "link", "show", f"port{port}")
        assert (",UP" in state) == ("nable" in str(interface["adminState"])), (seed, state)


def walk(api: Api) -> None:
    """After any settings in any order the ports are as the API says."""
    seed = int(os.environ.get("LAB_SEED", time.time_ns() % 1000000))
    choose = random.Random(seed)
    fresh(api)
    vlans = [1, 10, 20, 30]

    def step() -> tuple[str, str, dict[str, object]]:
        port, vlan = choose.choice((1, 2, 3, 4)), choose.choice(vlans)
        steps: list[tuple[str, str, dict[str, object]]] = [
            ("POST", f"/vlans/{vlan}", {}),
            ("DELETE", f"/vlans/{vlan}", {}),
            ("POST", f"/if/{port}/vlan/{vlan}", {}),
            ("DELETE", f"/if/{port}/vlan/{vlan}", {}),
            ("PUT", f"/if/{port}/vlan/{vlan}/taggingMode", {"value": choose.randint(0, 1)}),
            ("PUT", f"/if/{port}/pvid", {"value": vlan}),
            ("PUT", f"/if/{port}/switchportMode", {"value": choose.randint(1, 3)}),
            ("PUT", f"/if/{port}/access/vlan", {"value": vlan}),
            ("PUT", f"/if/{port}/trunk/pvid", {"value": vlan}),
            ("PUT", f"/if/{port}/trunk/vlan", {"value": f"{vlan},{choose.choice(vlans)}"}),
            ("PUT", f"/if/{port}/adminState", {"value": choose.randint(0, 1)}),
        ]
        return choose.choice(steps)

    for _ in range(3):
        for _ in range(40):
            method, path, values = step()
            ask(api, method, path, **values)
        settle(api)
        compare(api, seed)


def readme(api: Api) -> None:
    """The README's walk is as it tells."""
    fresh(api)
    transcript.repeat(api)


TESTS: dict[str, Callable[[Api], None]] = {
    test.__name__: test
    for test in (
        readme,  # the first: its policy has the first number
        access_vlans,
        trunks,
        general_mode,
        accepted_frames,
        admin_state,
        mtu,
        counters,
        port_channel,
        routing,
        routed_port,
        bgp,
        policies,
        rewrites,
        locking,
        logging_hosts,
        restarts,
        reload,
        many,
        walk,
    )
}
