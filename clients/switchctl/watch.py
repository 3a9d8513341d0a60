"""if watch: the rates of a port as bars."""

import json
import time
from collections.abc import Iterator
from contextlib import nullcontext

import click
from rich.live import Live
from rich.progress_bar import ProgressBar
from rich.table import Table

from switch_rest import Switch, resources
from switch_rest.rates import per_second


def samples(switch: Switch, port: int, interval: float) -> Iterator[dict[str, float]]:
    """Rates since the sample before, one each interval, without end."""
    before, at = resources.counters(switch, port), time.monotonic()
    while True:
        time.sleep(interval)
        after, now = resources.counters(switch, port), time.monotonic()
        yield per_second(before, after, now - at)
        before, at = after, now


def with_prefix(value: float) -> str:
    for prefix in ("", "k", "M", "G"):
        if value < 1000:
            break
        value /= 1000
    return f"{value:.4g} {prefix}"


def bars(port: resources.Interface, rates: dict[str, float], highest: float) -> Table:
    rows = Table(box=None, title=f"{port.name}  {port.link}  {port.speed}", title_justify="left")
    for direction in ("RX", "TX"):
        bits = rates.get(f"CTR_{direction}_TOTAL_BYTES", 0.0) * 8
        frames = rates.get(f"CTR_{direction}_TOTAL_FRAMES", 0.0)
        errors = rates.get(f"CTR_{direction}_TOTAL_ERROR_FRAMES", 0.0)
        rows.add_row(
            direction.lower(),
            ProgressBar(total=highest or 1.0, completed=bits, width=40),
            f"{with_prefix(bits)}bit/s",
            f"{with_prefix(frames)}frames/s",
            f"{with_prefix(errors)}errors/s",
        )
    return rows


def watch(switch: Switch, port: int, interval: float, count: int | None, form: str) -> None:
    """Bars against the port's speed, or against the most that was seen where it tells none."""
    told = resources.interface(switch, port)
    highest = float(told.speed_bits or 0)
    live = Live(auto_refresh=False) if form == "table" else None
    with live or nullcontext():
        for number, rates in enumerate(samples(switch, port, interval), 1):
            seen = max(rates.get(f"CTR_{way}_TOTAL_BYTES", 0.0) * 8 for way in ("RX", "TX"))
            highest = max(highest, seen)
            if live:
                live.update(bars(told, rates, highest), refresh=True)
            else:
                click.echo(json.dumps(rates))
            if number == count:
                return
