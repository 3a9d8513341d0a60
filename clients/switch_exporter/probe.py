"""One scrape of one switch. The switches that were asked keep their session and their totals."""

import sys
import threading
import time
from collections import defaultdict
from contextlib import ExitStack
from dataclasses import dataclass, field

from switch_exporter.config import Config
from switch_exporter.hardware import (
    certificate_end,
    collect_bgp,
    collect_boxes,
    collect_limits,
    collect_system,
)
from switch_exporter.metrics import Metrics
from switch_exporter.ports import PortTotals, collect_ports
from switch_rest import Switch, SwitchError, Trust, connect
from switch_rest.rates import Totals

TIMEOUT = 10.0
CERTIFICATE_SECONDS = 3600


@dataclass
class Target:
    """A switch, its session and what has to be known from one scrape to the next."""

    url: str
    neighbors: tuple[str, ...]
    lock: threading.Lock = field(default_factory=threading.Lock)
    switch: Switch | None = None
    totals: PortTotals = field(default_factory=lambda: defaultdict(Totals))
    seconds: defaultdict[str, float] = field(default_factory=lambda: defaultdict(float))
    requests: defaultdict[str, int] = field(default_factory=lambda: defaultdict(int))
    certificate: tuple[float, float] | None = None  # end, and when it was looked at

    def timed(self, path: str, seconds: float) -> None:
        module = path.split("/")[1]
        self.seconds[module] += seconds
        self.requests[module] += 1


@dataclass
class Probes:
    config: Config
    sessions: ExitStack
    targets: dict[str, Target] = field(default_factory=dict)
    lock: threading.Lock = field(default_factory=threading.Lock)

    def target(self, url: str) -> Target | None:
        neighbors = self.config.neighbors(url)
        if neighbors is None:
            return None
        with self.lock:
            held = self.targets.setdefault(url, Target(url, neighbors))
            if held.switch is None:
                held.switch = self.sessions.enter_context(
                    connect(
                        url,
                        self.config.user,
                        self.config.password,
                        trust=Trust(authorities=self.config.authorities),
                        timeout=TIMEOUT,
                        timed=held.timed,
                    )
                )
            return held


def probe(target: Target) -> bytes:
    """The metrics as text. Scrapes of one switch follow each other, in its one session."""
    with target.lock:
        metrics, started = Metrics(), time.monotonic()
        assert target.switch
        try:
            collect(target, target.switch, metrics)
            up = True
        except (SwitchError, OSError, ValueError, KeyError, TypeError) as error:
            print(f"switch-exporter: {target.url}: {error!r}", file=sys.stderr)
            metrics, up = Metrics(), False
        metrics.gauge("up", "1 where the switch told everything.", up)
        taken = time.monotonic() - started
        metrics.gauge("scrape_seconds", "How long this scrape took.", taken)
        for module, seconds in target.seconds.items():
            requests = target.requests[module]
            metrics.counter("requests", "Requests to the switch.", requests, module=module)
            text = "Time that these requests took."
            metrics.counter("request_seconds", text, seconds, module=module)
        return metrics.text()


def collect(target: Target, switch: Switch, metrics: Metrics) -> None:
    collect_system(switch, metrics)
    collect_ports(switch, metrics, target.totals)
    collect_boxes(switch, metrics)
    collect_bgp(switch, metrics, target.neighbors)
    collect_limits(switch, metrics)
    if target.url.startswith("https:"):
        now = time.time()
        if target.certificate is None or now - target.certificate[1] > CERTIFICATE_SECONDS:
            target.certificate = certificate_end(target.url), now
        text = "When the certificate ends."
        metrics.gauge("certificate_end_timestamp_seconds", text, target.certificate[0])
