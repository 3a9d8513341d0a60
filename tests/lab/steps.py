"""Scripts of requests, as those of tests/api (tests/support/api_script.h tells of them), with packets
beside them. Each test begins with nothing configured, and a change is followed by a wait until it
is in force. "contains", "lacks", "until" and "until no" stand behind steps or below them, with a
regular expression. $mac1 stands for the MAC address of h1, $policy for the id of the policy that was
made last. What such a script has besides:

  config LINE; LINE             applied as configuration
  ping h1 h2 -Q 4, h2 h1        sooner or later h1 gets an answer from h2, and h2 one from h1
  no ping h1 h2                 sooner or later it gets none, and none comes any more
  frames h1 to h2 vlan 10       broadcasts without a tag from h1 come to h2 with this one
  frames h1 tag 20 to h2        those with this tag come without one
  no frames h1 tag 20 to h2     sooner or later they do not come in any form
  capture h2 udp port 514       what this filter of tcpdump sees at h2, nothing if nothing is expected,
    while PUT /x                while this is asked for
  in h1 COMMAND                 a command in a host, or in the switch (sw)
  ovs-ofctl ARGUMENTS           a tool of Open vSwitch, about the switch
  vty h4 LINE | LINE            lines for bgpd in a host, or in the switch
  kill vswitchd, start vswitchd a daemon, or the engine
  second switch h5              in a host's place, with a port channel on all its ports
  second router h4              FRR in a host; the lines below are its configuration
  addresses h1                  those of a host again, which go with its link
  traffic h1 h2                 many pings, which go on meanwhile
  traffic arrives               all of them were answered
"""

import os
import re
import signal
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

from api import FRAMES, Api, answer, capture, frame, inside, laboratory
from api import log_in, no_ping, ping, script, settle
from laboratory import ovs_command, run, wait_for

EXPECTATION = re.compile(r" +(result|contains|lacks|until no|until|while) (.*)")
traffic: list[subprocess.Popen[str]] = []


@dataclass
class Step:
    line: int
    text: str
    below: list[str] = field(default_factory=list)
    act: Callable[[Api], None] | None = None  # in the place of a text


def read(path: Path) -> dict[str, list[Step]]:
    """The tests of a file, by name."""
    tests: dict[str, list[Step]] = {}
    names: dict[str, str] = {}
    steps: list[Step] = []
    for number, line in enumerate(path.read_text().splitlines(), start=1):
        for name, text in names.items():
            line = line.replace(name, text)
        if not line or line.startswith("#"):
            continue
        if line.startswith("    "):
            steps[-1].text += line.removeprefix("   ")
        elif line.startswith("let "):
            _, name, names[name] = line.split(" ", 2)
        elif line.startswith("test "):
            steps = tests[f"{path.stem}: {line.removeprefix('test ')}"] = []
        elif line.startswith(" "):
            steps[-1].below.append(line.strip())
        elif found := EXPECTATION.search(line):
            steps.append(Step(number, line[: found.start()], [found[0].strip()]))
        else:
            steps.append(Step(number, line))
    return tests


def judge(said: Callable[[], str], expectations: list[str]) -> str:
    """What was said, held against what is expected; said again until it is."""
    heard = said()
    for expectation in expectations:
        found = EXPECTATION.fullmatch(f" {expectation}")
        assert found, f"no such word: {expectation}"
        word, text = found.groups()
        if word.startswith("until"):
            wanted = word == "until"
            wait_for(expectation, lambda: bool(re.search(text, said(), re.S)) == wanted)
        else:
            assert bool(re.search(text, heard, re.S)) == (word == "contains"), (expectation, heard)
    return heard


def request(api: Api, method: str, paths: str, below: list[str]) -> None:
    expected = [line for line in below if not line.startswith("result ")]
    if len(expected) < len(below) or not below:
        code = next((line.split()[1] for line in below if line.startswith("result ")), "0")
        expected.append(f'contains "rlt_code": {code},')
    for path in paths.split():
        said = judge(lambda: answer(api, method, path), expected)
        if found := re.search(r"Policy ID is (\d+)", said):
            api.policy = found[1]
        if method != "GET":
            settle(api)


def frames_of(api: Api, text: str, filter_: str, seconds: float) -> str:
    """The first of the frames of a step that the filter lets through at the receiver."""
    found = re.match(r"(\S+)(?: tag (\d+))? to (\S+)", text)
    assert found, text
    sender, tag, receiver = found.groups()
    cause = frame(tag)
    return capture(api.lab, receiver, filter_, lambda: inside(api.lab, sender, *cause), seconds)


def frames(api: Api, text: str, below: list[str]) -> None:
    tag = re.search(r" (vlan \d+)$", text)
    filter_ = f"{tag[1]} and {FRAMES}" if tag else FRAMES
    seen = frames_of(api, text, filter_, 5)
    assert seen, f"no frame {filter_!r}"
    judge(lambda: seen, below)


def no_frames(api: Api, text: str, _: list[str]) -> None:
    filter_ = f"{FRAMES} or (vlan and {FRAMES})"
    wait_for("no frames", lambda: not frames_of(api, text, filter_, 0.5), 5)


def each(act: "Act") -> "Act":
    """For steps that are lists."""

    def act_each(api: Api, text: str, below: list[str]) -> None:
        for part in text.split(", "):
            act(api, part, below)

    return act_each


def captures(api: Api, text: str, below: list[str]) -> None:
    """The step below the first one says what is to be seen; without it, nothing is."""
    host, filter_ = text.split(" ", 1)
    _, method, path = below[0].split()
    seen = capture(api.lab, host, filter_, lambda: answer(api, method, path), 2)
    assert bool(seen) == bool(below[1:]), seen or "nothing came"
    judge(lambda: seen, below[1:])


def command(api: Api, text: str, below: list[str]) -> None:
    host, *words = text.split()
    judge(lambda: run(*laboratory.host_command(api.lab, host, words)), below)


def ovs_tool(tool: str) -> "Act":
    return lambda api, text, below: judge(lambda: ovs_command(api.lab, tool, *text.split()), below)


def vty(api: Api, text: str, below: list[str]) -> None:
    host, lines = text.split(" ", 1)
    words = ["vtysh", "--vty_socket", f"{api.lab.folder}/frr-{api.lab.space(host)}", "-d", "bgpd"]
    words += [word for line in lines.split("|") for word in ("-c", line.strip())]
    judge(lambda: run(*words), below)


def kill(api: Api, name: str, _: list[str]) -> None:
    own = name in api.lab.processes
    laboratory.stop(api.lab, name if own else f"{name}-{api.lab.switch}", signal.SIGKILL)


def start(api: Api, name: str, below: list[str]) -> None:
    if name == "engine":
        api.port = laboratory.start_engine(api.lab, os.environ["ENGINE"])
        log_in(api)
        settle(api)
    elif name == "vswitchd":
        laboratory.start_vswitchd(api.lab)
    elif name == "ovsdb":
        laboratory.start_ovsdb(api.lab)
    else:
        laboratory.start_frr(api.lab, name, api.lab.switch, "\n".join(below) + "\n")


def second_switch(api: Api, host: str, _: list[str]) -> None:
    space = api.lab.space(host)
    laboratory.start_ovsdb(api.lab, space)
    ovs_command(api.lab, "ovs-vsctl", "--no-wait", "init", space=space)
    laboratory.start_vswitchd(api.lab, space)
    run("ip", "-n", space, "addr", "flush", "dev", "eth0")
    # the kernel sees the frames of the ports, too: it must not answer for the channel's address
    run(*laboratory.in_space(space, "sysctl", "-qw", "net.ipv4.conf.all.arp_ignore=1"))
    ports = " ".join(f"eth{index}" for index in range(len(api.lab.hosts[host])))
    bond = f"add-br p0 -- set bridge p0 datapath_type=netdev -- add-bond p0 b0 {ports} "
    bond += "lacp=active bond_mode=balance-tcp other_config:lacp-time=fast"
    ovs_command(api.lab, "ovs-vsctl", *bond.split(), space=space)
    run("ip", "-n", space, "addr", "add", f"10.0.0.{host[1:]}/24", "dev", "p0")
    run("ip", "-n", space, "link", "set", "p0", "up")


def second_router(api: Api, host: str, below: list[str]) -> None:
    for daemon in ("zebra", "bgpd"):
        lines = "\n".join(below) + "\n" if daemon == "bgpd" else ""
        laboratory.start_frr(api.lab, daemon, api.lab.space(host), lines)


def traffic_begins(api: Api, text: str, _: list[str]) -> None:
    host, target = text.split()
    words = laboratory.host_command(api.lab, host, ["ping", "-c", "60", "-i", "0.05", "-q", target])
    traffic.append(subprocess.Popen(words, stdout=subprocess.PIPE, text=True))


def traffic_arrives(*_: object) -> None:
    said = traffic.pop().communicate()[0]
    assert " 60 received" in said, said


Act = Callable[[Api, str, list[str]], object]
STEPS: dict[str, Act] = {
    "config": lambda api, text, _: script(api, *text.split("; ")),
    "ping": each(lambda api, text, _: ping(api.lab, *text.split())),
    "no ping": each(lambda api, text, _: no_ping(api.lab, *text.split())),
    "frames": each(frames),
    "no frames": each(no_frames),
    "addresses": lambda api, text, _: laboratory.set_addresses(api.lab, text, int(text[1:])),
    "capture": captures,
    "in": command,
    "vty": vty,
    "kill": kill,
    "start": start,
    "second switch": second_switch,
    "second router": second_router,
    "traffic arrives": traffic_arrives,
    "traffic": traffic_begins,
}
STEPS |= {tool: ovs_tool(tool) for tool in ("ovs-vsctl", "ovs-ofctl", "ovs-appctl")}


def mac_of(api: Api, host: str) -> str:
    words = run("ip", "-n", api.lab.space(host), "link", "show", "eth0").split()
    return words[words.index("link/ether") + 1]


def perform(api: Api, step: Step) -> None:
    text = re.sub(r"\$mac(\d)", lambda found: mac_of(api, f"h{found[1]}"), step.text)
    text = text.replace("$policy", api.policy)
    method, _, paths = text.partition(" ")
    if step.act:
        step.act(api)
    elif method in ("GET", "POST", "PUT", "DELETE"):
        request(api, method, paths, step.below)
    else:
        word = next((word for word in STEPS if f"{text} ".startswith(f"{word} ")), "")
        assert word, f"no such step: {text}"
        STEPS[word](api, text.removeprefix(word).strip(), step.below)


def run_test(api: Api, steps: list[Step]) -> None:
    """From nothing configured; what the test has started ends with it."""
    before = set(api.lab.processes)
    script(api, "clear config")
    try:
        for step in steps:
            try:
                perform(api, step)
            except Exception as error:
                raise AssertionError(f"line {step.line}: {step.text}: {error}") from error
    finally:
        while traffic:
            traffic.pop().kill()
        for name in set(api.lab.processes) - before - {"engine"}:
            laboratory.stop(api.lab, name)
