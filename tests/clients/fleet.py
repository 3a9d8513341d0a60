"""Many engines as on switches: the released program on its own ports, each in a namespace with an
address of its own. To be run in a network and mount namespace apart (unshare --net --mount)."""

import os
import subprocess
import time
from contextlib import contextmanager
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from engines import ROOT, make_certificate, wait_for

ENGINE = Path(os.environ.get("RELEASED_ENGINE", ROOT / "build/release/bin/restful_api_engine"))
NETWORK = "10.255"


@dataclass
class FleetSwitch:
    name: str
    address: str
    folder: Path
    process: "subprocess.Popen[bytes] | None" = None

    def calls(self, name: str) -> int:
        return (self.folder / "trace").read_text().count(f"{name}(")


def ip(*commands: str) -> None:
    text = "".join(f"{one}\n" for one in commands)
    subprocess.run(["ip", "-batch", "-"], input=text, text=True, check=True)


def start(switch: FleetSwitch) -> None:
    """In a root of its own as far as the engine's fixed places go."""
    place = (
        f"mount -t tmpfs none /mnt && mkdir -p /mnt/tarvexia/user-apps && "
        f"cp ssl.pem /mnt/tarvexia && mount --bind . /tmp && exec {ENGINE}"
    )
    environment = os.environ | {"SWITCHSIM_TRACE": "trace"}
    with open(switch.folder / "log", "ab") as log:
        switch.process = subprocess.Popen(
            ["ip", "netns", "exec", switch.name, "sh", "-c", place],
            cwd=switch.folder,
            env=environment,
            stdout=log,
            stderr=log,
        )


def wait_listening(switch: FleetSwitch) -> None:
    def listening() -> bool | None:
        assert switch.process and switch.process.poll() is None, (switch.folder / "log").read_text()
        pid = switch.process.pid
        table = Path(f"/proc/{pid}/net/tcp").read_text()
        return True if ":1F90 " in table and ":20FE " in table else None

    wait_for(f"{switch.name}'s ports", listening, 60)


@contextmanager
def fleet(names: list[str], top: Path) -> Iterator[list[FleetSwitch]]:
    """Switches with these names behind one bridge."""
    subprocess.run(["mount", "-t", "tmpfs", "none", "/run"], check=True)
    ip("link set lo up", "link add fleet type bridge", "link set fleet up")
    ip(f"addr add {NETWORK}.255.254/16 dev fleet")
    make_certificate(top)
    switches = []
    try:
        for number, name in enumerate(names, 1):
            switch = FleetSwitch(name, f"{NETWORK}.0.{number}", top / name)
            switch.folder.mkdir()
            (switch.folder / "ssl.pem").write_text((top / "ssl.pem").read_text())
            subprocess.run(["ip", "netns", "add", name], check=True)
            ip(
                f"link add v{number} type veth peer name eth0 netns {name}",
                f"link set v{number} master fleet up",
            )
            inside = f"addr add {switch.address}/16 dev eth0\nlink set eth0 up\nlink set lo up\n"
            batch = ["ip", "-n", name, "-batch", "-"]
            subprocess.run(batch, input=inside, text=True, check=True)
            start(switch)
            switches.append(switch)
        for switch in switches:
            wait_listening(switch)
        yield switches
    finally:
        for switch in switches:
            if switch.process:
                switch.process.kill()
                switch.process.wait()
            subprocess.run(["ip", "netns", "del", switch.name], check=True)
        ip("link del fleet")
        subprocess.run(["umount", "--lazy", "/run"], check=True)
