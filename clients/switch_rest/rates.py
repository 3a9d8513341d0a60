"""Rates and totals from counters of which the API tells the low 32 bits."""

from dataclasses import dataclass, field

from switch_rest.resources import WORD

# The rates that the switch tells beside the counters are numbers that go up and down.
GAUGES = frozenset(
    ("CTR_RX_RATE_BITS", "CTR_TX_RATE_BITS", "CTR_RX_RATE_FRAMES", "CTR_TX_RATE_FRAMES")
)
FASTEST_BITS = 10**11


def per_second(before: dict[str, int], after: dict[str, int], seconds: float) -> dict[str, float]:
    """What was counted each second between two readings, each counter wrapping once at most."""
    return {
        name: (value - before[name]) % WORD / seconds
        for name, value in after.items()
        if name in before and name not in GAUGES
    }


def possible(name: str, amount: int, seconds: float, bits: int | None) -> bool:
    """Whether a port of this speed can have counted so much: bytes, or frames of 84 bytes on the
    wire."""
    fastest = (bits or FASTEST_BITS) / 8 * (seconds + 1)
    return amount <= (fastest if name.endswith("_BYTES") else fastest / 84)


@dataclass
class Totals:
    """The counters of one port as numbers that do not wrap."""

    _last: dict[str, int] = field(default_factory=dict)
    _totals: dict[str, int] = field(default_factory=dict)
    _at: float = 0.0

    def update(self, told: dict[str, int], now: float, bits: int | None) -> dict[str, int]:
        """A counter that went back has wrapped if the port can have counted that much since, or
        was reset and counts from 0."""
        seconds, self._at = now - self._at, now
        for name, value in told.items():
            if name in GAUGES:
                continue
            before = self._last.get(name, 0)
            amount = value - before
            if amount < 0:
                wrapped = amount + WORD
                amount = wrapped if possible(name, wrapped, seconds, bits) else value
            self._totals[name] = self._totals.get(name, 0) + amount
            self._last[name] = value
        return dict(self._totals)
