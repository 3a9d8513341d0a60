"""The README's walk through the laboratory, run again."""

import re
import shlex
import subprocess
from pathlib import Path

from api import Api, laboratory

README = Path(__file__).resolve().parents[2] / "README.md"
SECTION = re.compile(r"## Real packets\n.*?(?=\n## )", re.S)
KEY = re.compile(r"[0-9a-f]{32}")
LOST = re.compile(r"\d+ packets transmitted, \d+ received, \d+% packet loss")
IN_HOST = "scripts/lab exec "


def perform(api: Api, command: str) -> str:
    """What a command of the walk says. It names the laboratory of scripts/lab and its ports."""
    if command.startswith(IN_HOST):
        host, *rest = shlex.split(command.removeprefix(IN_HOST))
        words = laboratory.host_command(api.lab, host, rest)
    else:
        here = command.replace("curl ", "curl -s ").replace(":8080", f":{api.port}")
        words = ["bash", "-c", here]
    env = {"KEY": api.key, "PATH": "/bin:/sbin"}
    done = subprocess.run(words, capture_output=True, text=True, check=False, env=env)
    return done.stdout.strip("\n")


def essence(answer: str) -> str:
    """What is the same in every run."""
    lost = LOST.search(answer)
    return lost[0] if lost else KEY.sub("KEY", answer)


def repeat(api: Api) -> None:
    section = SECTION.search(README.read_text())
    assert section, "the README has no walk through the laboratory"
    blocks = "".join(re.findall(r"```sh\n(.*?)```", section[0], re.S))
    for step in re.split(r"^\$ ", blocks, flags=re.M)[1:]:
        command, _, told = step.partition("\n")
        wanted = essence(told.strip("\n"))
        if command.startswith("KEY="):
            continue  # the test's own
        # what a ping says may be ahead of the ports by a moment; a request is made once
        if LOST.search(wanted):
            laboratory.wait_for(
                f"{command}: {wanted}", lambda: essence(perform(api, command)) == wanted
            )
        else:
            assert (said := essence(perform(api, command))) == wanted, f"{command}: {said}"
