"""The command line against a running engine."""

import json
import os
import re
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import pytest
import yaml
from click.testing import CliRunner, Result
from engines import ROOT, Engine
from test_config import LEAF

from switch_rest.description import Operation, operations
from switchctl.main import cli

PROGRAM = str(ROOT / "clients/bin/switchctl")


def switchctl(engine: Engine, *words: str) -> Result:
    environment = {"SWITCHCTL_SWITCH": engine.url, "SWITCHCTL_PASSWORD": "admin"}
    runner = CliRunner(mix_stderr=False, env=environment)
    return runner.invoke(cli, words, auto_envvar_prefix="SWITCHCTL")


def told(engine: Engine, *words: str) -> object:
    result = switchctl(engine, "-o", "json", *words)
    assert result.exit_code == 0, result.stderr
    return json.loads(result.stdout)


def example_words(operation: Operation) -> list[str]:
    """A command line with the description's own examples; no file comes from another machine."""
    words = ["api", operation.name]
    for one in operation.variables:
        value = "http://127.0.0.1:1/x" if one.name == "url" else str(one.example)
        if operation.name == "login":
            value = "admin"
        words += [value] if one.place == "path" else [f"--{one.name}", value]
    return words


def test_every_operation_is_reachable(engine: Engine) -> None:
    """Each one as a command; what it answers is a success or a refusal that is described."""
    document = json.loads((ROOT / "docs/openapi.json").read_text())
    described = {one["operationId"] for path in document["paths"].values() for one in path.values()}
    assert described == {one.name for one in operations()} == set(cli.commands["api"].list_commands(None))  # type: ignore
    done = 0
    for operation in operations():
        result = switchctl(engine, *example_words(operation))
        code = re.search(r"\(code (\d+)\)$", result.stderr)
        assert (result.exit_code, code is None) in ((0, True), (1, False)), (operation, result)
        assert code is None or int(code[1]) in operation.codes, (operation, result.stderr)
        done += code is None
    assert done >= 75  # most are done, not refused
    page = (ROOT / "clients/man/switchctl.1").read_text()
    for name, command in cli.commands.items():
        assert name in page
        for sub in getattr(command, "commands", ()):
            assert sub in page


def test_a_day_of_vlans_and_ports(engine: Engine) -> None:
    assert switchctl(engine, "vlan", "create", "10", "--name", "lab").stdout.count("\n") == 2
    for words in (
        ["vlan", "join", "10", "3", "--tagged"],
        ["vlan", "join", "10", "4"],
        ["if", "set", "3", "--disable", "--mtu", "9000", "--speed", "100"],
        ["lag", "add", "2", "12"],
        ["route", "add", "10", "192.0.2.1/24"],
        ["route", "add", "10", "2001:db8::1/64"],
        ["route", "mode", "ipv4", "enable"],
        ["bgp", "neighbor", "192.0.2.2", "--asn", "65002", "--source-vlan", "10"],
        ["request", "put", "/if/5/switchportMode", "value=3"],
        ["api", "createTCAMPolicy", "--policyType", "1", "--actionDrop", "1"],
        ["policy", "attach", "1", "3"],
    ):
        assert (result := switchctl(engine, *words)).exit_code == 0, result.stderr
    table = switchctl(engine, "vlan", "list").stdout
    for row in (r"10 +lab +static +3t 4 ", r"default +static +1-54"):
        assert re.search(row, table)
    assert told(engine, "vlan", "show", "10") == {
        **{"id": 10, "name": "lab", "type": "static"},
        "members": {"3": True, "4": False},
    }
    assert told(engine, "if", "set", "3", "--disable", "--mtu", "9000") == []
    assert told(engine, "request", "GET", "/if/5/switchportMode") == {
        "message": "Get data successfully.",
        "data": {"mode": "trunk"},
    }
    [route] = yaml.safe_load(switchctl(engine, "-o", "yaml", "route", "list").stdout)
    assert (route["vlan"], route["ipv4"], route["ipv6"]) == (10, "192.0.2.1/24", ["2001:db8::1/64"])
    summary = switchctl(engine, "bgp", "summary", "192.0.2.2", "192.0.2.3").stdout
    assert "65002" in summary and "refused" in summary
    assert re.search(r"OpenFlow policy +drop", switchctl(engine, "policy", "list").stdout)
    for line in ("route remove 10", "vlan delete 10", "lag remove 2 12"):
        assert switchctl(engine, *line.split()).exit_code == 0
    assert told(engine, "lag", "list")[1]["members"] == []  # type: ignore[index]
    sessions = told(engine, "sessions")
    assert len(sessions["rest_sessions"]) == 1 == engine.calls("AuthenticateUser")  # type: ignore


def test_exit_statuses(engine: Engine, tmp_path: Path) -> None:
    bad = tmp_path / "bad.yaml"
    bad.write_text("vlans: {5000: {}}")
    environment = os.environ | {"SWITCHCTL_SWITCH": engine.url, "SWITCHCTL_PASSWORD": "admin"}
    for words, status, error in (
        (["vlan", "show", "99"], 1, "VLAN 99 does not exist. (code 1)"),
        (["-u", "nobody", "sessions"], 1, "Authentication failed."),
        (["vlan", "create", "5000"], 2, "not in the range"),
        (["-s", "ftp://x", "sessions"], 2, "names no switch"),
        (["diff", str(bad)], 2, "vlans.5000: a number from 1 to 4094"),
        (["request", "GET", "/if?x=1"], 2, "has no query"),
        (["-s", "http://127.0.0.1:1", "sessions"], 3, "no connection"),
        (["-s", engine.tls_url, "--tls", "verify", "sessions"], 3, "self-signed"),
        (["-s", engine.tls_url, "sessions"], 0, "pinned"),
        (["logout"], 0, ""),
    ):
        done = subprocess.run([PROGRAM, *words], env=environment, capture_output=True, text=True)
        assert done.returncode == status and error in done.stderr, (words, done)
        assert "Traceback" not in done.stderr
    lines = {"COMP_WORDS": "switchctl vlan c", "COMP_CWORD": "2"}
    for shell, expected in {"bash_complete": "plain,create", "zsh_source": "#compdef"}.items():
        completing = environment | lines | {"_SWITCHCTL_COMPLETE": shell}
        done = subprocess.run([PROGRAM], env=completing, capture_output=True, text=True)
        assert done.stdout.startswith(expected)


def test_files(engine: Engine, tmp_path: Path) -> None:
    file = tmp_path / "leaf.yaml"
    file.write_text(LEAF)
    name = str(file)
    shown = switchctl(engine, "diff", engine.url, name).stdout
    assert "+ vlan 10: absent -> present" in shown and "? bgp network 10.20.0.0/16" in shown
    assert switchctl(engine, "apply", "--check", name).stdout == shown
    assert len(told(engine, "apply", name)["changed"]) == 56 - 2  # type: ignore[call-overload,index]
    assert switchctl(engine, "apply", name).stdout == "0 changed\n"
    file.write_text("vlans: {10: {}}")
    assert switchctl(engine, "apply", name).stdout == "0 changed\n"
    refused = switchctl(engine, "apply", "--prune", name)
    assert refused.exit_code == 1 and "DELETE /vlans/20" in refused.stderr  # it is routed
    file.write_text("vlans: {10: {}}\nvlan_interfaces: {10: {}}")
    pruned = told(engine, "apply", "--prune", name)
    assert [one["what"] for one in pruned["changed"]] == ["vlan interface 20", "vlan 20"]  # type: ignore


@contextmanager
def file_server(*paths: str) -> Iterator[str]:
    """Each of its files is a script of one line."""
    with tempfile.TemporaryDirectory() as folder:
        for path in paths:
            file = Path(folder + path)
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text("hostname fetched\n")
        command = [sys.executable, str(ROOT / "tests/support/file_server.py"), folder]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as server:
            assert server.stdout
            yield f"http://127.0.0.1:{server.stdout.readline().strip()}"
            server.kill()


def test_transfers_and_scripts(engine: Engine) -> None:
    with file_server("/image") as url:
        script = switchctl(engine, "transfer", "script", f"{url}/image", "a.scr", "--progress")
        assert script.exit_code == 0 and "completed successfully" in script.stdout, script.stderr
        missing = switchctl(engine, "transfer", "image", f"{url}/missing", "--progress")
        assert missing.exit_code == 1 and "HTTP status 404" in missing.stderr, missing.stdout
    assert told(engine, "script", "list") == [{"filename": "a.scr"}]
    assert switchctl(engine, "script", "apply", "a.scr").exit_code == 0
    assert told(engine, "request", "GET", "/system")["data"]["infomation"]["hostname"] == "fetched"  # type: ignore
    assert switchctl(engine, "script", "delete", "a.scr").exit_code == 0


def test_watching_a_port(engine: Engine) -> None:
    watching = ["watch", "--interval", "0.3", "--count", "2"]
    for port, moves in ((1, True), (40, False)):
        lines = switchctl(engine, "-o", "json", "if", *watching, str(port)).stdout.splitlines()
        rates = [json.loads(line) for line in lines]
        assert len(rates) == 2 and "CTR_RX_RATE_BITS" not in rates[0]
        assert all((one["CTR_RX_TOTAL_BYTES"] > 0) == moves for one in rates)
    shown = switchctl(engine, "if", *watching, "1").stdout
    assert "bit/s" in shown and "frames/s" in shown


def test_the_man_page_is_right() -> None:
    page = str(ROOT / "clients/man/switchctl.1")
    try:
        subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page], check=True)
    except FileNotFoundError:
        pytest.skip("there is no mandoc")
