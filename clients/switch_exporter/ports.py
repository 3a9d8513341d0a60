"""Metrics of the ports."""

import time
from collections import defaultdict

from switch_exporter.metrics import Metrics
from switch_rest import Switch, resources
from switch_rest.rates import Totals

# The counters that have a name of their own; the others go by the name that the switch gives them.
COUNTERS = {
    "CTR_RX_TOTAL_BYTES": ("port_receive_bytes", "Bytes received."),
    "CTR_TX_TOTAL_BYTES": ("port_transmit_bytes", "Bytes sent."),
    "CTR_RX_TOTAL_FRAMES": ("port_receive_frames", "Frames received."),
    "CTR_TX_TOTAL_FRAMES": ("port_transmit_frames", "Frames sent."),
    "CTR_RX_TOTAL_ERROR_FRAMES": ("port_receive_errors", "Frames received with an error."),
    "CTR_TX_TOTAL_ERROR_FRAMES": ("port_transmit_errors", "Frames that could not be sent."),
    "CTR_SNMPIFINDISCARD_FRAMES": ("port_receive_discards", "Good frames received and dropped."),
    "CTR_SNMPIFOUTDISCARD_FRAMES": ("port_transmit_discards", "Good frames not sent."),
    "CTR_RX_CRC_ERRORS": ("port_receive_crc_errors", "Frames received with a wrong checksum."),
    "CTR_TX_TOTAL_COLLISION_FRAMES": ("port_collisions", "Frames that collided."),
}

PortTotals = defaultdict[int, Totals]


def collect_ports(switch: Switch, metrics: Metrics, totals: PortTotals) -> None:
    """The totals are those of this switch, from one scrape to the next."""
    for number in resources.interface_numbers(switch):
        port = resources.interface(switch, number)
        told = resources.counters(switch, number)
        _state(metrics, port)
        for name, value in totals[number].update(told, time.monotonic(), port.speed_bits).items():
            family, text = COUNTERS.get(name, ("port_counter", "A counter of the switch."))
            labels = {} if name in COUNTERS else {"counter": name}
            metrics.counter(family, text, value, port=number, **labels)


def _state(metrics: Metrics, port: resources.Interface) -> None:
    number = port.number
    metrics.gauge("port_up", "1 where there is link.", port.link == "up", port=number)
    enabled = port.admin_state == "enable"
    metrics.gauge("port_enabled", "1 where the port is switched on.", enabled, port=number)
    if port.speed_bits:
        text = "Bits a second, where the switch tells a number."
        metrics.gauge("port_speed_bits", text, port.speed_bits, port=number)
    metrics.gauge(
        "port_info",
        "What a port is.",
        1,
        port=number,
        name=port.name,
        description=port.description,
        speed=port.speed,
        duplex=port.duplex,
        mac=port.mac,
    )
