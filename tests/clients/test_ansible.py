"""The collection: its form, and a fleet of switches from nothing to a leaf-spine fabric."""

import json
import os
import re
import shutil
import subprocess
import threading
from collections import Counter
from pathlib import Path
from typing import Any

import pytest
import yaml
from engines import ROOT, Engine, running, start_engine, wait_for, wait_listening
from test_switchctl import file_server

from switch_rest import connect, resources

COLLECTION = ROOT / "clients/ansible"
SPINES = 2
SWITCHES = int(os.environ.get("FLEET", "6"))
LEAVES = SWITCHES - SPINES
NAMES = [f"spine{n + 1}" for n in range(SPINES)] + [f"leaf{n + 1}" for n in range(LEAVES)]


@pytest.fixture
def environment(tmp_path: Path) -> dict[str, str]:
    place = tmp_path / "collections/ansible_collections/tarvexia"
    place.mkdir(parents=True)
    (place / "switch").symlink_to(COLLECTION)
    return os.environ | {
        "ANSIBLE_COLLECTIONS_PATH": str(tmp_path / "collections"),
        "ANSIBLE_CALLBACKS_ENABLED": "tarvexia.switch.end_sessions",
        "ANSIBLE_CALLBACK_PLUGINS": str(ROOT / "tests/clients/callbacks"),
        "RESULTS": str(tmp_path / "results"),
        "ANSIBLE_FORKS": "10",
        "ANSIBLE_LOCAL_TEMP": str(tmp_path / "ansible"),
        "ANSIBLE_NOCOLOR": "1",
        "HOME": str(tmp_path),
    }


def test_lint_and_documentation(environment: dict[str, str], tmp_path: Path) -> None:
    if not shutil.which("ansible-lint"):
        pytest.skip("there is no ansible-lint")
    place = tmp_path / "collections/ansible_collections/tarvexia/switch"
    command = ["ansible-lint", "--offline", "--profile", "production", "-q"]
    done = subprocess.run(command, cwd=place, env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    names = [f"tarvexia.switch.{one.stem}" for one in (COLLECTION / "plugins/modules").iterdir()]
    shown = subprocess.run(
        ["ansible-doc", "--json", *names], env=environment, capture_output=True, text=True
    )
    held = json.loads(shown.stdout)
    assert set(held) == set(names) and len(names) == 9
    assert {one.stem for one in (COLLECTION / "plugins/action").iterdir()} >= {
        name.rsplit(".", 1)[1] for name in names
    }


Results = list[dict[str, Any]]


def hosts(results: Results, *marks: str) -> dict[str, int]:
    """How often a host has a result with one of the marks."""
    return Counter(one["host"] for one in results if any(one.get(mark) for mark in marks))


def play(environment: dict[str, str], inventory: Path, book: Path, *options: str) -> Results:
    """The results of a play, in order."""
    command = ["ansible-playbook", "-i", str(inventory), str(book), *options]
    results = Path(environment["RESULTS"])
    results.unlink(missing_ok=True)
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    assert results.exists(), done.stdout + done.stderr
    return [json.loads(line) for line in results.read_text().splitlines()]


def write_inventory(switches: list[Engine], place: Path) -> Path:
    if not place.exists():
        shutil.copytree(COLLECTION / "inventory", place)
    children: dict[str, Any] = {"spines": {"hosts": {}}, "leaves": {"hosts": {}}}
    for name, switch in zip(NAMES, switches):
        kind = "spines" if name.startswith("spine") else "leaves"
        number = int(re.sub(r"\D", "", name))
        children[kind]["hosts"][name] = {"switch_url": switch.tls_url, "number": number}
    text = {"all": {"vars": {"ansible_password": "admin"}, "children": children}}
    (place / "hosts.yml").write_text(yaml.safe_dump(text))
    return place / "hosts.yml"


def kill_during(switch: Engine, call: str) -> threading.Thread:
    """Kills the switch in the middle of the play: once it has made a call."""

    def run() -> None:
        trace = switch.folder / "trace"
        wait_for(call, lambda: f"{call}(" in trace.read_text() or None, 250)
        switch.process.kill()
        switch.process.wait()

    thread = threading.Thread(target=run)
    thread.start()
    return thread


def test_a_fleet(environment: dict[str, str], tmp_path: Path) -> None:
    with running(SWITCHES) as switches:
        inventory = write_inventory(switches, tmp_path / "inventory")
        site = COLLECTION / "playbooks/site.yml"
        check = play(environment, inventory, site, "--check", "--diff", "--limit", "leaf1")
        assert hosts(check, "changed") == {"leaf1": 7} and not hosts(check, "failed")
        assert switches[2].calls("rpcclt_openapiVlanCreate") == 0
        assert "vlan 10: absent" in check[0]["diff"]["before"]

        victim = NAMES[-1]
        killing = kill_during(switches[-1], "rpcclt_openapiRtrIntfIpAddrAdd")
        first = play(environment, inventory, site)
        killing.join()
        assert set(hosts(first, "failed", "unreachable")) == {victim}
        for name, switch in zip(NAMES[:-1], switches):
            assert switch.calls("AuthenticateUser") == 1 + (name == "leaf1"), name

        switches[-1] = start_engine(switches[-1].folder)
        wait_listening(switches[-1])
        write_inventory(switches, inventory.parent)
        again = play(environment, inventory, site)
        assert hosts(again, "changed") == {victim: 7}
        assert not hosts(again, "failed", "unreachable")
        last = play(environment, inventory, site, "--limit", f"leaf1,spines,{victim}")
        assert not hosts(last, "changed", "failed", "unreachable")
        look_at(switches[0], switches[-1])
        upgrade(environment, inventory, switches)


def look_at(spine: Engine, leaf: Engine) -> None:
    with connect(spine.tls_url, "admin", "admin") as switch:
        assert resources.interface(switch, LEAVES).addresses.ipv4 == f"10.1.{LEAVES}.0/31"
        assert resources.neighbor(switch, f"10.1.{LEAVES}.1").asn == 65100 + LEAVES
        sessions = switch.get("/login/RESTSessions")["rest_sessions"]
        assert len(sessions) == 1  # the plays have ended theirs
    with connect(leaf.tls_url, "admin", "admin") as switch:
        assert resources.vlan(switch, 10).members == {1: False, 2: False}
        assert set(resources.lag(switch, 2).members) == {47, 48}
        [routed] = resources.vlan_interfaces(switch)
        assert (routed.vlan, routed.addresses.ipv4) == (10, f"172.16.{LEAVES}.1/24")
        assert len(resources.policies(switch)) == 1


def upgrade(environment: dict[str, str], inventory: Path, switches: list[Engine]) -> None:
    """Two of them: the one whose image cannot be had stops before its restart."""
    book = COLLECTION / "playbooks/upgrade.yml"
    with file_server("/image") as url:
        for path, failures in (("image", {}), ("missing", {"spine1": 1})):
            options = ["-e", f"upgrade_image_url={url}/{path}", "-e", "upgrade_pause=1"]
            done = play(environment, inventory, book, *options, "--limit", "spine1")
            assert hosts(done, "failed", "unreachable") == failures, done[-1]
    assert switches[0].calls("rpcclt_openapiSystemReloadSet") == 1


def test_states_and_secrets(environment: dict[str, str], tmp_path: Path) -> None:
    tasks = [
        ({"vlans": {"config": {10: {}, 20: {}}}}, True),
        ({"vlans": {"config": {10: {"name": "x"}}, "state": "overridden"}}, True),
        ({"vlans": {"config": {10: {}}, "state": "deleted"}}, True),
        ({"vlans": {"config": {10: {}}, "state": "deleted"}}, False),
        ({"lags": {"config": {1: [47]}, "state": "replaced"}}, True),
        ({"interfaces": {"config": {3: {"mtu": "{{ 9000 }}", "enabled": "{{ false }}"}}}}, True),
        ({"bgp": {"config": {"networks": {"10.20.0.0/16": "r"}}}}, True),
        ({"bgp": {"config": {"networks": {"10.20.0.0/16": "r"}}}}, False),
        ({"request": {"method": "POST", "path": "/lag/1/port/47"}}, False),
        ({"facts": {"gather_subset": ["system", "boxes"]}}, False),
    ]
    listed: list[dict[str, Any]] = []
    for task, changed in tasks:
        [(module, arguments)] = task.items()
        check = {"register": "done", "failed_when": f"done.changed != {changed} or done.failed"}
        listed.append({"name": "Try", f"tarvexia.switch.{module}": arguments, **check})
    check = {"register": "wrong", "failed_when": "not wrong.failed"}
    listed.append({"name": "Wrong", "tarvexia.switch.vlans": {"config": {5000: {}}}, **check})
    with running(1) as [switch]:
        book = tmp_path / "book.yml"
        book.write_text(yaml.safe_dump([{"hosts": "all", "gather_facts": False, "tasks": listed}]))
        inventory = tmp_path / "hosts.yml"
        secret = {"switch_url": switch.tls_url, "ansible_password": "admin"}
        inventory.write_text(yaml.safe_dump({"all": {"hosts": {"sw1": secret}}}))
        done = play(environment, inventory, book)
        assert not hosts(done, "failed", "unreachable"), done[-1]
        assert len(done) == len(listed)
        secret["ansible_password"] = "not-to-be-seen-4711"
        inventory.write_text(yaml.safe_dump({"all": {"hosts": {"sw1": secret}}}))
        words = ["ansible-playbook", "-vvvv", "-i", str(inventory), str(book)]
        loud = subprocess.run(words, env=environment, capture_output=True, text=True)
        assert "Authentication failed" in loud.stdout
        assert "not-to-be-seen-4711" not in loud.stdout + loud.stderr
