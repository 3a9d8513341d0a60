"""The engine's API as the laboratory's tests use it, and packets beside it."""

import json
import re
import subprocess
import sys
import urllib.parse
import urllib.request
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import laboratory as laboratory
from laboratory import Laboratory

SETTLE_S = 20
Answer = dict[str, Any]


@dataclass
class Api:
    lab: Laboratory
    port: int
    key: str = ""
    policy: str = ""  # the one made last


def answer(api: Api, method: str, path: str, **values: object) -> str:
    """What one request is answered."""
    variables = {"sessionkey": api.key, "format": "json", "method": method} | values
    sign = "&" if "?" in path else "?"
    url = f"http://127.0.0.1:{api.port}{path}{sign}{urllib.parse.urlencode(variables)}"
    with urllib.request.urlopen(url, data=b"", timeout=SETTLE_S) as reply:
        text: str = reply.read().decode()
    return text


def ask(api: Api, method: str, path: str, **values: object) -> Answer:
    """One request; its "result"."""
    result: Answer = json.loads(answer(api, method, path, **values))["result"]
    return result


def do(api: Api, method: str, path: str, code: int = 0, **values: object) -> Answer:
    """One request that is to be answered with this code."""
    result = ask(api, method, path, **values)
    assert result["rlt_code"] == code, f"{method} {path} {values}: {result}"
    return result


def get(api: Api, path: str) -> Answer:
    data: Answer = do(api, "GET", path)["rlt_data"]
    return data


def log_in(api: Api) -> None:
    data = do(api, "POST", "/login", user="admin", password="admin")["rlt_data"]
    api.key = data["sessionKey"]


def pending(api: Api) -> bool:
    """Also while the switch starts again, and says nothing else."""
    answers = [ask(api, "GET", f"/{area}/pendingChanges") for area in ("vlans", "if")]
    return any(
        result["rlt_code"] != 0 or '"1"' in json.dumps(result["rlt_data"]) for result in answers
    )


def apply(api: Api, *lines: str) -> None:
    """Runs lines of configuration."""
    flash = api.lab.folder / "flash"
    flash.mkdir(exist_ok=True)
    (flash / "lab.scr").write_text("\n".join(lines) + "\n")
    do(api, "POST", "/script/apply", scr="lab.scr")


def script(api: Api, *lines: str) -> None:
    """The same, and waits until they are in force."""
    apply(api, *lines)
    settle(api)


def settle(api: Api) -> None:
    laboratory.wait_for("pending changes", lambda: not pending(api), SETTLE_S)


# ---- packets ----


def inside(lab: Laboratory, host: str, *command: str) -> subprocess.CompletedProcess[str]:
    words = laboratory.host_command(lab, host, list(command))
    return subprocess.run(words, capture_output=True, text=True, check=False)


def pings(lab: Laboratory, host: str, target: str, *more: str, count: int = 1) -> int:
    """How many of so many pings are answered."""
    done = inside(lab, host, "ping", "-c", str(count), "-i", "0.2", "-W", "0.3", *more, target)
    found = re.search(r" (\d+) received", done.stdout)
    return int(found[1]) if found else 0


def ping(lab: Laboratory, host: str, target: str, *more: str) -> None:
    """Sooner or later there is an answer."""
    laboratory.wait_for(
        f"{host} to reach {target}", lambda: pings(lab, host, target, *more) > 0, 10
    )


def no_ping(lab: Laboratory, host: str, target: str, *more: str) -> None:
    """Sooner or later there is no answer, and none comes any more."""
    laboratory.wait_for(
        f"{host} not to reach {target}", lambda: pings(lab, host, target, *more) == 0, 5
    )
    assert pings(lab, host, target, *more, count=2) == 0, f"{host} reaches {target}"


def capture(
    lab: Laboratory, host: str, filter_: str, cause: Callable[[], object], seconds: float = 5
) -> str:
    """The first frame on a host's interface that the filter lets through, while its cause happens
    again and again; empty when none comes."""
    words = f"timeout {seconds} tcpdump -lnneA -c 1 -i eth0 {filter_}".split()
    with subprocess.Popen(
        laboratory.host_command(lab, host, words),
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        errors="replace",
    ) as dump:
        assert dump.stderr is not None and dump.stdout is not None
        while "listening on" not in (line := dump.stderr.readline()):
            assert line, f"tcpdump: {filter_}"
        while dump.poll() is None:
            cause()
        return dump.stdout.read().strip()


FRAME = """
import socket, struct, sys
link = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
link.bind(("eth0", 0))
tag = struct.pack("!HH", 0x8100, int(sys.argv[1])) if sys.argv[1:] else b""
link.send(bytes([0xff]) * 6 + link.getsockname()[4] + tag + bytes([0x88, 0xb5]) + bytes(46))
"""


def frame(tag: str | None) -> list[str]:
    """The command that sends a frame to everybody."""
    return ["python3", "-c", FRAME, *([tag] if tag else [])]


FRAMES = "ether proto 0x88b5"
