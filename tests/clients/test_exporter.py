"""The exporter, its rules and its dashboard with the real Prometheus."""

import json
import os
import re
import shutil
import signal
import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import pytest
import requests
import yaml
from engines import ROOT, Engine, running, wait_for
from test_library import open_sessions

from switch_rest.rates import Totals

EXPORTER = ROOT / "clients/switch_exporter"
SWITCHES = 20


@contextmanager
def started(command: list[str], log: Path) -> Iterator["subprocess.Popen[bytes]"]:
    with open(log, "wb") as out:
        process = subprocess.Popen(command, stdout=out, stderr=out, cwd=log.parent)
    try:
        yield process
    finally:
        process.kill()
        process.wait()


@contextmanager
def exporter(folder: Path, targets: dict[str, Any]) -> Iterator[tuple[str, Any]]:
    (folder / "password").write_text("admin\n")
    config = {"user": "admin", "password_file": "password", "listen": "127.0.0.1:0"}
    (folder / "exporter.yml").write_text(yaml.safe_dump(config | {"targets": targets}))
    log = folder / "exporter.log"
    command = [str(ROOT / "clients/bin/switch-exporter"), str(folder / "exporter.yml")]
    with started(command, log) as process:
        where = wait_for("the exporter", lambda: re.search(r"on (\S+)", log.read_text()))
        yield where[1], process


def probe(where: str, target: str) -> requests.Response:
    return requests.get(f"http://{where}/probe", {"target": target}, timeout=30)


def test_one_switch(engine: Engine, tmp_path: Path) -> None:
    targets = {"http://127.0.0.1:*": {"neighbors": ["192.0.2.2"]}, "https://127.0.0.*:*": {}}
    with exporter(tmp_path, targets) as (where, process):
        text = probe(where, engine.url).text
        for sample in (
            "switch_up 1.0",
            'switch_fan_ok{fan="3"} 0.0',
            'switch_power_supply_ok{supply="2"} 0.0',
            'switch_port_up{port="53"} 1.0',
            'switch_port_up{port="54"} 0.0',
            'switch_port_speed_bits{port="53"} 4e+010',
            'switch_bgp_neighbor_configured{neighbor="192.0.2.2"} 0.0',
            'switch_tcam_entries_free{stage="egress"} 1024.0',
            "switch_sessions_open 1.0",
            'switch_transfer_running{direction="upload"} 0.0',
            'switch_requests_total{module="if"} 109.0',
        ):
            assert f"{sample}\n" in text, sample
        assert len(re.findall("^switch_port_receive_bytes_total", text, re.M)) == 54
        secure = probe(where, engine.tls_url).text
        ends = re.search(r"^switch_certificate_end_timestamp_seconds (\S+)", secure, re.M)
        assert ends and 58 < (float(ends[1]) - time.time()) / 86400 < 61
        assert "switch_up 1.0" in probe(where, engine.url).text
        assert engine.calls("AuthenticateUser") == 2  # one each for the two targets
        for target, status in (("http://127.0.0.1.example.org", 403), ("ftp://x", 400), ("", 404)):
            assert probe(where, target).status_code == status
        assert "switch_up 0.0" in probe(where, "http://127.0.0.1:1").text
        process.send_signal(signal.SIGTERM)
        assert process.wait(20) == 128 + signal.SIGTERM
    assert open_sessions(engine) == 0


def test_counters_do_not_wrap() -> None:
    top = 1 << 32
    for readings, seconds, bits, total in (
        ([top - 100, 50], 15, 10**9, top + 50),  # wrapped
        ([5000, 10], 15, 10**9, 5010),  # reset: a gigabit port cannot do 4 GB in 15 seconds
        ([top - 10**9, 10**9, top - 5, 7], 15, 10**10, 2 * top + 7),
        ([7, 7], 15, None, 7),
    ):
        totals = Totals()
        for number, value in enumerate(readings):
            told = {"CTR_RX_TOTAL_BYTES": value, "CTR_RX_RATE_BITS": 1}
            held = totals.update(told, 1000.0 + number * seconds, bits)
        assert held == {"CTR_RX_TOTAL_BYTES": total}


def test_rules() -> None:
    if not shutil.which("promtool"):
        pytest.skip("there is no promtool")
    for words in ("check rules alerts.yml", "test rules alerts_test.yml"):
        subprocess.run(["promtool", *words.split()], cwd=EXPORTER / "rules", check=True)


def dashboard_queries() -> Iterator[str]:
    board = json.loads((EXPORTER / "dashboard.json").read_text())
    for panel in board["panels"]:
        for target in panel["targets"]:
            text = target["expr"].replace("$__rate_interval", "30s")
            yield text.replace("$instance", ".*").replace("$port", ".*")


def test_prometheus_scrapes_twenty_switches(tmp_path: Path) -> None:
    if not shutil.which("prometheus"):
        pytest.skip("there is no prometheus")
    with running(SWITCHES, {"ports": 2, "link_up": [1]}) as engines:
        urls = [engines[0].tls_url, *(one.url for one in engines[1:])]
        targets = {url: {"neighbors": ["192.0.2.2"]} for url in urls}
        with exporter(tmp_path, targets) as (where, process):
            relabel = [
                {"source_labels": ["__address__"], "target_label": "__param_target"},
                {"source_labels": ["__param_target"], "target_label": "instance"},
                {"target_label": "__address__", "replacement": where},
            ]
            times = {"scrape_interval": "5s", "scrape_timeout": "5s", "evaluation_interval": "1s"}
            asked = {"static_configs": [{"targets": urls}], "relabel_configs": relabel}
            config = {
                "global": times,
                "rule_files": [str(EXPORTER / "rules/alerts.yml")],
                "scrape_configs": [{"job_name": "switches", "metrics_path": "/probe"} | asked],
            }
            (tmp_path / "prometheus.yml").write_text(yaml.safe_dump(config))
            ask_all(urls, tmp_path)
            process.send_signal(signal.SIGTERM)
            process.wait(30)
        for engine in engines:
            assert engine.calls("AuthenticateUser") == 1
            assert open_sessions(engine) == 0


def ask_all(urls: list[str], folder: Path) -> None:
    command = ["prometheus", "--config.file=prometheus.yml", f"--storage.tsdb.path={folder}/data"]
    log = folder / "prometheus.log"
    with started([*command, "--web.listen-address=127.0.0.1:0"], log):
        found = wait_for(
            "Prometheus", lambda: re.search(r"msg=\"Listening on\" address=(\S+)", log.read_text())
        )
        url = f"http://{found[1]}/api/v1"
        wait_for("its start", lambda: requests.get(f"http://{found[1]}/-/ready").ok or None)

        def query(text: str) -> list[Any]:
            answer = requests.get(f"{url}/query", {"query": text}, timeout=10).json()
            assert answer["status"] == "success", (text, answer)
            result: list[Any] = answer["data"]["result"]
            return result

        def reaches(text: str, value: int) -> bool | None:
            return [one["value"][1] for one in query(text)] == [str(value)] or None

        moving = 'count(rate(switch_port_receive_bytes_total{port="1"}[1m]) > 0)'
        wait_for("all switches", lambda: reaches("sum(switch_up)", SWITCHES), 120)
        wait_for("two scrapes of each", lambda: reaches(moving, SWITCHES), 120)
        still = 'count(rate(switch_port_receive_bytes_total{port="2"}[1m]) == 0)'
        assert reaches(still, SWITCHES)
        names = {one["metric"]["instance"] for one in query("switch_up")}
        assert names == set(urls)
        failed = 'count(ALERTS{alertname=~"SwitchFanFailed|SwitchPowerSupplyFailed"})'
        wait_for("alerts", lambda: reaches(failed, 2 * SWITCHES))
        for text in dashboard_queries():
            assert query(text), f"nothing to show for {text}"
