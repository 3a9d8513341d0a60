"""Metrics of all but the ports."""

import ssl
from collections.abc import Iterable
from urllib.parse import urlsplit

from cryptography import x509

from switch_exporter.metrics import Metrics
from switch_rest import NotPossible, Switch, resources
from switch_rest.resources import items
from switch_rest.session import CONNECT_TIMEOUT
from switch_rest.trust import any_certificate

WORKING = ("Operational", "Powering")
NOT_THERE = ("None", "Not present", "Not applicable")


def collect_system(switch: Switch, metrics: Metrics) -> None:
    base, name = switch.get("/base")["infomation"], switch.get("/base/idname")["idname"]
    metrics.gauge(
        "info",
        "What the switch is.",
        1,
        version=base["VEMO_version"],
        api=base["RESTful_API_version"],
        model=name["product_type"],
        serial=name["sn"],
    )
    memory = switch.get("/process/memory")
    for kind in ("total", "free"):
        size = memory[f"{kind}_memory"] % resources.WORD * 1024
        metrics.gauge(f"memory_{kind}_bytes", f"Memory, {kind}.", size)
    for period, used in switch.get("/process/cpu")["total_CPU_utilization"].items():
        share = float(used.strip(":% ")) / 100
        metrics.gauge("cpu_ratio", "Share of the CPU in use.", share, period=period)


def collect_boxes(switch: Switch, metrics: Metrics) -> None:
    boxes = dict(resources.boxes(switch))
    for number, fan in enumerate(boxes["fans"], 1):
        if fan["state"] not in NOT_THERE:
            metrics.gauge("fan_ok", "1 where the fan works.", fan["state"] in WORKING, fan=number)
        if fan["speed"].isdecimal():
            metrics.gauge("fan_speed_rpm", "Turns a minute.", int(fan["speed"]), fan=number)
    for number, supply in enumerate(boxes["power_supplies"], 1):
        if supply["state"] not in NOT_THERE:
            text = "1 where the power supply gives power."
            metrics.gauge("power_supply_ok", text, supply["state"] in WORKING, supply=number)
    for number, sensor in enumerate(boxes["temp_sensors"], 1):
        if sensor["state"] not in NOT_THERE:
            labels = {"sensor": number, "description": sensor["description"]}
            normal = sensor["state"] == "Normal"
            metrics.gauge("temperature_celsius", "Temperature.", sensor["temperature"], **labels)
            metrics.gauge("temperature_ok", "1 where it is normal.", normal, **labels)
    for sfp in boxes["sfp_transceivers"]:
        names = ("port", "module_type", "vendor_name", "part_number", "serial_number", "compliance")
        metrics.gauge("transceiver_info", "A transceiver.", 1, **{n: sfp[n] for n in names})
        rate = sfp["nominal_signal_rate"] * 10**8
        text = "Nominal rate of the transceiver."
        metrics.gauge("transceiver_signal_rate_bits", text, rate, port=sfp["port"])


def collect_bgp(switch: Switch, metrics: Metrics, neighbors: Iterable[str]) -> None:
    """Neighbors are not listed by the API: those of the configuration are asked for. It tells
    whether they are configured and active, not whether a session with them is up."""
    for address in neighbors:
        try:
            held = resources.neighbor(switch, address)
        except NotPossible:
            held = None
        text = "1 where the switch has the neighbor."
        metrics.gauge("bgp_neighbor_configured", text, held is not None, neighbor=address)
        active = held is not None and held.activate
        text = "1 where routes are exchanged with the neighbor."
        metrics.gauge("bgp_neighbor_active", text, active, neighbor=address)


def collect_limits(switch: Switch, metrics: Metrics) -> None:
    """What can run out: TCAM entries, sessions, and the one transfer at a time."""
    for stage, told in switch.get("/tcam/groupStats")["group_stats"].items():
        used, free = told["entry_stats"]["count"], told["entry_stats"]["free"]
        labels = {"stage": stage.removeprefix("stage_")}
        metrics.gauge("tcam_entries_used", "TCAM entries in use.", used, **labels)
        metrics.gauge("tcam_entries_free", "TCAM entries left.", free, **labels)
    most = switch.get("/login")["infomation"]["rest_session_max"]
    held = len(items(switch.get("/login/RESTSessions"), "rest_sessions"))
    metrics.gauge("sessions_max", "Sessions that can be open.", most)
    metrics.gauge("sessions_open", "Sessions that are open, this exporter's included.", held)
    for direction in ("download", "upload"):
        told = switch.get(f"/{direction}/status")["information"]
        running = "in progress" in told["status"].lower()
        failed = "failed" in told["status"].lower()
        labels = {"direction": direction}
        metrics.gauge("transfer_running", "1 while a transfer runs.", running, **labels)
        metrics.gauge("transfer_failed", "1 where the last transfer failed.", failed, **labels)
        share = float(told["progress"].rstrip("%")) / 100
        metrics.gauge("transfer_progress_ratio", "How far the transfer is.", share, **labels)


def certificate_end(url: str) -> float:
    """When the switch's certificate ends, in seconds since the epoch."""
    parts = urlsplit(url)
    der = any_certificate(parts.hostname or "", parts.port or 443, CONNECT_TIMEOUT)
    held = x509.load_der_x509_certificate(der)
    return ssl.cert_time_to_seconds(held.not_valid_after.strftime("%b %d %H:%M:%S %Y GMT"))
