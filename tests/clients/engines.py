"""Running engines on simulated switches, each in a folder and on ports of its own."""

import json
import os
import re
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, TypeVar

ROOT = Path(__file__).resolve().parents[2]
ENGINE = os.environ.get("ENGINE", str(ROOT / "build/debug/bin/restful_api_engine"))

T = TypeVar("T")


def wait_for(what: str, condition: Callable[[], T | None], seconds: float = 30) -> T:
    limit = time.monotonic() + seconds
    while time.monotonic() < limit:
        if (value := condition()) is not None:
            return value
        time.sleep(0.02)
    raise TimeoutError(f"{what}: not within {seconds} seconds")


def make_certificate(folder: Path, names: str = "DNS:localhost,IP:127.0.0.1") -> None:
    """ssl.pem: a self-signed certificate with its key."""
    options = "-x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 60"
    subject = f"-subj /CN=localhost -addext subjectAltName={names} -keyout - -out -"
    command = ["openssl", "req", *options.split(), *subject.split()]
    pem = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    (folder / "ssl.pem").write_text(pem)


def listening_ports(pid: int) -> list[int]:
    """The ports that the process listens on, in the order in which it opened them."""
    table = subprocess.run(["ss", "-Hltnp"], check=True, capture_output=True, text=True).stdout
    found = re.findall(rf":(\d+) .*pid={pid},fd=(\d+)\)", table)
    return [int(port) for port, _ in sorted(found, key=lambda one: int(one[1]))]


@dataclass
class Engine:
    folder: Path
    process: "subprocess.Popen[bytes]"
    url: str = ""
    tls_url: str = ""

    def calls(self, name: str) -> int:
        """How often a call of the management API was made."""
        return (self.folder / "trace").read_text().count(f"{name}(")


def start_engine(folder: Path, profile: dict[str, Any] | None = None) -> Engine:
    """Does not wait: several can start at once. wait_listening fills in the URLs."""
    (folder / "user-apps").mkdir(exist_ok=True)
    (folder / "profile.json").write_text(json.dumps(profile or {}))
    environment = os.environ | {
        "SWITCHSIM_PROFILE": "profile.json",
        "SWITCHSIM_TRACE": "trace",
        # a process that cannot see this one would take its flash for left behind
        "TMPDIR": str(folder),
    }
    with open(folder / "log", "ab") as log:
        process = subprocess.Popen([ENGINE], cwd=folder, env=environment, stdout=log, stderr=log)
    return Engine(folder, process)


def wait_listening(engine: Engine) -> None:
    def ports() -> list[int] | None:
        assert engine.process.poll() is None, (engine.folder / "log").read_text()
        found = listening_ports(engine.process.pid)
        return found if len(found) == 2 else None

    plain, tls = wait_for("the engine's ports", ports)
    engine.url, engine.tls_url = f"http://127.0.0.1:{plain}", f"https://127.0.0.1:{tls}"


@contextmanager
def running(count: int, profile: dict[str, Any] | None = None) -> Iterator[list[Engine]]:
    """So many engines with one certificate; a crash of one fails the test."""
    with tempfile.TemporaryDirectory() as top:
        make_certificate(Path(top))
        engines = []
        try:
            for number in range(count):
                folder = Path(top, str(number))
                folder.mkdir()
                (folder / "ssl.pem").symlink_to(Path(top, "ssl.pem"))
                engines.append(start_engine(folder, profile))
            for engine in engines:
                wait_listening(engine)
            yield engines
            for engine in engines:
                assert engine.process.poll() is None, (engine.folder / "log").read_text()
        finally:
            for engine in engines:
                engine.process.kill()
                engine.process.wait()


if __name__ == "__main__":  # one, for whoever is not Python: until the input ends
    with running(1) as [alone]:
        print(alone.url, flush=True)
        sys.stdin.read()
        assert not (complaints := (alone.folder / "log").read_text().strip()), complaints
