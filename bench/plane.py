"""What bench/plane measures; ENGINE is the only argument."""

import json
import re
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Callable

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "scripts"))
import laboratory
from laboratory import Laboratory

VLANS = range(100, 200)
POLICIES = 50
FORWARDING = 3, 4  # rounds, seconds of each
RATES = 10, 1
HOSTS = {f"h{number}": [number] for number in (1, 2, 3, 4)}


def ask(port: int, key: str, method: str, path: str, **values: str | int) -> dict[str, object]:
    given = {"sessionkey": key, "format": "json", "method": method}
    variables = given | {name: str(value) for name, value in values.items()}
    url = f"http://127.0.0.1:{port}{path}?{urllib.parse.urlencode(variables)}"
    with urllib.request.urlopen(url, data=b"", timeout=10) as answer:
        result = json.loads(answer.read())["result"]
    assert isinstance(result, dict)
    return result


def log_in(port: int) -> str:
    data = ask(port, "", "POST", "/login", user="admin", password="admin")["rlt_data"]
    assert isinstance(data, dict)
    return str(data["sessionKey"])


def told(title: str, delays: list[float]) -> None:
    in_ms = sorted(1000 * delay for delay in delays)
    print(f"{title:44} median {statistics.median(in_ms):6.1f} ms   worst {in_ms[-1]:6.1f} ms")


def vlan_delays(port: int, key: str) -> list[float]:
    """From the answer until nothing is pending any more."""
    delays = []
    for vlan in VLANS:
        assert ask(port, key, "POST", f"/vlans/{vlan}")["rlt_code"] == 0
        time.sleep(0.1)
        assert ask(port, key, "POST", f"/if/1/vlan/{vlan}")["rlt_code"] == 0
        answered = time.monotonic()
        while '"1"' in json.dumps(ask(port, key, "GET", "/vlans/pendingChanges")):
            time.sleep(0.0005)
        delays.append(time.monotonic() - answered)
    return delays


def policy_delays(lab: Laboratory, port: int, key: str) -> list[float]:
    """From the answer until the bridge tells of the policy's flow."""
    watch = ["env", f"OVS_RUNDIR={lab.folder}", "ovs-ofctl", "monitor", "br0", "watch:!initial"]
    delays = []
    with subprocess.Popen(
        watch, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, bufsize=1
    ) as monitor:
        assert monitor.stdout is not None
        time.sleep(0.5)
        for number in range(POLICIES):
            drop: dict[str, str | int] = {
                "policyType": 1,
                "matchDstIp": f"10.7.0.{number}",
                "actionDrop": 1,
            }
            made = ask(port, key, "POST", "/tcam/policy", **drop)
            found = re.search(r"ID is (\d+)", str(made["rlt_mesg"]))
            assert found
            time.sleep(0.1)
            assert ask(port, key, "POST", f"/tcam/policy/{found[1]}/port/1")["rlt_code"] == 0
            answered = time.monotonic()
            cookie = f"cookie=0x52455354{int(found[1]):08x}"
            while cookie not in (line := monitor.stdout.readline()):
                assert line, "the monitor has ended"
            delays.append(time.monotonic() - answered)
        monitor.terminate()
    return delays


def iperf(lab: Laboratory, *options: str) -> dict[str, dict[str, float]]:
    server = subprocess.Popen(
        laboratory.host_command(lab, "h2", ["iperf3", "-s", "-1"]), stdout=subprocess.DEVNULL
    )
    listening = laboratory.in_space(lab.space("h2"), "ss", "-Hltn", "sport = :5201")
    laboratory.wait_for("iperf3", lambda: laboratory.run(*listening) != "")
    client = ["iperf3", "-J", "-t", str(FORWARDING[1]), "-c", "10.0.0.2", *options]
    said = laboratory.run(*laboratory.host_command(lab, "h1", client))
    server.wait(10)
    end: dict[str, dict[str, float]] = json.loads(said)["end"]
    return end


def forwarding(labs: dict[str, Laboratory]) -> None:
    tcp: dict[str, list[float]] = {name: [] for name in labs}
    udp: dict[str, list[float]] = {name: [] for name in labs}
    for _ in range(FORWARDING[0]):
        for name, lab in labs.items():
            tcp[name].append(iperf(lab)["sum_received"]["bits_per_second"] / 1e6)
            end = iperf(lab, "-u", "-b", "0", "-l", "64")["sum"]
            received = end["packets"] - end["lost_packets"]
            udp[name].append(received / end["seconds"] / 1000)
    for name in labs:
        print(
            f"{name:44} TCP {max(tcp[name]):7.0f} Mbit/s   64 bytes UDP {max(udp[name]):6.1f} k/s"
        )


def memory(lab: Laboratory) -> None:
    total = 0
    for name, process in lab.processes.items():
        rollup = Path(f"/proc/{process.pid}/smaps_rollup").read_text()
        kib = int(re.findall(r"^Pss: +(\d+)", rollup, re.M)[0])
        total += kib
        print(f"  {name:42} {kib / 1024:6.1f} MiB")
    print(f"{'proportional memory of all':44} {total / 1024:6.1f} MiB")


LUA = """
local turn = 0
request = function()
  turn = turn + 1
  local method = turn % 2 == 1 and "POST" or "DELETE"
  return wrk.format(method, "/vlans/" .. (2000 + math.floor((turn - 1) / 2) % 1000) .. "?QUERY")
end
"""


def rate(port: int, key: str, path: str) -> float:
    query = f"sessionkey={key}&format=json"
    words = ["wrk", "-t1", "-c1", f"-d{RATES[1]}s", f"http://127.0.0.1:{port}{path}?{query}"]
    with tempfile.NamedTemporaryFile("w", suffix=".lua") as script:
        script.write(LUA.replace("QUERY", query))
        script.flush()
        if path == "/vlans":
            words[1:1] = ["-s", script.name]
        said = laboratory.run(*words)
    found = re.search(r"Requests/sec: +([\d.]+)", said)
    assert found and "Non-2xx" not in said, said
    return float(found[1])


def busy_us(pid: int) -> float:
    """Processor time of the thread that answers."""
    return int(Path(f"/proc/{pid}/task/{pid}/schedstat").read_text().split()[0]) / 1000


def rates(engines: dict[str, tuple[int, int]]) -> None:
    """Of both engines, by port and process, in turns; the best of each counts, since whatever else
    the machine does only takes away."""
    keys = {name: log_in(port) for name, (port, _) in engines.items()}
    for title, path in (
        ("GET /if/3", "/if/3"),
        ("GET /if/3/counters", "/if/3/counters"),
        ("POST and DELETE /vlans/n", "/vlans"),
    ):
        best = dict.fromkeys(engines, 0.0)
        least = dict.fromkeys(engines, 1e9)
        for _ in range(RATES[0]):
            for name, (port, pid) in engines.items():
                before = busy_us(pid)
                held = rate(port, keys[name], path)
                best[name] = max(best[name], held)
                least[name] = min(least[name], (busy_us(pid) - before) / (held * RATES[1]))
        print(
            f"{title:28} {best['real']:6.0f} /s beside {best['simulated']:6.0f} /s: "
            f"{best['real'] / best['simulated']:.2f}   {least['real']:5.1f} us of the processor "
            f"beside {least['simulated']:5.1f}: {least['simulated'] / least['real']:.2f}"
        )


def plain_switch() -> Laboratory:
    """Open vSwitch alone, as it comes."""
    lab = laboratory.create("planebase", {"h1": [1], "h2": [2]})
    add = "add-br br0 -- set bridge br0 datapath_type=netdev -- add-port br0 port1 "
    laboratory.ovs_command(lab, "ovs-vsctl", *(add + "-- add-port br0 port2").split())
    for port in ("port1", "port2"):
        laboratory.run("ip", "-n", lab.switch, "link", "set", port, "up")
    return lab


def simulated_engine(lab: Laboratory, engine: str) -> tuple[int, int]:
    """An engine with as many ports, in a folder of its own; its port and process."""
    other = Laboratory(lab.name, {}, lab.folder / "simulated")
    other.folder.mkdir()
    laboratory.make_certificate(other)
    profile = json.dumps({"lags": [], "ports": 4})
    (other.folder / "profile.json").write_text(profile)
    port = laboratory.start_engine_in(other, engine)
    lab.processes["simulated"] = other.processes["engine"]
    return port, lab.processes["simulated"].pid


def measure(lab: Laboratory, engine: str, undo: list[Callable[[], None]]) -> None:
    laboratory.make_certificate(lab)
    port = laboratory.start_engine(lab, engine)
    key = log_in(port)
    time.sleep(2)
    memory(lab)
    told(f"VLAN membership in force, of {len(VLANS)}", vlan_delays(port, key))
    told(f"policy in force, of {POLICIES}", policy_delays(lab, port, key))
    plain = plain_switch()
    undo.append(lambda: laboratory.destroy(plain))
    forwarding({"plain Open vSwitch": plain, f"the switch with {POLICIES} policies": lab})
    real = port, lab.processes["engine"].pid
    rates({"real": real, "simulated": simulated_engine(lab, engine)})


def main() -> None:
    lab = laboratory.create("planebench", HOSTS)
    undo: list[Callable[[], None]] = [lambda: laboratory.destroy(lab)]
    try:
        measure(lab, sys.argv[1], undo)
    finally:
        for take_away in reversed(undo):
            take_away()


if __name__ == "__main__":
    main()
