"""What real ports do that scripts cannot tell, each from nothing configured."""

import ipaddress
import json
import os
import random
import re
import signal
import subprocess
import tempfile
import time
from pathlib import Path
from typing import Any, Callable

import transcript
from api import Api, apply, ask, do, get, inside, laboratory, ping, script, settle
from laboratory import ovs_command, run, wait_for


def counters(api: Api) -> None:
    """100 frames each way are counted as such, and little else."""

    def counted() -> list[int]:
        rows = {row["counterId"]: row for row in get(api, "/if/1/counters")["counters"].values()}
        return [int(rows[each]["counterValue"]) for each in (51, 53)]  # received and sent

    ping(api.lab, "h1", "h2")
    time.sleep(1)  # the oldest that a counter may be
    before = counted()
    done = inside(api.lab, "h1", "ping", "-c", "100", "-i", "0.005", "-q", "h2")
    assert " 100 received" in done.stdout, done.stdout
    wait_for("counters", lambda: all(now >= was + 100 for now, was in zip(counted(), before)), 2)
    assert counted()[0] < before[0] + 150


# ---- what Open vSwitch, the kernel and FRR say ----


def flows(api: Api, bridge: str) -> str:
    return ovs_command(api.lab, "ovs-ofctl", "--no-stats", "dump-flows", bridge)


def trunks_of(api: Api, port: int) -> set[int]:
    said = ovs_command(api.lab, "ovs-vsctl", "get", "port", f"br0-p{port}", "trunks")
    return set(json.loads(said))


def untagged_of(api: Api, port: int) -> set[int]:
    wanted = rf"table=11, .*in_port={10000 + port},dl_vlan=(\d+) .*pop"
    return {int(vlan) for vlan in re.findall(wanted, flows(api, "br0-e"))}


def addresses_of(api: Api, vlan: int) -> set[str]:
    """Of a VLAN's routing interface, without the one that the kernel has given."""
    (said,) = json.loads(run("ip", "-n", api.lab.switch, "-j", "addr", "show", f"br0-v{vlan}"))
    found = (row for row in said["addr_info"] if row["scope"] != "link")
    return {f"{row['local']}/{row['prefixlen']}" for row in found}


# ---- held against what the API says ----


def compare_port(api: Api, port: int) -> None:
    participations = get(api, f"/if/{port}/vlan")["participations"].values()
    members = {row["vlanId"] for row in participations}
    assert trunks_of(api, port) == (members or {4095}), port
    (interface,) = get(api, f"/if/{port}").values()
    found = re.search(rf"in_port={port},vlan_tci.*set_field:(\d+)->vlan_vid", flows(api, "br0-e"))
    assert found is None or int(found[1]) & 0xFFF == interface["pvid"], interface
    ways = {vlan: [*get(api, f"/if/{port}/vlan/{vlan}").values()][0] for vlan in members}
    untagged = {vlan for vlan, way in ways.items() if not way["isTagging"]}
    assert untagged_of(api, port) == untagged, port
    state = run("ip", "-n", api.lab.switch, "link", "show", f"port{port}")
    assert (",UP" in state) == ("nable" in interface["adminState"]), state


def compare_routing(api: Api) -> None:
    names = set()
    routers = ask(api, "GET", "/routing/vlanRtrIf")["rlt_data"]["vlan_routing_interfaces"]
    for row in routers.values():
        (router,) = get(api, f"/routing/vlanRtrIf/{row['logical_interface_id']}").values()
        found = [router.get("primary_ipv4_address")]
        found += router.get("secondary_ipv4_addresses", {}).values()
        wanted = {str(ipaddress.ip_interface(each)) for each in found if each}
        assert addresses_of(api, router["vlan_id"]) == wanted, router
        names.add(f"br0-v{router['vlan_id']}")
    said = json.loads(run("ip", "-n", api.lab.switch, "-j", "link"))
    assert {link["ifname"] for link in said if link["ifname"].startswith("br0-v")} == names


def compare_bgp(api: Api) -> None:
    (told,) = get(api, "/bgp").values()
    hold, keep_alive = told["hold_time"], told["keep_alive_time"]
    wanted = {
        f"router bgp {told['local_AS_number']}",
        f"timers bgp {min(keep_alive, hold // 3)} {hold}",
    }
    for address in ("10.0.1.2", "10.0.2.2"):
        answer = ask(api, "GET", f"/bgp/ipv4/neighbor/{address}")
        if answer["rlt_code"] == 0:
            (peer,) = answer["rlt_data"].values()
            wanted.add(f"neighbor {address} remote-as {peer['remote_as']}")
    folder = f"{api.lab.folder}/frr-{api.lab.switch}"
    said = run("vtysh", "--vty_socket", folder, "-d", "bgpd", "-c", "show running-config")
    assert (
        set(re.findall(r"router bgp \d+|timers bgp .*|neighbor .* remote-as \d+", said)) == wanted
    )


def compare(api: Api) -> None:
    for port in (1, 2, 3, 4):
        compare_port(api, port)
    compare_routing(api)
    compare_bgp(api)


def random_step(choose: random.Random) -> tuple[str, str]:
    port, vlan, other = choose.randint(1, 4), *choose.choices((1, 10, 20, 30), k=2)
    steps = [
        f"POST /vlans/{vlan}",
        f"DELETE /vlans/{vlan}",
        f"POST /if/{port}/vlan/{vlan}",
        f"DELETE /if/{port}/vlan/{vlan}",
        f"PUT /if/{port}/vlan/{vlan}/taggingMode?value={choose.randint(0, 1)}",
        f"PUT /if/{port}/pvid?value={vlan}",
        f"PUT /if/{port}/switchportMode?value={choose.randint(1, 3)}",
        f"PUT /if/{port}/access/vlan?value={vlan}",
        f"PUT /if/{port}/trunk/pvid?value={vlan}",
        f"PUT /if/{port}/trunk/vlan?value={vlan},{other}",
        f"PUT /if/{port}/adminState?value={choose.randint(0, 1)}",
        f"POST /routing/vlanRtrIf?vlanId={vlan}",
        f"DELETE /routing/vlanRtrIf?vlanId={vlan}",
        f"POST /routing/vlanRtrIf/{port}/ip?addrType=0&addr=10.{vlan}.{port}.1&pfxLen=24&extArg=0",
        f"POST /routing/vlanRtrIf/{port}/ip?addrType=0&addr=10.{vlan}.{port}.9&pfxLen=24&extArg=1",
        f"PUT /bgp/localAS?value={choose.choice((65001, 65009))}",
        f"PUT /bgp/holdTime?value={choose.choice((90, 30))}",
        f"POST /bgp/ipv4/neighbor/10.0.{choose.randint(1, 2)}.2?asn={choose.randint(1, 3)}",
    ]
    method, _, path = choose.choice(steps).partition(" ")
    return method, path


def walk(api: Api) -> None:
    """After any settings in any order the ports are as the API says."""
    seed = int(os.environ.get("LAB_SEED", time.time_ns() % 1000000))
    choose = random.Random(seed)
    script(api, "bgp local-as 65001")
    for _ in range(3):
        for _ in range(60):
            ask(api, *random_step(choose))
        settle(api)
        limit = time.monotonic() + 3  # routing is not among what may be pending
        while True:
            try:
                compare(api)
                break
            except (AssertionError, laboratory.LaboratoryError) as error:
                assert time.monotonic() < limit, f"LAB_SEED={seed}: {error!r}"


def many(api: Api) -> None:
    """200 VLANs and 64 policies, in force and as they are meant to be."""
    vlans = set(range(100, 300))
    lines = [f"vlan {vlan}" for vlan in vlans]
    lines += [f"interface 3 vlan {vlan} include" for vlan in vlans]
    lines += ["interface 2 switchport mode trunk", "interface 2 switchport trunk replace 100-299"]
    for number in range(1, 65):
        lines += [f"tcam policy {number} type 1 slice 1", f"tcam policy {number} interface 1"]
        settings = (f"priority {number}", f"match-dst-ip 10.1.0.{number}", "actions 1")
        lines += [f"tcam policy {number} set {setting}" for setting in settings]
    started = time.monotonic()
    script(api, *lines)
    wait_for("policies", lambda: flows(api, "br0").count("actions=drop") == 64)
    print(f"       200 VLANs and 64 policies in force after {time.monotonic() - started:.2f} s")
    assert trunks_of(api, 2) == untagged_of(api, 3) == vlans | {1}
    held = flows(api, "br0")
    for number in range(1, 65):
        wanted = f"priority={100 + number},pkt_mark=0x1,ip,.*nw_dst=10.1.0.{number} actions=drop"
        assert re.search(wanted, held), wanted


def listed(api: Api) -> tuple[list[int], list[int]]:
    """Interfaces and VLANs that are pending."""
    interfaces = get(api, "/if/pendingChanges")["pending_interfaces"].values()
    vlans = get(api, "/vlans/pendingChanges")["pending_vlans"].values()
    return [row["ifNum"] for row in interfaces], [row["id"] for row in vlans]


def pending(api: Api) -> None:
    """What is not in force is pending, all of it and nothing else."""
    access = [f"interface {port} switchport mode access" for port in (1, 2)]
    access += [f"interface {port} switchport access vlan 10" for port in (1, 2)]
    group = ["port-channel 1", "port-channel 1 member 5", "port-channel 1 member 6"]
    other = ["vlan 20", "vlan 20 routing 227", "interface 3 vlan 20 include"]
    script(api, "vlan 10", *access, *group, *other)

    for port in ("port4", "port6"):
        run("ip", "-n", api.lab.switch, "link", "del", port)
    wait_for("ports that went away", lambda: listed(api) == ([4, 6], []))
    do(api, "PUT", "/if/2/access/vlan?value=20")
    wait_for("the other ports", lambda: listed(api) == ([4, 6], []))
    assert trunks_of(api, 2) == {20}
    ping(api.lab, "h3", "h5")
    laboratory.add_wire(api.lab, 4, "h4", "eth0")
    laboratory.set_addresses(api.lab, "h4", 4)
    laboratory.add_wire(api.lab, 6, "h5", "eth1")
    settle(api)
    ping(api.lab, "h3", "h4")

    taken = "add-port br0 br0-v30 -- set interface br0-v30 type=internal"
    ovs_command(api.lab, "ovs-vsctl", *taken.split())
    apply(api, "vlan 30", "vlan 30 routing 228", "interface 3 vlan 30 include")
    wait_for("a name that is taken", lambda: listed(api) == ([228], []))
    assert trunks_of(api, 3) == {1, 20, 30}
    ovs_command(api.lab, "ovs-vsctl", "del-port", "br0-v30")
    settle(api)

    laboratory.stop(api.lab, "ovsdb", signal.SIGKILL)
    apply(api, "clear config")
    interfaces, vlans = listed(api)
    assert {1, 2, 3, 227} <= set(interfaces) and vlans == [10, 20, 30], (interfaces, vlans)
    laboratory.start_ovsdb(api.lab)
    settle(api)
    assert trunks_of(api, 2) == trunks_of(api, 3) == {1}


KEEPER = """
import sys; sys.path.insert(0, sys.argv[2])
import laboratory, pathlib
laboratory.NAME, laboratory.RUNNING = sys.argv[3], pathlib.Path("/run", sys.argv[3])
laboratory.keep(sys.argv[4], 2) if len(sys.argv) == 5 else laboratory.execute("h1", sys.argv[5:])
"""


def kept(api: Api) -> None:
    """What scripts/lab builds goes with Ctrl-C, or when the next one starts after it was killed."""
    name = f"{api.lab.name}k"
    engine = api.lab.folder / "engine-here"
    engine.write_text(f"#!/bin/sh\ncp {api.lab.folder}/ssl.pem .\nexec {os.environ['ENGINE']}\n")
    engine.chmod(0o755)
    scripts = str(Path(laboratory.__file__).parent)
    command = ["python3", "-c", KEEPER, "laboratory.py", scripts, name, str(engine)]

    def begun() -> subprocess.Popen[str]:
        keeper = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        assert keeper.stdout is not None and "2 ports" in keeper.stdout.readline()
        return keeper

    def left() -> list[Any]:
        folders = [*Path(tempfile.gettempdir()).glob(f"{name}-*"), *Path("/run").glob(name)]
        return folders + re.findall(rf"{name}-\w+", run("ip", "netns"))

    begun().kill()
    assert left()
    keeper = begun()
    ping_it = [*command, "ping", "-qc1", "h2"]
    wait_for("a ping", lambda: subprocess.run(ping_it, capture_output=True).returncode == 0)
    keeper.send_signal(signal.SIGINT)
    keeper.communicate()
    assert not left(), left()


TESTS: dict[str, Callable[[Api], None]] = {
    "readme": transcript.repeat,  # the first: its policy has the first number
    "counters": counters,
    "kept": kept,
    "many": many,
    "pending": pending,
    "walk": walk,
}
