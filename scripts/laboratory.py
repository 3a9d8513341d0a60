#!/usr/bin/env python3
"""A laboratory of network namespaces: a switch with real ports (Open vSwitch, FRR), a host on each
port, and the engine in front of them.

  laboratory.py run ENGINE [PORTS]   builds one and keeps it until Ctrl-C; what scripts/lab starts
  laboratory.py exec HOST COMMAND    runs a command in a host of that laboratory

Everything lives in namespaces and in one temporary folder, and goes away with them. Host hN
has the address 10.0.0.N in the network that all share, which is what its name means to the others,
and 10.0.N.2 with the router 10.0.N.1 in a network of its own; fd00::N (hNv6) and fd00:N::2 with
fd00:N::1 likewise.
"""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

NAME = "lab"  # of the one that scripts/lab builds
RUNNING = Path("/run/rest-lab.json")
OVS_SCHEMA = "/usr/share/openvswitch/vswitch.ovsschema"
FRR_DAEMONS = Path("/usr/lib/frr")
WAIT_S = 30
BRIDGE = "br0"


class LaboratoryError(Exception):
    """What stands in the way, as one line."""


@dataclass
class Laboratory:
    """name: of the namespaces, before "-sw" and "-h1"; hosts: each with the switch's ports that it
    is on, its own interfaces being eth0, eth1 and so on."""

    name: str
    hosts: dict[str, list[int]]
    folder: Path
    processes: dict[str, subprocess.Popen[bytes]] = field(default_factory=dict)

    @property
    def switch(self) -> str:
        return f"{self.name}-sw"

    def space(self, host: str) -> str:
        return f"{self.name}-{host}"

    @property
    def spaces(self) -> list[str]:
        return [self.switch, *map(self.space, self.hosts)]


def missing() -> str:
    """What the machine lacks for a laboratory; empty when nothing."""
    if os.geteuid() != 0:
        return "needs root"
    if not Path("/dev/net/tun").exists():
        return "needs /dev/net/tun"
    for tool in ("ip", "ovs-vswitchd", "ovsdb-server", "ethtool", "ping"):
        if shutil.which(tool) is None:
            return f"needs {tool}"
    if not (FRR_DAEMONS / "bgpd").exists():
        return "needs FRR"
    tried = subprocess.run(["unshare", "--net", "true"], capture_output=True, check=False)
    return "" if tried.returncode == 0 else "needs network namespaces"


def run(*command: str) -> str:
    """A command that must go well; its output."""
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", check=False)
    if done.returncode != 0:
        said = (done.stderr or done.stdout).strip().splitlines()
        raise LaboratoryError(f"{' '.join(command)}: {said[-1] if said else done.returncode}")
    return done.stdout


def wait_for(what: str, condition: Callable[[], bool], seconds: float = WAIT_S) -> None:
    limit = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > limit:
            raise LaboratoryError(f"waited in vain for {what}")
        time.sleep(0.02)


def in_space(space: str, *command: str) -> list[str]:
    return ["ip", "netns", "exec", space, *command]


def spawn(
    lab: Laboratory, name: str, command: list[str], env: dict[str, str] | None = None
) -> None:
    """Starts a daemon that ends with the laboratory; its output is in a log of its name."""
    with open(lab.folder / f"{name}.log", "ab") as log:
        lab.processes[name] = subprocess.Popen(
            command,
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
            cwd=lab.folder,
            env=os.environ | (env or {}),
            start_new_session=True,
        )


def stop(lab: Laboratory, name: str, sign: signal.Signals = signal.SIGTERM) -> None:
    process = lab.processes.pop(name)
    process.send_signal(sign)
    try:
        process.wait(WAIT_S)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def last_words(lab: Laboratory, name: str) -> str:
    lines = (lab.folder / f"{name}.log").read_text(errors="replace").splitlines()
    return lines[-1] if lines else "ended without a word"


# ---- namespaces and wires ----


def add_space(space: str) -> None:
    run("ip", "netns", "add", space)
    run("ip", "-n", space, "link", "set", "lo", "up")


def add_wire(lab: Laboratory, port: int, host: str, interface: str) -> None:
    space = lab.space(host)
    run(
        *("ip", "-n", lab.switch, "link", "add", f"port{port}", "type", "veth"),
        *("peer", "name", interface, "netns", space),
    )
    # frames between namespaces carry no checksums that another machine's would not
    run(*in_space(space, "ethtool", "-K", interface, "tx", "off"))
    run("ip", "-n", space, "link", "set", interface, "up")


def set_addresses(lab: Laboratory, host: str, number: int) -> None:
    """Those of IPv6 and the routes go when the link goes, and come again like this."""
    space = lab.space(host)
    for address in (
        f"10.0.0.{number}/24",
        f"10.0.{number}.2/24",
        f"fd00::{number}/64",
        f"fd00:{number}::2/64",
    ):
        extra = ("nodad",) if ":" in address else ()
        run("ip", "-n", space, "addr", "replace", address, "dev", "eth0", *extra)
    run("ip", "-n", space, "route", "replace", "default", "via", f"10.0.{number}.1")
    run("ip", "-n", space, "route", "replace", "default", "via", f"fd00:{number}::1")


def wire(lab: Laboratory) -> None:
    lab.folder.chmod(0o711)
    add_space(lab.switch)
    names = ["127.0.0.1 localhost", "::1 localhost"]
    for number, (host, ports) in enumerate(lab.hosts.items(), start=1):
        add_space(lab.space(host))
        for index, port in enumerate(ports):
            add_wire(lab, port, host, f"eth{index}")
        set_addresses(lab, host, number)
        names += [f"10.0.0.{number} {host}", f"fd00::{number} {host}v6"]
    (lab.folder / "hosts").write_text("\n".join(names) + "\n")


def host_command(lab: Laboratory, host: str, command: list[str]) -> list[str]:
    """Runs in a host, where the names of the hosts are known."""
    script = f'mount --bind {lab.folder / "hosts"} /etc/hosts && exec "$@"'
    inside = ["unshare", "--mount", "sh", "-c", script, "sh", *command]
    return in_space(lab.space(host), *inside)


# ---- the daemons ----


def ovs_folder(lab: Laboratory, space: str) -> Path:
    folder = lab.folder / f"ovs-{space}" if space else lab.folder
    folder.mkdir(exist_ok=True)
    return folder


def ovs_command(lab: Laboratory, tool: str, *arguments: str, space: str = "") -> str:
    """ovs-vsctl, ovs-ofctl or ovs-appctl of the switch, or of the one in a host's namespace."""
    folder = ovs_folder(lab, space)
    where = {
        "ovs-vsctl": [f"--db=unix:{folder}/db.sock"],
        "ovs-ofctl": ["-O", "OpenFlow14"],
        "ovs-appctl": ["-t", f"{folder}/vswitchd.ctl"],
    }
    return run("env", f"OVS_RUNDIR={folder}", tool, *where[tool], *arguments)


def start_ovsdb(lab: Laboratory, space: str = "") -> None:
    """The database of the switch, or of a second one in a host's namespace."""
    folder = ovs_folder(lab, space)
    data = folder / "conf.db"
    socket = folder / "db.sock"
    if not data.exists():
        run("ovsdb-tool", "create", str(data), OVS_SCHEMA)
    socket.unlink(missing_ok=True)
    command = ["ovsdb-server", str(data), f"--remote=punix:{socket}"]
    command += [f"--unixctl={folder}/ovsdb.ctl", "-vsyslog:off"]
    spawn(
        lab, f"ovsdb{space}", in_space(space or lab.switch, *command), {"OVS_RUNDIR": str(folder)}
    )
    wait_for("ovsdb-server", socket.exists)


def start_vswitchd(lab: Laboratory, space: str = "") -> None:
    folder = ovs_folder(lab, space)
    control = folder / "vswitchd.ctl"
    control.unlink(missing_ok=True)
    command = ["ovs-vswitchd", f"unix:{folder}/db.sock", "--disable-system"]
    command += [f"--unixctl={control}", "-vsyslog:off"]
    spawn(
        lab,
        f"vswitchd{space}",
        in_space(space or lab.switch, *command),
        {"OVS_RUNDIR": str(folder)},
    )
    wait_for("ovs-vswitchd", control.exists)


def start_frr(lab: Laboratory, daemon: str, space: str, configuration: str = "") -> Path:
    """zebra or bgpd in a namespace; the folder of its sockets."""
    folder = lab.folder / f"frr-{space}"
    folder.mkdir(exist_ok=True)
    config = folder / f"{daemon}.conf"
    config.write_text(configuration)
    shutil.chown(folder, "frr", "frr")
    shutil.chown(config, "frr", "frr")
    (folder / f"{daemon}.vty").unlink(missing_ok=True)
    command = [str(FRR_DAEMONS / daemon), "-f", str(config), "-i", str(folder / f"{daemon}.pid")]
    command += ["-z", str(folder / "zserv.api"), "--vty_socket", str(folder), "-P", "0"]
    command += ["-u", "frr", "-g", "frr", "--log", "stdout"]
    spawn(lab, f"{daemon}-{space}", in_space(space, *command))
    wait_for(daemon, (folder / f"{daemon}.vty").exists)
    return folder


def start_daemons(lab: Laboratory) -> None:
    start_ovsdb(lab)
    ovs_command(lab, "ovs-vsctl", "--no-wait", "init")
    start_vswitchd(lab)
    start_frr(lab, "zebra", lab.switch)
    start_frr(lab, "bgpd", lab.switch)


# ---- the engine ----


def profile(lab: Laboratory) -> dict[str, object]:
    ports = sorted(port for held in lab.hosts.values() for port in held)
    return {
        "lags": [],
        "flash": str(lab.folder / "flash"),
        "plane": {
            "type": "ovs",
            "ovsdb": f"unix:{lab.folder}/db.sock",
            "bridge": BRIDGE,
            "openflow": f"unix:{lab.folder}/{BRIDGE}.mgmt",
            "frr": str(lab.folder / f"frr-{lab.switch}"),
            "netns": f"/run/netns/{lab.switch}",
            "ports": {str(port): f"port{port}" for port in ports},
        },
    }


def make_certificate(lab: Laboratory) -> None:
    """For an engine whose certificate is in the folder that it runs in."""
    run(
        *("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"),
        *("-nodes", "-days", "30", "-subj", "/CN=localhost"),
        *("-keyout", str(lab.folder / "key.pem"), "-out", str(lab.folder / "certificate.pem")),
    )
    parts = ("certificate.pem", "key.pem")
    (lab.folder / "ssl.pem").write_text("".join((lab.folder / part).read_text() for part in parts))


def start_engine(lab: Laboratory, engine: str) -> int:
    """Starts the engine before the switch; the port where it answers HTTP."""
    (lab.folder / "profile.json").write_text(json.dumps(profile(lab)))
    return start_engine_in(lab, engine)


def start_engine_in(lab: Laboratory, engine: str) -> int:
    """The same, with the profile that is in the folder."""
    spawn(
        lab,
        "engine",
        [str(Path(engine).absolute())],
        {"SWITCHSIM_PROFILE": str(lab.folder / "profile.json")},
    )
    process = lab.processes["engine"]
    found: list[int] = []

    def listening() -> bool:
        if process.poll() is not None:
            raise LaboratoryError(f"the engine: {last_words(lab, 'engine')}")
        sockets = re.findall(rf":(\d+) .*pid={process.pid},fd=(\d+)", run("ss", "-Hltnp"))
        # plain HTTP is opened first, so its descriptor is the lower one
        found[:] = [int(port) for port, _ in sorted(sockets, key=lambda socket: int(socket[1]))]
        return len(found) >= 2

    wait_for("the engine", listening)
    return found[0]


def living(lab: Laboratory) -> list[int]:
    """Processes in its namespaces, whoever has started them, and its engine."""
    found = [
        int(pid)
        for space in lab.spaces
        for pid in subprocess.run(
            ["ip", "netns", "pids", space], capture_output=True, text=True, check=False
        ).stdout.split()
    ]
    profiled = f"SWITCHSIM_PROFILE={lab.folder}/profile.json".encode()
    for process in Path("/proc").glob("[0-9]*"):
        try:
            if profiled in (process / "environ").read_bytes().split(b"\0"):
                found.append(int(process.name))
        except OSError:
            pass  # it has ended
    return found


def destroy(lab: Laboratory) -> None:
    """Takes everything away, whatever state it is in."""
    for name in reversed(list(lab.processes)):
        stop(lab, name)
    for pid in living(lab):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    wait_for("its processes to end", lambda: not living(lab))
    for space in lab.spaces:
        subprocess.run(["ip", "netns", "del", space], capture_output=True, check=False)
    shutil.rmtree(lab.folder, ignore_errors=True)


def build(lab: Laboratory) -> None:
    """All but its engine."""
    wire(lab)
    start_daemons(lab)


def create(name: str, hosts: dict[str, list[int]]) -> Laboratory:
    """A laboratory without its engine."""
    lab = Laboratory(name, hosts, Path(tempfile.mkdtemp(prefix=f"{name}-")))
    try:
        build(lab)
    except BaseException:
        destroy(lab)
        raise
    return lab


# ---- what scripts/lab does ----


def remember(lab: Laboratory) -> None:
    """Before there is anything to be taken away; whole or not at all."""
    fresh = RUNNING.with_suffix(".new")
    fresh.write_text(
        json.dumps({"pid": os.getpid(), "folder": str(lab.folder), "hosts": lab.hosts})
    )
    fresh.rename(RUNNING)


def remembered() -> tuple[Laboratory, int] | None:
    """The laboratory that there is, or was until it was killed, and the process that keeps it: 0
    when that has ended."""
    if not RUNNING.exists():
        return None
    held = json.loads(RUNNING.read_text())
    try:
        command = Path(f"/proc/{held['pid']}/cmdline").read_text(errors="replace")
    except OSError:
        command = ""
    keeper = held["pid"] if Path(__file__).name in command else 0
    return Laboratory(NAME, held["hosts"], Path(held["folder"])), keeper


def keep(engine: str, ports: int) -> None:
    if before := remembered():
        left, keeper = before
        if keeper:
            raise LaboratoryError(f"one is running already (process {keeper})")
        destroy(left)
    signs = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    for sign in signs:
        signal.signal(sign, signal.default_int_handler)
    hosts = {f"h{port}": [port] for port in range(1, ports + 1)}
    lab = Laboratory(NAME, hosts, Path(tempfile.mkdtemp(prefix=f"{NAME}-")))
    try:
        remember(lab)
        build(lab)
        http = start_engine(lab, engine)
        print(f"A switch with {ports} ports and a host on each: h1 to h{ports}")
        print(f"  HTTP   http://127.0.0.1:{http}")
        print("  Login  admin / admin")
        print(f"  Files  {lab.folder}\n")
        program = os.environ.get("LAB_PROGRAM", "scripts/lab")
        print(f"Try: {program} exec h1 ping -c 3 h2        (Ctrl-C here takes everything away)")
        sys.stdout.flush()
        while lab.processes["engine"].poll() is None:
            time.sleep(0.2)
        raise LaboratoryError(f"the engine has ended: {last_words(lab, 'engine')}")
    except KeyboardInterrupt:
        print()
    finally:
        for sign in signs:
            signal.signal(sign, signal.SIG_IGN)
        destroy(lab)
        RUNNING.unlink(missing_ok=True)


def execute(host: str, command: list[str]) -> None:
    there = remembered()
    if there is None or not there[1]:
        raise LaboratoryError("none is running")
    lab, _ = there
    if host not in lab.hosts:
        raise LaboratoryError(f"no host {host}; there are {', '.join(lab.hosts)}")
    words = host_command(lab, host, command)
    os.execvp(words[0], words)


def main() -> None:
    match sys.argv[1:]:
        case ["run", engine, *rest] if len(rest) <= 1:
            lacks = missing()
            if lacks:
                raise LaboratoryError(lacks)
            keep(engine, int(rest[0]) if rest else 4)
        case ["exec", host, *command] if command:
            execute(host, command)
        case _:
            raise LaboratoryError("run ENGINE [PORTS], or exec HOST COMMAND")


if __name__ == "__main__":
    try:
        main()
    except LaboratoryError as error:
        print(f"lab: {error}", file=sys.stderr)
        sys.exit(1)
