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


def perform(api: Api, command: str) -> str:
    """What a command of the walk says. It names the laboratory of scripts/lab and its ports."""
    if (word := "scripts/lab exec ") and command.startswith(word):
        host, *rest = shlex.split(command.removeprefix(word))
        words = laboratory.host_command(api.lab, host, rest)
    else:
        words = [
            "bash",
            "-c",
            command.replace("curl ", "curl -s ").replace(":8080", f":{api.port}"),
        ]
    done = subprocess.run(
        words,
        capture_output=True,
        text=True,
        check=False,
        env={"KEY": api.key, "PATH": "/bin:/sbin"},
    )
    return done.stdout.strip("\n")


def steps() -> list[tuple[str, str]]:
    """Commands of the section, and what the section says that they answer."""
    section = SECTION.search(README.read_text())
    assert section, "the README has no walk through the laboratory"
    found = []
    for block in re.findall(r"```sh\n(.*?)```", section[0], re.S):
        for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
            command, _, answer = part.partition("\n")
            found.append((command, answer.strip("\n")))
    return found


def essence(answer: str) -> str:
    """What is the same in every run."""
    lost = LOST.search(answer)
    return lost[0] if lost else KEY.sub("KEY", answer)


def repeat(api: Api) -> None:
    for command, wanted in steps():
        if command.startswith("KEY="):
            continue  # the test's own
        said = ""

        def as_told() -> bool:
            nonlocal said
            said = perform(api, command)
            return essence(said) == essence(wanted)

        # what a ping says may be ahead of the ports by a moment; a request is made once
        if LOST.search(wanted):
            laboratory.wait_for(f"{command} to say {essence(wanted)!r}", as_told)
        else:
            assert as_told(), f"{command}: {said!r} is not {wanted!r}"
