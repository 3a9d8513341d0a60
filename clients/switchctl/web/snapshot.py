"""What the page shows of one switch, read only while somebody looks."""

import threading
import time
from collections import deque
from dataclasses import asdict, dataclass, field
from typing import Any

from switch_rest import NotPossible, Switch, SwitchError, resources
from switch_rest.plain import plain
from switch_rest.rates import per_second

MINUTES_SHOWN = 5
SLOW_SECONDS = 30.0  # how old VLANs, names and neighbors may be
SHOWN_RATES = {
    "rx": "CTR_RX_TOTAL_BYTES",
    "tx": "CTR_TX_TOTAL_BYTES",
    "rx_errors": "CTR_RX_TOTAL_ERROR_FRAMES",
    "tx_errors": "CTR_TX_TOTAL_ERROR_FRAMES",
}


@dataclass
class Watched:
    """One switch and the last minutes of its ports' rates."""

    name: str
    switch: Switch
    neighbors: tuple[str, ...]
    interval: float
    history: dict[int, deque[dict[str, float]]] = field(default_factory=dict)
    _lock: threading.Lock = field(default_factory=threading.Lock)
    _last: dict[int, tuple[float, dict[str, int]]] = field(default_factory=dict)
    _shown: dict[str, Any] = field(default_factory=dict)
    _slow: dict[str, Any] = field(default_factory=dict)
    _at: float = 0.0
    _slow_at: float = 0.0

    def snapshot(self) -> dict[str, Any]:
        """What was read last, and read anew when that is older than the interval."""
        with self._lock:
            now = time.monotonic()
            if not self._shown or now - self._at >= self.interval:
                try:
                    self._shown = self._read(now)
                except SwitchError as error:
                    self._shown = {"name": self.name, "error": str(error)}
                    self._last = {}
                self._at = time.monotonic()
            return self._shown

    def _read(self, now: float) -> dict[str, Any]:
        if not self._slow or now - self._slow_at >= SLOW_SECONDS:
            self._slow, self._slow_at = self._read_slow(), now
        ports = [self._port(number) for number in self._slow["numbers"]]
        boxes = dict(resources.boxes(self.switch))
        return {
            "name": self.name,
            "interval": self.interval,
            "at": time.strftime("%H:%M:%S"),
            "ports": ports,
            "boxes": boxes,
            **{name: held for name, held in self._slow.items() if name != "numbers"},
        }

    def _read_slow(self) -> dict[str, Any]:
        switch = self.switch
        vlans = [resources.vlan(switch, number) for number in resources.vlan_ids(switch)]
        return {
            "numbers": resources.interface_numbers(switch),
            "vlans": plain(vlans),
            "lags": plain(resources.lags(switch)),
            "neighbors": [self._neighbor(address) for address in self.neighbors],
            "identity": switch.get("/base/idname")["idname"],
            "system": switch.get("/system")["infomation"],
        }

    def _neighbor(self, address: str) -> dict[str, Any]:
        try:
            return asdict(resources.neighbor(self.switch, address))
        except NotPossible:
            return {"address": address, "asn": None}

    def _port(self, number: int) -> dict[str, Any]:
        port = resources.interface(self.switch, number)
        told, at = resources.counters(self.switch, number), time.monotonic()
        before = self._last.get(number)
        kept = self.history.setdefault(
            number, deque(maxlen=max(2, int(MINUTES_SHOWN * 60 / self.interval)))
        )
        if before is not None:
            rates = per_second(before[1], told, at - before[0])
            kept.append({short: rates.get(name, 0.0) for short, name in SHOWN_RATES.items()})
        self._last[number] = at, told
        shown = {name: getattr(port, name) for name in ("number", "name", "description", "link")}
        shown |= {"enabled": port.admin_state == "enable", "speed": port.speed, "pvid": port.pvid}
        return shown | {"bits": port.speed_bits, "history": list(kept)}
